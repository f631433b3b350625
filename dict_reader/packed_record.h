// PackedRecord: the record of one dictionary or list, written while its values arrive.
//
// How many children a container has is known when it ends, and so is the size of its header. Room
// is kept for a header as wide as that of the container with the same key was the last time; where
// that turns out wrong, what lies behind is moved, once for the whole record, when it is finished.
// So records whose structure stays are written in one pass, and no structure costs more than two.
#ifndef VEK_DICT_READER_PACKED_RECORD_H
#define VEK_DICT_READER_PACKED_RECORD_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "utils/msgpack_buffer.h"

class PackedRecord {
 public:
  struct Container {
    uint64_t offset;  // of the header
    uint32_t parent;  // its position in the list of containers; the root is its own parent
    uint32_t place;   // what its header's width is remembered by
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
    uint8_t* widths = nullptr;       // by place
    uint32_t num_widths = 0;
    uint32_t count = 0;  // children of the innermost container
    bool fits = true;    // every header is as wide as the room for it

    // Both for containers in a container; open() where there is room for kMostHeader bytes and one
    // more container.
    void open(uint32_t place, bool is_dict) noexcept;
    void close() noexcept;
  };

  static constexpr size_t kMostHeader = vek::kMsgpackMaxHeader;
  // Places of the root and of containers without a key; key ids follow.
  static constexpr uint32_t kRootPlace = 0;
  static constexpr uint32_t kNoKeyPlace = 1;
  static constexpr uint32_t kFirstKeyPlace = 2;

  PackedRecord() = default;
  PackedRecord(const PackedRecord&) = delete;
  PackedRecord& operator=(const PackedRecord&) = delete;

  bool isOpen() const { return cursor_.innermost != nullptr; }
  bool isDict() const { return cursor_.innermost->is_dict; }
  bool isRoot() const { return cursor_.innermost == cursor_.first; }

  Cursor& cursor() { return cursor_; }

  // [seconds, and the header of the root. False, with no record open, when there is no memory.
  bool begin(uint64_t timestamp_us, bool is_dict) noexcept;
  // Room for that many bytes; false, with nothing changed, when there is none.
  bool reserve(size_t bytes) noexcept;
  // Room for one more container, and for the width of its place.
  bool reserveContainer(uint32_t place) noexcept;
  // Ends the root. The bytes are lent until the next call; none when there is no memory.
  std::string_view finish() noexcept;
  // Gives memory back that a record needed which was much larger than this one.
  void trim(size_t record_size) noexcept;

 private:
  std::string_view moved() noexcept;

  vek::MsgpackBuffer buffer_;
  vek::MsgpackBuffer spare_;  // what is moved goes here
  std::vector<Container> containers_;
  std::vector<uint8_t> widths_;
  Cursor cursor_;
};

inline uint8_t containerHeaderWidth(uint32_t count) {
  return count < 16 ? 1 : count < 65536 ? 3 : 5;
}

inline void PackedRecord::Cursor::open(uint32_t place, bool is_dict) noexcept {
  innermost->count = ++count;
  const uint8_t width = widths[place];
  *next = {static_cast<uint64_t>(at - begin),
           static_cast<uint32_t>(innermost - first),
           place,
           0,
           width,
           is_dict};
  innermost = next++;
  at += width;
  count = 0;
}

inline void PackedRecord::Cursor::close() noexcept {
  Container& closed = *innermost;
  closed.count = count;
  const uint8_t width = containerHeaderWidth(count);
  if (width == closed.width) [[likely]] {
    char* const header = begin + closed.offset;
    closed.is_dict ? vek::put_map_header(header, count) : vek::put_array_header(header, count);
  } else {
    widths[closed.place] = width;
    fits = false;
  }
  innermost = first + closed.parent;
  count = innermost->count;
}

#endif  // VEK_DICT_READER_PACKED_RECORD_H
