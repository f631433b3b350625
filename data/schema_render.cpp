// Raw records as JSON.
//
// Offsets and sizes may come from a document that lies, and types may contain themselves. Rendering
// a type therefore reads nothing outside the type's own size, goes no deeper than a chain of
// distinct types can be, and gives up on a record of more values than its bytes can hold.
#include <algorithm>
#include <cctype>
#include <new>
#include <string>

#include "data/printable.h"
#include "data/schema.h"
#include "json/json_owned.h"
#include "utils/logger.h"

using vek::printable;

namespace {

// A chain of types, each containing the next, has at most as many links as there are types in a
// schema and its parent.
constexpr uint64_t kMaxDepth = uint64_t{2} * VEK_MAX_TYPES;

// A value takes at least one byte of its record and stands below at most that many others; the rest
// is for records that have members of no size. Only types that overlap unfold into more.
uint64_t most_values(uint64_t size) {
  constexpr uint64_t kForMembersOfNoSize = 1u << 16;
  constexpr uint64_t kAnyRealSize = uint64_t{1} << 40;
  return kForMembersOfNoSize + std::min(size, kAnyRealSize) * kMaxDepth;
}

class RecordRenderer {
 public:
  // `size` is the number of bytes that the record, or the field, takes.
  explicit RecordRenderer(uint64_t size) : values_left_(most_values(size)) {}

  vek::JsonValue record(const vek_type_definition_t* type, const uint8_t* bytes);
  vek::JsonValue field(const vek_type_field_definition_t* field, const uint8_t* bytes);
  vek::JsonValue scalar(const vek_type_field_definition_t* field, const uint8_t* bytes);
  vek::JsonValue array(const vek_type_field_definition_t* field, const uint8_t* bytes);

 private:
  vek::JsonValue fields(const vek_type_definition_t* type, const uint8_t* bytes);

  uint64_t depth_ = 0;
  uint64_t values_left_;
};

bool is_text(const vek_type_field_definition_t* field) {
  return field->type &&
         (field->type->id == VEK_TYPE_CHAR || field->type->id == VEK_TYPE_UNSIGNED_CHAR);
}

// True when every byte that rendering the field reads lies in its type's record.
bool lies_within(const vek_type_field_definition_t* field, uint64_t record_size) {
  if (!field->type || field->offset > record_size) return false;
  if (field->array_length == 0) return true;
  // Texts are read byte after byte, other elements at the distance that the field states.
  const uint64_t distance = is_text(field) ? 1 : field->type_size;
  uint64_t length = 0;
  return !__builtin_mul_overflow(distance, uint64_t{field->array_length - 1}, &length) &&
         !__builtin_add_overflow(field->type->size, length, &length) &&
         length <= record_size - field->offset;
}

vek::JsonValue text(const vek_type_field_definition_t* field, const uint8_t* bytes) {
  vek::JsonValue json;
  try {
    std::string visible;
    while (visible.size() < field->array_length && std::isprint(bytes[visible.size()])) {
      visible.push_back(static_cast<char>(bytes[visible.size()]));
    }
    json.reset(json_value_init_string(visible.c_str()));
  } catch (const std::exception&) {
    json.reset();  // out of memory, told below like any other failure
  }
  if (!json) {
    VEK_LOGE("Failed to serialize field %s of type %s[%u] as string", printable(field->field_name),
             printable(field->type_name), field->array_length);
  }
  return json;
}

vek::JsonValue RecordRenderer::record(const vek_type_definition_t* type, const uint8_t* bytes) {
  if (!type || !bytes) return nullptr;
  if (depth_ == kMaxDepth) {
    VEK_LOGE("Failed to serialize a record of type %s: it contains itself", printable(type->name));
    return nullptr;
  }
  ++depth_;
  vek::JsonValue json = fields(type, bytes);
  --depth_;
  return json;
}

vek::JsonValue RecordRenderer::fields(const vek_type_definition_t* type, const uint8_t* bytes) {
  vek::JsonValue json(json_value_init_object());
  JSON_Object* object = json_value_get_object(json.get());
  if (!object) return nullptr;
  for (uint16_t i = 0; i < type->num_fields; ++i) {
    const vek_type_field_definition_t* member = type->fields[i];
    if (!lies_within(member, type->size)) {
      VEK_LOGE("Failed to serialize field %s of type %s: it lies outside the record",
               printable(member->field_name), printable(type->name));
      return nullptr;
    }
    vek::JsonValue value = field(member, bytes + member->offset);
    if (!value || !member->field_name ||
        json_object_set_value(object, member->field_name, value.get()) != JSONSuccess) {
      return nullptr;
    }
    (void)value.release();
  }
  return json;
}

vek::JsonValue RecordRenderer::field(const vek_type_field_definition_t* field,
                                     const uint8_t* bytes) {
  return field->array_length == 1 ? scalar(field, bytes) : array(field, bytes);
}

vek::JsonValue RecordRenderer::scalar(const vek_type_field_definition_t* field,
                                      const uint8_t* bytes) {
  if (!field->type) return nullptr;
  if (values_left_ == 0) {
    VEK_LOGE("Failed to serialize field %s: the record has more values than bytes",
             printable(field->field_name));
    return nullptr;
  }
  --values_left_;
  if (field->type->id == 0) return record(field->type, bytes);
  return vek::JsonValue(vek_builtin_type_jsonify(field->type->id, bytes));
}

vek::JsonValue RecordRenderer::array(const vek_type_field_definition_t* field,
                                     const uint8_t* bytes) {
  if (is_text(field)) return text(field, bytes);
  vek::JsonValue json(json_value_init_array());
  JSON_Array* elements = json_value_get_array(json.get());
  if (!elements) return nullptr;
  for (uint64_t i = 0; i < field->array_length; ++i) {
    vek::JsonValue element = scalar(field, bytes + i * field->type_size);
    if (!element || json_array_append_value(elements, element.get()) != JSONSuccess) return nullptr;
    (void)element.release();
  }
  return json;
}

RecordRenderer renderer_of(const vek_type_field_definition_t* field) {
  uint64_t size = 0;
  if (!field->type || __builtin_mul_overflow(field->type->size, field->array_length, &size)) {
    size = 0;
  }
  return RecordRenderer(size);
}

}  // namespace

JSON_Value* vek_type_definition_jsonify_data(const vek_type_definition_t* type,
                                             const uint8_t* bytes) {
  return RecordRenderer(type ? type->size : 0).record(type, bytes).release();
}

JSON_Value* vek_type_field_definition_jsonify_data(const vek_type_field_definition_t* field,
                                                   const uint8_t* bytes) {
  return renderer_of(field).field(field, bytes).release();
}

JSON_Value* vek_type_field_definition_jsonify_scalar(const vek_type_field_definition_t* field,
                                                     const uint8_t* bytes) {
  return renderer_of(field).scalar(field, bytes).release();
}

JSON_Value* vek_type_field_definition_jsonify_array(const vek_type_field_definition_t* field,
                                                    const uint8_t* bytes) {
  return renderer_of(field).array(field, bytes).release();
}
