// Carries plans out: one pass over a section's steps for each record. The hot loop of the plug-in.
#include <algorithm>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "utils/guid_text.h"
#include "utils/msgpack_encode.h"
#include "utils/packing_plan.h"
#include "utils/unaligned.h"

namespace vek {
namespace {

constexpr uint64_t kUsPerSecond = 1'000'000;
constexpr char kTrue = static_cast<char>(0xc3);
constexpr char kFalse = static_cast<char>(0xc2);

double seconds_of(uint64_t us) noexcept {
  const uint64_t whole = us / kUsPerSecond;
  return static_cast<double>(whole) +
         static_cast<double>(us % kUsPerSecond) / static_cast<double>(kUsPerSecond);
}

// Literals are padded, so that short ones are copied without a branch on their size.
[[gnu::always_inline]] inline char* put_literal(char* p, const char* literal, size_t size) {
  constexpr size_t kPiece = PlanSection::kLiteralPadding;
  std::memcpy(p, literal, kPiece);
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
  const size_t smallest = bit_width(magnitude) + (sign & kNegativeForms);
  const size_t row = read.form == 0 ? smallest : read.form;
  return put_number(p, magnitude ^ sign, kNumberForms[row]);
}

char* put_text(char* p, std::string_view text) noexcept {
  return put_str(p, text.data(), static_cast<uint32_t>(text.size()));
}

char* put_measured_text(char* p, const char* text, uint32_t limit) noexcept {
  return put_str(p, text, static_cast<uint32_t>(strnlen(text, limit)));
}

#if defined(__SSE2__)
// A bit for each byte of the window that is NUL.
[[gnu::always_inline]] inline uint32_t nul_bytes(const char* window) {
  const auto half = [](const char* bytes) {
    const __m128i loaded = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(loaded, _mm_setzero_si128())));
  };
  return half(window) | half(window + 16) << 16;
}

// Texts are short and of any length: length and copy without a branch.
[[gnu::always_inline]] inline char* put_limited_text(char* p, const char* text,
                                                     const PlanStep& step) {
  constexpr uint32_t kLongest = kTextWindow - 1;  // of the one-byte header
  if (!step.has_window) [[unlikely]] {
    return put_measured_text(p, text, step.text_limit);
  }
  const uint64_t limit = std::min(step.text_limit, kLongest + 1);
  const auto length =
      static_cast<uint32_t>(__builtin_ctzll(nul_bytes(text) | uint64_t{1} << limit));
  if (length > kLongest) [[unlikely]] {
    return put_measured_text(p, text, step.text_limit);
  }
  *p = static_cast<char>(0xa0 | length);
  std::memcpy(p + 1, text, kTextWindow);
  return p + 1 + length;
}
#else
char* put_limited_text(char* p, const char* text, const PlanStep& step) noexcept {
  return put_measured_text(p, text, step.text_limit);
}
#endif

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
      return put_text(p, GuidText(load_unaligned<uint64_t>(value)).view());
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
    p = put_literal(p, literal, step.literal_size);
    literal += step.literal_size;
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
