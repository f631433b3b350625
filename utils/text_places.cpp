#include "utils/text_places.h"

#include <algorithm>
#include <array>
#include <limits>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "utils/limited_text.h"
#include "utils/msgpack_encode.h"

namespace vek {

bool TextPlaces::takes(const PlanStep& step) noexcept {
  constexpr uint16_t kShortestKey = 6;  // and two headers, and the word of a number of one byte
  return (step.has_window || step.has_words) && step.literal_size >= kShortestKey &&
         step.offset <= std::numeric_limits<uint32_t>::max();
}

void TextPlaces::append(const PlanStep& step, const char* record, uint32_t begin, uint32_t length) {
  if (step.has_window && in_windows_ == texts_.size()) ++in_windows_;
  Text& text = texts_.emplace_back();
  text.in = static_cast<uint32_t>(step.offset);
  text.out = begin + text_header_size(length);
  text.length = length;
  text.step = &step;
  expect(text);
  renew_tail(text, record);
}

void TextPlaces::expect(Text& text) noexcept {
  text.others = kTextWindow - std::min<uint32_t>(text.length, kTextWindow);
  if (text.length >= kTextWindow) {
    text.looked_at = 0;
    text.nul = 1;  // which is never so
    return;
  }
  // Where the field ends with the text, no NUL does.
  text.nul = text.length < text.step->text_limit ? 1u << text.length : 0;
  text.looked_at = ((1u << text.length) - 1) | text.nul;
}

uint32_t TextPlaces::begin(size_t index) const {
  return texts_[index].out - text_header_size(texts_[index].length);
}

void TextPlaces::renew_tail(Text& text, const char* record) noexcept {
  text.tail = {};
  for (size_t i = text.length; i < kTextWindow; ++i) text.tail[i] = record[text.out + i];
}

void TextPlaces::renew(size_t index, const char* record, uint32_t length) noexcept {
  Text& text = texts_[index];
  text.out = begin(index) + text_header_size(length);
  text.length = length;
  expect(text);
  renew_tail(text, record);
}

// By their headers: an empty text begins where it ends.
std::vector<TextPlaces::Text>::iterator TextPlaces::first_from(uint32_t place) noexcept {
  const auto stands_before = [](const Text& text, uint32_t at) {
    return text.out - text_header_size(text.length) < at;
  };
  return std::lower_bound(texts_.begin(), texts_.end(), place, stands_before);
}

void TextPlaces::move_from(uint32_t place, uint32_t shift) noexcept {
  for (auto text = first_from(place); text != texts_.end(); ++text) text->out += shift;
}

void TextPlaces::renew_tails_before(uint32_t place, const char* record) noexcept {
  auto text = first_from(place);
  while (text != texts_.begin() && (--text)->out + kTextWindow > place) renew_tail(*text, record);
}

size_t TextPlaces::write_all_baseline(const Text* texts, size_t, size_t count, char* record,
                                      const char* bytes, size_t first) {
  for (; first < count; ++first) {
    const Text& text = texts[first];
    const char* value = bytes + text.in;
    const uint32_t length = text_length(value, *text.step);
    if (length != text.length || length >= kTextWindow) break;
    msgpack_detail::put_bytes(record + text.out, value, length);
  }
  return first;
}

#if defined(__x86_64__)
namespace {

// From kTextWindow - n on: as many set bytes as a text has, then others.
alignas(2 * kTextWindow) constexpr auto kKept = [] {
  std::array<uint8_t, 2 * kTextWindow> kept{};
  for (size_t i = 0; i < kTextWindow; ++i) kept[i] = 0xff;
  return kept;
}();

template <typename Byte>
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i load_window(const Byte* from) noexcept {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

}  // namespace

// One move writes any text, with what stands behind it. False, with nothing written, when one of so
// many has another length. All is read before anything is written: see NumberPlaces.
template <size_t kCount, bool kWords, typename Text>
[[gnu::target("avx2"), gnu::always_inline]] static inline bool write_windows(
    const Text* texts, char* record, const char* bytes) noexcept {
  __m256i all[kCount];
  uint32_t out[kCount];
  uint32_t misfits = 0;
#pragma GCC unroll 4
  for (size_t i = 0; i < kCount; ++i) {
    const Text& text = texts[i];
    const __m256i value = kWords ? load_text_words(bytes + text.in, text.step->text_limit)
                                 : load_window(bytes + text.in);
    const int is_nul = _mm256_movemask_epi8(_mm256_cmpeq_epi8(value, _mm256_setzero_si256()));
    misfits |= (static_cast<uint32_t>(is_nul) & text.looked_at) ^ text.nul;
    const __m256i kept = load_window(&kKept[text.others]);
    all[i] = _mm256_or_si256(_mm256_and_si256(value, kept), load_window(&text.tail[0]));
    out[i] = text.out;
  }
  if (misfits != 0) return false;
#pragma GCC unroll 4
  for (size_t i = 0; i < kCount; ++i) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(record + out[i]), all[i]);
  }
  return true;
}

[[gnu::target("avx2")]] size_t TextPlaces::write_all_modern(const Text* texts, size_t in_windows,
                                                            size_t count, char* record,
                                                            const char* bytes, size_t first) {
  constexpr size_t kAtOnce = 4;
  while (first + kAtOnce <= in_windows &&
         write_windows<kAtOnce, false>(texts + first, record, bytes)) {
    first += kAtOnce;
  }
  if (first + 2 <= in_windows && write_windows<2, false>(texts + first, record, bytes)) first += 2;
  while (first < in_windows && write_windows<1, false>(texts + first, record, bytes)) ++first;
  while (first < count && write_windows<1, true>(texts + first, record, bytes)) ++first;
  return first;
}

TextPlaces::WriteAll* const TextPlaces::g_write_all =
    __builtin_cpu_supports("avx2") != 0 ? write_all_modern : write_all_baseline;
#else
TextPlaces::WriteAll* const TextPlaces::g_write_all = write_all_baseline;
#endif

}  // namespace vek
