// Writing values to their places. The hot loop of the plug-in where values are steady.
#include "utils/record_places.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "utils/guid_text.h"
#include "utils/limited_text.h"
#include "utils/msgpack_encode.h"
#include "utils/unaligned.h"

namespace vek {
namespace {

using msgpack_detail::put_big_endian;
using msgpack_detail::put_bytes;

constexpr char kTrue = static_cast<char>(0xc3);
constexpr char kFalse = static_cast<char>(0xc2);
constexpr size_t kWord = sizeof(uint64_t);
constexpr unsigned kMostMoves = 4;  // one costs as much as some forty counters packed anew

constexpr auto stands_before = [](const auto& value, uint32_t place) { return value.out < place; };

}  // namespace

bool RecordPlaces::rewrite(const PlanInput& input) noexcept { return rewrite_by(true, input); }

bool RecordPlaces::rewrite_baseline(const PlanInput& input) noexcept {
  return rewrite_by(false, input);
}

bool RecordPlaces::rewrite_by(bool is_modern, const PlanInput& input) noexcept {
  moves_left_ = kMostMoves;
  // The events of a block have one time.
  if (input.time_us != time_us_) {
    time_us_ = input.time_us;
    if (!rewrite_all(times_, input)) return false;
  }
  // The words of numbers may overlap what comes behind them.
  return rewrite_numbers(is_modern, input.bytes) && rewrite_texts(is_modern, input) &&
         rewrite_all(others_, input);
}

bool RecordPlaces::rewrite_all(std::vector<Other>& others, const PlanInput& input) noexcept {
  for (Other& other : others) {
    if (!rewrite_other(other, input)) return false;
  }
  return true;
}

bool RecordPlaces::rewrite_texts(bool is_modern, const PlanInput& input) noexcept {
  for (size_t at = 0;; ++at) {
    at = is_modern ? texts_.write(record_, input.bytes, at)
                   : texts_.write_baseline(record_, input.bytes, at);
    if (at == texts_.size()) return true;
    if (!resize_text(at, input)) return false;
  }
}

bool RecordPlaces::rewrite_numbers(bool is_modern, const char* bytes) noexcept {
  for (size_t at = 0;;) {
    at = is_modern ? numbers_.write(record_, bytes, at)
                   : numbers_.write_baseline(record_, bytes, at);
    if (at == numbers_.size()) return true;
    if (!resize(at, bytes)) return false;
  }
}

// Gives a number the size of another value; it is written afterwards.
bool RecordPlaces::resize(size_t number, const char* bytes) noexcept {
  char encoded[kMsgpackMaxNumber + kWord];
  const char* const end = numbers_.write_anew(encoded, bytes, number);
  const uint32_t begin = numbers_.begin(number);
  if (!move(numbers_.end(number), begin + static_cast<uint32_t>(end - encoded))) return false;
  record_[begin] = encoded[0];
  numbers_.renew(number, record_, begin);
  numbers_.renew_tails_before(begin, record_);
  return true;
}

// Writes a text that is longer or shorter than its place.
bool RecordPlaces::resize_text(size_t text, const PlanInput& input) noexcept {
  const PlanStep& step = texts_.step(text);
  const char* const value = input.bytes + step.offset;
  const uint32_t length = text_length(value, step);
  if (length == 0 && step.value == StepValue::kTextUnlessEmpty && input.leave_out_empty) {
    return false;
  }
  const uint32_t begin = texts_.begin(text);
  if (!move(texts_.end(text), begin + text_header_size(length) + length)) return false;
  texts_.renew(text, length);
  put_str(record_ + begin, value, length);
  numbers_.renew_tails_before(begin, record_);
  return true;
}

// Moves what stands behind a value that gets another end, and notes the new places.
bool RecordPlaces::move(uint32_t old_end, uint32_t new_end) noexcept {
  if (old_end == new_end) return true;
  const size_t new_size = size_ - old_end + new_end;
  if (moves_left_ == 0 || new_size + PlanSection::kRoomBehind > capacity_) return false;
  --moves_left_;
  std::memmove(record_ + new_end, record_ + old_end, size_ - old_end);
  size_ = new_size;
  const uint32_t shift = new_end - old_end;  // modulo 2^32
  numbers_.move_from(old_end, shift);
  texts_.move_from(old_end, shift);
  for (std::vector<Other>* others : {&others_, &times_}) {
    auto other = std::lower_bound(others->begin(), others->end(), old_end, stands_before);
    for (; other != others->end(); ++other) other->out += shift;
  }
  return true;
}

bool RecordPlaces::rewrite_other(Other& other, const PlanInput& input) noexcept {
  char* const p = record_ + other.out;
  const PlanStep& step = *other.step;
  const char* value = input.bytes + step.offset;
  switch (step.value) {
    case StepValue::kBool:
      *p = *value != 0 ? kTrue : kFalse;
      return true;
    case StepValue::kSeconds:
      put_double(p, seconds_of(input.time_us));
      return true;
    case StepValue::kTime:
      // Times have eight bytes but for the hours around 1970.
      if (input.time_us <= std::numeric_limits<uint32_t>::max()) return false;
      put_big_endian(p + 1, input.time_us);
      return true;
    case StepValue::kSource:
      if (other.is_left_out) return !input.has_source;
      return input.has_source && rewrite_text(other, input.source);
    case StepValue::kSourceOrEmpty:
      return rewrite_text(other, input.source);
    case StepValue::kHex:
      return rewrite_guid(other, load_unaligned<uint64_t>(value));
    case StepValue::kTextUnlessEmpty: {
      const uint32_t length = text_length(value, step);
      const bool is_left_out = length == 0 && input.leave_out_empty;
      if (is_left_out || other.is_left_out) return is_left_out == other.is_left_out;
      return rewrite_text(other, {value, length});
    }
    default:
      return rewrite_text(other, {value, text_length(value, step)});
  }
}

// Identifiers seldom change, and are dear to write.
bool RecordPlaces::rewrite_guid(Other& other, uint64_t guid) noexcept {
  if (guid == other.guid) [[likely]] {
    return true;
  }
  other.guid = guid;
  if (!rewrite_text(other, GuidText(guid).view())) return false;
  numbers_.renew_tails_before(other.out, record_);
  return true;
}

bool RecordPlaces::rewrite_text(Other& other, std::string_view text) noexcept {
  if (text.size() == other.text) [[likely]] {
    put_bytes(record_ + other.out + text_header_size(text.size()), text.data(), text.size());
    return true;
  }
  const auto size = static_cast<uint32_t>(text.size());
  const auto end = [&other](uint32_t length) {
    return other.out + text_header_size(length) + length;
  };
  if (!move(end(other.text), end(size))) return false;
  other.text = size;
  put_str(record_ + other.out, text.data(), size);
  numbers_.renew_tails_before(other.out, record_);
  return true;
}

}  // namespace vek
