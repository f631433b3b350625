#include "field_set/event_msgpack.h"

#include <algorithm>
#include <cstring>

#include "counters/counters_msgpack.h"
#include "data/builtin_types.h"
#include "field_set/bound_type.h"
#include "field_set/event_plan.h"
#include "field_set/field_set.h"
#include "field_set/meta_fields.h"
#include "utils/logger.h"
#include "utils/msgpack_buffer.h"
#include "utils/unaligned.h"

namespace {

template <typename T>
T load(const uint8_t* value) noexcept {
  return vek::load_unaligned<T>(reinterpret_cast<const char*>(value));
}

void pack_uint64(msgpack_packer* packer, uint64_t value, const char* field_name) {
  if (if_display_hex(field_name)) {
    pack_guid_hex(packer, value);
  } else {
    msgpack_pack_uint64(packer, value);
  }
}

}  // namespace

void fset_pack_string_type(msgpack_packer* packer, const uint8_t* chars, size_t length) {
  if (!packer) return;
  const char* text = chars ? reinterpret_cast<const char*>(chars) : "";
  const size_t size = strnlen(text, std::min<size_t>(length, vek::kMaxTextLength));
  msgpack_pack_str(packer, size);
  msgpack_pack_str_body(packer, text, size);
}

void fset_pack_builtin_type(msgpack_packer* packer, int type_id, const uint8_t* value,
                            size_t data_str_len, const char* field_name) {
  if (!packer || !value) return;
  switch (type_id) {
    case VEK_TYPE_BOOL:
      *value ? msgpack_pack_true(packer) : msgpack_pack_false(packer);
      break;
    case VEK_TYPE_CHAR:
    case VEK_TYPE_UNSIGNED_CHAR:
      fset_pack_string_type(packer, value, data_str_len);
      break;
    case VEK_TYPE_SHORT:
    case VEK_TYPE_INT16:
      msgpack_pack_int16(packer, load<int16_t>(value));
      break;
    case VEK_TYPE_INT:
    case VEK_TYPE_INT32:
      msgpack_pack_int32(packer, load<int32_t>(value));
      break;
    case VEK_TYPE_LONG:
    case VEK_TYPE_LONG_LONG:
    case VEK_TYPE_INT64:
      msgpack_pack_int64(packer, load<int64_t>(value));
      break;
    case VEK_TYPE_INT8:
      msgpack_pack_int8(packer, load<int8_t>(value));
      break;
    case VEK_TYPE_UNSIGNED_SHORT:
    case VEK_TYPE_UINT16:
      msgpack_pack_uint16(packer, load<uint16_t>(value));
      break;
    case VEK_TYPE_UNSIGNED_INT:
    case VEK_TYPE_UINT32:
      msgpack_pack_uint32(packer, load<uint32_t>(value));
      break;
    case VEK_TYPE_UNSIGNED_LONG:
    case VEK_TYPE_UNSIGNED_LONG_LONG:
    case VEK_TYPE_TIMESTAMP:
      msgpack_pack_uint64(packer, load<uint64_t>(value));
      break;
    case VEK_TYPE_UINT8:
      msgpack_pack_uint8(packer, *value);
      break;
    case VEK_TYPE_FLOAT:
      msgpack_pack_float(packer, load<float>(value));
      break;
    case VEK_TYPE_DOUBLE:
      msgpack_pack_double(packer, load<double>(value));
      break;
    case VEK_TYPE_UINT64:
      pack_uint64(packer, load<uint64_t>(value), field_name);
      break;
    default:
      msgpack_pack_str(packer, 1);
      msgpack_pack_str_body(packer, "0", 1);
      break;
  }
}

namespace vek {

void logEmptyMetaAlias() { VEK_LOGE("[field_set] [msgpackMetaField] alias name is empty!"); }

void FieldSet::msgpackMetaField(msgpack_packer* packer, int index, const char* alias,
                                const std::map<std::string, bool>& used_keys,
                                const std::string& type_name, uint64_t timestamp,
                                const char* source) {
  const auto name = meta_field_names().find(index);
  if (name == meta_field_names().end()) {
    VEK_LOGE("[field_set] Unknown meta_field index %d in fieldset!", index);
    return;
  }
  if (alias && *alias == '\0') {
    logEmptyMetaAlias();
    return;
  }
  const std::string key = alias ? alias : name->second;
  const auto used = used_keys.find(key);
  if (used != used_keys.end() && used->second) return;
  const auto text = [&](std::string_view value) {
    pack_key_val_str(packer, key.data(), key.size(), value.data(), value.size());
  };
  switch (index) {
    case kMetaTimestamp:
      pack_key_val_uint64(packer, key.data(), key.size(), timestamp);
      break;
    case kMetaType:
      text(kEventsType);
      break;
    case kMetaTypeName:
      text(type_name);
      break;
    default:
      if (source) text(source);
      break;
  }
}

EventPlan* FieldSet::findPlan(const vek_event_header_t* header) {
  BoundType* type = header ? state_->find_type(*header) : nullptr;
  return type ? &state_->plan_of(*type) : nullptr;
}

std::string_view FieldSet::packNextEvent(EventPlan& plan, const uint8_t* event,
                                         uint64_t timestamp_us, std::string_view source,
                                         RecordLayout layout) {
  return plan.pack_next(event, timestamp_us, source, layout);
}

size_t FieldSet::packEvent(MsgpackBuffer& buffer, const EventPlan& plan, const uint8_t* event,
                           uint64_t timestamp_us, const char* source, const char* layout) {
  return plan.pack(buffer, event, timestamp_us, source ? source : std::string_view(),
                   layout_named(layout));
}

void FieldSet::MsgPackToSimpleBuffer(msgpack_sbuffer* buffer, const uint8_t* event,
                                     const vek_event_header_t* header, const char* source,
                                     const char* layout) {
  if (!buffer) return;
  msgpack_sbuffer_init(buffer);
  const EventPlan* plan = event ? findPlan(header) : nullptr;
  if (!plan) return;
  MsgpackBuffer record;
  const size_t size = packEvent(record, *plan, event, header->timestamp, source, layout);
  if (size > 0) record.hand_over(size, *buffer);
}

}  // namespace vek
