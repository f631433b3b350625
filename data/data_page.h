// The data page: a 720-byte header, then blocks that each begin with a four-byte magic value.
//
// All integers are little-endian. Records here lie in pages, so they are packed. A page image, in
// memory or in a file, is `total` bytes long; page files hold images back to back. docs/formats/
// page.md shows the layout with a worked example.
#ifndef VEK_DATA_DATA_PAGE_H
#define VEK_DATA_DATA_PAGE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "data/schema_id.h"
#include "utils/export.h"

#define VEK_PAGE_HEADER_SIZE 720
#define VEK_PAGE_SOURCE_ID_SIZE 64
#define VEK_PAGE_TAG_SIZE 16
#define VEK_BLOCK_HEADER_SIZE 16  // of counters, events and schemas blocks alike
#define VEK_MAX_SCHEMA_INDEX 13   // a schemas block addresses entries 0 to 13

VEK_C_BEGIN

typedef struct __attribute__((packed)) vek_data_source {
  char source_id[VEK_PAGE_SOURCE_ID_SIZE];  // NUL-terminated unless it fills the field
  char tag[VEK_PAGE_TAG_SIZE];              // likewise
} vek_data_source_t;

typedef struct __attribute__((packed)) vek_data_page {
  uint8_t version;
  uint8_t minor_version;
  uint8_t reserved_2[6];
  uint64_t total;       // bytes of the whole image; blocks occupy [720, total)
  uint64_t filled;      // bytes in use; 720 means an empty page
  uint64_t block_size;  // distance of block boundaries; 0 means one block of total - 720
  uint8_t reserved_32[32];
  vek_data_source_t data_source;
  uint8_t schema_id[VEK_SCHEMA_ID_SIZE];  // identifier of the page's counters schema
  uint8_t reserved_160[560];
} vek_data_page_t;

typedef struct __attribute__((packed)) vek_event_header {
  char magic[4];
  uint64_t timestamp;    // microseconds since the Unix epoch
  uint8_t schema_index;  // into the last schemas block, 0 to 13
  uint16_t type_index;   // position of the type in its schema
  uint8_t count;         // events that follow, back to back, each of the type's size
} vek_event_header_t;

typedef struct __attribute__((packed)) vek_schema_block {
  char magic[4];
  uint16_t length;  // bytes of the whole block
  uint8_t reserved[10];
  uint8_t schema_ids[VEK_MAX_SCHEMA_INDEX + 1][VEK_SCHEMA_ID_SIZE];  // only those inside `length`
} vek_schema_block_t;

typedef struct __attribute__((packed)) vek_counters_block {
  char magic[4];
  uint8_t padding[4];
  uint64_t timestamp;  // microseconds since the Unix epoch; values follow
} vek_counters_block_t;

typedef enum vek_data_block_type {
  VEK_COUNTERS_BLOCK = 0,
  VEK_EVENTS_BLOCK = 1,
  VEK_SCHEMAS_BLOCK = 2,
  VEK_BLOB_BLOCK = 3,
  VEK_UNKNOWN_BLOCK = 4,  // any letter without a block of its own
  VEK_PAGE_BLOCK = 5,
  VEK_CNTX_BLOCK = 6
} vek_data_block_type_t;

// Looks only at the fourth magic byte: reads 4 bytes of `block`, never the other three values.
VEK_API vek_data_block_type_t vek_data_block_get_type(const void* block);
// Leaves the magic untouched for type 4 and any value without a letter.
VEK_API void vek_data_block_set_type(char* magic, vek_data_block_type_t type);
VEK_API const char* vek_data_block_type_to_string(vek_data_block_type_t type);

VEK_API void vek_magic_value_fill(char* magic, char letter);
// Returns the lower-cased fourth byte.
VEK_API char vek_magic_value_fill_lower(char* magic, char letter);
VEK_API void vek_magic_value_copy(char* dst, const char* src);
VEK_API bool vek_magic_value_match_type(const char* magic, char letter);
VEK_API bool vek_magic_value_match(const char* a, const char* b);

VEK_C_END

#ifdef __cplusplus
static_assert(sizeof(vek_data_page_t) == VEK_PAGE_HEADER_SIZE);
static_assert(offsetof(vek_data_page_t, total) == 8);
static_assert(offsetof(vek_data_page_t, filled) == 16);
static_assert(offsetof(vek_data_page_t, block_size) == 24);
static_assert(offsetof(vek_data_page_t, data_source.source_id) == 64);
static_assert(offsetof(vek_data_page_t, data_source.tag) == 128);
static_assert(offsetof(vek_data_page_t, schema_id) == 144);
static_assert(sizeof(vek_event_header_t) == VEK_BLOCK_HEADER_SIZE);
static_assert(offsetof(vek_event_header_t, timestamp) == 4);
static_assert(offsetof(vek_event_header_t, schema_index) == 12);
static_assert(offsetof(vek_event_header_t, type_index) == 13);
static_assert(offsetof(vek_event_header_t, count) == 15);
static_assert(offsetof(vek_schema_block_t, length) == 4);
static_assert(offsetof(vek_schema_block_t, schema_ids) == 16);
static_assert(sizeof(vek_counters_block_t) == VEK_BLOCK_HEADER_SIZE);
static_assert(offsetof(vek_counters_block_t, timestamp) == 8);
#endif

#endif  // VEK_DATA_DATA_PAGE_H
