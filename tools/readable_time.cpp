#include "tools/readable_time.h"

#include <array>
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

}  // namespace vek::tools
