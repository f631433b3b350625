// The opaque events extractor: finds opaque events in data pages and puts extended ones together.
//
// A payload larger than one event travels as an extended event: a start event with key=value meta
// data and the total size, then chunks, possibly over several pages. The extractor keeps at most
// one unfinished extended event per source id and tag; its memory grows with the chunks that
// arrive, never with what a start event announces.
//
// Not locked: one extractor serves one reader, on the thread that exports pages. docs/formats/
// opaque_events.md shows the bytes.
#ifndef VEK_DATA_OPAQUE_EVENTS_EXTRACTOR_H
#define VEK_DATA_OPAQUE_EVENTS_EXTRACTOR_H

#include <stdbool.h>
#include <stdint.h>

#include "data/data_page.h"
#include "data/exporter_schema_manager.h"
#include "utils/dictionary.h"
#include "utils/export.h"

#define VEK_APP_ID_SIZE 16
#define VEK_OPAQUE_EVENT_TYPE_PREFIX "opaque_event_"

VEK_C_BEGIN

typedef enum vek_opaque_event_kind {
  VEK_OPAQUE_WHOLE = 0,
  VEK_OPAQUE_START = 1,
  VEK_OPAQUE_CHUNK = 2
} vek_opaque_event_kind_t;

// Lies in a page: packed, unaligned.
typedef struct __attribute__((packed)) vek_opaque_event {
  uint8_t reserved[8];
  uint8_t kind;              // vek_opaque_event_kind_t
  uint32_t offset_or_total;  // chunk: its byte offset; start: the total payload size
  uint32_t id;               // of the extended event
  uint8_t app_id[VEK_APP_ID_SIZE];
  uint64_t first_word;
  uint64_t second_word;
  uint32_t data_size;  // bytes behind this header: payload, or meta data of a start event
} vek_opaque_event_t;

#define VEK_OPAQUE_EVENT_HEADER_SIZE 53

// Opaque to the extractor: handed back as the first argument of both callbacks.
typedef struct vek_opaque_events_extractor_recipient_ctx vek_opaque_events_extractor_recipient_ctx;

typedef struct vek_opaque_event_chunk {
  unsigned char* data;
  uint32_t size;
  struct vek_opaque_event_chunk* next;
} vek_opaque_event_chunk_t;

// True = handled. Everything is lent for the call only. `options` is null for whole events.
typedef bool (*vek_opaque_event_callback_t)(vek_opaque_events_extractor_recipient_ctx* recipient,
                                            const char* source_id, const char* tag,
                                            const vek_custom_options* options,
                                            const unsigned char* app_id, unsigned long first_word,
                                            unsigned long second_word, const void* data,
                                            unsigned int size);
typedef bool (*vek_opaque_chunks_callback_t)(vek_opaque_events_extractor_recipient_ctx* recipient,
                                             const char* source_id, const char* tag,
                                             const vek_custom_options* options,
                                             const unsigned char* app_id, unsigned long first_word,
                                             unsigned long second_word, uint32_t total,
                                             const vek_opaque_event_chunk_t* chunks);

typedef struct vek_opaque_events_extractor_recipient {
  vek_opaque_event_callback_t on_event;    // required
  vek_opaque_chunks_callback_t on_chunks;  // null: extended events are assembled
  vek_opaque_events_extractor_recipient_ctx* context;
} vek_opaque_events_extractor_recipient_t;

// The first two words of vek_exporter_schema_manager_t.
typedef struct vek_opaque_type_lookup {
  vek_find_event_type_t find;
  void* context;
} vek_opaque_type_lookup_t;

typedef struct vek_opaque_events_extractor vek_opaque_events_extractor_t;

// `app_id` is 16 bytes; all zero accepts every application. The recipient is copied. Null when out
// of memory, or when an argument or the event callback is null.
VEK_API vek_opaque_events_extractor_t* vek_opaque_events_extractor_create(
    const unsigned char* app_id, const vek_opaque_events_extractor_recipient_t* recipient);
// True = page processed. The lookup is copied for the call.
VEK_API bool vek_opaque_events_extractor_process_data_page(vek_opaque_events_extractor_t* extractor,
                                                           const vek_data_page_t* page,
                                                           const vek_opaque_type_lookup_t* lookup);
// Unfinished extended events are dropped; no callback is called. Accepts null.
VEK_API void vek_opaque_events_extractor_delete(vek_opaque_events_extractor_t* extractor);

VEK_C_END

#ifdef __cplusplus
static_assert(sizeof(vek_opaque_event_t) == VEK_OPAQUE_EVENT_HEADER_SIZE);
static_assert(offsetof(vek_opaque_event_t, kind) == 8);
static_assert(offsetof(vek_opaque_event_t, offset_or_total) == 9);
static_assert(offsetof(vek_opaque_event_t, id) == 13);
static_assert(offsetof(vek_opaque_event_t, app_id) == 17);
static_assert(offsetof(vek_opaque_event_t, first_word) == 33);
static_assert(offsetof(vek_opaque_event_t, second_word) == 41);
static_assert(offsetof(vek_opaque_event_t, data_size) == 49);
#endif

#endif  // VEK_DATA_OPAQUE_EVENTS_EXTRACTOR_H
