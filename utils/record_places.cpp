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
constexpr size_t kNumbersAtATime = 64;

constexpr auto stands_before = [](const auto& value, uint32_t place) { return value.out < place; };

uint32_t header_size(size_t text) noexcept {
  if (text < 32) return 1;
  if (text < 256) return 2;
  return text < 65536 ? 3 : 5;
}

template <bool kIsWide>
[[gnu::always_inline]] inline uint64_t read_number(const char* bytes, uint32_t at,
                                                   NumberRead read) noexcept {
  uint64_t value = load_unaligned<uint64_t>(bytes + at);
  if constexpr (!kIsWide) {
    value <<= read.up;
    const auto mask = static_cast<uint64_t>(int64_t{read.sign_mask});
    const uint64_t sign = static_cast<uint64_t>(static_cast<int64_t>(value) >> 63) & mask;
    value = (value ^ sign) >> read.down ^ sign;
  }
  return value;
}

// Every value goes to its place and is checked against it; the answer comes at the end, so that
// nothing waits for it. Words overlap what stands behind a number, which is why they carry it.
template <bool kIsWide, typename Number>
[[gnu::always_inline]] inline bool write_numbers(char* record, const Number* begin,
                                                 const Number* end, const char* bytes) noexcept {
  uint64_t misfits = 0;
  for (const Number* number = begin; number != end; ++number) {
    const uint64_t value = read_number<kIsWide>(bytes, number->in, number->read);
    misfits += value - number->least > number->span ? 1 : 0;
    const uint64_t word = __builtin_bswap64(value << number->shift) | number->tail;
    std::memcpy(record + number->out, &word, kWord);
  }
  return misfits == 0;
}

template <typename Number>
using WriteNumbers = bool (*)(char*, const Number*, const Number*, const char*) noexcept;

template <typename Number, bool kIsWide>
bool write_baseline(char* record, const Number* begin, const Number* end,
                    const char* bytes) noexcept {
  return write_numbers<kIsWide>(record, begin, end, bytes);
}

#if defined(__x86_64__)
// For processors that shift by any register in one cheap instruction.
template <typename Number, bool kIsWide>
[[gnu::target("bmi2")]] bool write_modern(char* record, const Number* begin, const Number* end,
                                          const char* bytes) noexcept {
  return write_numbers<kIsWide>(record, begin, end, bytes);
}

const bool g_is_modern = __builtin_cpu_supports("bmi2");

template <typename Number, bool kIsWide>
WriteNumbers<Number> writer(bool is_modern) noexcept {
  return is_modern ? write_modern<Number, kIsWide> : write_baseline<Number, kIsWide>;
}
#else
constexpr bool g_is_modern = false;

template <typename Number, bool kIsWide>
WriteNumbers<Number> writer(bool /*is_modern*/) noexcept {
  return write_baseline<Number, kIsWide>;
}
#endif

}  // namespace

bool RecordPlaces::rewrite(const PlanInput& input) noexcept {
  return rewrite_by(g_is_modern, input);
}

bool RecordPlaces::rewrite_baseline(const PlanInput& input) noexcept {
  return rewrite_by(false, input);
}

bool RecordPlaces::rewrite_by(bool is_modern, const PlanInput& input) noexcept {
  moves_left_ = kMostMoves;
  if (!rewrite_numbers(is_modern, input.bytes)) return false;
  // These come behind the numbers, whose words may overlap them.
  for (Other& other : others_) {
    if (!rewrite_other(other, input)) return false;
  }
  return true;
}

bool RecordPlaces::rewrite_numbers(bool is_modern, const char* bytes) noexcept {
  const auto write =
      has_only_wide_numbers_ ? writer<Number, true>(is_modern) : writer<Number, false>(is_modern);
  Number* const end = numbers_.data() + numbers_.size();
  for (Number* at = numbers_.data(); at < end;) {
    Number* const stop = at + std::min<ptrdiff_t>(kNumbersAtATime, end - at);
    if (write(record_, at, stop, bytes)) {
      at = stop;
      continue;
    }
    // Those before the first misfit are as they should be.
    uint64_t value = 0;
    for (;; ++at) {
      value = read_number<false>(bytes, at->in, at->read);
      if (value - at->least > at->span) break;
    }
    if (!resize(*at, value)) return false;
  }
  return true;
}

// Gives a number the size of another value; it is written afterwards.
bool RecordPlaces::resize(Number& number, uint64_t value) noexcept {
  char encoded[kMsgpackMaxNumber + kWord];
  const char* const end = number.read.sign_mask != 0 ? put_int(encoded, static_cast<int64_t>(value))
                                                     : put_uint(encoded, value);
  const uint32_t begin = number.begin();
  if (!move(number.end(), begin + static_cast<uint32_t>(end - encoded))) return false;
  record_[begin] = encoded[0];
  number.out = begin;
  describe(number);
  renew_tails_before(begin);
  return true;
}

// What the first byte of a number says: `out` is its place on entry.
void RecordPlaces::describe(Number& number) noexcept {
  constexpr uint64_t kMost = std::numeric_limits<uint64_t>::max();
  const auto set = [&number](uint8_t bytes, uint64_t least, uint64_t largest) {
    number.lead = bytes > 0 ? 1 : 0;
    number.shift = static_cast<uint8_t>(64 - 8 * std::max<uint8_t>(bytes, 1));
    number.least = least;
    number.span = largest - least;
  };
  const auto set_negative = [&set](uint8_t bytes, int64_t least, int64_t largest) {
    set(bytes, static_cast<uint64_t>(least), static_cast<uint64_t>(largest));
  };
  const auto first = static_cast<uint8_t>(record_[number.out]);
  switch (first) {
    case 0xca:
      set(4, 0, kMost);
      break;
    case 0xcb:
      set(8, 0, kMost);
      break;
    case 0xcc:
      set(1, 0x80, 0xff);
      break;
    case 0xcd:
      set(2, 0x100, 0xffff);
      break;
    case 0xce:
      set(4, 0x1'0000, 0xffff'ffff);
      break;
    case 0xcf:
      set(8, 0x1'0000'0000, number.read.sign_mask != 0 ? kMost / 2 : kMost);
      break;
    case 0xd0:
      set_negative(1, -128, -33);
      break;
    case 0xd1:
      set_negative(2, -32'768, -129);
      break;
    case 0xd2:
      set_negative(4, -2'147'483'648, -32'769);
      break;
    case 0xd3:
      set_negative(8, std::numeric_limits<int64_t>::min(), -2'147'483'649);
      break;
    default:
      if (first < 0x80) {
        set(0, 0, 0x7f);
      } else {
        set_negative(0, -32, -1);
      }
      break;
  }
  number.out += number.lead;
  renew_tail(number);
}

void RecordPlaces::renew_tail(Number& number) noexcept {
  const uint8_t bits = static_cast<uint8_t>(64 - number.shift);
  if (bits == 64) {
    number.tail = 0;
  } else {
    number.tail = load_unaligned<uint64_t>(record_ + number.out) >> bits << bits;
  }
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
  const auto number = std::lower_bound(numbers_.begin(), numbers_.end(), old_end, stands_before);
  for (auto later = number; later != numbers_.end(); ++later) later->out += shift;
  const auto other = std::lower_bound(others_.begin(), others_.end(), old_end, stands_before);
  for (auto later = other; later != others_.end(); ++later) later->out += shift;
  return true;
}

// The words of a few numbers may reach into what has changed there.
void RecordPlaces::renew_tails_before(uint32_t place) noexcept {
  auto number = std::lower_bound(numbers_.begin(), numbers_.end(), place, stands_before);
  while (number != numbers_.begin() && (--number)->out + kWord > place) renew_tail(*number);
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
  renew_tails_before(other.out);
  return true;
}

bool RecordPlaces::rewrite_text(Other& other, std::string_view text) noexcept {
  if (text.size() == other.text) [[likely]] {
    put_bytes(record_ + other.out + header_size(text.size()), text.data(), text.size());
    return true;
  }
  const auto size = static_cast<uint32_t>(text.size());
  const auto end = [&other](uint32_t length) { return other.out + header_size(length) + length; };
  if (!move(end(other.text), end(size))) return false;
  other.text = size;
  put_str(record_ + other.out, text.data(), size);
  renew_tails_before(other.out);
  return true;
}

}  // namespace vek
