// Carries plans out: one pass over a section's steps for each record. The hot loop of the plug-in.
#include <algorithm>
#include <array>
#include <cstring>
#if defined(__x86_64__)
#include <cpuid.h>
#include <immintrin.h>
#endif

#include "utils/guid_text.h"
#include "utils/limited_text.h"
#include "utils/msgpack_encode.h"
#include "utils/packing_plan.h"
#include "utils/unaligned.h"

namespace vek {
namespace {

using msgpack_detail::NumberForm;
using msgpack_detail::put_number;

// A vector type, because a memcpy of this size becomes two moves even where one does it.
[[gnu::always_inline]] inline char* put_literal(char* p, const PlanStep& step) {
  using Piece [[gnu::vector_size(PlanStep::kLiteral), gnu::aligned(1), gnu::may_alias]] = char;
  *reinterpret_cast<Piece*>(p) = *reinterpret_cast<const Piece*>(step.literal);
  return p + step.literal_size;
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

char* put_short_number(char* p, const char* value, NumberRead read) noexcept {
  uint64_t bits = 0;
  std::memcpy(&bits, value, read.width());
  return put_number(p, bits << read.up, read.forms);
}

// Values that a record has few of.
[[gnu::always_inline]] inline char* put_other(char* p, const PlanStep& step, const PlanInput& in) {
  const char* value = in.bytes + step.offset;
  switch (step.value) {
    case StepValue::kShortNumber:
      return put_short_number(p, value, step.number);
    case StepValue::kHex:
      return put_hex(p, load_unaligned<uint64_t>(value));
    case StepValue::kTextUnlessEmpty: {
      const bool is_empty = step.text_limit == 0 || *value == '\0';
      return is_empty && in.leave_out_empty ? p - key_size(step) : put_limited_text(p, value, step);
    }
    case StepValue::kSeconds:
      return put_double(p, seconds_of(in.time_us));
    case StepValue::kTime:
      return put_uint(p, in.time_us);
    case StepValue::kSource:
      return in.has_source ? put_text(p, in.source) : p - key_size(step);
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

// All steps that are no numbers.
[[gnu::always_inline]] inline char* put_step(char* p, const PlanStep& step, const PlanInput& in) {
  p = put_literal(p, step);
  return step.value == StepValue::kText ? put_limited_text(p, in.bytes + step.offset, step)
                                        : put_other(p, step, in);
}

#if defined(__x86_64__)
#define VEK_MODERN "avx2,bmi,bmi2,lzcnt"

// A form of a kind of number as one shuffle: where each byte comes from, and what is added.
struct alignas(32) NumberShuffle {
  std::array<uint8_t, 16> order;
  std::array<uint8_t, 16> added;
  constexpr uint8_t size() const { return added.back(); }  // scribbled on behind the number
};

constexpr size_t kMostForms = 10;  // of a kind
constexpr size_t kKinds = static_cast<size_t>(NumberKind::kFlag) + 1;

constexpr size_t shuffle_index(NumberKind kind, const NumberForm& form) {
  size_t index = form.size < 4 ? form.size - 1u : form.size / 4u + 2u;
  if (kind == NumberKind::kFlag) index = form.prefix & 1;
  const bool is_negative = form.prefix >= 0xd0;
  return static_cast<size_t>(kind) * kMostForms + index + (is_negative ? kMostForms / 2 : 0);
}

constexpr NumberShuffle shuffle_of(NumberKind kind, const NumberForm& form) {
  NumberShuffle shuffle{};
  shuffle.order.fill(0x80);
  const size_t bytes = form.size - (kind == NumberKind::kFlag ? 1u : form.lead);
  for (size_t i = 0; i < bytes; ++i) {
    shuffle.order[form.lead + i] = static_cast<uint8_t>(8 - width_of(kind) + bytes - 1 - i);
  }
  shuffle.added[0] = form.prefix;
  shuffle.added.back() = form.size;
  return shuffle;
}

// The shuffles, and which one a row of kNumberForms has, in bytes from the first one.
struct NumberShuffles {
  std::array<NumberShuffle, kKinds * kMostForms> shuffles{};
  std::array<uint16_t, msgpack_detail::kNumberForms.size()> places{};
};
constexpr NumberShuffles kShuffles = [] {
  NumberShuffles all;
  for (size_t kind = 0; kind < kKinds; ++kind) {
    const auto of = static_cast<NumberKind>(kind);
    const size_t middle = msgpack_detail::forms_of(of);
    for (size_t row = middle - msgpack_detail::kMiddle; row <= middle + msgpack_detail::kMiddle;
         ++row) {
      const NumberForm& form = msgpack_detail::kNumberForms[row];
      if (form.size == 0) continue;
      const size_t index = shuffle_index(of, form);
      all.shuffles[index] = shuffle_of(of, form);
      all.places[row] = static_cast<uint16_t>(index * sizeof(NumberShuffle));
    }
  }
  return all;
}();

// So many numbers with what stands before them. Everything is read before anything is written:
// where a number is written depends on the sizes of those before it, and where processors do not
// let a read pass a write whose place is not known yet, each number would wait for the one before.
template <size_t kCount>
[[gnu::target(VEK_MODERN), gnu::always_inline]] inline char* put_numbers(char* p,
                                                                         const PlanStep* steps,
                                                                         const char* bytes) {
  __m256i literals[kCount];
  __m128i numbers[kCount];
  size_t sizes[kCount][2];
#pragma GCC unroll 8
  for (size_t i = 0; i < kCount; ++i) {
    const PlanStep& step = steps[i];
    const uint64_t number = load_unaligned<uint64_t>(bytes + step.offset) << step.number.up;
    const size_t row = step.number.forms + _lzcnt_u64(number) - _lzcnt_u64(~number);
    const auto* shuffle = reinterpret_cast<const NumberShuffle*>(
        reinterpret_cast<const char*>(kShuffles.shuffles.data()) + kShuffles.places[row]);
    const __m128i word = _mm_cvtsi64_si128(static_cast<int64_t>(number));
    const __m128i own = _mm_shuffle_epi8(
        word, _mm_load_si128(reinterpret_cast<const __m128i*>(shuffle->order.data())));
    numbers[i] =
        _mm_or_si128(own, _mm_load_si128(reinterpret_cast<const __m128i*>(shuffle->added.data())));
    sizes[i][0] = step.literal_size;
    sizes[i][1] = shuffle->size();
    literals[i] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(step.literal));
  }
#pragma GCC unroll 8
  for (size_t i = 0; i < kCount; ++i) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), literals[i]);
    p += sizes[i][0];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), numbers[i]);
    p += sizes[i][1];
  }
  return p;
}

// So many texts, likewise; of any length below kTextWindow without a branch, even where empty ones
// are left out. False when one is longer.
template <size_t kCount, bool kWords = false>
[[gnu::target(VEK_MODERN), gnu::always_inline]] inline bool put_texts(char*& p,
                                                                      const PlanStep* steps,
                                                                      const PlanInput& in) {
  __m256i literals[kCount];
  __m256i texts[kCount];
  ptrdiff_t literal_sizes[kCount];
  ptrdiff_t lengths[kCount];
  ptrdiff_t ends[kCount];  // from the header
  uint64_t any_length = 0;
#pragma GCC unroll 4
  for (size_t i = 0; i < kCount; ++i) {
    const PlanStep& step = steps[i];
    const char* const text = in.bytes + step.offset;
    texts[i] = kWords ? load_text_words(text, step.text_limit)
                      : _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
    const __m256i is_nul = _mm256_cmpeq_epi8(texts[i], _mm256_setzero_si256());
    const uint64_t nul = static_cast<uint32_t>(_mm256_movemask_epi8(is_nul));
    const uint64_t limit = uint64_t{1} << std::min<uint32_t>(step.text_limit, kTextWindow);
    lengths[i] = __builtin_ctzll(nul | limit);
    any_length |= static_cast<uint64_t>(lengths[i]);
    literal_sizes[i] = step.literal_size;
    const bool goes = step.value == StepValue::kTextUnlessEmpty && in.leave_out_empty;
    ends[i] = goes && lengths[i] == 0 ? -literal_sizes[i] : lengths[i] + 1;
    literals[i] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(step.literal));
  }
  if ((any_length & kTextWindow) != 0) [[unlikely]] {
    return false;
  }
#pragma GCC unroll 4
  for (size_t i = 0; i < kCount; ++i) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), literals[i]);
    p += literal_sizes[i];
    *p = static_cast<char>(0xa0 | lengths[i]);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p + 1), texts[i]);
    p += ends[i];
  }
  return true;
}

// All sixteen digits are written, of which those of the number count.
[[gnu::target(VEK_MODERN), gnu::always_inline]] inline char* put_hex_at_once(char* p,
                                                                             uint64_t value) {
  const size_t digits = guid_digits(value);
  value = __builtin_bswap64(value << (64 - 4 * digits));
  const __m128i bytes = _mm_cvtsi64_si128(static_cast<int64_t>(value));
  const __m128i pairs = _mm_unpacklo_epi8(_mm_srli_epi16(bytes, 4), bytes);
  const __m128i nibbles = _mm_and_si128(pairs, _mm_set1_epi8(0xf));
  const __m128i hex =
      _mm_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'a', 'b', 'c', 'd', 'e', 'f');
  const size_t size = 2 + digits;
  *p = static_cast<char>(0xa0 | size);
  p[1] = '0';
  p[2] = 'x';
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 3), _mm_shuffle_epi8(hex, nibbles));
  return p + 1 + size;
}

[[gnu::target(VEK_MODERN)]] char* pack_section_modern(char* p, const PlanSection& section,
                                                      const PlanInput& input) noexcept {
  constexpr size_t kAtOnce = 4;
  const char* const bytes = input.bytes;
  for (const PlanStep* step = section.steps.data();;) {
    for (; step->numbers >= kAtOnce; step += kAtOnce) p = put_numbers<kAtOnce>(p, step, bytes);
    for (; step->numbers >= 2; step += 2) p = put_numbers<2>(p, step, bytes);
    if (step->numbers > 0) p = put_numbers<1>(p, step++, bytes);
    if (step->value == StepValue::kEnd) return p;
    if (step->texts == kTextsAtOnce && put_texts<kTextsAtOnce>(p, step, input)) {
      step += kTextsAtOnce;
    } else if (step->texts > 0 && put_texts<1>(p, step, input)) {
      ++step;
    } else if (step->value == StepValue::kHex) {
      p = put_hex_at_once(put_literal(p, *step), load_unaligned<uint64_t>(bytes + step->offset));
      ++step;
    } else if (step->has_words && !step->goes_on) {
      put_texts<1, true>(p, step++, input);
    } else {
      p = put_step(p, *step++, input);
    }
  }
}

// Where there is no such instruction another one is carried out, with another result. Not every
// compiler's __builtin_cpu_supports() knows of it.
bool has_lzcnt() noexcept {
  constexpr unsigned kExtendedFeatures = 0x8000'0001;
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  return __get_cpuid(kExtendedFeatures, &a, &b, &c, &d) != 0 && (c & bit_LZCNT) != 0;
}

bool is_modern() noexcept {
  return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
         __builtin_cpu_supports("bmi2") != 0 && has_lzcnt();
}

const auto g_pack_section = is_modern() ? pack_section_modern : pack_section_baseline;
#else
constexpr auto g_pack_section = pack_section_baseline;
#endif

}  // namespace

char* pack_section_baseline(char* p, const PlanSection& section, const PlanInput& input) noexcept {
  for (const PlanStep* step = section.steps.data();; ++step) {
    for (; step->value == StepValue::kNumber; ++step) {
      const auto number = load_unaligned<uint64_t>(input.bytes + step->offset);
      p = put_number(put_literal(p, *step), number << step->number.up, step->number.forms);
    }
    if (step->value == StepValue::kEnd) return p;
    p = put_step(p, *step, input);
  }
}

char* pack_section(char* p, const PlanSection& section, const PlanInput& input) noexcept {
  return g_pack_section(p, section, input);
}

}  // namespace vek
