// StreamPlaces: where in the record of a stream's last dictionary each value lies, so that in the
// next one only the values are written.
//
// While every event has the header that it had in the dictionary before, and every number its sign
// and size, the record differs in its values alone: keys, first bytes and headers of containers
// stay where they are. A place is a step of the plan (stream_plan.h) in the record; the first n
// places are those of the first n steps. Where a value takes another size, what lies behind it is
// moved, a few times in a record. Where containers or keys differ, what has been written is right,
// and the rest of the dictionary is written by the plan.
#ifndef VEK_DICT_READER_STREAM_PLACES_H
#define VEK_DICT_READER_STREAM_PLACES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "dict_reader/stream_plan.h"
#include "dict_reader/stream_values.h"
#include "utils/msgpack_encode.h"
#include "utils/unaligned.h"

class StreamPlaces {
 public:
  // The number of a value lies in the eight bytes at its place, first byte first. What else lies
  // there stays, or is written by the places behind it. A text lies at its place; what is in the
  // header alone has nothing there.
  struct alignas(64) Place {
    uint64_t word;  // as in the step
    uint32_t size;
    uint32_t text;   // bytes of a text
    uint64_t least;  // as in the step
    uint64_t span;
    uint64_t others;  // what lies there beside the number
    uint64_t way;     // the rest, see below
  };
  // In one word, as it is reads that the loop waits for, are the shift that brings the number's
  // bytes to the top, whether there is none, and how far it is to the next place or the record's
  // end.
  static constexpr uint64_t kNoNumber = 1 << 8;
  static constexpr int kNextAt = 16;

  // Where records are written.
  using Memory = std::span<char>;

  // At the begin of a record, of which `size` bytes stand in front of the root's first child.
  void begin(const StreamPlan& plan, bool is_dict, size_t size) noexcept;
  // At its end: learns the places where the whole of the record went by the plan. `children` are
  // those of the root. True where nothing was to be learned: the record went by its places.
  bool end(const StreamPlan& plan, Memory memory, size_t record_size, uint32_t children) noexcept;
  // What the last record left is gone, or the plan.
  void forget() noexcept { is_known_ = false; }

  // Whether the record that is open goes by the places.
  bool isFollowed() const { return is_followed_; }
  // Places that have been taken, and whether they were all.
  size_t taken() const { return taken_; }
  bool isAtEnd() const { return taken_ == places_.size(); }
  // Of the whole record, and of its root.
  size_t size() const { return size_; }
  uint32_t children() const { return children_; }
  // Nothing more of the record goes by places.
  void leave() noexcept;

  // Writes values of events in a row to their places in `record`, up to the first that does not
  // fit, and at most `count`. Answers how many.
  template <bool kAtOnce>
  [[gnu::always_inline]] inline uint64_t rewrite(const uint8_t* event, uint64_t event_size,
                                                 uint64_t count, char* record);
  // Makes the next step and place ones that the event fits, which is a value, and writes it there;
  // false, with nothing changed, where that takes more than moving what lies behind it, or too much
  // of that. The key, if one is written, takes `key_size` bytes.
  bool change(StreamPlan& plan, stream_values::Event event, const stream_values::Rule& rule,
              size_t key_size, Memory memory) noexcept;
  // All of them fit events with so much data.
  bool fitsIn(uint32_t most_data) const { return most_data_ <= most_data; }

 private:
  // In a row; until then, each record that leaves its places makes the rest longer.
  static constexpr uint32_t kEnoughFitting = 2;

  template <bool kAtOnce>
  static bool hasHeader(const uint8_t* event, const Place& place);
  void rest() noexcept;
  bool learn(const StreamPlan& plan, Memory memory, size_t record_size) noexcept;
  void movePlace(size_t at, size_t next) noexcept;
  void readOthers(size_t place, const char* at) noexcept;
  void readOthersBefore(size_t begin, Memory memory) noexcept;

  std::vector<Place> places_;
  size_t taken_ = 0;
  size_t at_ = 0;     // of the next place
  size_t begin_ = 0;  // of the root's first child
  size_t first_ = 0;  // of the first place
  size_t size_ = 0;
  uint32_t children_ = 0;
  uint32_t most_data_ = 0;  // of all events
  size_t moved_ = 0;        // bytes, in this record
  bool is_dict_ = false;    // the root
  bool is_known_ = false;
  bool is_followed_ = false;
  uint32_t rest_ = 0;  // records that nothing is learned of
  uint32_t next_rest_ = 0;
  uint32_t fitting_ = 0;  // records that went by places to the end, in a row
};

inline void StreamPlaces::begin(const StreamPlan& plan, bool is_dict, size_t size) noexcept {
  is_followed_ = is_known_ && plan.isFollowed() && is_dict == is_dict_ && size == begin_;
  // Otherwise the record is written over.
  is_known_ = is_followed_;
  is_dict_ = is_dict;
  begin_ = size;
  taken_ = 0;
  at_ = first_;
  moved_ = 0;
}

inline void StreamPlaces::leave() noexcept {
  is_followed_ = false;
  if (isAtEnd()) {
    if (++fitting_ == kEnoughFitting) next_rest_ = 0;
    return;
  }
  rest();
}

// Whether an event has the header that fits the place: type, key and size of the data. `kAtOnce`
// compares them in one go, which takes half as many reads.
template <bool kAtOnce>
[[gnu::always_inline]] inline bool StreamPlaces::hasHeader(const uint8_t* event,
                                                           const Place& place) {
  constexpr size_t kWordAt = offsetof(vek_opaque_event_t, second_word);
  constexpr size_t kSizeAt = offsetof(vek_opaque_event_t, data_size);
  static_assert(kSizeAt - kWordAt == offsetof(Place, size) && offsetof(Place, word) == 0);
#if defined(__SSE2__)
  if constexpr (kAtOnce) {
    constexpr int kHeader = (1 << (sizeof place.word + sizeof place.size)) - 1;
    const auto* const wanted = reinterpret_cast<const __m128i*>(&place);
    const auto there = vek::load_once<__m128i>(event + kWordAt);
    const int alike = _mm_movemask_epi8(_mm_cmpeq_epi8(there, _mm_load_si128(wanted)));
    return (~alike & kHeader) == 0;
  }
#endif
  return vek::load_once<uint64_t>(event + kWordAt) == place.word &&
         vek::load_once<uint32_t>(event + kSizeAt) == place.size;
}

// Reads are what this waits for: two in a cycle, whatever else there is to do.
template <bool kAtOnce>
uint64_t StreamPlaces::rewrite(const uint8_t* event, uint64_t event_size, uint64_t count,
                               char* record) {
  static_assert(VEK_OPAQUE_WHOLE == 0);
  constexpr size_t kKindAt = offsetof(vek_opaque_event_t, kind);
  const Place* const first = places_.data() + taken_;
  const Place* const end = first + std::min<uint64_t>(count, places_.size() - taken_);
  const Place* place = first;
  char* to = record + at_;
  for (; place != end; ++place, event += event_size) {
    if (!hasHeader<kAtOnce>(event, *place)) break;
    const auto kind = vek::load_once<uint8_t>(event + kKindAt);
    const uint8_t* const data = event + stream_values::kHeaderSize;
    const uint64_t way = place->way;
    if (kind | (way & kNoNumber)) {
      if (kind != VEK_OPAQUE_WHOLE) break;
      // Not a window: what stands behind the text stays.
      vek::msgpack_detail::put_bytes(to, reinterpret_cast<const char*>(data), place->text);
    } else {
      const auto bits = vek::load_once<uint64_t>(data);
      if (bits - place->least > place->span) break;
      const uint64_t word = __builtin_bswap64(bits << (way % 64)) | place->others;
      std::memcpy(to, &word, sizeof word);
    }
    to += way >> kNextAt;
  }
  const auto written = static_cast<uint64_t>(place - first);
  taken_ += written;
  at_ = static_cast<size_t>(to - record);
  return written;
}

#endif  // VEK_DICT_READER_STREAM_PLACES_H
