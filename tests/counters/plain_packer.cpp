#include "tests/counters/plain_packer.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace vek::test {
namespace {

void pack_text(msgpack_packer* packer, const char* text, size_t length) {
  msgpack_pack_str(packer, length);
  msgpack_pack_str_body(packer, text, length);
}

void pack_text(msgpack_packer* packer, const char* text) {
  pack_text(packer, text, std::strlen(text));
}

bool is_hex_name(const char* name) {
  return std::strcmp(name, "port_guid") == 0 || std::strcmp(name, "node_guid") == 0 ||
         std::strcmp(name, "GUID") == 0;
}

void pack_unsigned(msgpack_packer* packer, const char* name, uint64_t value) {
  if (!is_hex_name(name)) {
    msgpack_pack_uint64(packer, value);
    return;
  }
  char text[32];
  std::snprintf(text, sizeof(text), "0x%" PRIx64, value);
  pack_text(packer, text);
}

void pack_counter(msgpack_packer* packer, const vek_counter_set_element_t& counter,
                  const char* block) {
  pack_text(packer, counter.name, counter.name_len);
  const char* at = block + counter.offset;
  uint64_t bits = 0;
  if (counter.data_type >= 1 && counter.data_type <= 4) std::memcpy(&bits, at, 8);
  switch (counter.data_type) {
    case 1:
    case 3:
      pack_unsigned(packer, counter.name, bits);
      break;
    case 2: {
      double value = 0;
      std::memcpy(&value, at, 8);
      msgpack_pack_double(packer, value);
      break;
    }
    case 4:
      msgpack_pack_int64(packer, static_cast<int64_t>(bits));
      break;
    case 5:
      pack_text(packer, at, strnlen(at, counter.length));
      break;
    default:
      break;
  }
}

// Which of the record's own keys an exported counter takes.
struct Taken {
  bool timestamp = false;
  bool type = false;
  bool source = false;
};

Taken taken_keys(const vek_counter_set_t* set) {
  Taken taken;
  for (uint64_t i = 0; i < set->num_counters; ++i) {
    if (set->skip[i]) continue;
    const char* name = set->counters[i].name;
    if (std::strcmp(name, "timestamp") == 0) taken.timestamp = true;
    if (std::strcmp(name, "type") == 0) taken.type = true;
    if (std::strcmp(name, "source") == 0) taken.source = true;
  }
  return taken;
}

void pack_event_head(msgpack_packer* packer, uint64_t us, const vek_counter_set_t* set,
                     const char* source) {
  msgpack_pack_array(packer, 2);
  msgpack_pack_double(
      packer, static_cast<double>(us / 1000000) + static_cast<double>(us % 1000000) / 1000000.0);
  const Taken taken = taken_keys(set);
  msgpack_pack_map(packer, set->num_exported + set->num_shown_meta + (taken.timestamp ? 0 : 1) +
                               (taken.type ? 0 : 1) + (taken.source ? 0 : 1));
  if (!taken.timestamp) {
    pack_text(packer, "timestamp");
    msgpack_pack_uint64(packer, us);
  }
  if (!taken.type) {
    pack_text(packer, "type");
    pack_text(packer, "counters");
  }
  if (!taken.source && source[0]) {
    pack_text(packer, "source");
    pack_text(packer, source);
  }
}

void pack_custom_head(msgpack_packer* packer, uint64_t us, const vek_counter_set_t* set,
                      const char* source) {
  msgpack_pack_map(packer, (source[0] ? 4 : 3) + set->num_shown_meta);
  pack_text(packer, "timestamp");
  msgpack_pack_uint64(packer, us);
  pack_text(packer, "type");
  pack_text(packer, "counters");
  if (source[0]) {
    pack_text(packer, "source");
    pack_text(packer, source);
  }
  pack_text(packer, "values");
  msgpack_pack_map(packer, set->num_exported);
}

void pack_meta(msgpack_packer* packer, const vek_counter_set_meta_element_t& meta, uint64_t us,
               const char* source, const char* block) {
  if (meta.kind == 0) {
    pack_counter(packer, meta.element, block);
    return;
  }
  pack_text(packer, meta.name, meta.name_len);
  if (meta.kind == 2) {
    pack_text(packer, meta.constant, meta.constant_len);
  } else if (meta.builtin == 2) {
    pack_text(packer, source);
  } else if (meta.builtin == 3) {
    pack_text(packer, "counters");
  } else {
    msgpack_pack_uint64(packer, us);
  }
}

}  // namespace

void plain_pack(msgpack_sbuffer* out, const void* block, const vek_counter_set_t* set,
                const char* source, const char* layout) {
  msgpack_sbuffer_init(out);
  plain_pack_into(out, block, set, source, layout);
}

void plain_pack_into(msgpack_sbuffer* out, const void* block, const vek_counter_set_t* set,
                     const char* source, const char* layout) {
  if (set->num_exported == 0) return;
  const char* bytes = static_cast<const char*>(block);
  uint64_t us = 0;
  std::memcpy(&us, bytes + 8, 8);

  msgpack_packer packer;
  msgpack_packer_init(&packer, out, msgpack_sbuffer_write);
  if (std::strcmp(layout, "flb_std") == 0) {
    pack_event_head(&packer, us, set, source);
  } else {
    pack_custom_head(&packer, us, set, source);
  }
  for (uint64_t i = 0; i < set->num_meta; ++i) {
    if (!set->meta[i].skip) pack_meta(&packer, set->meta[i], us, source, bytes);
  }
  for (uint64_t i = 0; i < set->num_counters; ++i) {
    if (!set->skip[i]) pack_counter(&packer, set->counters[i], bytes);
  }
}

}  // namespace vek::test
