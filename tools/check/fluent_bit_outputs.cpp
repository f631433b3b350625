#include "tools/check/fluent_bit_outputs.h"

#include <algorithm>

#include "json/json_owned.h"
#include "tools/base/program_output.h"
#include "utils/output_rules.h"

namespace vek::tools {
namespace {

FluentBitOutputs::Output read_output(const JSON_Object* document) {
  FluentBitOutputs::Output output;
  const JSON_Object* groups = json_object_get_object(document, "properties");
  // Outputs without a list take whatever they are given.
  output.takes_any = json_object_get_array(groups, "options") == nullptr;
  for (size_t group = 0; group < json_object_get_count(groups); ++group) {
    const JSON_Array* list = json_value_get_array(json_object_get_value_at(groups, group));
    for (size_t i = 0; i < json_array_get_count(list); ++i) {
      const JSON_Object* property = json_array_get_object(list, i);
      const char* name = json_object_get_string(property, "name");
      const char* type = json_object_get_string(property, "type");
      if (!name) continue;
      const bool is_prefix = type && std::string_view(type) == "prefixed string";
      (is_prefix ? output.prefixes : output.parameters).emplace_back(name);
    }
  }
  return output;
}

}  // namespace

bool FluentBitOutputs::Output::knows(std::string_view parameter) const {
  return takes_any ||
         std::any_of(parameters.begin(), parameters.end(),
                     [&](const std::string& name) { return same_word(name, parameter); }) ||
         std::any_of(prefixes.begin(), prefixes.end(), [&](const std::string& prefix) {
           return same_word(prefix, parameter.substr(0, prefix.size()));
         });
}

FluentBitOutputs FluentBitOutputs::ask(const std::string& program,
                                       std::chrono::milliseconds patience) {
  const ProgramOutput answer = run_program(program, {"-J"}, patience);
  if (answer.problem.empty()) return parse(answer.text);
  FluentBitOutputs outputs;
  outputs.problem_ = answer.problem;
  return outputs;
}

FluentBitOutputs FluentBitOutputs::parse(const std::string& text) {
  FluentBitOutputs outputs;
  const JsonValue document(json_parse_string(text.c_str()));
  const JSON_Array* list = json_object_get_array(json_value_get_object(document.get()), "outputs");
  if (!list) outputs.problem_ = "does not list its outputs";
  for (size_t i = 0; i < json_array_get_count(list); ++i) {
    const JSON_Object* output = json_array_get_object(list, i);
    if (const char* name = json_object_get_string(output, "name")) {
      outputs.outputs_.emplace(name, read_output(output));
    }
  }
  return outputs;
}

const FluentBitOutputs::Output* FluentBitOutputs::find(std::string_view name) const {
  for (const auto& [known, output] : outputs_) {
    if (same_word(known, name)) return &output;
  }
  return nullptr;
}

std::vector<std::string> FluentBitOutputs::names() const {
  std::vector<std::string> all;
  for (const auto& [name, output] : outputs_) all.push_back(name);
  return all;
}

}  // namespace vek::tools
