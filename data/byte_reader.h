// ByteReader: the one way in which bytes of pages, blocks and events are read.
//
// A reader is a window on borrowed bytes. Every read says where and how much; a read that would
// leave the window answers false and changes nothing. Lengths are compared with what remains, never
// by adding to a position first. Values are little-endian and may lie unaligned.
//
// It does not know any format; formats are data/data_page.h and the headers of their owners.
#ifndef VEK_DATA_BYTE_READER_H
#define VEK_DATA_BYTE_READER_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

namespace vek {

static_assert(std::endian::native == std::endian::little, "pages are little-endian, read natively");

using Bytes = std::span<const uint8_t>;

class ByteReader {
 public:
  ByteReader() = default;
  explicit ByteReader(Bytes bytes) : bytes_(bytes) {}
  ByteReader(const void* data, size_t size) : bytes_(static_cast<const uint8_t*>(data), size) {}

  size_t size() const { return bytes_.size(); }
  Bytes bytes() const { return bytes_; }

  // True when `length` bytes lie at `offset`.
  bool has(size_t offset, size_t length) const {
    return offset <= bytes_.size() && length <= bytes_.size() - offset;
  }

  template <typename T>
  [[nodiscard]] bool read(size_t offset, T& out) const {
    static_assert(std::is_trivially_copyable_v<T>);
    if (!has(offset, sizeof(T))) return false;
    std::memcpy(&out, bytes_.data() + offset, sizeof(T));
    return true;
  }

  // The bytes [offset, offset + length), as a window of their own.
  [[nodiscard]] bool slice(size_t offset, size_t length, Bytes& out) const {
    if (!has(offset, length)) return false;
    out = bytes_.subspan(offset, length);
    return true;
  }

  // All bytes from `offset` on; empty when the offset lies behind the end.
  Bytes rest(size_t offset) const {
    return offset <= bytes_.size() ? bytes_.subspan(offset) : Bytes{};
  }

  // The text in a fixed field: up to its first NUL or the field's end.
  [[nodiscard]] bool text(size_t offset, size_t field_length, std::string_view& out) const {
    if (!has(offset, field_length)) return false;
    const char* start = reinterpret_cast<const char*>(bytes_.data() + offset);
    out = {start, strnlen(start, field_length)};
    return true;
  }

 private:
  Bytes bytes_;
};

}  // namespace vek

#endif  // VEK_DATA_BYTE_READER_H
