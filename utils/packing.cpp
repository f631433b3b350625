// Carries plans out: one pass over a section's steps for each record. The hot loop of the plug-in.
#include <cstring>

#include "utils/guid_text.h"
#include "utils/limited_text.h"
#include "utils/msgpack_encode.h"
#include "utils/packing_plan.h"
#include "utils/unaligned.h"

namespace vek {
namespace {

constexpr char kTrue = static_cast<char>(0xc3);
constexpr char kFalse = static_cast<char>(0xc2);

// Literals are padded, so that short ones are copied without a branch on their size. A vector type,
// because a memcpy of this size becomes two moves even where one does it.
[[gnu::always_inline]] inline char* put_literal(char* p, const char* literal, size_t size) {
  constexpr size_t kPiece = PlanSection::kLiteralPadding;
  using Piece [[gnu::vector_size(kPiece), gnu::aligned(1), gnu::may_alias]] = char;
  *reinterpret_cast<Piece*>(p) = *reinterpret_cast<const Piece*>(literal);
  if (size > kPiece) [[unlikely]] {
    std::memcpy(p + kPiece, literal + kPiece, size - kPiece);
  }
  return p + size;
}

// Any number of any width in its smallest form, without a branch: the widths of values are what a
// branch predictor cannot know.
template <bool kIsWide>
[[gnu::always_inline]] inline char* put_read(char* p, uint64_t bits, NumberRead read) {
  using namespace msgpack_detail;
  if constexpr (!kIsWide) bits <<= read.up;
  const auto mask = static_cast<uint64_t>(int64_t{read.sign_mask});
  const uint64_t sign = static_cast<uint64_t>(static_cast<int64_t>(bits) >> 63) & mask;
  uint64_t magnitude = bits ^ sign;
  if constexpr (!kIsWide) magnitude >>= read.down;
  const size_t row = read.forms + leading_zeros(magnitude) + (sign & kNegativeForms);
  return put_number(p, magnitude ^ sign, kNumberForms[row]);
}

char* put_text(char* p, std::string_view text) noexcept {
  return put_str(p, text.data(), static_cast<uint32_t>(text.size()));
}

// Short texts are copied without a branch on their size.
[[gnu::always_inline]] inline char* put_limited_text(char* p, const char* text,
                                                     const PlanStep& step) {
  const uint32_t length = text_length(text, step);
  if (length >= kTextWindow || !step.has_window) [[unlikely]] {
    return put_str(p, text, length);
  }
  *p = static_cast<char>(0xa0 | length);
  std::memcpy(p + 1, text, kTextWindow);
  return p + 1 + length;
}

char* put_hex(char* p, uint64_t value) noexcept {
  const size_t size = write_guid(p + 1, value, guid_digits(value));
  *p = static_cast<char>(0xa0 | size);
  return p + 1 + size;
}

// Values other than numbers. `start` is where the step's key began.
char* put_other(char* p, char* start, const PlanStep& step, const PlanInput& in) noexcept {
  const char* value = in.bytes + step.offset;
  switch (step.value) {
    case StepValue::kShortNumber: {
      uint64_t bits = 0;
      std::memcpy(&bits, value, 8 - step.number.down / 8u);
      return put_read<false>(p, bits, step.number);
    }
    case StepValue::kBool:
      *p = *value != 0 ? kTrue : kFalse;
      return p + 1;
    case StepValue::kHex:
      return put_hex(p, load_unaligned<uint64_t>(value));
    case StepValue::kText:
      return put_limited_text(p, value, step);
    case StepValue::kTextUnlessEmpty: {
      const bool is_empty = step.text_limit == 0 || *value == '\0';
      return is_empty && in.leave_out_empty ? start : put_limited_text(p, value, step);
    }
    case StepValue::kSeconds:
      return put_double(p, seconds_of(in.time_us));
    case StepValue::kTime:
      return put_uint(p, in.time_us);
    case StepValue::kSource:
      return in.has_source ? put_text(p, in.source) : start;
    case StepValue::kSourceOrEmpty:
      return put_text(p, in.source);
    case StepValue::kMapHeader:
      return put_map_header(p, static_cast<uint32_t>(step.offset - in.left_out));
    case StepValue::kNote:
      in.note(in.context, step.offset);
      return p;
    default:
      return p;
  }
}

template <bool kIsWide>
[[gnu::always_inline]] inline char* pack_steps(char* p, const PlanSection& section,
                                               const PlanInput& in) noexcept {
  const char* literal = section.literals.data();
  const char* const bytes = in.bytes;
  for (const PlanStep& step : section.steps) {
    char* const start = p;
    const size_t size = step.literal_size;
    p = put_literal(p, literal, size);
    literal += size;
    if (step.value == StepValue::kNumber) [[likely]] {
      p = put_read<kIsWide>(p, load_unaligned<uint64_t>(bytes + step.offset), step.number);
    } else {
      p = put_other(p, start, step, in);
    }
  }
  return p;
}

[[gnu::always_inline]] inline char* pack_any(char* p, const PlanSection& section,
                                             const PlanInput& in) noexcept {
  return section.has_only_wide_numbers ? pack_steps<true>(p, section, in)
                                       : pack_steps<false>(p, section, in);
}

#if defined(__x86_64__)
// The same code for processors that count leading zeros and shift in one cheap instruction, and
// copy 32 bytes at once: all with AVX2 and BMI2.
[[gnu::target("avx2,bmi,bmi2,lzcnt")]] char* pack_section_modern(char* p,
                                                                 const PlanSection& section,
                                                                 const PlanInput& input) noexcept {
  return pack_any(p, section, input);
}

const auto g_pack_section = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2")  //
                                ? pack_section_modern
                                : pack_section_baseline;
#else
constexpr auto g_pack_section = pack_section_baseline;
#endif

}  // namespace

char* pack_section_baseline(char* p, const PlanSection& section, const PlanInput& input) noexcept {
  return pack_any(p, section, input);
}

char* pack_section(char* p, const PlanSection& section, const PlanInput& input) noexcept {
  return g_pack_section(p, section, input);
}

}  // namespace vek
