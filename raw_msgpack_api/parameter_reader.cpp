#include "raw_msgpack_api/parameter_reader.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "utils/logger.h"

namespace vek::engine {
namespace {

bool is_one_of(std::string_view text, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(),
                     [&](std::string_view word) { return equals_ignoring_case(text, word); });
}

std::string range(size_t low, size_t high) {
  return " from " + std::to_string(low) + " to " + std::to_string(high);
}

}  // namespace

void ParameterReader::refuse(std::string_view name, std::string_view allowed) {
  if (!good_) return;
  good_ = false;
  const std::string_view value = parameters_.text(name, "");
  VEK_LOGE("[raw msgpack API] %.*s = '%.*s' cannot be used; it takes %.*s",
           static_cast<int>(name.size()), name.data(), static_cast<int>(value.size()), value.data(),
           static_cast<int>(allowed.size()), allowed.data());
}

void ParameterReader::read(std::string_view name, bool& out) {
  const std::string_view value = parameters_.text(name, "");
  if (value.empty()) return;
  out = is_one_of(value, {"on", "true", "yes", "1"});
  if (!out && !is_one_of(value, {"off", "false", "no", "0"})) refuse(name, "on or off");
}

void ParameterReader::read_seconds(std::string_view name, std::chrono::milliseconds& out) {
  const std::string_view value = parameters_.text(name, "");
  if (value.empty()) return;
  constexpr double kShortest = 0.001;
  const auto seconds = parse_seconds(value);
  if (!seconds || *seconds < kShortest) return refuse(name, "seconds from 0.001 to 3600");
  out = std::chrono::milliseconds(static_cast<int64_t>(*seconds * 1000));
}

void ParameterReader::read_size(std::string_view name, size_t low, size_t high, size_t& out) {
  const std::string_view value = parameters_.text(name, "");
  if (value.empty()) return;
  const auto size = parse_size(value);
  if (!size || *size < low || *size > high) {
    return refuse(name, "a size" + range(low, high) + " bytes, as 64K");
  }
  out = *size;
}

void ParameterReader::read_number(std::string_view name, size_t low, size_t high, size_t& out) {
  const std::string_view value = parameters_.text(name, "");
  if (value.empty()) return;
  size_t number = 0;
  const char* value_end = value.data() + value.size();
  const auto [end, error] = std::from_chars(value.data(), value_end, number);
  if (error != std::errc{} || end != value_end || number < low || number > high) {
    return refuse(name, "a number" + range(low, high));
  }
  out = number;
}

}  // namespace vek::engine
