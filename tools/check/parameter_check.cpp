#include "tools/check/parameter_check.h"

#include "tools/base/lower_case.h"
#include "tools/check/fluent_bit_answer.h"
#include "utils/output_rules.h"

namespace vek::tools {
namespace {

bool needs_fluent_bit(const ConfiguredDestination& destination) {
  const std::string engine = destination.parameter("vek.engine");
  if (same_word(engine, "library") || same_word(engine, "process")) return true;
  return !same_word(engine, "builtin") && !is_built_in_output(destination.output());
}

// Whom the engine would take.
FluentBitAnswer ask(const ConfiguredDestination& destination, FluentBitPrograms& programs) {
  const std::string engine = destination.parameter("vek.engine");
  FluentBitAnswer answer;
  if (!same_word(engine, "process")) answer = ask_fluent_bit_library(destination);
  if (!answer.was_asked && !same_word(engine, "library")) answer = programs.ask(destination);
  return answer;
}

void tell(const ConfiguredDestination& destination, const FluentBitAnswer::Refusal& refusal,
          Findings& findings) {
  const std::string output = destination.output();
  const std::string guess =
      refusal.nearest.empty() ? "" : "did you mean '" + refusal.nearest + "'?";
  if (refusal.parameter.empty()) {
    findings.error(destination.place_of("plugin_name"), "no-such-output",
                   "the installed Fluent Bit has no output '" + output + "'", guess);
    return;
  }
  findings.error(destination.place_of("plugin_" + lower_case(refusal.parameter)),
                 "unknown-parameter",
                 "the output '" + output + "' of the installed Fluent Bit has no parameter '" +
                     refusal.parameter + "'",
                 guess.empty() ? "the destination will not start" : guess);
}

}  // namespace

void check_parameters(const std::vector<ConfiguredDestination>& destinations, Findings& findings) {
  FluentBitPrograms programs;
  for (const ConfiguredDestination& destination : destinations) {
    if (!destination.is_enabled() || !needs_fluent_bit(destination)) continue;
    const FluentBitAnswer answer = ask(destination, programs);
    for (const FluentBitAnswer::Refusal& refusal : answer.refusals) {
      tell(destination, refusal, findings);
    }
    if (answer.problem.empty()) continue;
    findings.warning(destination.place_of("plugin_name"), "not-asked",
                     "Fluent Bit could not be asked for the parameters of '" +
                         std::string(destination.output()) + "': " + answer.problem);
  }
}

}  // namespace vek::tools
