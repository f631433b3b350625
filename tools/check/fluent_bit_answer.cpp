#include "tools/check/fluent_bit_answer.h"

#include "tools/base/program_output.h"
#include "tools/base/suggest.h"
#include "utils/fluent_bit_search.h"
#include "utils/output_rules.h"

namespace vek::tools {

std::vector<AskedParameter> asked_parameters(const ConfiguredDestination& destination) {
  std::vector<AskedParameter> asked;
  const fluentbit_export_parameters_t* params = destination.config->params;
  for (int32_t i = 0; params && i < params->count; ++i) {
    AskedParameter one{params->params[i].name, params->params[i].value};
    if (one.value.empty() || is_engine_parameter(one.name) ||
        is_property_of_every_output(one.name)) {
      continue;
    }
    asked.push_back(std::move(one));
  }
  return asked;
}

FluentBitAnswer FluentBitPrograms::ask(const ConfiguredDestination& destination) {
  constexpr std::chrono::seconds kPatience{30};
  FluentBitAnswer answer;
  const std::string program = first_program(program_candidates(
      destination.parameter("vek.engine_path"), SearchEnvironment::of_process()));
  if (program.empty()) return answer;
  answer.was_asked = true;
  auto found = known_.find(program);
  if (found == known_.end()) {
    found = known_.emplace(program, FluentBitOutputs::ask(program, kPatience)).first;
  }
  const FluentBitOutputs& outputs = found->second;
  if (!outputs.is_known()) {
    answer.problem = "'" + program + " -J' " + outputs.problem();
    return answer;
  }
  const FluentBitOutputs::Output* output = outputs.find(destination.output());
  if (!output) {
    answer.refusals.push_back({"", nearest(destination.output(), outputs.names())});
    return answer;
  }
  for (const AskedParameter& one : asked_parameters(destination)) {
    if (output->knows(one.name)) continue;
    answer.refusals.push_back({one.name, nearest(one.name, output->parameters)});
  }
  return answer;
}

}  // namespace vek::tools
