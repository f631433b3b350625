// Short words for building schemas in tests.
#ifndef VEK_TESTS_DATA_SCHEMA_FIXTURE_H
#define VEK_TESTS_DATA_SCHEMA_FIXTURE_H

#include <string>
#include <vector>

#include "data/schema.h"
#include "data/schema_owned.h"
#include "data/type_system_slots.h"
#include "json/json_owned.h"
#include "tests/support/temp_dir.h"

namespace vek::test {

using Infos = std::vector<vek_type_field_info_t>;

inline vek_type_field_info_t field(const char* name, const char* type, uint32_t array_length = 1) {
  return {name, "", type, VEK_VALUE_ABSOLUTE, array_length};
}

inline int add_type(vek_schema_t* schema, const char* name, const Infos& infos,
                    uint8_t* out_index = nullptr) {
  return vek_schema_add_type(schema, name, infos.data(), static_cast<uint32_t>(infos.size()),
                             out_index);
}

inline std::string pretty(const JSON_Value* json) {
  const JsonText text(json_serialize_to_string_pretty(json));
  return text ? text.get() : "(no text)";
}

inline std::string compact(const JSON_Value* json) {
  const JsonText text(json_serialize_to_string(json));
  return text ? text.get() : "(no text)";
}

// Takes the value over.
inline std::string compact_of(JSON_Value* json) { return compact(JsonValue(json).get()); }

inline std::string hex_id(const uint8_t* id) {
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(id, text);
  return text;
}

inline std::string golden(const std::string& name) {
  return read_file(std::string(VEK_SOURCE_DIR) + "/tests/data/golden/" + name + ".json");
}

inline std::string golden_path(const std::string& name) {
  return std::string(VEK_SOURCE_DIR) + "/tests/data/golden/" + name + ".json";
}

// A minimal events schema document around the text of its "types" array's elements.
inline std::string schema_document(const std::string& types, const std::string& version = "1.5.0") {
  return R"({"vek_version":")" + version +
         R"(","provider_name":"p","provider_version":"1.0.0","types":[)" + types + "]}";
}

inline std::string type_text(const std::string& name, const std::string& fields = "",
                             const std::string& size = "1") {
  return R"({"name":")" + name + R"(","size":)" + size + R"(,"fields":[)" + fields + "]}";
}

inline std::string field_text(const std::string& name, const std::string& type,
                              const std::string& more = "") {
  return R"({"field_name":")" + name +
         R"(","description":"","type_size":1,"offset":0,"type_name":")" + type +
         R"(","counting_mode":"ABSOLUTE")" + more + "}";
}

// A schema whose parent has the built-in types.
class SchemaWithBuiltins {
 public:
  SchemaWithBuiltins()
      : builtin_(vek_create_schema("<built-in>", VEK_SCHEMA_FORMAT_VERSION_ENCODED)),
        schema_(vek_create_schema("provider", 1)) {
    (void)vek_schema_register_builtin_types(builtin_.get());
    schema_->parent = builtin_.get();
  }

  vek_schema_t* get() { return schema_.get(); }
  vek_schema_t* operator->() { return schema_.get(); }
  vek_schema_t* builtin() { return builtin_.get(); }
  vek_type_definition_t* type(const char* name) {
    return vek_schema_find_type_definition(schema_.get(), name);
  }

 private:
  OwnedSchema builtin_;
  OwnedSchema schema_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_DATA_SCHEMA_FIXTURE_H
