// One counters block becomes one msgpack record.
//
// Layouts: "flb_std" is [seconds as float64, map]; any other text is "custom", a bare map whose
// "values" entry announces the counters. docs/formats/records.md shows both.
#ifndef VEK_COUNTERS_COUNTERS_MSGPACK_H
#define VEK_COUNTERS_COUNTERS_MSGPACK_H

#include <msgpack.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#include <string_view>
#endif

#include "counters/counter_set.h"
#include "utils/export.h"
#ifdef __cplusplus
#include "utils/record_layout.h"
#endif

VEK_C_BEGIN

// Empties `out` (without freeing what it held), then fills it; it stays empty when the set exports
// nothing. The caller frees out->data. `block` holds every exported counter whole: see
// vek_counter_set_block_extent.
VEK_API void vek_counter_block_to_msgpack_filtered(msgpack_sbuffer* out, const void* block,
                                                   const vek_counter_set_t* set, const char* source,
                                                   const char* layout);
// Bytes that a block must have, header included, for every shown counter and meta field of the set
// to lie inside it. UINT64_MAX when an offset overflows.
VEK_API uint64_t vek_counter_set_block_extent(const vek_counter_set_t* set);

// One counter's key and value; the block is the last argument.
VEK_API void msgpack_counter(msgpack_packer* packer, vek_counter_set_element_t element,
                             const char* block);
VEK_API void pack_key_val_uint64(msgpack_packer* packer, const char* key, size_t key_len,
                                 uint64_t value);
VEK_API void pack_key_val_str(msgpack_packer* packer, const char* key, size_t key_len,
                              const char* value, size_t value_len);
// True for "port_guid", "node_guid" and "GUID".
VEK_API bool if_display_hex(const char* name);
// The text "0x%lx".
VEK_API void pack_guid_hex(msgpack_packer* packer, unsigned long value);

VEK_C_END

#ifdef __cplusplus
namespace vek {

class RecordPacker;

// As vek_counter_block_to_msgpack_filtered, by a packer that is kept with the set: the record,
// valid until its next call, or nothing. Who owns the set does not exchange one of its counters for
// another meanwhile.
VEK_API std::string_view pack_counters_block(RecordPacker& packer, const void* block,
                                             const vek_counter_set_t* set, std::string_view source,
                                             RecordLayout layout) noexcept;

}  // namespace vek
#endif

#endif  // VEK_COUNTERS_COUNTERS_MSGPACK_H
