// TextPlaces: where the short texts of a packed record stand, so that others of their length can be
// written there.
#ifndef VEK_UTILS_TEXT_PLACES_H
#define VEK_UTILS_TEXT_PLACES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "utils/packing_plan.h"

namespace vek {

class TextPlaces {
 public:
  // Whether a text of a field is one for here: its window or its words are readable, within the
  // first 4 GiB of an input, and no number's word reaches over the key in front of it.
  static bool takes(const PlanStep& step) noexcept;

  void clear() {
    texts_.clear();
    in_windows_ = 0;
  }
  size_t size() const { return texts_.size(); }
  // A text of `length` bytes whose header begins at `begin`, behind all others. `step` is borrowed.
  // Throws std::bad_alloc.
  void append(const PlanStep& step, const char* record, uint32_t begin, uint32_t length);

  const PlanStep& step(size_t index) const { return *texts_[index].step; }
  uint32_t begin(size_t index) const;
  uint32_t end(size_t index) const { return texts_[index].out + texts_[index].length; }

  // Writes those from `first` on until one has another length than its place, or kTextWindow bytes
  // and more; that one's index, or size(). Up to kTextWindow bytes behind a text are set to what
  // was there when its place was learnt or renewed: the values among them are to be written next.
  size_t write(char* record, const char* bytes, size_t first) const noexcept {
    const size_t end = g_write_all(texts_.data(), in_windows_, texts_.size(), record, bytes, first);
    return end;
  }
  // The same with instructions that every processor of the kind has.
  size_t write_baseline(char* record, const char* bytes, size_t first) const noexcept {
    return write_all_baseline(texts_.data(), in_windows_, texts_.size(), record, bytes, first);
  }

  // The text is in the record, at the same place, and so long now.
  void renew(size_t index, const char* record, uint32_t length) noexcept;
  // What stood from `place` on has moved, by `shift` modulo 2^32.
  void move_from(uint32_t place, uint32_t shift) noexcept;
  // The record has changed at `place`, where the windows of a few texts before it reach.
  void renew_tails_before(uint32_t place, const char* record) noexcept;

 private:
  using Tail = std::array<char, kTextWindow>;
  struct Text {
    uint32_t in;
    uint32_t out;  // of its first byte, behind the header
    uint32_t length;
    uint32_t looked_at;  // bytes that say where a text ends, a bit each: up to the length's NUL
    uint32_t nul;        // those of them that are NUL in a text of this length
    uint32_t others;     // of a window, behind the text
    const PlanStep* step;
    Tail tail;  // what stands behind the text; NUL where it stands
  };

  using WriteAll = size_t(const Text* texts, size_t in_windows, size_t count, char* record,
                          const char* bytes, size_t first);
  static WriteAll write_all_baseline;
  static WriteAll write_all_modern;
  static WriteAll* const g_write_all;

  std::vector<Text>::iterator first_from(uint32_t place) noexcept;
  static void expect(Text& text) noexcept;
  static void renew_tail(Text& text, const char* record) noexcept;

  std::vector<Text> texts_;
  size_t in_windows_ = 0;  // of the first ones kTextWindow bytes are readable
};

// Bytes before a text of that length.
inline uint32_t text_header_size(size_t length) noexcept {
  if (length < 32) return 1;
  if (length < 256) return 2;
  return length < 65536 ? 3 : 5;
}

}  // namespace vek

#endif  // VEK_UTILS_TEXT_PLACES_H
