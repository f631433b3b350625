// NumberPlaces: where the numbers of a packed record stand, so that others can be written there.
//
// The hot loop of the plug-in where values are steady. What it needs to know of a number lies in
// lanes of four, so that one instruction checks and shifts four of them.
#ifndef VEK_UTILS_NUMBER_PLACES_H
#define VEK_UTILS_NUMBER_PLACES_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "utils/packing_plan.h"

namespace vek {

class NumberPlaces {
 public:
  // `input_size`: bytes of every input that may be read.
  void clear(uint64_t input_size);
  // One more than the index of the last number. Two at a time are read as sixteen bytes; where one
  // does not lie so close to the next, it counts twice.
  size_t size() const { return size_; }
  // A number that is read at `in` of every input and begins at `out` of the record, behind all
  // others. Throws std::bad_alloc.
  void append(uint32_t in, NumberRead read, const char* record, uint32_t out);

  // Of a number's place: where it begins, with the byte that says its form, and where it ends.
  uint32_t begin(size_t index) const;
  uint32_t end(size_t index) const;

  // Writes those from `first` on, in their order, until one does not have the size of its place;
  // that one's index, or size(). What stands at its place and behind it is no use then. Values may
  // change meanwhile: the index is then that of any number that was just written.
  size_t write(char* record, const char* bytes, size_t first) const noexcept {
    return write_by(has_windows_ ? g_write_quads : write_quads_baseline, record, bytes, first);
  }
  // The same with instructions that every processor of the kind has.
  size_t write_baseline(char* record, const char* bytes, size_t first) const noexcept {
    return write_by(write_quads_baseline, record, bytes, first);
  }
  // Writes one, in whatever size it needs, to `p`, where kMsgpackMaxNumber bytes are; its end.
  char* write_anew(char* p, const char* bytes, size_t index) const noexcept;

  // The number begins at `out`, in the form that the record has there.
  void renew(size_t index, const char* record, uint32_t out) noexcept;
  // What stood from `place` on has moved, by `shift` modulo 2^32.
  void move_from(uint32_t place, uint32_t shift) noexcept;
  // The record has changed at `place`, where the words of a few numbers before it reach.
  void renew_tails_before(uint32_t place, const char* record) noexcept;

 private:
  static constexpr size_t kLanes = 4;
  static constexpr size_t kQuadsAtATime = 16;  // are written before their misfits are looked for
  static constexpr uint32_t kWindow = 16;      // bytes that two numbers are read from
  using Order =
      std::array<uint8_t, 8>;  // where each byte of a word comes from, as shuffles have it
  // Values are looked at as the highest bits of a word, where their width makes no difference. A
  // lane without a number of its own has that of the lane before it, whose word is written again.
  struct alignas(64) Quad {
    uint64_t least[kLanes];  // of the values of that size, plus 2^63: comparisons are signed ones
    int64_t span[kLanes];    // from there to the largest, less 2^63
    uint64_t tail[kLanes];   // what stands behind the number, in the bytes that it leaves of a word
    Order pick[kLanes];      // of the value, out of its window
    Order order[kLanes];     // of the word that is written, likewise
    uint32_t window[kLanes / 2];  // in the input, of two lanes each
    uint32_t out[kLanes];         // of the number's own bytes
  };
  struct Detail {
    uint32_t in = 0;
    NumberRead read;
    uint8_t lead = 0;       // bytes before the number's own
    uint8_t bytes = 0;      // of the number itself
    uint8_t shift = 0;      // past those that are not written
    bool is_repeat = true;  // of the lane before

    // Of the value's own bytes in the input.
    uint32_t first() const { return in + 8u - read.up / 8u - read.width(); }
  };
  using Details = std::array<Detail, kLanes>;  // of a quad

  static uint64_t value_of(const Detail& number, const char* bytes) noexcept;
  uint32_t out(size_t index) const { return quads_[index / kLanes].out[index % kLanes]; }
  uint32_t& window(size_t index) { return quads_[index / kLanes].window[index % kLanes / 2]; }
  Detail& detail(size_t index) { return details_[index / kLanes][index % kLanes]; }
  const Detail& detail(size_t index) const { return details_[index / kLanes][index % kLanes]; }
  bool joins_the_one_before(const Detail& number) const noexcept;
  void set_orders(size_t index) noexcept;
  size_t first_from(uint32_t place) const noexcept;
  void renew_tail(size_t index, const char* record) noexcept;
  void repeat(size_t index) noexcept;

  // From `first` on, to `count`, or to the first of kQuadsAtATime of which not all fit.
  using WriteQuads = size_t(const Quad* quads, size_t first, size_t count, const Details* details,
                            char* record, const char* bytes);
  static WriteQuads write_quads_baseline;
  static WriteQuads write_quads_modern;
  static WriteQuads* const g_write_quads;
  size_t write_by(WriteQuads* write_quads, char* record, const char* bytes,
                  size_t first) const noexcept;
  size_t first_misfit(const char* bytes, size_t begin, size_t end) const noexcept;

  size_t size_ = 0;
  uint64_t input_size_ = 0;
  bool has_windows_ = false;  // inputs are large enough for them
  std::vector<Quad> quads_;
  std::vector<Details> details_;
};

// Every value goes to its place and is checked against it; the answer comes at the end, so that
// nothing waits for it.
[[gnu::always_inline]] inline size_t NumberPlaces::write_by(WriteQuads* write_quads, char* record,
                                                            const char* bytes,
                                                            size_t first) const noexcept {
  const size_t count = quads_.size();
  const size_t quad =
      write_quads(quads_.data(), first / kLanes, count, details_.data(), record, bytes);
  if (quad == count) [[likely]] {
    return size_;
  }
  return first_misfit(bytes, kLanes * quad, std::min(size_, kLanes * (quad + kQuadsAtATime)));
}

}  // namespace vek

#endif  // VEK_UTILS_NUMBER_PLACES_H
