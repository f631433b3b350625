// The lengths of texts in fields of fixed size.
#ifndef VEK_UTILS_LIMITED_TEXT_H
#define VEK_UTILS_LIMITED_TEXT_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "utils/packing_plan.h"

namespace vek {

#if defined(__x86_64__)
// A bit for each byte of the window that is NUL.
[[gnu::always_inline]] inline uint32_t nul_bytes(const char* window) noexcept {
  const auto half = [](const char* bytes) {
    const __m128i loaded = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(loaded, _mm_setzero_si128())));
  };
  return half(window) | half(window + 16) << 16;
}

// The length where it is below kTextWindow, else kTextWindow, without a branch: texts are short and
// of any length. kTextWindow bytes must be readable.
[[gnu::always_inline]] inline uint32_t length_in_window(const char* text, uint32_t limit) noexcept {
  const uint64_t end = std::min<uint64_t>(limit, kTextWindow);
  return static_cast<uint32_t>(__builtin_ctzll(nul_bytes(text) | uint64_t{1} << end));
}
#else
inline uint32_t length_in_window(const char* text, uint32_t limit) noexcept {
  return static_cast<uint32_t>(strnlen(text, std::min<size_t>(limit, kTextWindow)));
}
#endif

#if defined(__x86_64__)
// The words that a text of that limit lies in, and NULs in the rest of a window.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i load_text_words(
    const char* text, uint32_t limit) noexcept {
  constexpr size_t kWords = kTextWindow / kTextWord;
  alignas(kTextWindow) static constexpr int32_t kLoaded[2 * kWords] = {-1, -1, -1, -1,
                                                                       -1, -1, -1, -1};
  const size_t words = (std::min<size_t>(limit, kTextWindow) + kTextWord - 1) / kTextWord;
  const auto* mask = reinterpret_cast<const __m256i_u*>(&kLoaded[kWords - words]);
  return _mm256_maskload_epi32(reinterpret_cast<const int*>(text), _mm256_loadu_si256(mask));
}
#endif

[[gnu::always_inline]] inline uint32_t text_length(const char* text,
                                                   const PlanStep& step) noexcept {
  if (step.has_window) [[likely]] {
    const uint32_t length = length_in_window(text, step.text_limit);
    if (length < kTextWindow || step.text_limit == kTextWindow) return length;
  }
  return static_cast<uint32_t>(strnlen(text, step.text_limit));
}

}  // namespace vek

#endif  // VEK_UTILS_LIMITED_TEXT_H
