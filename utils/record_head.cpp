#include "utils/record_head.h"

#include <bit>
#include <limits>

#include "utils/msgpack_encode.h"
#include "utils/text_places.h"

namespace vek {
namespace {

// Times have eight bytes but for the hours around 1970.
bool has_usual_size(uint64_t time_us) { return time_us > std::numeric_limits<uint32_t>::max(); }

}  // namespace

void RecordHead::learn(const PlanSection& section, const PlanInput& input, size_t size) noexcept {
  section_ = nullptr;
  if (!has_usual_size(input.time_us)) return;
  size_ = size;
  has_source_ = input.has_source;
  source_size_ = input.source.size();
  num_sources_ = 0;
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
      if (num_sources_ == sources_.size()) return false;
      at += text_header_size(input.source.size());
      sources_[num_sources_++] = at;
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
  // Copied whether it is another one or not, which costs no more than a look.
  for (size_t i = 0; i < num_sources_; ++i) {
    msgpack_detail::put_bytes(record + sources_[i], input.source.data(), source_size_);
  }
  const auto seconds = std::bit_cast<uint64_t>(seconds_of(input.time_us));
  for (size_t i = 0; i < num_times_; ++i) {
    msgpack_detail::put_big_endian(record + times_[i].at,
                                   times_[i].in_seconds ? seconds : input.time_us);
  }
  return size_;
}

}  // namespace vek
