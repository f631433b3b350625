// PackedRecord: the record of one dictionary or list, written while its values arrive.
//
// How many children a container has is known when it ends, and so is the size of its header. Room
// is kept for a header as wide as it was the last time at the same place of a record; where that
// turns out wrong, what lies behind is moved, once for the whole record, when it is finished. So
// records whose structure stays are written in one pass, and no structure costs more than two.
//
// Moving the contents of each container when it ends was tried: it is slower, as what has just been
// written cannot be read back at once, and deep records would be moved once for each level.
#ifndef VEK_DICT_READER_PACKED_RECORD_H
#define VEK_DICT_READER_PACKED_RECORD_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "utils/msgpack_buffer.h"

class PackedRecord {
 public:
  struct Container {
    uint64_t offset;  // of the header
    uint32_t parent;  // its position in the list of containers; the root is its own parent
    uint32_t path;    // the keys that lead to it, hashed
    uint32_t count;   // children, while it is not the innermost
    uint8_t width;    // kept for the header
    bool is_dict;
  };

  // Where writing stands. A loop works on a copy, which the compiler can keep in registers, and
  // hands it back.
  struct Cursor {
    char* at = nullptr;  // of the next byte
    char* end = nullptr;
    char* begin = nullptr;
    Container* first = nullptr;      // all containers of the record, in the order of their headers
    Container* next = nullptr;       // behind the last of them
    Container* limit = nullptr;      // behind the last that there is room for
    Container* innermost = nullptr;  // null: no record is open
    uint32_t* widths = nullptr;      // by path
    uint32_t count = 0;              // children of the innermost container
    bool fits = true;                // every header is as wide as the room for it

    // Both for containers in a container; open() where there is room for kMostHeader bytes and one
    // more container.
    void open(uint32_t key_id, bool is_dict) noexcept;
    void close() noexcept;

   private:
    void putHeader(const Container& closed) noexcept;
    void rememberWidth(const Container& closed) noexcept;
  };

  static constexpr size_t kMostHeader = vek::kMsgpackMaxHeader;
  // Widths are remembered of so many paths, and only where they are not the least. An entry is the
  // path with the width in its lowest bits; where paths meet, one of them is moved each time.
  static constexpr uint32_t kPathBits = 10;
  static constexpr uint32_t kWidthMask = 7;
  static uint32_t slotOf(uint32_t path) { return path >> (32 - kPathBits); }
  static uint8_t widthOf(uint32_t entry, uint32_t path) {
    return (entry ^ path) <= kWidthMask ? static_cast<uint8_t>(entry & kWidthMask) : 1;
  }

  PackedRecord() { widths_.fill(1); }
  PackedRecord(const PackedRecord&) = delete;
  PackedRecord& operator=(const PackedRecord&) = delete;

  bool isOpen() const { return cursor_.innermost != nullptr; }
  bool isDict() const { return cursor_.innermost->is_dict; }
  bool isRoot() const { return cursor_.innermost == cursor_.first; }

  Cursor& cursor() { return cursor_; }
  // Bytes written.
  size_t size() const { return static_cast<size_t>(cursor_.at - cursor_.begin); }

  // [seconds, and the header of the root. False, with no record open, when there is no memory.
  bool begin(uint64_t timestamp_us, bool is_dict) noexcept;
  // Room for that many bytes; false, with nothing changed, when there is none.
  bool reserve(size_t bytes) noexcept;
  // Room for one more container.
  bool reserveContainer() noexcept;
  // Ends the root. The bytes are lent until the next call; none when there is no memory.
  std::string_view finish() noexcept;
  // begin() and finish() of a record that is like the one before, whose bytes are there but for the
  // values and end with `size`.
  void beginAlike(uint64_t timestamp_us) noexcept;
  std::string_view finishAlike(size_t size) noexcept;
  // Gives memory back that a record needed which was much larger than this one. True when that of
  // the record itself was, or of its containers.
  bool trim(size_t record_size) noexcept;
  // The memory that records are written to, and the children of the root that was finished last.
  std::span<char> memory() { return {buffer_.data(), buffer_.capacity()}; }
  uint32_t children() const { return cursor_.first->count; }

 private:
  // [seconds
  static char* putSeconds(char* p, uint64_t timestamp_us) noexcept {
    constexpr double kMicrosecondsPerSecond = 1e6;
    p = vek::put_array_header(p, 2);
    return vek::put_double(p, static_cast<double>(timestamp_us) / kMicrosecondsPerSecond);
  }
  std::string_view moved() noexcept;

  vek::MsgpackBuffer buffer_;
  vek::MsgpackBuffer spare_;  // what is moved goes here
  std::vector<Container> containers_;
  std::array<uint32_t, size_t{1} << kPathBits> widths_;
  Cursor cursor_;
};

inline uint8_t containerHeaderWidth(uint32_t count) {
  return count < 16 ? 1 : count < 65536 ? 3 : 5;
}

inline void PackedRecord::Cursor::open(uint32_t key_id, bool is_dict) noexcept {
  constexpr uint32_t kSpread = 0x9E3779B1u;  // the golden ratio's, as for multiplicative hashing
  const uint32_t path = ((innermost->path ^ key_id) * kSpread + kSpread) & ~kWidthMask;
  innermost->count = ++count;
  const uint8_t width = widthOf(widths[slotOf(path)], path);
  *next = {static_cast<uint64_t>(at - begin),
           static_cast<uint32_t>(innermost - first),
           path,
           0,
           width,
           is_dict};
  innermost = next++;
  at += width;
  count = 0;
}

inline void PackedRecord::Cursor::putHeader(const Container& closed) noexcept {
  char* const header = begin + closed.offset;
  if (closed.count < 16) [[likely]] {
    *header = static_cast<char>((closed.is_dict ? 0x80 : 0x90) | closed.count);
  } else {
    closed.is_dict ? vek::put_map_header(header, closed.count)
                   : vek::put_array_header(header, closed.count);
  }
}

[[gnu::always_inline]] inline void PackedRecord::Cursor::close() noexcept {
  Container& closed = *innermost;
  closed.count = count;
  if (containerHeaderWidth(count) == closed.width) [[likely]] {
    putHeader(closed);
  } else {
    rememberWidth(closed);
  }
  innermost = first + closed.parent;
  count = innermost->count;
}

inline void PackedRecord::beginAlike(uint64_t timestamp_us) noexcept {
  putSeconds(cursor_.begin, timestamp_us);
  cursor_.at = cursor_.begin + cursor_.first->offset + cursor_.first->width;
  cursor_.end = cursor_.begin + buffer_.capacity();
  cursor_.innermost = cursor_.first;
  cursor_.next = cursor_.first + 1;
  cursor_.count = 0;
}

inline std::string_view PackedRecord::finishAlike(size_t size) noexcept {
  cursor_.innermost = nullptr;
  cursor_.at = cursor_.end = cursor_.begin + size;
  return {cursor_.begin, size};
}

#endif  // VEK_DICT_READER_PACKED_RECORD_H
