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

void NumberPlaces::clear(uint64_t input_size) {
  size_ = 0;
  input_size_ = input_size;
  has_windows_ = input_size >= kWindow;
  quads_.clear();
  details_.clear();
}

void NumberPlaces::append(uint32_t in, NumberRead read, const char* record, uint32_t out) {
  Detail number;
  number.in = in;
  number.read = read;
  number.is_repeat = false;
  const bool joins = size_ % 2 == 1 && joins_the_one_before(number);
  if (size_ % 2 == 1 && !joins) ++size_;
  if (size_ % kLanes == 0) {
    quads_.emplace_back();
    details_.emplace_back();
  }
  const size_t index = size_++;
  detail(index) = number;
  const uint32_t first =
      joins ? std::min(detail(index - 1).first(), number.first()) : number.first();
  const uint64_t last_window = has_windows_ ? input_size_ - kWindow : 0;
  window(index) = static_cast<uint32_t>(std::min<uint64_t>(first, last_window));
  if (joins) set_orders(index - 1);
  renew(index, record, out);
}

// Whether a window has room for both.
bool NumberPlaces::joins_the_one_before(const Detail& number) const noexcept {
  const Detail& before = detail(size_ - 1);
  const auto end_of = [](const Detail& of) { return uint64_t{of.first()} + of.read.width(); };
  const uint64_t begin = std::min(before.first(), number.first());
  return std::max(end_of(before), end_of(number)) - begin <= kWindow;
}

uint32_t NumberPlaces::begin(size_t index) const { return out(index) - detail(index).lead; }

uint32_t NumberPlaces::end(size_t index) const { return out(index) + detail(index).bytes; }

void NumberPlaces::renew(size_t index, const char* record, uint32_t out) noexcept {
  while (detail(index).is_repeat) --index;
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
  quad.out[lane] = out + number.lead;
  set_orders(index);
  renew_tail(index, record);
}

// Of a value its bytes, lowest first, at the end of a word; of what is written as many of them,
// highest first, at its beginning. The others are NUL.
void NumberPlaces::set_orders(size_t index) noexcept {
  const Detail& number = detail(index);
  Quad& quad = quads_[index / kLanes];
  Order& pick = quad.pick[index % kLanes];
  Order& order = quad.order[index % kLanes];
  pick.fill(0xff);
  order.fill(0xff);
  const uint32_t first = number.first() - window(index);
  const uint32_t width = number.read.width();
  for (uint32_t i = 0; i < width; ++i) {
    pick[kWord - width + i] = static_cast<uint8_t>(first + i);
  }
  for (uint32_t i = 0; i < number.bytes; ++i) {
    order[i] = static_cast<uint8_t>(first + number.bytes - 1 - i);
  }
}

// A number has changed: so have those that repeat it.
void NumberPlaces::repeat(size_t index) noexcept {
  Quad& quad = quads_[index / kLanes];
  Details& details = details_[index / kLanes];
  const size_t from = index % kLanes;
  for (size_t lane = from + 1; lane < kLanes && details[lane].is_repeat; ++lane) {
    details[lane] = details[from];
    details[lane].is_repeat = true;
    quad.least[lane] = quad.least[from];
    quad.span[lane] = quad.span[from];
    quad.tail[lane] = quad.tail[from];
    quad.pick[lane] = quad.pick[from];
    quad.order[lane] = quad.order[from];
    quad.window[lane / 2] = quad.window[from / 2];
    quad.out[lane] = quad.out[from];
  }
}

void NumberPlaces::renew_tail(size_t index, const char* record) noexcept {
  while (detail(index).is_repeat) --index;
  const unsigned bits = 8u * detail(index).bytes;
  uint64_t& tail = quads_[index / kLanes].tail[index % kLanes];
  tail = bits == kBits ? 0 : load_unaligned<uint64_t>(record + out(index)) >> bits << bits;
  repeat(index);
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
  const Detail& number = detail(index);
  return msgpack_detail::put_number(p, value_of(number, bytes), number.read.forms);
}

// The value in the highest bits of a word, with anything below.
[[gnu::always_inline]] inline uint64_t NumberPlaces::value_of(const Detail& number,
                                                              const char* bytes) noexcept {
  return load_unaligned<uint64_t>(bytes + number.in) << number.read.up;
}

// The values are read again, and a producer may have changed them since: when all fit now, what was
// written of them is no use either, from the first one on.
size_t NumberPlaces::first_misfit(const char* bytes, size_t begin, size_t end) const noexcept {
  for (size_t index = begin; index < end; ++index) {
    const Quad& quad = quads_[index / kLanes];
    const size_t lane = index % kLanes;
    const uint64_t value = value_of(detail(index), bytes);
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
        const uint64_t value = value_of(number, bytes);
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

template <typename Words>
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i load(const Words& words) noexcept {
  static_assert(sizeof(words) == sizeof(__m256i));
  return _mm256_load_si256(reinterpret_cast<const __m256i*>(&words));
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i load_windows(
    const char* lower, const char* upper) noexcept {
  const auto* const low = reinterpret_cast<const __m128i*>(lower);
  const auto* const high = reinterpret_cast<const __m128i*>(upper);
  const __m256i window = _mm256_castsi128_si256(_mm_loadu_si128(low));
  return _mm256_inserti128_si256(window, _mm_loadu_si128(high), 1);
}

inline __m64* at(char* record, uint32_t place) noexcept {
  return reinterpret_cast<__m64*>(record + place);
}

}  // namespace

// The same for four numbers at once.
template <typename Quad>
[[gnu::target("avx2"), gnu::always_inline]] static inline __m256i words_of(
    const Quad& quad, const char* bytes, __m256i& misfits) noexcept {
  const __m256i windows = load_windows(bytes + quad.window[0], bytes + quad.window[1]);
  const __m256i values = _mm256_shuffle_epi8(windows, load(quad.pick));
  const __m256i above = _mm256_sub_epi64(values, load(quad.least));
  misfits = _mm256_or_si256(misfits, _mm256_cmpgt_epi64(above, load(quad.span)));
  const __m256i own = _mm256_shuffle_epi8(windows, load(quad.order));
  return _mm256_or_si256(own, load(quad.tail));
}

template <size_t kCount, typename Quad>
[[gnu::target("avx2"), gnu::always_inline]] static inline void put_words(
    const Quad* quads, const __m256i (&words)[kCount], char* record) noexcept {
  uint32_t out[kCount][4];
#pragma GCC unroll 2
  for (size_t i = 0; i < kCount; ++i) {
#pragma GCC unroll 4
    for (size_t lane = 0; lane < 4; ++lane) out[i][lane] = quads[i].out[lane];
  }
#pragma GCC unroll 2
  for (size_t i = 0; i < kCount; ++i) {
    const __m128 low = _mm_castsi128_ps(_mm256_castsi256_si128(words[i]));
    const __m128 high = _mm_castsi128_ps(_mm256_extracti128_si256(words[i], 1));
    _mm_storel_pi(at(record, out[i][0]), low);
    _mm_storeh_pi(at(record, out[i][1]), low);
    _mm_storel_pi(at(record, out[i][2]), high);
    _mm_storeh_pi(at(record, out[i][3]), high);
  }
}

// The words of eight numbers are made before those of the eight in front of them are written:
// some processors let no read pass a write that still waits for its place or its word.
[[gnu::target("avx2")]] size_t NumberPlaces::write_quads_modern(const Quad* quads, size_t first,
                                                                size_t count, const Details*,
                                                                char* record, const char* bytes) {
  while (first < count) {
    const size_t end = std::min(count, first + kQuadsAtATime);
    __m256i misfits = _mm256_setzero_si256();
    const Quad* quad = quads + first;
    if ((end - first) % 2 != 0) {
      put_words<1>(quad, {words_of(*quad, bytes, misfits)}, record);
      ++quad;
    }
    if (quad != quads + end) {
      __m256i words[] = {words_of(quad[0], bytes, misfits), words_of(quad[1], bytes, misfits)};
      for (; quad + 2 != quads + end; quad += 2) {
        const __m256i next[] = {words_of(quad[2], bytes, misfits),
                                words_of(quad[3], bytes, misfits)};
        put_words(quad, words, record);
        words[0] = next[0];
        words[1] = next[1];
      }
      put_words(quad, words, record);
    }
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
