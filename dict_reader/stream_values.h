// Events as the loops over streams see them, and how the values that they bring are written.
#ifndef VEK_DICT_READER_STREAM_VALUES_H
#define VEK_DICT_READER_STREAM_VALUES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "data/opaque_events_extractor.h"
#include "dict_reader/dict_event.h"
#include "dict_reader/key_table.h"
#include "utils/msgpack_encode.h"
#include "utils/unaligned.h"

namespace stream_values {

inline constexpr size_t kHeaderSize = VEK_OPAQUE_EVENT_HEADER_SIZE;
// Bytes that are copied in one go, whatever of them is meant: a short text or a key fits.
inline constexpr size_t kWindow = 32;
static_assert(kWindow == sizeof(KeyTable::Slot));
inline constexpr uint32_t kLongestText = kWindow - 1;
inline constexpr char kText = static_cast<char>(0xa0);  // and the size: the header of a text

// How values are written. All are written alike, without a branch on type or size, which no
// predictor knows in a stream whose structure changes: a first byte; the number, at the same place
// where it is the first byte itself; and behind it a window of the data, of which a text keeps its
// size and all others nothing.
struct Form {
  uint8_t size;
  uint8_t first;
  uint8_t number_at;
  uint8_t shift;  // brings the number's bytes to the top
};

constexpr Form numberForm(vek::msgpack_detail::NumberForm form) {
  const bool is_first = form.size == 1;
  return {form.size, form.prefix, static_cast<uint8_t>(is_first ? 0 : 1),
          static_cast<uint8_t>(is_first ? 56 : form.shift)};
}
// The window goes over the number.
constexpr Form byteForm(uint8_t byte) { return {1, byte, 1, 0}; }

// Whole numbers by their leading zeros, with those of negative ones behind them; then the others.
inline constexpr size_t kNegative = 64;
inline constexpr size_t kDoubleForm = 2 * kNegative;
inline constexpr size_t kFalseForm = kDoubleForm + 1;
inline constexpr size_t kTrueForm = kFalseForm + 1;
inline constexpr size_t kNilForm = kTrueForm + 1;
inline constexpr size_t kTextForms = kNilForm + 1;  // by size
inline constexpr auto kForms = [] {
  std::array<Form, kTextForms + kWindow> forms{};
  for (size_t zeros = 0; zeros < kNegative; ++zeros) {
    const size_t bits = 64 - zeros;
    forms[zeros] = numberForm(vek::msgpack_detail::unsigned_form(bits));
    forms[kNegative + zeros] = numberForm(vek::msgpack_detail::negative_form(bits));
  }
  forms[kDoubleForm] = {9, 0xcb, 1, 0};
  forms[kFalseForm] = byteForm(0xc2);
  forms[kTrueForm] = byteForm(0xc3);
  forms[kNilForm] = byteForm(0xc0);
  for (size_t size = 0; size < kWindow; ++size) {
    forms[kTextForms + size] = byteForm(static_cast<uint8_t>(0xa0 | size));
  }
  return forms;
}();

// What an event of some type and size is written by.
struct alignas(8) Rule {
  uint16_t form = 0;
  uint8_t range_mask = 0;  // all ones: of the forms from `form` on, that of the number's range
  uint8_t text = 0;        // bytes of the window that are kept
  uint8_t is_value = 0;    // all ones, so that one test serves it and the size of a key
};

// By size and type, both small: all else is an event of another kind, or an unusual one.
inline constexpr size_t kTypes = 16;
inline constexpr uint64_t kSmallTypesAndSizes = uint64_t{kLongestText} << 32 | (kTypes - 1);
inline constexpr auto kRules = [] {
  std::array<Rule, kWindow * kTypes> rules{};
  for (uint8_t size = 0; size < kWindow; ++size) {
    Rule* const of = &rules[size * kTypes];
    of[PYTHON_STRING] = {static_cast<uint16_t>(kTextForms + size), 0, size, 0xff};
    of[PYTHON_BOOL_FALSE] = {kFalseForm, 0, 0, 0xff};
    of[PYTHON_BOOL_TRUE] = {kTrueForm, 0, 0, 0xff};
    of[PYTHON_NONE] = {kNilForm, 0, 0, 0xff};
    if (size < sizeof(uint64_t)) continue;
    of[PYTHON_DOUBLE] = {kDoubleForm, 0, 0, 0xff};
    of[PYTHON_LONG] = {0, 0xff, 0, 0xff};
  }
  return rules;
}();

// As one move, which memcpy() of 32 bytes is not with every compiler.
[[gnu::always_inline]] inline void copyWindow(void* to, const void* from) {
  using Window [[gnu::vector_size(kWindow), gnu::aligned(1), gnu::may_alias]] = char;
  *static_cast<Window*>(to) = *static_cast<const Window*>(from);
}

[[gnu::always_inline]] inline const Form& formOf(const Rule& rule, uint64_t bits) {
  const auto sign = static_cast<uint64_t>(static_cast<int64_t>(bits) >> 63);
  // 0 is written as 1 is, so that zeros can be counted of it too.
  const auto zeros = static_cast<uint64_t>(__builtin_clzll((bits ^ sign) | 1));
  const uint64_t range = zeros + (sign & kNegative);
  return kForms[rule.form + (range & rule.range_mask)];
}

// `data` is a window.
[[gnu::always_inline]] inline char* putValue(char* p, const Rule& rule, const uint8_t* data) {
  const auto bits = vek::load_once<uint64_t>(data);
  const Form& form = formOf(rule, bits);
  *p = static_cast<char>(form.first);
  const uint64_t number = __builtin_bswap64(bits << form.shift);
  std::memcpy(p + form.number_at, &number, sizeof number);
  p += form.size;
  copyWindow(p, data);
  return p + rule.text;
}

// The part of one event that matters here; `data` is a window.
struct Event {
  uint64_t size_and_type;
  uint32_t key_id;
  const uint8_t* data;

  explicit Event(const uint8_t* bytes)
      : size_and_type(vek::load_once<uint64_t>(bytes + kTypeAt)),
        key_id(vek::load_once<uint32_t>(bytes + kTypeAt - sizeof key_id)),
        data(bytes + kHeaderSize) {}

  uint32_t type() const { return static_cast<uint32_t>(size_and_type); }
  uint32_t size() const { return static_cast<uint32_t>(size_and_type >> 32); }
  uint64_t word() const {
    return vek::packDictEventWord(static_cast<python_event_type_t>(type()), key_id);
  }
  // Null for an event that values are not.
  [[gnu::always_inline]] const Rule* rule() const {
    if (size_and_type & ~kSmallTypesAndSizes) return nullptr;
    return &kRules[(size_and_type >> 28) + type()];
  }

 private:
  static constexpr size_t kTypeAt = offsetof(vek_opaque_event_t, second_word) + sizeof(uint32_t);
  static_assert(kTypeAt + sizeof(uint32_t) == offsetof(vek_opaque_event_t, data_size));
};

[[gnu::always_inline]] inline bool isWhole(const uint8_t* event) {
  return event[offsetof(vek_opaque_event_t, kind)] == VEK_OPAQUE_WHOLE;
}

}  // namespace stream_values

#endif  // VEK_DICT_READER_STREAM_VALUES_H
