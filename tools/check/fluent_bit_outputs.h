// The outputs of an installed Fluent Bit and their parameters, as its program lists them.
#ifndef VEK_TOOLS_CHECK_FLUENT_BIT_OUTPUTS_H
#define VEK_TOOLS_CHECK_FLUENT_BIT_OUTPUTS_H

#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vek::tools {

class FluentBitOutputs {
 public:
  struct Output {
    std::vector<std::string> parameters;
    std::vector<std::string> prefixes;  // of parameters that are named at will, as "rdkafka."
    bool takes_any = false;             // it does not say which it takes

    bool knows(std::string_view parameter) const;
  };

  // Runs "PROGRAM -J", which prints them. Not is_known() when it prints anything else.
  static FluentBitOutputs ask(const std::string& program, std::chrono::milliseconds patience);
  static FluentBitOutputs parse(const std::string& text);

  bool is_known() const { return problem_.empty(); }
  const std::string& problem() const { return problem_; }  // what the program does instead
  const Output* find(std::string_view name) const;         // null: there is none of that name
  std::vector<std::string> names() const;

 private:
  std::map<std::string, Output> outputs_;
  std::string problem_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_FLUENT_BIT_OUTPUTS_H
