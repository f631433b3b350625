#include "tools/command_line/byte_size.h"

#include <charconv>
#include <string_view>

namespace vek::tools {
namespace {

uint64_t take_byte_size(const char* option, const std::string& text) {
  struct Unit {
    std::string_view name;
    int shift;
  };
  static constexpr Unit kUnits[] = {{"", 0},     {"k", 10},   {"KiB", 10}, {"M", 20},
                                    {"MiB", 20}, {"GiB", 30}, {"G", 30}};
  uint64_t number = 0;
  const char* const text_end = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), text_end, number);
  const std::string_view unit(end, static_cast<size_t>(text_end - end));
  for (const Unit& known : kUnits) {
    constexpr uint64_t kMost = uint64_t{1} << 33;
    if (error == std::errc() && unit == known.name && number > 0 && number <= kMost) {
      return number << known.shift;
    }
  }
  refuse(option, "'" + text + "' is no size such as 500k, 64MiB or 1GiB");
}

}  // namespace

Option add_byte_size(Verb& verb, const char* name, uint64_t& target, const std::string& help) {
  return verb.taken_by(
      name, "SIZE",
      [name, &target](const std::string& text) { target = take_byte_size(name, text); }, help);
}

}  // namespace vek::tools
