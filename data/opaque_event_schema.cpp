#include "data/opaque_event_schema.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "data/md5.h"
#include "data/opaque_events_extractor.h"
#include "json/json_owned.h"

namespace vek {

static_assert(OpaqueEventSchema::kSmallestEvent == VEK_OPAQUE_EVENT_HEADER_SIZE + 1);

OpaqueEventSchema::OpaqueEventSchema(uint32_t event_size)
    : event_size_(std::max(event_size, kSmallestEvent)),
      builtin_(vek_create_schema("<built-in>", VEK_SCHEMA_FORMAT_VERSION_ENCODED)),
      schema_(vek_create_schema("opaque_events", 1)) {
  if (!builtin_ || !schema_ || !vek_schema_register_builtin_types(builtin_.get())) {
    throw std::bad_alloc();
  }
  schema_->parent = builtin_.get();
  add_type();

  const JsonValue json(vek_schema_jsonify(schema_.get()));
  const JsonText text(json ? json_serialize_to_string_pretty(json.get()) : nullptr);
  if (!text || !vek_get_schema_id_from_pretty_json_string(text.get(), id_.data())) {
    throw std::bad_alloc();
  }
  document_ = text.get();
}

void OpaqueEventSchema::add_type() {
  const vek_type_field_info_t fields[] = {
      {"reserved", "not read", "uint8_t", VEK_VALUE_ABSOLUTE, 8},
      {"kind", "0 whole, 1 start, 2 chunk", "uint8_t", VEK_VALUE_ABSOLUTE, 1},
      {"offset_or_total", "chunk: offset; start: total size", "uint32_t", VEK_VALUE_ABSOLUTE, 1},
      {"id", "of the extended event", "uint32_t", VEK_VALUE_ABSOLUTE, 1},
      {"app_id", "application GUID", "uint8_t", VEK_VALUE_ABSOLUTE, VEK_APP_ID_SIZE},
      {"first_word", "for the recipient", "uint64_t", VEK_VALUE_ABSOLUTE, 1},
      {"second_word", "for the recipient", "uint64_t", VEK_VALUE_ABSOLUTE, 1},
      {"data_size", "bytes of data in use", "uint32_t", VEK_VALUE_ABSOLUTE, 1},
      {"data", "payload or meta data", "uint8_t", VEK_VALUE_ABSOLUTE,
       event_size_ - VEK_OPAQUE_EVENT_HEADER_SIZE},
  };
  const std::string name = VEK_OPAQUE_EVENT_TYPE_PREFIX + std::to_string(event_size_);
  if (vek_schema_add_type(schema_.get(), name.c_str(), fields, std::size(fields), nullptr) != 0) {
    throw std::bad_alloc();
  }
}

}  // namespace vek
