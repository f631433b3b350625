// What the engine and those who check configurations for it both have to know of outputs.
#ifndef VEK_UTILS_OUTPUT_RULES_H
#define VEK_UTILS_OUTPUT_RULES_H

#include <strings.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace vek {

// The outputs that the engine has itself; all others are Fluent Bit's.
inline constexpr std::string_view kStdoutRawOutput = "stdout_raw";
inline constexpr std::string_view kStdoutOutput = "stdout";
inline constexpr std::string_view kFileOutput = "file";
inline constexpr std::string_view kForwardOutput = "forward";
inline constexpr std::string_view kNullOutput = "null";
inline constexpr std::array kBuiltInOutputs{kStdoutRawOutput, kStdoutOutput, kFileOutput,
                                            kForwardOutput, kNullOutput};

// Names of outputs and of their parameters are the same in any case of letters.
inline bool same_word(std::string_view a, std::string_view b) noexcept {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

inline bool is_built_in_output(std::string_view name) noexcept {
  return std::any_of(kBuiltInOutputs.begin(), kBuiltInOutputs.end(),
                     [&](std::string_view known) { return same_word(known, name); });
}

// Parameters that the engine keeps to itself when the output is Fluent Bit's.
inline bool is_engine_parameter(std::string_view name) noexcept {
  constexpr std::string_view kPrefix = "vek.";
  constexpr std::array<std::string_view, 7> kNotForwarded{
      "Tag", "Mem_Buf_Limit", "Match", "Match_Regex", "Host", "Port", "storage.path"};
  return same_word(name.substr(0, kPrefix.size()), kPrefix) ||
         std::any_of(kNotForwarded.begin(), kNotForwarded.end(),
                     [&](std::string_view own) { return same_word(own, name); });
}

// True for what every output of Fluent Bit takes, whatever the plug-in says that it knows.
inline bool is_property_of_every_output(std::string_view name) noexcept {
  constexpr std::array<std::string_view, 12> kNames{
      "match", "match_regex", "alias", "log_level",   "log_suppress_interval",
      "host",  "port",        "ipv6",  "retry_limit", "workers",
      "tls",   "tag"};
  constexpr std::array<std::string_view, 3> kPrefixes{"tls.", "net.", "storage."};
  return std::any_of(kNames.begin(), kNames.end(),
                     [&](std::string_view known) { return same_word(known, name); }) ||
         std::any_of(kPrefixes.begin(), kPrefixes.end(), [&](std::string_view prefix) {
           return same_word(name.substr(0, prefix.size()), prefix);
         });
}

}  // namespace vek

#endif  // VEK_UTILS_OUTPUT_RULES_H
