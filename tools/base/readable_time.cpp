#include "tools/base/readable_time.h"

#include <array>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <ctime>

namespace vek::tools {

std::string readable_time(uint64_t us_since_epoch) {
  constexpr uint64_t kYear10000 = 253'402'300'800;
  const uint64_t seconds = us_since_epoch / 1'000'000;
  if (seconds >= kYear10000) return std::to_string(us_since_epoch);
  const auto time = static_cast<time_t>(seconds);
  std::tm utc{};
  gmtime_r(&time, &utc);
  std::array<char, 32> date{};
  std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%s.%06" PRIu64 "Z", date.data(),
                us_since_epoch % 1'000'000);
  return text.data();
}

namespace {

// Digits at the front of the text, cut off; none when there are not exactly `count`.
std::optional<int> take_digits(std::string_view& text, size_t count) {
  int value = 0;
  if (text.size() < count) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + count, value);
  if (error != std::errc() || end != text.data() + count || value < 0) return std::nullopt;
  text.remove_prefix(count);
  return value;
}

bool take_char(std::string_view& text, std::string_view choices) {
  if (text.empty() || choices.find(text.front()) == std::string_view::npos) return false;
  text.remove_prefix(1);
  return true;
}

// ".5", behind the seconds; up to six digits.
std::optional<uint64_t> take_fraction(std::string_view& text) {
  uint64_t us = 0;
  uint64_t unit = 100'000;
  if (!take_char(text, ".")) return us;
  if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
  for (; !text.empty() && text.front() >= '0' && text.front() <= '9'; unit /= 10) {
    if (unit == 0) return std::nullopt;
    us += static_cast<uint64_t>(text.front() - '0') * unit;
    text.remove_prefix(1);
  }
  return us;
}

bool take_clock(std::string_view& text, std::tm& utc, uint64_t& us) {
  const auto hour = take_digits(text, 2);
  if (!hour || !take_char(text, ":")) return false;
  const auto minute = take_digits(text, 2);
  if (!minute) return false;
  utc.tm_hour = *hour;
  utc.tm_min = *minute;
  if (take_char(text, ":")) {
    const auto second = take_digits(text, 2);
    const auto fraction = second ? take_fraction(text) : std::nullopt;
    if (!fraction) return false;
    utc.tm_sec = *second;
    us = *fraction;
  }
  take_char(text, "Z");
  return utc.tm_hour < 24 && utc.tm_min < 60 && utc.tm_sec < 61;
}

}  // namespace

std::optional<uint64_t> parse_time(std::string_view text) {
  uint64_t us = 0;
  const char* const text_end = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), text_end, us);
  if (error == std::errc() && end == text_end) return us;
  us = 0;
  std::tm utc{};
  const auto year = take_digits(text, 4);
  if (!year || !take_char(text, "-")) return std::nullopt;
  const auto month = take_digits(text, 2);
  if (!month || !take_char(text, "-")) return std::nullopt;
  const auto day = take_digits(text, 2);
  if (!day || *month < 1 || *month > 12 || *day < 1 || *day > 31) return std::nullopt;
  utc.tm_year = *year - 1900;
  utc.tm_mon = *month - 1;
  utc.tm_mday = *day;
  if (!text.empty() && (!take_char(text, "T ") || !take_clock(text, utc, us))) return std::nullopt;
  const time_t seconds = timegm(&utc);
  if (!text.empty() || seconds < 0) return std::nullopt;
  return static_cast<uint64_t>(seconds) * 1'000'000 + us;
}

}  // namespace vek::tools
