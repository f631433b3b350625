#include "utils/record_head.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "utils/msgpack_encode.h"
#include "utils/text_places.h"
#include "utils/unaligned.h"

namespace vek {
namespace {

// Times have eight bytes but for the hours around 1970.
bool has_usual_size(uint64_t time_us) { return time_us > std::numeric_limits<uint32_t>::max(); }

// Without a call for names of 8 to 32 bytes, as sources have: four words that overlap.
bool is_same_text(const char* a, const char* b, size_t size) noexcept {
  constexpr size_t kWord = sizeof(uint64_t);
  if (size < kWord || size > 4 * kWord) return std::memcmp(a, b, size) == 0;
  const auto differ = [a, b](size_t at) {
    return load_unaligned<uint64_t>(a + at) ^ load_unaligned<uint64_t>(b + at);
  };
  const size_t last = size - kWord;
  const size_t step = std::min(kWord, last);
  return (differ(0) | differ(step) | differ(last - step) | differ(last)) == 0;
}

}  // namespace

void RecordHead::learn(const PlanSection& section, const PlanInput& input, size_t size) noexcept {
  section_ = nullptr;
  if (!has_usual_size(input.time_us)) return;
  size_ = size;
  has_source_ = input.has_source;
  source_size_ = input.source.size();
  source_at_ = 0;
  num_times_ = 0;
  size_t at = 0;
  for (const PlanStep& step : section.steps) {
    at += step.literal_size;
    if (!take(step, input, at)) return;
  }
  section_ = &section;
}

// Goes over a step's value. False for one that comes out of the input's bytes.
bool RecordHead::take(const PlanStep& step, const PlanInput& input, size_t& at) noexcept {
  switch (step.value) {
    case StepValue::kNone:
    case StepValue::kEnd:
      return true;
    case StepValue::kSeconds:
    case StepValue::kTime:
      if (num_times_ == times_.size()) return false;
      times_[num_times_++] = {at + 1, step.value == StepValue::kSeconds};
      at += kMsgpackMaxNumber;
      return true;
    case StepValue::kSource:
      if (!input.has_source) {
        at -= key_size(step);
        return true;
      }
      [[fallthrough]];
    case StepValue::kSourceOrEmpty:
      at += text_header_size(input.source.size());
      if (!input.source.empty()) source_at_ = at;
      at += input.source.size();
      return true;
    default:
      return false;
  }
}

size_t RecordHead::renew(char* record, const PlanSection& section,
                         const PlanInput& input) const noexcept {
  if (section_ != &section || !has_usual_size(input.time_us)) return 0;
  if (has_source_ != input.has_source || source_size_ != input.source.size()) return 0;
  if (source_at_ > 0 && !is_same_text(record + source_at_, input.source.data(), source_size_)) {
    return 0;
  }
  const auto seconds = std::bit_cast<uint64_t>(seconds_of(input.time_us));
  for (size_t i = 0; i < num_times_; ++i) {
    msgpack_detail::put_big_endian(record + times_[i].at,
                                   times_[i].in_seconds ? seconds : input.time_us);
  }
  return size_;
}

}  // namespace vek
