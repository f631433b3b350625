#include "tests/hardening/record_sink.h"

#include <dlfcn.h>

#include <cstdlib>

#include "tests/exporter/engine/scripted_engine.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

RecordSink* g_sink = nullptr;

ScriptedEngine& engine() {
  static ScriptedEngine* const engine = [] {
    void* handle = dlopen(VEK_SCRIPTED_ENGINE_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!handle) std::abort();
    return reinterpret_cast<ScriptedEngine* (*)()>(dlsym(handle, "scripted_engine"))();
  }();
  return *engine;
}

}  // namespace

RawMsgpackApi RecordSink::api() {
  const AllocationsWork own;
  g_sink = this;
  RawMsgpackApi api;
  api.handle = dlopen(nullptr, RTLD_LAZY);  // this program: exporters close what they were given
  api.init = [](const char*, const char*, const char*, const fluentbit_export_parameters_t*,
                const char*, const char*) -> void* { return g_sink; };
  api.add_data = take;
  api.finalize = [](void*) { return 0; };
  return api;
}

int RecordSink::take(void* context, const void* data, size_t size) {
  const AllocationsWork own;
  static_cast<RecordSink*>(context)->text_ += msgpack_to_text(data, size);
  return 0;
}

ScriptedSink::ScriptedSink() {
  const AllocationsWork own;
  setenv("FLUENT_BIT_EXPORT_API_SO", VEK_SCRIPTED_ENGINE_PATH, 1);
  engine() = {};
}

ScriptedSink::~ScriptedSink() {
  const AllocationsWork own;
  engine() = {};
}

std::string ScriptedSink::text() const {
  const AllocationsWork own;
  std::string text;
  for (const auto& record : engine().records) text += msgpack_to_text(record);
  return text;
}

}  // namespace vek::test
