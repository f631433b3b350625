// Finding the places of a record's values, by going over its steps once more.
#include <algorithm>
#include <exception>
#include <limits>

#include "utils/limited_text.h"
#include "utils/msgpack_encode.h"
#include "utils/record_places.h"
#include "utils/unaligned.h"

namespace vek {

class RecordPlaces::Learner {
 public:
  Learner(RecordPlaces& places, const PlanInput& input) : places_(places), input_(input) {}

  // False for a section with a step that has no place.
  bool section(const PlanSection& section) {
    for (const PlanStep& step : section.steps) {
      if (!take(step)) return false;
    }
    return true;
  }

 private:
  uint8_t byte(uint32_t at) const { return static_cast<uint8_t>(places_.record_[at]); }

  bool take(const PlanStep& step) {
    at_ += step.literal_size;
    switch (step.value) {
      case StepValue::kNone:
      case StepValue::kEnd:
        return true;
      case StepValue::kNumber:
        return number(step);
      case StepValue::kSeconds:
      case StepValue::kTime:
        // Any other time is packed anew.
        return input_.time_us > std::numeric_limits<uint32_t>::max() && time(step);
      case StepValue::kMapHeader:
        // Says how many texts are left out, and each of those has a place.
        at_ += map_header_size();
        return true;
      case StepValue::kHex:
        text(places_.guids_, step);
        places_.guids_.back().guid = load_unaligned<uint64_t>(input_.bytes + step.offset);
        return true;
      case StepValue::kSourceOrEmpty:
        return text(places_.sources_, step);
      case StepValue::kSource:
        return input_.has_source ? text(places_.sources_, step) : left_out(places_.sources_, step);
      case StepValue::kText:
        return field_text(step);
      case StepValue::kTextUnlessEmpty: {
        const bool is_empty = text_length(input_.bytes + step.offset, step) == 0;
        return is_empty && input_.leave_out_empty ? left_out(places_.others_, step)
                                                  : field_text(step);
      }
      default:
        return false;
    }
  }

  bool number(const PlanStep& step) {
    if (step.offset > std::numeric_limits<uint32_t>::max() - sizeof(uint64_t)) return false;
    const auto in = static_cast<uint32_t>(step.offset);
    if (step.number.kind == NumberKind::kFlag) {
      places_.flags_.push_back({in + 7 - step.number.up / 8u, at_++});
      return true;
    }
    NumberPlaces& numbers = places_.numbers_;
    numbers.append(in, step.number, places_.record_, at_);
    at_ = numbers.end(numbers.size() - 1);
    return true;
  }

  // An empty text that may be left out another time is no short one.
  bool field_text(const PlanStep& step) {
    const bool may_go = step.value == StepValue::kTextUnlessEmpty &&
                        text_length(input_.bytes + step.offset, step) == 0;
    if (may_go || !TextPlaces::takes(step)) return text(places_.others_, step);
    const uint32_t begin = at_;
    const uint32_t size = text_size();
    places_.texts_.append(step, places_.record_, begin, size);
    at_ += size;
    return true;
  }

  bool text(Others& others, const PlanStep& step) {
    const uint32_t begin = at_;
    const uint32_t size = text_size();
    others.push_back({&step, begin, size, false, 0});
    at_ += size;
    return true;
  }

  // Goes over the text's header.
  uint32_t text_size() {
    const uint8_t first = byte(at_++);
    if (first < 0xd9 || first > 0xdb) return first & 0x1f;
    uint32_t size = 0;
    for (int left = 1 << (first - 0xd9); left > 0; --left) size = size << 8 | byte(at_++);
    return size;
  }

  bool time(const PlanStep& step) {
    if (places_.numbers_.size() + places_.texts_.size() > 0) {
      places_.times_are_out_of_reach_ = false;
    }
    places_.times_.push_back({&step, at_, 0, false, 0});
    at_ += kMsgpackMaxNumber;
    return true;
  }

  bool left_out(Others& others, const PlanStep& step) {
    at_ -= static_cast<uint32_t>(key_size(step));
    others.push_back({&step, at_, 0, true, 0});
    return true;
  }

  uint32_t map_header_size() const {
    switch (byte(at_)) {
      case 0xde:
        return 3;
      case 0xdf:
        return 5;
      default:
        return 1;
    }
  }

  RecordPlaces& places_;
  const PlanInput& input_;
  uint32_t at_ = 0;
};

bool RecordPlaces::learn(const PlanSection& head, const PlanSection& body, const PlanInput& input,
                         char* record, size_t size, size_t capacity) noexcept {
  if (size == 0 || size > std::numeric_limits<uint32_t>::max()) return false;
  record_ = record;
  size_ = size;
  capacity_ = capacity;
  numbers_.clear(std::min(head.input_size, body.input_size));
  texts_.clear();
  flags_.clear();
  for (Others* others : {&sources_, &guids_, &others_, &times_}) others->clear();
  time_us_ = input.time_us;
  times_are_out_of_reach_ = true;
  try {
    Learner learner(*this, input);
    return learner.section(head) && learner.section(body);
  } catch (const std::exception&) {  // no memory: records are packed anew
    return false;
  }
}

}  // namespace vek
