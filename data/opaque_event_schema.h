// OpaqueEventSchema: the schema that announces opaque events of one size.
//
// Readers need nothing of an opaque event's type but its name, which begins with "opaque_event_",
// and its size; the fields are named for whoever looks at the schema. A provider sends document()
// with its other schemas; id() goes into the schemas block of its pages.
#ifndef VEK_DATA_OPAQUE_EVENT_SCHEMA_H
#define VEK_DATA_OPAQUE_EVENT_SCHEMA_H

#include <array>
#include <cstdint>
#include <string>

#include "data/schema_id.h"
#include "data/schema_owned.h"

namespace vek {

class VEK_API OpaqueEventSchema {
 public:
  // The header and one byte of data.
  static constexpr uint32_t kSmallestEvent = 54;

  // `event_size` in bytes, header included; raised to the smallest. Throws std::bad_alloc.
  explicit OpaqueEventSchema(uint32_t event_size);

  uint32_t event_size() const { return event_size_; }
  // "opaque_event_<event size>", type 0 of its schema. Lives as long as this object.
  const vek_type_definition_t* type() const { return schema_->types[0]; }
  // MD5 of document().
  const std::array<uint8_t, VEK_SCHEMA_ID_SIZE>& id() const { return id_; }
  // The schema's pretty-printed JSON.
  const std::string& document() const { return document_; }

 private:
  void add_type();

  uint32_t event_size_;
  OwnedSchema builtin_;  // resolves the field types of schema_
  OwnedSchema schema_;
  std::array<uint8_t, VEK_SCHEMA_ID_SIZE> id_{};
  std::string document_;
};

}  // namespace vek

#endif  // VEK_DATA_OPAQUE_EVENT_SCHEMA_H
