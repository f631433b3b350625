// Writing values to their places. The hot loop of the plug-in where values are steady.
#include "utils/record_places.h"

#include <algorithm>
#include <bit>
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

template <typename Values>
void move_from(Values& values, uint32_t place, uint32_t shift) {
  const auto stands_before = [](const auto& value, uint32_t at) { return value.out < at; };
  auto value = std::lower_bound(values.begin(), values.end(), place, stands_before);
  for (; value != values.end(); ++value) value->out += shift;
}

}  // namespace

bool RecordPlaces::rewrite(const PlanInput& input) noexcept { return rewrite_by(true, input); }

bool RecordPlaces::rewrite_baseline(const PlanInput& input) noexcept {
  return rewrite_by(false, input);
}

[[gnu::always_inline]] inline bool RecordPlaces::rewrite_by(bool is_modern,
                                                            const PlanInput& input) noexcept {
  moves_left_ = kMostMoves;
  // The events of a block have one time.
  if (input.time_us != time_us_ && !rewrite_times(input.time_us)) return false;
  // In this order: texts are written with what stands behind them, and the words of numbers overlap
  // what does.
  const char* const bytes = input.bytes;
  const size_t text =
      is_modern ? texts_.write(record_, bytes, 0) : texts_.write_baseline(record_, bytes, 0);
  if (text < texts_.size() && !rewrite_texts_from(text, is_modern, input)) return false;
  const size_t number =
      is_modern ? numbers_.write(record_, bytes, 0) : numbers_.write_baseline(record_, bytes, 0);
  if (number < numbers_.size() && !rewrite_numbers_from(number, is_modern, bytes)) return false;
  if (!times_are_out_of_reach_ && !rewrite_times(input.time_us)) return false;
  if (!flags_.empty()) rewrite_flags(bytes);
  if (input.source_is_new && !rewrite_sources(input)) return false;
  return rewrite_guids(bytes) && (others_.empty() || rewrite_others(input));
}

[[gnu::always_inline]] inline bool RecordPlaces::rewrite_times(uint64_t time_us) noexcept {
  // Times have eight bytes but for the hours around 1970.
  if (time_us <= std::numeric_limits<uint32_t>::max()) return false;
  time_us_ = time_us;
  const uint64_t seconds = std::bit_cast<uint64_t>(seconds_of(time_us));
  for (const Other& time : times_) {
    put_big_endian(record_ + time.out + 1,
                   time.step->value == StepValue::kSeconds ? seconds : time_us);
  }
  return true;
}

// Several at a time: all is read before anything is written, see NumberPlaces.
void RecordPlaces::rewrite_flags(const char* bytes) noexcept {
  constexpr size_t kAtOnce = 4;
  char* const record = record_;
  const Flag* flag = flags_.data();
  const auto value_of = [bytes](const Flag& of) { return bytes[of.in] != 0 ? kTrue : kFalse; };
  size_t left = flags_.size();
  for (; left >= kAtOnce; left -= kAtOnce, flag += kAtOnce) {
    char values[kAtOnce];
    uint32_t out[kAtOnce];
#pragma GCC unroll 4
    for (size_t i = 0; i < kAtOnce; ++i) {
      values[i] = value_of(flag[i]);
      out[i] = flag[i].out;
    }
#pragma GCC unroll 4
    for (size_t i = 0; i < kAtOnce; ++i) record[out[i]] = values[i];
  }
  for (; left > 0; --left, ++flag) record[flag->out] = value_of(*flag);
}

[[gnu::always_inline]] inline bool RecordPlaces::rewrite_sources(const PlanInput& input) noexcept {
  for (Other& source : sources_) {
    const bool is_written = input.has_source || source.step->value == StepValue::kSourceOrEmpty;
    if (source.is_left_out == is_written) return false;
    if (is_written && !rewrite_text(source, input.source)) return false;
  }
  return true;
}

// Identifiers seldom change, and are dear to write.
[[gnu::always_inline]] inline bool RecordPlaces::rewrite_guids(const char* bytes) noexcept {
  for (Other& other : guids_) {
    const auto guid = load_unaligned<uint64_t>(bytes + other.step->offset);
    if (guid == other.guid) [[likely]] {
      continue;
    }
    if (!rewrite_guid(other, guid)) return false;
  }
  return true;
}

[[gnu::noinline]] bool RecordPlaces::rewrite_guid(Other& other, uint64_t guid) noexcept {
  other.guid = guid;
  if (!rewrite_text(other, GuidText(guid).view())) return false;
  renew_tails_before(other.out);
  return true;
}

// From `first` on, which needs another size.
[[gnu::noinline]] bool RecordPlaces::rewrite_texts_from(size_t first, bool is_modern,
                                                        const PlanInput& input) noexcept {
  for (size_t at = first; at < texts_.size();) {
    if (!resize_text(at, input)) return false;
    at = is_modern ? texts_.write(record_, input.bytes, at + 1)
                   : texts_.write_baseline(record_, input.bytes, at + 1);
  }
  return true;
}

[[gnu::noinline]] bool RecordPlaces::rewrite_numbers_from(size_t first, bool is_modern,
                                                          const char* bytes) noexcept {
  // A number needs another size once. More often than that, a producer is still changing the page.
  size_t at = first;
  for (size_t tries = 0; tries < numbers_.size(); ++tries) {
    if (!resize(at, bytes)) return false;
    at = is_modern ? numbers_.write(record_, bytes, at)
                   : numbers_.write_baseline(record_, bytes, at);
    if (at == numbers_.size()) return true;
  }
  return false;
}

// Gives a number the size of another value; it is written afterwards.
[[gnu::cold]] bool RecordPlaces::resize(size_t number, const char* bytes) noexcept {
  char encoded[kMsgpackMaxNumber + kWord];
  const char* const end = numbers_.write_anew(encoded, bytes, number);
  const uint32_t begin = numbers_.begin(number);
  if (!move(numbers_.end(number), begin + static_cast<uint32_t>(end - encoded))) return false;
  record_[begin] = encoded[0];
  numbers_.renew(number, record_, begin);
  renew_tails_before(begin);
  return true;
}

// Writes a text that is longer or shorter than its place.
[[gnu::cold]] bool RecordPlaces::resize_text(size_t text, const PlanInput& input) noexcept {
  const PlanStep& step = texts_.step(text);
  const char* const value = input.bytes + step.offset;
  const uint32_t length = text_length(value, step);
  if (length == 0 && step.value == StepValue::kTextUnlessEmpty && input.leave_out_empty) {
    return false;
  }
  const uint32_t begin = texts_.begin(text);
  if (!move(texts_.end(text), begin + text_header_size(length) + length)) return false;
  put_str(record_ + begin, value, length);
  texts_.renew(text, record_, length);
  renew_tails_before(begin);
  return true;
}

void RecordPlaces::renew_tails_before(uint32_t place) noexcept {
  numbers_.renew_tails_before(place, record_);
  texts_.renew_tails_before(place, record_);
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
  move_from(flags_, old_end, shift);
  for (Others* others : {&sources_, &guids_, &others_, &times_}) move_from(*others, old_end, shift);
  return true;
}

[[gnu::noinline]] bool RecordPlaces::rewrite_others(const PlanInput& input) noexcept {
  for (Other& other : others_) {
    const char* const text = input.bytes + other.step->offset;
    const uint32_t length = text_length(text, *other.step);
    if (other.step->value == StepValue::kTextUnlessEmpty) {
      const bool is_left_out = length == 0 && input.leave_out_empty;
      if (is_left_out != other.is_left_out) return false;
      if (is_left_out) continue;
    }
    if (!rewrite_text(other, {text, length})) return false;
  }
  return true;
}

[[gnu::always_inline]] inline bool RecordPlaces::rewrite_text(Other& other,
                                                              std::string_view text) noexcept {
  if (text.size() == other.text) [[likely]] {
    put_bytes(record_ + other.out + text_header_size(text.size()), text.data(), text.size());
    return true;
  }
  return resize_other(other, text);
}

[[gnu::cold]] bool RecordPlaces::resize_other(Other& other, std::string_view text) noexcept {
  const auto size = static_cast<uint32_t>(text.size());
  const auto end = [&other](uint32_t length) {
    return other.out + text_header_size(length) + length;
  };
  if (!move(end(other.text), end(size))) return false;
  other.text = size;
  put_str(record_ + other.out, text.data(), size);
  renew_tails_before(other.out);
  return true;
}

}  // namespace vek
