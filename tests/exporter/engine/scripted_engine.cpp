#include "tests/exporter/engine/scripted_engine.h"

#include <cstddef>
#include <stdexcept>

#include "utils/export.h"
#include "utils/export_parameters.h"

namespace {

using vek::test::EngineInit;
using vek::test::ScriptedEngine;

void* contextOf(intptr_t number) { return reinterpret_cast<void*>(number); }
std::string numberOf(void* context) { return std::to_string(reinterpret_cast<intptr_t>(context)); }

void throwIfTold(const char* entry_point) {
  const ScriptedEngine& engine = *scripted_engine();
  if (engine.throws || engine.throws_from == entry_point) throw std::runtime_error("scripted");
}

}  // namespace

extern "C" {

VEK_API ScriptedEngine* scripted_engine() {
  static ScriptedEngine engine;
  return &engine;
}

VEK_API void* init(const char* plugin, const char* host, const char* port,
                   const fluentbit_export_parameters_t* params, const char* kind,
                   const char* second_tag) {
  ScriptedEngine& engine = *scripted_engine();
  engine.calls.push_back(std::string("init ") + plugin);
  EngineInit call{plugin, host, port, {}, kind, second_tag};
  for (int32_t i = 0; params && i < params->count; ++i) {
    call.params.emplace_back(params->params[i].name, params->params[i].value);
  }
  engine.inits.push_back(std::move(call));
  throwIfTold("init");
  if (engine.refuse_init || engine.refuse_plugin == plugin) return nullptr;
  if (engine.inits.size() == engine.refuse_nth) return nullptr;
  return contextOf(++engine.contexts);
}

VEK_API int add_data(void* context, const void* data, size_t size) {
  scripted_engine()->calls.push_back("add_data " + numberOf(context));
  throwIfTold("add_data");
  const auto* bytes = static_cast<const uint8_t*>(data);
  scripted_engine()->records.emplace_back(bytes, bytes + size);
  return context ? 0 : 1;
}

VEK_API int finalize(void* context) {
  scripted_engine()->calls.push_back("finalize " + numberOf(context));
  throwIfTold("finalize");
  return context ? scripted_engine()->finalize_result : 1;
}

}  // extern "C"
