#include "raw_msgpack_api/engine_choice.h"

#include "utils/logger.h"

namespace vek::engine {

const char* engine_name(Engine engine) {
  switch (engine) {
    case Engine::kLibrary:
      return "library";
    case Engine::kProcess:
      return "process";
    default:
      return "builtin";
  }
}

std::optional<std::vector<Engine>> engines_to_try(const Parameters& parameters, bool is_built_in) {
  const std::string_view wanted = parameters.text("vek.engine", "auto");
  if (equals_ignoring_case(wanted, "auto")) {
    if (is_built_in) return {{Engine::kBuiltin}};
    return {{Engine::kLibrary, Engine::kProcess}};
  }
  for (const Engine engine : {Engine::kBuiltin, Engine::kLibrary, Engine::kProcess}) {
    if (equals_ignoring_case(wanted, engine_name(engine))) return {{engine}};
  }
  VEK_LOGE(
      "[raw msgpack API] vek.engine = '%.*s' cannot be used; it takes auto, builtin, library or "
      "process",
      static_cast<int>(wanted.size()), wanted.data());
  return std::nullopt;
}

}  // namespace vek::engine
