// The calls for callers that have a packer of their own.
#include <string_view>

#include "counters/counter_value.h"
#include "counters/counters_msgpack.h"

namespace {

void pack(msgpack_packer* packer, std::string_view text) {
  msgpack_pack_str(packer, text.size());
  msgpack_pack_str_body(packer, text.data(), text.size());
}

struct PackerWriter {
  msgpack_packer* packer;

  bool key(std::string_view name, size_t) {
    pack(packer, name);
    return true;
  }
  void value(uint64_t number) { msgpack_pack_uint64(packer, number); }
  void value(int64_t number) { msgpack_pack_int64(packer, number); }
  void value(double number) { msgpack_pack_double(packer, number); }
  void value(std::string_view text) { pack(packer, text); }
};

}  // namespace

void msgpack_counter(msgpack_packer* packer, vek_counter_set_element_t element, const char* block) {
  if (!packer || !element.name || !block) return;
  PackerWriter writer{packer};
  vek::write_counter(writer, element, block);
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
