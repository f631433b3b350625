#include "tools/replay/time_shift.h"

#include <cstring>

namespace vek::tools {

void TimeShift::apply(std::span<uint8_t> image, const std::vector<size_t>& places,
                      std::optional<uint64_t> first_us, uint64_t now_us) {
  if (!first_us) return;
  if (!distance_us_) distance_us_ = now_us - *first_us;
  for (const size_t place : places) {
    uint64_t time_us = 0;
    if (place > image.size() || image.size() - place < sizeof(time_us)) continue;
    std::memcpy(&time_us, image.data() + place, sizeof(time_us));
    time_us += *distance_us_;
    std::memcpy(image.data() + place, &time_us, sizeof(time_us));
  }
}

}  // namespace vek::tools
