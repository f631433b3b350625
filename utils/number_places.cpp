#include "utils/number_places.h"

#include <algorithm>
#include <cstring>
#include <limits>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "utils/msgpack_encode.h"
#include "utils/unaligned.h"

namespace vek {
namespace {

constexpr size_t kWord = sizeof(uint64_t);
constexpr unsigned kBits = 64;
constexpr uint64_t kSign = uint64_t{1} << 63;

// What the first byte of a number says about the values that have its form.
struct Form {
  uint8_t bytes;  // of the number itself; 0: it shares the first one
  int64_t least;
  uint64_t largest;
};

Form form_of(uint8_t first) {
  constexpr uint64_t kMost = std::numeric_limits<uint64_t>::max();
  const auto negative = [](uint8_t bytes, int64_t least, int64_t largest) {
    return Form{bytes, least, static_cast<uint64_t>(largest)};
  };
  switch (first) {
    case 0xca:
      return {4, 0, kMost};
    case 0xcb:
      return {8, 0, kMost};
    case 0xcc:
      return {1, 0x80, 0xff};
    case 0xcd:
      return {2, 0x100, 0xffff};
    case 0xce:
      return {4, 0x1'0000, 0xffff'ffff};
    case 0xcf:
      return {8, 0x1'0000'0000, kMost};
    case 0xd0:
      return negative(1, -128, -33);
    case 0xd1:
      return negative(2, -32'768, -129);
    case 0xd2:
      return negative(4, -2'147'483'648, -32'769);
    case 0xd3:
      return negative(8, std::numeric_limits<int64_t>::min(), -2'147'483'649);
    default:
      return first < 0x80 ? Form{0, 0, 0x7f} : negative(0, -32, -1);
  }
}

}  // namespace

void NumberPlaces::clear() {
  size_ = 0;
  quads_.clear();
  details_.clear();
}

void NumberPlaces::append(uint32_t in, NumberRead read, const char* record, uint32_t out) {
  const size_t index = size_;
  const size_t lane = index % kLanes;
  if (lane == 0) {
    quads_.emplace_back();
    details_.emplace_back();
  }
  ++size_;
  detail(index).read = read;
  quads_.back().in[lane] = in;
  quads_.back().up[lane] = read.up;
  renew(index, record, out);
}

uint32_t NumberPlaces::begin(size_t index) const { return out(index) - detail(index).lead; }

uint32_t NumberPlaces::end(size_t index) const { return out(index) + detail(index).bytes; }

void NumberPlaces::renew(size_t index, const char* record, uint32_t out) noexcept {
  Detail& number = detail(index);
  Quad& quad = quads_[index / kLanes];
  const size_t lane = index % kLanes;
  const Form form = form_of(static_cast<uint8_t>(record[out]));
  const unsigned unused = kBits - 8u * number.read.width();
  uint64_t largest = form.largest;
  // Of a signed number the highest bit is no part of how large it is.
  if (number.read.is_signed() && form.least >= 0) {
    largest = std::min(largest, (kSign - 1) >> unused);
  }
  const auto least = static_cast<uint64_t>(form.least);
  number.lead = form.bytes > 0 ? 1 : 0;
  number.bytes = std::max<uint8_t>(form.bytes, 1);
  number.shift = static_cast<uint8_t>(kBits - unused - 8u * number.bytes);
  quad.least[lane] = (least << unused) + kSign;
  // What is read below the value may be anything.
  const uint64_t below = (uint64_t{1} << unused) - 1;
  quad.span[lane] = static_cast<int64_t>((((largest - least) << unused) | below) ^ kSign);
  quad.order[lane] = order_of(number, lane);
  quad.out[lane] = out + number.lead;
  renew_tail(index, record);
}

// Which bytes of a word are written, highest first; the others are NUL. In the upper lane of two
// they count from the lower one's first.
uint64_t NumberPlaces::order_of(const Detail& number, size_t lane) noexcept {
  uint64_t order = ~uint64_t{0};
  const unsigned lowest = 8u * static_cast<unsigned>(lane % 2) + 8u - number.read.width();
  for (unsigned i = number.bytes; i > 0; --i) order = order << 8 | (lowest + number.bytes - i);
  return order;
}

// One of its numbers has changed, the last one perhaps.
void NumberPlaces::fill_last_quad(size_t changed) noexcept {
  if (changed + 1 != size()) return;
  Quad& quad = quads_.back();
  const size_t last = changed % kLanes;
  for (size_t lane = last + 1; lane < kLanes; ++lane) {
    details_.back()[lane] = detail(changed);
    quad.least[lane] = quad.least[last];
    quad.span[lane] = quad.span[last];
    quad.tail[lane] = quad.tail[last];
    quad.order[lane] = order_of(detail(changed), lane);
    quad.in[lane] = quad.in[last];
    quad.out[lane] = quad.out[last];
    quad.up[lane] = quad.up[last];
  }
}

void NumberPlaces::renew_tail(size_t index, const char* record) noexcept {
  const unsigned bits = 8u * detail(index).bytes;
  uint64_t& tail = quads_[index / kLanes].tail[index % kLanes];
  tail = bits == kBits ? 0 : load_unaligned<uint64_t>(record + out(index)) >> bits << bits;
  fill_last_quad(index);
}

// The first one that begins at `place` or behind it.
size_t NumberPlaces::first_from(uint32_t place) const noexcept {
  size_t first = 0;
  for (size_t left = size(); left > 0;) {
    const size_t half = left / 2;
    if (out(first + half) < place) {
      first += half + 1;
      left -= half + 1;
    } else {
      left = half;
    }
  }
  return first;
}

void NumberPlaces::move_from(uint32_t place, uint32_t shift) noexcept {
  const size_t first = first_from(place);
  if (first == size()) return;
  for (size_t index = first; index < kLanes * quads_.size(); ++index) {
    quads_[index / kLanes].out[index % kLanes] += shift;
  }
}

void NumberPlaces::renew_tails_before(uint32_t place, const char* record) noexcept {
  for (size_t index = first_from(place); index > 0 && out(index - 1) + kWord > place; --index) {
    renew_tail(index - 1, record);
  }
}

char* NumberPlaces::write_anew(char* p, const char* bytes, size_t index) const noexcept {
  const Quad& quad = quads_[index / kLanes];
  const uint64_t value = value_at(quad, index % kLanes, bytes);
  return msgpack_detail::put_number(p, value, detail(index).read.forms);
}

// The value in the highest bits of a word, with anything below.
[[gnu::always_inline]] inline uint64_t NumberPlaces::value_at(const Quad& quad, size_t lane,
                                                              const char* bytes) noexcept {
  return load_unaligned<uint64_t>(bytes + quad.in[lane]) << quad.up[lane];
}

// The values are read again, and a producer may have changed them since: when all fit now, what was
// written of them is no use either, from the first one on.
size_t NumberPlaces::first_misfit(const char* bytes, size_t begin, size_t end) const noexcept {
  for (size_t index = begin; index < end; ++index) {
    const Quad& quad = quads_[index / kLanes];
    const size_t lane = index % kLanes;
    const uint64_t value = value_at(quad, lane, bytes);
    if (static_cast<int64_t>(value - quad.least[lane]) > quad.span[lane]) return index;
  }
  return begin;
}

// Words overlap what stands behind a number, which is why they carry it, and are written in order:
// that may be the next number.
size_t NumberPlaces::write_quads_baseline(const Quad* quads, size_t first, size_t count,
                                          const Details* details, char* record, const char* bytes) {
  while (first < count) {
    const size_t end = std::min(count, first + kQuadsAtATime);
    bool fit = true;
    for (size_t at = first; at < end; ++at) {
      const Quad& quad = quads[at];
      for (size_t lane = 0; lane < kLanes; ++lane) {
        const Detail& number = details[at][lane];
        const uint64_t value = value_at(quad, lane, bytes);
        const unsigned others = kBits - 8u * number.bytes;
        const uint64_t own = __builtin_bswap64(value << number.shift) << others >> others;
        const uint64_t word = own | quad.tail[lane];
        std::memcpy(record + quad.out[lane], &word, kWord);
        fit &= static_cast<int64_t>(value - quad.least[lane]) <= quad.span[lane];
      }
    }
    if (!fit) return first;
    first = end;
  }
  return count;
}

#if defined(__x86_64__)
namespace {

template <typename Word>
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i load(const Word (&words)[4]) noexcept {
  static_assert(sizeof(words) == sizeof(__m256i));
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(words));
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i widen(
    const uint8_t (&bytes)[4]) noexcept {
  return _mm256_cvtepu8_epi64(_mm_loadu_si32(bytes));
}

inline __m64* at(char* record, uint32_t place) noexcept {
  return reinterpret_cast<__m64*>(record + place);
}

}  // namespace

// The same for four numbers at once, and for several fours: all is read before anything is written,
// because some processors do not let a read pass a write whose place is not known yet.
template <size_t kCount, typename Quad>
[[gnu::target("avx2"), gnu::always_inline]] static inline __m256i write_lanes(
    const Quad* quads, char* record, const char* bytes) noexcept {
  __m256i misfits = _mm256_setzero_si256();
  __m256i all[kCount];
  uint32_t out[kCount][4];
#pragma GCC unroll 2
  for (size_t i = 0; i < kCount; ++i) {
    const Quad& quad = quads[i];
    const auto read = [&](size_t lane) { return load_unaligned<int64_t>(bytes + quad.in[lane]); };
    const __m256i words = _mm256_set_epi64x(read(3), read(2), read(1), read(0));
    const __m256i values = _mm256_sllv_epi64(words, widen(quad.up));
    const __m256i above = _mm256_sub_epi64(values, load(quad.least));
    misfits = _mm256_or_si256(misfits, _mm256_cmpgt_epi64(above, load(quad.span)));
    const __m256i own = _mm256_shuffle_epi8(values, load(quad.order));
    all[i] = _mm256_or_si256(own, load(quad.tail));
#pragma GCC unroll 4
    for (size_t lane = 0; lane < 4; ++lane) out[i][lane] = quad.out[lane];
  }
#pragma GCC unroll 2
  for (size_t i = 0; i < kCount; ++i) {
    const __m128 low = _mm_castsi128_ps(_mm256_castsi256_si128(all[i]));
    const __m128 high = _mm_castsi128_ps(_mm256_extracti128_si256(all[i], 1));
    _mm_storel_pi(at(record, out[i][0]), low);
    _mm_storeh_pi(at(record, out[i][1]), low);
    _mm_storel_pi(at(record, out[i][2]), high);
    _mm_storeh_pi(at(record, out[i][3]), high);
  }
  return misfits;
}

[[gnu::target("avx2")]] size_t NumberPlaces::write_quads_modern(const Quad* quads, size_t first,
                                                                size_t count, const Details*,
                                                                char* record, const char* bytes) {
  while (first < count) {
    const size_t end = std::min(count, first + kQuadsAtATime);
    __m256i misfits = _mm256_setzero_si256();
    size_t at = first;
    for (; at + 2 <= end; at += 2) {
      misfits = _mm256_or_si256(misfits, write_lanes<2>(quads + at, record, bytes));
    }
    if (at < end) misfits = _mm256_or_si256(misfits, write_lanes<1>(quads + at, record, bytes));
    if (_mm256_testz_si256(misfits, misfits) == 0) return first;
    first = end;
  }
  return count;
}

NumberPlaces::WriteQuads* const NumberPlaces::g_write_quads =
    __builtin_cpu_supports("avx2") != 0 ? write_quads_modern : write_quads_baseline;
#else
NumberPlaces::WriteQuads* const NumberPlaces::g_write_quads = write_quads_baseline;
#endif

}  // namespace vek
