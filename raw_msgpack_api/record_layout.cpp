#include "raw_msgpack_api/record_layout.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace vek::engine {
namespace {

constexpr size_t kStep = 64;

using Lane = uint64_t __attribute__((vector_size(16), may_alias));
using Copy = bool(const uint8_t* bytes, size_t size, const uint8_t* headers, const uint8_t* mask,
                  uint8_t* out);

Lane load(const uint8_t* bytes) {
  Lane lane;
  std::memcpy(&lane, bytes, sizeof(lane));
  return lane;
}

// Steps through `size` bytes, at least kStep: the last one ends with them, and may begin in the one
// before.
size_t next_step(size_t at, size_t size) { return std::min(at + kStep, size - kStep); }

// Bits of kStep bytes that the mask cares for and that differ.
Lane difference(const uint8_t* a, const uint8_t* b, const uint8_t* mask) {
  Lane all{};
  for (size_t i = 0; i < kStep; i += sizeof(Lane)) {
    all |= (load(a + i) ^ load(b + i)) & load(mask + i);
  }
  return all;
}

bool any(Lane lane) { return (lane[0] | lane[1]) != 0; }

// The same of fewer bytes. Headers and mask go on behind them.
bool few_differ(const uint8_t* bytes, size_t size, const uint8_t* headers, const uint8_t* mask) {
  std::array<uint8_t, kStep> few{};
  std::memcpy(few.data(), bytes, size);
  return any(difference(few.data(), headers, mask));
}

// Copies `size` bytes, at least kStep. False when they differ from the headers in what the mask
// cares for.
bool copy_baseline(const uint8_t* bytes, size_t size, const uint8_t* headers, const uint8_t* mask,
                   uint8_t* out) {
  Lane all{};
  for (size_t at = 0;; at = next_step(at, size)) {
    for (size_t i = at; i < at + kStep; i += sizeof(Lane)) {
      const Lane lane = load(bytes + i);
      std::memcpy(out + i, &lane, sizeof(lane));
      all |= (lane ^ load(headers + i)) & load(mask + i);
    }
    if (at + kStep == size) return !any(all);
  }
}

#ifdef __x86_64__
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i load_wide(const uint8_t* bytes) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

[[gnu::target("avx2")]] bool copy_modern(const uint8_t* bytes, size_t size, const uint8_t* headers,
                                         const uint8_t* mask, uint8_t* out) {
  __m256i all = _mm256_setzero_si256();
  for (size_t at = 0;; at = next_step(at, size)) {
    for (size_t i = at; i < at + kStep; i += sizeof(__m256i)) {
      const __m256i lane = load_wide(bytes + i);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), lane);
      const __m256i differs = _mm256_xor_si256(lane, load_wide(headers + i));
      all = _mm256_or_si256(all, _mm256_and_si256(differs, load_wide(mask + i)));
    }
    if (at + kStep == size) return _mm256_testz_si256(all, all) != 0;
  }
}

Copy* const g_copy = __builtin_cpu_supports("avx2") != 0 ? copy_modern : copy_baseline;
#else
Copy* const g_copy = copy_baseline;
#endif

// What of a token at `mask` says more than a value: it gets ones there.
void mark(const Token& token, uint8_t first, uint8_t* mask) {
  switch (token.kind) {
    case TokenKind::kUnsigned:
      mask[0] = first < 0x80 ? 0x80 : 0xff;
      return;
    case TokenKind::kNegative:
      mask[0] = first >= 0xe0 ? 0xe0 : 0xff;
      return;
    case TokenKind::kBool:
      mask[0] = 0xfe;
      return;
    case TokenKind::kNil:
    case TokenKind::kFloat32:
    case TokenKind::kFloat64:
      mask[0] = 0xff;
      return;
    default:
      std::memset(mask, 0xff, token.header_size);
  }
}

}  // namespace

void RecordLayout::learn(const FoundRecord& record) noexcept {
  const Bytes bytes = record.view.bytes;
  size_ = 0;
  try {
    // A whole step may be read from any place of them.
    headers_.assign(bytes.size() + kStep, 0);
    mask_.assign(bytes.size() + kStep, 0);
  } catch (const std::exception&) {
    return;
  }
  std::copy(bytes.begin(), bytes.end(), headers_.begin());
  for (size_t offset = 0; offset < bytes.size();) {
    Token token;
    if (read_token(bytes.subspan(offset), token) != TokenStatus::kOk) return;
    mark(token, bytes[offset], &mask_[offset]);
    offset += token.size();
  }
  record_ = record;
  record_.view.bytes = {};
  size_ = bytes.size();
}

bool RecordLayout::begins(Bytes bytes) const noexcept {
  if (bytes.size() != size_ || bytes.empty()) return false;
  if (size_ < kStep) return !few_differ(bytes.data(), size_, headers_.data(), mask_.data());
  return !any(difference(bytes.data(), headers_.data(), mask_.data()));
}

bool RecordLayout::fits(Bytes bytes) const noexcept {
  if (!begins(bytes)) return false;
  for (size_t at = 0; at + kStep < size_;) {
    at = next_step(at, size_);
    if (any(difference(bytes.data() + at, &headers_[at], &mask_[at]))) return false;
  }
  return true;
}

bool RecordLayout::copy(Bytes bytes, size_t from, uint8_t* out) const noexcept {
  const size_t size = size_ - from;
  const uint8_t* const begin = bytes.data() + from;
  if (size >= kStep) return g_copy(begin, size, &headers_[from], &mask_[from], out);
  std::memcpy(out, begin, size);
  return !few_differ(begin, size, &headers_[from], &mask_[from]);
}

FoundRecord RecordLayout::found(Bytes bytes) const noexcept {
  FoundRecord record = record_;
  record.view.bytes = bytes;
  return record;
}

}  // namespace vek::engine
