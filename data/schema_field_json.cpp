// JSON form of fields. The order of keys is part of the format: identifiers are digests of the
// text.
#include <atomic>
#include <cerrno>
#include <cstring>

#include "data/json_number.h"
#include "data/schema.h"
#include "data/schema_owned.h"
#include "json/json_owned.h"
#include "utils/logger.h"

namespace {

constexpr char kTemplate[] =
    R"({"field_name" : "", "description" : "", "type_size" : 0, "offset" : 0, "type_name" : "", )"
    R"("counting_mode" : "", "index" : 0})";
// Documents written before index fields existed.
constexpr char kTemplateWithoutIndex[] =
    R"({"field_name" : "", "description" : "", "type_size" : 0, "offset" : 0, "type_name" : "", )"
    R"("counting_mode" : ""})";

// A template, parsed once: a document may hold a million fields. Parsing that failed for want of
// memory is tried again the next time.
class ParsedTemplate {
 public:
  explicit constexpr ParsedTemplate(const char* text) : text_(text) {}
  ~ParsedTemplate() { json_value_free(shape_.load()); }
  ParsedTemplate(const ParsedTemplate&) = delete;
  ParsedTemplate& operator=(const ParsedTemplate&) = delete;

  // Null when there is no memory for it.
  const JSON_Value* get() {
    if (const JSON_Value* shape = shape_.load(std::memory_order_acquire)) return shape;
    vek::JsonValue parsed(json_parse_string(text_));
    JSON_Value* other = nullptr;
    if (!parsed) return nullptr;
    if (shape_.compare_exchange_strong(other, parsed.get())) return parsed.release();
    return other;  // another thread was first
  }

 private:
  const char* text_;
  std::atomic<JSON_Value*> shape_{nullptr};
};

const JSON_Value* parsed_template() {
  static ParsedTemplate shape(kTemplate);
  const JSON_Value* const parsed = shape.get();
  if (!parsed) VEK_LOGE("Unable to parse schema to JSON value: '%s'", kTemplate);
  return parsed;
}

const JSON_Value* parsed_template_without_index() {
  static ParsedTemplate shape(kTemplateWithoutIndex);
  const JSON_Value* const parsed = shape.get();
  if (!parsed) {
    VEK_LOGE("Unable to parse schema to JSON value (without index): '%s'", kTemplateWithoutIndex);
  }
  return parsed;
}

bool matches(const JSON_Value* shape, const JSON_Value* json) {
  return shape && json && json_validate(shape, json) == JSONSuccess;
}

// A field made without one of its texts has no such key.
bool set_text(JSON_Object* object, const char* key, const char* text) {
  return !text || json_object_set_string(object, key, text) == JSONSuccess;
}

bool set_number(JSON_Object* object, const char* key, uint64_t number) {
  return json_object_set_number(object, key, static_cast<double>(number)) == JSONSuccess;
}

bool copy_text(const JSON_Object* object, const char* key, char*& out) {
  const char* text = json_object_get_string(object, key);
  if (text) out = strdup(text);
  return out != nullptr;
}

// Writers cut this number to 16 bits, so readers do, and a scalar may be written as 0.
uint32_t read_array_length(const JSON_Object* object) {
  const double number = json_object_get_number(object, "array_length");
  const auto length = static_cast<uint16_t>(vek::json_number_to<uint64_t>(number));
  return length == 0 ? 1 : length;
}

}  // namespace

JSON_Value* vek_type_field_definition_jsonify(const vek_type_field_definition_t* field) {
  if (!field) return nullptr;
  vek::JsonValue json(json_value_init_object());
  JSON_Object* object = json_value_get_object(json.get());
  const bool made =
      object && set_text(object, "field_name", field->field_name) &&
      set_text(object, "description", field->description) &&
      set_text(object, "type_name", field->type_name) &&
      set_text(object, "counting_mode", vek_value_type_string(field->counting_mode)) &&
      (field->array_length <= 1 || set_number(object, "array_length", field->array_length)) &&
      set_number(object, "offset", field->offset) &&
      set_number(object, "type_size", field->type_size) &&
      set_number(object, "index", field->index);
  return made ? json.release() : nullptr;
}

vek_type_field_definition_t* vek_type_field_definition_from_json(const JSON_Value* json) {
  if (!matches(parsed_template(), json) && !matches(parsed_template_without_index(), json)) {
    VEK_LOGE("Field definition JSON does not match schema with or without 'index'.");
    return nullptr;
  }
  vek::OwnedField field(vek_create_type_field_definition());
  if (!field) {
    VEK_LOGE("Failed to allocate field definition: %s", std::strerror(errno));
    return nullptr;
  }
  const JSON_Object* object = json_value_get_object(json);
  field->array_length = read_array_length(object);
  field->counting_mode =
      vek_value_type_from_string(json_object_get_string(object, "counting_mode"));
  if (!copy_text(object, "field_name", field->field_name) ||
      !copy_text(object, "description", field->description) ||
      !copy_text(object, "type_name", field->type_name)) {
    VEK_LOGE("Failed to allocate field definition: %s", std::strerror(errno));
    return nullptr;
  }
  field->type_size = vek::json_number_to<uint64_t>(json_object_get_number(object, "type_size"));
  field->offset = vek::json_number_to<uint64_t>(json_object_get_number(object, "offset"));
  if (json_object_has_value(object, "index")) {
    field->index = vek::json_number_to<uint16_t>(json_object_get_number(object, "index"));
  }
  return field.release();
}
