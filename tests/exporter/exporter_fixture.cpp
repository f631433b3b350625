#include "tests/exporter/exporter_fixture.h"

#include <dlfcn.h>

#include <stdexcept>

namespace vek::test {

ScriptedEngine& engine() {
  static ScriptedEngine* const engine = [] {
    void* handle = dlopen(VEK_SCRIPTED_ENGINE_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!handle) throw std::runtime_error(dlerror());
    return reinterpret_cast<ScriptedEngine* (*)()>(dlsym(handle, "scripted_engine"))();
  }();
  return *engine;
}

}  // namespace vek::test
