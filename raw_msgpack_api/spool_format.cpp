#include "raw_msgpack_api/spool_format.h"

#include <algorithm>
#include <charconv>

#include "raw_msgpack_api/crc32c.h"

namespace vek::engine::spool {
namespace {

constexpr std::array<uint8_t, 8> kSegmentMagic = {'V', 'E', 'K', 'S', 'P', 'O', 'O', 'L'};
constexpr std::array<uint8_t, 8> kCursorMagic = {'V', 'E', 'K', 'C', 'U', 'R', 'S', 'R'};
constexpr uint32_t kVersion = 1;
constexpr size_t kDigits = 16;

// Of a segment header: magic 0, version 8, zero 12, first sequence 16, zero 24, checksum 28.
constexpr size_t kVersionAt = 8;
constexpr size_t kFirstAt = 16;
constexpr size_t kHeaderSumAt = 28;
// Of a frame: length 0, checksum 4, sequence 8, record 16.
constexpr size_t kFrameSumAt = 4;
constexpr size_t kSequenceAt = 8;
// Of the cursor: magic 0, sequence 8, zero 16, checksum 20.
constexpr size_t kSettledAt = 8;
constexpr size_t kCursorSumAt = 20;

template <typename T>
void put(uint8_t* at, T value) {
  for (size_t i = 0; i < sizeof value; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

template <typename T>
T get(const uint8_t* at) {
  T value = 0;
  for (size_t i = 0; i < sizeof value; ++i) value |= static_cast<T>(T{at[i]} << (8 * i));
  return value;
}

bool begins_with(Bytes bytes, const std::array<uint8_t, 8>& magic) {
  return bytes.size() >= magic.size() && std::equal(magic.begin(), magic.end(), bytes.begin());
}

uint32_t frame_sum(const uint8_t* frame, Bytes record) {
  const uint32_t of_length = crc32c({frame, kFrameSumAt});
  const uint32_t of_header =
      crc32c({frame + kSequenceAt, kFrameHeaderSize - kSequenceAt}, of_length);
  return crc32c(record, of_header);
}

}  // namespace

SegmentHeader make_segment_header(uint64_t first) noexcept {
  SegmentHeader header{};
  std::copy(kSegmentMagic.begin(), kSegmentMagic.end(), header.begin());
  put(&header[kVersionAt], kVersion);
  put(&header[kFirstAt], first);
  put(&header[kHeaderSumAt], crc32c(Bytes(header).first(kHeaderSumAt)));
  return header;
}

HeaderStatus check_segment_header(Bytes header, uint64_t first) noexcept {
  if (header.size() < kSegmentHeaderSize || !begins_with(header, kSegmentMagic) ||
      get<uint32_t>(&header[kHeaderSumAt]) != crc32c(header.first(kHeaderSumAt))) {
    return HeaderStatus::kDamaged;
  }
  if (get<uint32_t>(&header[kVersionAt]) != kVersion) return HeaderStatus::kOtherVersion;
  return get<uint64_t>(&header[kFirstAt]) == first ? HeaderStatus::kSound : HeaderStatus::kDamaged;
}

FrameHeader make_frame_header(uint64_t sequence, Bytes record) noexcept {
  FrameHeader header{};
  put(&header[0], static_cast<uint32_t>(record.size()));
  put(&header[kSequenceAt], sequence);
  put(&header[kFrameSumAt], frame_sum(header.data(), record));
  return header;
}

Frame read_frame_header(const uint8_t* bytes) noexcept {
  return {get<uint32_t>(bytes), get<uint32_t>(bytes + kFrameSumAt),
          get<uint64_t>(bytes + kSequenceAt)};
}

bool sum_is_right(const uint8_t* frame, uint32_t record_size) noexcept {
  return get<uint32_t>(frame + kFrameSumAt) ==
         frame_sum(frame, {frame + kFrameHeaderSize, record_size});
}

Cursor make_cursor(uint64_t settled) noexcept {
  Cursor cursor{};
  std::copy(kCursorMagic.begin(), kCursorMagic.end(), cursor.begin());
  put(&cursor[kSettledAt], settled);
  put(&cursor[kCursorSumAt], crc32c(Bytes(cursor).first(kCursorSumAt)));
  return cursor;
}

std::optional<uint64_t> read_cursor(Bytes bytes) noexcept {
  if (bytes.size() != kCursorSize || !begins_with(bytes, kCursorMagic) ||
      get<uint32_t>(&bytes[kCursorSumAt]) != crc32c(bytes.first(kCursorSumAt))) {
    return std::nullopt;
  }
  const auto settled = get<uint64_t>(&bytes[kSettledAt]);
  if (settled > kMaxSequence) return std::nullopt;
  return settled;
}

std::string segment_name(uint64_t first) {
  constexpr std::string_view kHex = "0123456789abcdef";
  std::string name(kDigits, '0');
  for (size_t i = kDigits; i > 0; --i, first >>= 4) name[i - 1] = kHex[first & 0x0f];
  name += kSegmentSuffix;
  return name;
}

std::optional<uint64_t> first_of(std::string_view name) noexcept {
  if (name.size() != kDigits + kSegmentSuffix.size() || !name.ends_with(kSegmentSuffix)) {
    return std::nullopt;
  }
  const std::string_view digits = name.substr(0, kDigits);
  if (digits.find_first_not_of("0123456789abcdef") != digits.npos) return std::nullopt;
  uint64_t first = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), first, 16);
  if (first > kMaxSequence) return std::nullopt;
  return first;
}

}  // namespace vek::engine::spool
