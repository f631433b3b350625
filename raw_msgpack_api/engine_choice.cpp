#include "raw_msgpack_api/engine_choice.h"

#include "utils/logger.h"
#include "utils/output_rules.h"

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

std::string built_in_names() {
  std::string names;
  for (const std::string_view name : kBuiltInOutputs) {
    if (!names.empty()) names += ", ";
    names += name;
  }
  return names;
}

void report_no_output(std::string_view name) {
  VEK_LOGE("[raw msgpack API] there is no output '%.*s'; these work: %s",
           static_cast<int>(name.size()), name.data(), built_in_names().c_str());
}

}  // namespace vek::engine
