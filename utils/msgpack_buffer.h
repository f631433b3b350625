// MsgpackBuffer: malloc'd memory that grows under a record while it is written.
//
// MsgpackWriter is how it is written to: it keeps position and end in registers and checks the room
// for one key/value pair at a time. When memory runs out the record ends where it is, and whatever
// follows is dropped: a record is never continued behind a gap.
#ifndef VEK_UTILS_MSGPACK_BUFFER_H
#define VEK_UTILS_MSGPACK_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "utils/msgpack_encode.h"

namespace vek {

class MsgpackBuffer {
 public:
  MsgpackBuffer() = default;
  ~MsgpackBuffer() { std::free(data_); }
  MsgpackBuffer(const MsgpackBuffer&) = delete;
  MsgpackBuffer& operator=(const MsgpackBuffer&) = delete;

  // Room for `extra` bytes behind the first `used`, at least doubling; false, now and for ever,
  // when there is no memory. What was written stays.
  [[gnu::noinline]] bool grow(size_t used, size_t extra) noexcept {
    if (failed_) return false;
    failed_ = extra > std::numeric_limits<size_t>::max() / 2 - used;
    if (failed_) return false;
    size_t wanted = used + extra;
    if (wanted < 2 * capacity_) wanted = 2 * capacity_;
    void* data = std::realloc(data_, wanted);
    failed_ = data == nullptr;
    if (failed_) return false;
    data_ = static_cast<char*>(data);
    capacity_ = wanted;
    return true;
  }

  // Room for a record of up to `bytes`, written from the start: for a buffer that serves one record
  // after the other. What it held is gone. A failure is not remembered.
  bool restart(size_t bytes) noexcept {
    failed_ = false;
    if (capacity_ >= bytes) [[likely]] {
      return true;
    }
    std::free(data_);
    data_ = static_cast<char*>(std::malloc(bytes));
    capacity_ = data_ ? bytes : 0;
    return data_ != nullptr;
  }

  void release() noexcept {
    std::free(data_);
    data_ = nullptr;
    capacity_ = 0;
  }

  char* data() { return data_; }
  size_t capacity() const { return capacity_; }

  // Gives the memory and its first `used` bytes to a msgpack_sbuffer (or anything shaped like it),
  // whose owner frees it.
  template <typename SimpleBuffer>
  void hand_over(size_t used, SimpleBuffer& out) noexcept {
    out.data = data_;
    out.size = used;
    out.alloc = capacity_;
    data_ = nullptr;
    capacity_ = 0;
  }

 private:
  char* data_ = nullptr;
  size_t capacity_ = 0;
  bool failed_ = false;
};

// The keys and texts handed in are borrowed for the call; texts beyond 4 GiB - 1 are cut there.
// A copy continues where the original stands: a loop writes through a local copy, which the
// compiler can keep in registers as nothing else points to it, and assigns it back at its end.
class MsgpackWriter {
 public:
  // Starts with `first_capacity` bytes of room.
  MsgpackWriter(MsgpackBuffer& buffer, size_t first_capacity) : buffer_(&buffer) {
    more(first_capacity);
  }

  size_t size() const { return static_cast<size_t>(at_ - begin_); }

  void array_header(uint32_t elements) {
    if (room(kMsgpackMaxHeader)) at_ = put_array_header(at_, elements);
  }
  void map_header(uint32_t pairs) {
    if (room(kMsgpackMaxHeader)) at_ = put_map_header(at_, pairs);
  }
  void real(double value) {
    if (room(kMsgpackMaxNumber)) at_ = put_double(at_, value);
  }

  // A key whose value follows: true when there was room for it and for `value_room` bytes more.
  [[gnu::always_inline]] bool key(std::string_view key, size_t value_room) {
    if (!room(str_room(key) + value_room)) return false;
    put(key);
    return true;
  }
  // Values, in the room that key() has made sure of.
  void value(uint64_t value) { at_ = put_uint(at_, value); }
  void value(int64_t value) { at_ = put_int(at_, value); }
  void value(double value) { at_ = put_double(at_, value); }
  void value(std::string_view value) { put(value); }

  // Key and value with one check of the room.
  void pair(std::string_view name, uint64_t number) {
    if (key(name, kMsgpackMaxNumber)) value(number);
  }
  void pair(std::string_view name, std::string_view text) {
    if (key(name, str_room(text))) value(text);
  }

  // Bytes that a text takes at most.
  static size_t str_room(std::string_view text) { return kMsgpackMaxHeader + text.size(); }

 private:
  [[gnu::always_inline]] void put(std::string_view text) {
    constexpr size_t kLongest = std::numeric_limits<uint32_t>::max();
    const size_t size = text.size() < kLongest ? text.size() : kLongest;
    at_ = put_str(at_, text.data(), static_cast<uint32_t>(size));
  }

  bool room(size_t bytes) {
    if (static_cast<size_t>(end_ - at_) >= bytes) [[likely]] {
      return true;
    }
    return more(bytes);
  }

  // Hands the buffer copies of the positions only, so that they can live in registers.
  bool more(size_t bytes) {
    const size_t used = size();
    if (!buffer_->grow(used, bytes)) {
      end_ = at_;
      return false;
    }
    begin_ = buffer_->data();
    at_ = begin_ + used;
    end_ = begin_ + buffer_->capacity();
    return true;
  }

  MsgpackBuffer* buffer_;
  char* begin_ = nullptr;
  char* at_ = nullptr;
  char* end_ = nullptr;
};

}  // namespace vek

#endif  // VEK_UTILS_MSGPACK_BUFFER_H
