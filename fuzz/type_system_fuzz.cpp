// Type systems as documents. One that is accepted prints to a text that is accepted and prints the
// same again; a schema manager either takes the text and hands out its schemas, or says why not.
#include <memory>
#include <stdexcept>

#include "data/type_system.h"
#include "fuzz/schema_documents.h"
#include "fuzz/support.h"
#include "schema_manager/schema_manager.h"

namespace {

using vek::JsonText;
using vek::fuzz::require;
using TypeSystem = vek::Owned<vek_type_system_t, vek_destroy_type_system>;

bool knows_all_names(const vek_type_system_t& types) {
  if (types.counters_schema && !vek::fuzz::knows_all_names(*types.counters_schema)) return false;
  for (unsigned i = 0; i < types.num_schemas; ++i) {
    if (!vek::fuzz::knows_all_names(*types.schemas[i])) return false;
  }
  return true;
}

void check(const vek_type_system_t* types) {
  const JsonText written(vek_type_system_serialize(types, true));
  if (!written || !knows_all_names(*types)) return;
  const TypeSystem again(vek_type_system_deserialize(written.get()));
  require(again != nullptr, "what is written is accepted");
  const JsonText rewritten(vek_type_system_serialize(again.get(), true));
  require(rewritten && std::string_view(written.get()) == rewritten.get(),
          "it is written the same again");
  const JsonText compact(vek_type_system_serialize(types, false));
  const TypeSystem of_compact(vek_type_system_deserialize(compact.get()));
  require(of_compact && of_compact->num_schemas == again->num_schemas,
          "without white space it is accepted too");
}

void use(const vek_type_system_t* types) {
  for (unsigned i = 0; i < types->num_schemas; ++i) {
    vek::fuzz::require_renderable(*types->schemas[i]);
    vek::fuzz::require_bindable(*types->schemas[i]);
  }
}

void manage(const std::string& text) {
  vek::SchemaManager manager;
  try {
    manager.appendTypeSystem(text);
  } catch (const std::runtime_error&) {
    return;
  }
  for (const auto& [id, schema] : manager.getEventsSchemas()) {
    require(manager.getEventsSchema(id) == schema, "a held schema is found");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  const std::string text(data, data + size);
  TypeSystem types;
  {
    const vek::fuzz::Budget budget(size, vek::fuzz::kDocumentFactor);
    types.reset(vek_type_system_deserialize(text.c_str()));
    if (types && vek::fuzz::is_utf8(text)) check(types.get());
    manage(text);
  }
  vek::fuzz::survives_without_memory(size, [&] {
    const TypeSystem again(vek_type_system_deserialize(text.c_str()));
    const JsonText written(again ? vek_type_system_serialize(again.get(), true) : nullptr);
  });
  if (types) use(types.get());  // outside of the budget: limits of their own bound it
  return 0;
}
