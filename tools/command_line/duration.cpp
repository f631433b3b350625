#include "tools/command_line/duration.h"

#include <charconv>
#include <string_view>

namespace vek::tools {
namespace {

uint64_t take_duration(const char* option, const std::string& text) {
  struct Unit {
    std::string_view name;
    uint64_t us;
  };
  static constexpr Unit kUnits[] = {
      {"us", 1}, {"ms", 1'000}, {"s", 1'000'000}, {"m", 60'000'000}, {"h", 3'600'000'000}};
  uint64_t number = 0;
  const char* const text_end = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), text_end, number);
  const std::string_view unit(end, static_cast<size_t>(text_end - end));
  for (const Unit& known : kUnits) {
    constexpr uint64_t kMost = 1'000'000'000;
    if (error == std::errc() && unit == known.name && number > 0 && number <= kMost) {
      return number * known.us;
    }
  }
  refuse(option, "'" + text + "' is no time such as 500ms, 1s or 5m");
}

}  // namespace

Option add_duration(Verb& verb, const char* name, uint64_t& target_us, const std::string& help) {
  return verb.taken_by(
      name, "TIME",
      [name, &target_us](const std::string& text) { target_us = take_duration(name, text); }, help);
}

}  // namespace vek::tools
