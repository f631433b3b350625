// The calls for callers that have a packer of their own.
#include <cstring>
#include <string_view>

#include "counters/counter_value.h"
#include "counters/counters_msgpack.h"
#include "utils/guid_text.h"
#include "utils/unaligned.h"

namespace {

void pack(msgpack_packer* packer, std::string_view text) {
  msgpack_pack_str(packer, text.size());
  msgpack_pack_str_body(packer, text.data(), text.size());
}

}  // namespace

void msgpack_counter(msgpack_packer* packer, vek_counter_set_element_t element, const char* block) {
  if (!packer || !element.name || !block) return;
  const std::string_view name(element.name, element.name_len);
  const char* value = block + element.offset;
  pack(packer, name);
  switch (element.data_type) {
    case VEK_DATA_TYPE_UINT64:
    case VEK_DATA_TYPE_BIT64:
      if (vek::is_guid_name(name)) {
        pack_guid_hex(packer, vek::load_unaligned<uint64_t>(value));
      } else {
        msgpack_pack_uint64(packer, vek::load_unaligned<uint64_t>(value));
      }
      break;
    case VEK_DATA_TYPE_INT64:
      msgpack_pack_int64(packer, vek::load_unaligned<int64_t>(value));
      break;
    case VEK_DATA_TYPE_FP64:
      msgpack_pack_double(packer, vek::load_unaligned<double>(value));
      break;
    case VEK_DATA_TYPE_STRING:
      // Without a NUL the text ends where the next counter begins.
      pack(packer, {value, strnlen(value, element.length)});
      break;
    default:
      vek::log_unknown_type(element.name);
      break;
  }
}

void pack_key_val_uint64(msgpack_packer* packer, const char* key, size_t key_len, uint64_t value) {
  if (!packer || !key) return;
  pack(packer, {key, key_len});
  msgpack_pack_uint64(packer, value);
}

void pack_key_val_str(msgpack_packer* packer, const char* key, size_t key_len, const char* value,
                      size_t value_len) {
  if (!packer || !key) return;
  pack(packer, {key, key_len});
  pack(packer, value ? std::string_view(value, value_len) : std::string_view());
}

bool if_display_hex(const char* name) { return name && vek::is_guid_name(name); }

void pack_guid_hex(msgpack_packer* packer, unsigned long value) {
  if (packer) pack(packer, vek::GuidText(value).view());
}
