// Events schemas as documents. One that is accepted prints to a text that is accepted and prints
// the same again, for identifiers are digests of it; its types can be bound and rendered.
#include "data/schema_owned.h"
#include "data/type_system.h"
#include "fuzz/schema_documents.h"
#include "fuzz/support.h"

using vek::JsonValue;
using vek::fuzz::require;

namespace {

void check(const std::string& text) {
  const JsonValue json(json_parse_string(text.c_str()));
  if (!json) return;
  const vek::OwnedSchema schema(vek_schema_from_json(json.get()));
  if (!schema) return;
  const JsonValue written(vek_schema_jsonify(schema.get()));
  require((schema->num_types == 0) == (written == nullptr), "a schema with types has a document");
  // A counting mode that is unknown has no name to be written by.
  if (!written || !vek::fuzz::knows_all_names(*schema)) return;
  const vek::OwnedSchema again(vek_schema_from_json(written.get()));
  require(again != nullptr, "what is written is accepted");
  const JsonValue rewritten(vek_schema_jsonify(again.get()));
  require(vek::fuzz::pretty(written.get()) == vek::fuzz::pretty(rewritten.get()),
          "it is written the same again");
}

// As a provider's document enters a type system, which resolves its references.
void add(const std::string& text, vek_type_system_t* types) {
  uint8_t index = 0;
  if (vek_type_system_add_schema_from_serialized_json(types, text.c_str(), &index) != 0) {
    require(types->num_schemas == 0, "a refused document leaves nothing");
    return;
  }
  if (index == VEK_MAX_SCHEMAS) return;  // a counters schema
  require(index == 0 && types->num_schemas == 1, "the schema is the first");
  index = 1;
  require(vek_type_system_add_schema_from_serialized_json(types, text.c_str(), &index) == 0 &&
              index == 0 && types->num_schemas == 1,
          "the same document again is the same schema");
}

// As a file, alone and into a type system.
void load(const std::string& text, vek_type_system_t* types) {
  const vek::fuzz::InputFile file(text);
  const vek::OwnedSchema alone(vek_schema_load_from_file(file.path(), types->builtin));
  const vek_schema_t* among = vek_type_system_load_schema(types, file.path());
  require((among != nullptr) == (types->num_schemas == 1), "what is loaded is there");
  if (!among) return;
  require(alone != nullptr, "what a type system takes is a schema by itself");
  const bool has_texts = vek::fuzz::is_utf8(text) && vek::fuzz::knows_all_names(*among);
  for (unsigned i = 0; i < among->num_types; ++i) {
    const vek::JsonText one(vek_type_definition_serialize(alone->types[i], size_t{i} % 2 == 0));
    const vek::JsonText other(vek_type_definition_serialize(among->types[i], size_t{i} % 2 == 0));
    require((one == nullptr) == (other == nullptr), "with types as good");
    require(!one || std::string_view(one.get()) == other.get(), "which are the same");
    require(one || !has_texts, "and have texts");
  }
}

void use_without_memory(const std::string& text, vek_type_system_t* types) {
  const JsonValue json(json_parse_string(text.c_str()));
  const vek::OwnedSchema schema(vek_schema_from_json(json.get()));
  if (schema) {
    const JsonValue written(vek_schema_jsonify(schema.get()));
    if (schema->num_types > 0) {
      const vek::JsonText type(vek_type_definition_serialize(schema->types[0], true));
    }
  }
  vek_type_system_add_schema_from_serialized_json(types, text.c_str(), nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  const std::string text(data, data + size);
  const vek::Owned<vek_type_system_t, vek_destroy_type_system> types(vek_create_type_system());
  {
    const vek::fuzz::Budget budget(size, vek::fuzz::kDocumentFactor);
    if (vek::fuzz::is_utf8(text)) check(text);
    // One in four as a file, the others as received.
    size % 4 == 0 ? load(text, types.get()) : add(text, types.get());
  }
  vek::fuzz::survives_without_memory(size, [&] { use_without_memory(text, types.get()); });
  // Outside of the budget: a few arrays of arrays are many fields. Limits of their own bound them.
  if (types->num_schemas == 0) return 0;
  vek::fuzz::require_renderable(*types->schemas[0]);
  vek::fuzz::require_bindable(*types->schemas[0]);
  return 0;
}
