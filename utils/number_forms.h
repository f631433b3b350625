// How numbers of every kind are written in their smallest msgpack form, as a table over their
// highest bits: the sizes of counters are what a branch predictor cannot know.
#ifndef VEK_UTILS_NUMBER_FORMS_H
#define VEK_UTILS_NUMBER_FORMS_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vek {

enum class NumberKind : uint8_t {
  kUint8,
  kUint16,
  kUint32,
  kUint64,
  kInt8,
  kInt16,
  kInt32,
  kInt64,
  kFloat32,
  kFloat64,
  kFlag  // one byte; true unless that is 0
};

constexpr uint8_t width_of(NumberKind kind) {
  if (kind == NumberKind::kFlag) return 1;
  if (kind == NumberKind::kFloat32) return 4;
  if (kind == NumberKind::kFloat64) return 8;
  return static_cast<uint8_t>(1u << (static_cast<unsigned>(kind) % 4));
}

namespace msgpack_detail {

static_assert(std::endian::native == std::endian::little);

// How a number of one size is written: the prefix, then the value's low bytes, brought to the top
// by `shift`, in big-endian order. In the one-byte forms they take the place of the prefix.
struct NumberForm {
  uint8_t size;
  uint8_t prefix;
  uint8_t lead;  // bytes before the value's
  uint8_t shift;
};

constexpr bool is_signed(NumberKind kind) {
  return kind >= NumberKind::kInt8 && kind <= NumberKind::kInt64;
}

constexpr NumberForm kOneByteForm = {1, 0, 0, 56};

constexpr NumberForm unsigned_form(size_t bits) {
  if (bits <= 7) return kOneByteForm;
  if (bits <= 8) return {2, 0xcc, 1, 56};
  if (bits <= 16) return {3, 0xcd, 1, 48};
  if (bits <= 32) return {5, 0xce, 1, 32};
  return {9, 0xcf, 1, 0};
}

// `bits` without the sign.
constexpr NumberForm negative_form(size_t bits) {
  if (bits <= 5) return kOneByteForm;
  if (bits <= 7) return {2, 0xd0, 1, 56};
  if (bits <= 15) return {3, 0xd1, 1, 48};
  if (bits <= 31) return {5, 0xd2, 1, 32};
  return {9, 0xd3, 1, 0};
}

// Of a number that begins with so many zeros or ones.
constexpr NumberForm form_of(NumberKind kind, size_t leading, bool begins_with_one) {
  if (kind == NumberKind::kFloat32) return {5, 0xca, 1, 0};
  if (kind == NumberKind::kFloat64) return {9, 0xcb, 1, 0};
  const bool is_zero = !begins_with_one && leading >= 8;
  if (kind == NumberKind::kFlag) return {1, static_cast<uint8_t>(is_zero ? 0xc2 : 0xc3), 1, 0};
  const size_t width = size_t{8} * width_of(kind);
  const size_t below = leading < width ? width - leading : 0;
  NumberForm form = !begins_with_one  ? unsigned_form(below)
                    : is_signed(kind) ? negative_form(below)
                                      : unsigned_form(width);
  form.shift = static_cast<uint8_t>(form.shift + width - 64);
  return form;
}

// Leading zeros less leading ones of a 64-bit word, never 0, from a row of its own in the middle.
inline constexpr size_t kFormsOfAKind = 129;
inline constexpr size_t kMiddle = 64;

constexpr uint16_t forms_of(NumberKind kind) {
  return static_cast<uint16_t>(static_cast<size_t>(kind) * kFormsOfAKind + kMiddle);
}

inline constexpr auto kNumberForms = [] {
  std::array<NumberForm, forms_of(NumberKind::kFlag) + kMiddle + 1> forms{};
  for (size_t kind = 0; kind <= static_cast<size_t>(NumberKind::kFlag); ++kind) {
    const auto of = static_cast<NumberKind>(kind);
    for (size_t leading = 1; leading <= 64; ++leading) {
      forms[forms_of(of) + leading] = form_of(of, leading, false);
      forms[forms_of(of) - leading] = form_of(of, leading, true);
    }
  }
  return forms;
}();

inline char* put_big_endian(char* p, uint64_t value) noexcept {
  value = __builtin_bswap64(value);
  std::memcpy(p, &value, sizeof(value));
  return p + sizeof(value);
}

// Of 0 as many as of 1, which needs no look at whether it is.
inline size_t leading_zeros(uint64_t value) noexcept {
  return static_cast<size_t>(__builtin_clzll(value | 1));
}

// A number of the kind whose forms these are, in the highest bits of a word, with nothing below.
[[gnu::always_inline]] inline char* put_number(char* p, uint64_t number, size_t forms) noexcept {
  const size_t zeros = leading_zeros(number);
  const size_t ones = leading_zeros(~number);
  const NumberForm& form = kNumberForms[forms + zeros - ones];
  *p = static_cast<char>(form.prefix);
  put_big_endian(p + form.lead, number << form.shift);
  return p + form.size;
}

}  // namespace msgpack_detail
}  // namespace vek

#endif  // VEK_UTILS_NUMBER_FORMS_H
