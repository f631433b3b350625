// The spool's files, byte by byte (docs/formats/spool.md): all numbers are little endian.
//
// A segment is a header and then records, each with its sequence number and a checksum over length,
// number and bytes. Numbers grow within a file; a file is named by the first that it may hold.
#ifndef VEK_RAW_MSGPACK_API_SPOOL_FORMAT_H
#define VEK_RAW_MSGPACK_API_SPOOL_FORMAT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "raw_msgpack_api/msgpack_token.h"

namespace vek::engine::spool {

inline constexpr size_t kSegmentHeaderSize = 32;
inline constexpr size_t kFrameHeaderSize = 16;
inline constexpr size_t kCursorSize = 24;
inline constexpr uint32_t kMaxRecordSize = 1u << 30;
// Greater numbers are no sequence numbers: adding to one must not come round to zero.
inline constexpr uint64_t kMaxSequence = UINT64_MAX / 2;

inline constexpr std::string_view kLockName = "lock";
inline constexpr std::string_view kCursorName = "cursor";
inline constexpr std::string_view kSegmentSuffix = ".seg";
inline constexpr std::string_view kDamagedSuffix = ".damaged";  // set aside: not readable in part
inline constexpr std::string_view kUnknownSuffix = ".unknown";  // set aside: of another version

using SegmentHeader = std::array<uint8_t, kSegmentHeaderSize>;
using FrameHeader = std::array<uint8_t, kFrameHeaderSize>;
using Cursor = std::array<uint8_t, kCursorSize>;

SegmentHeader make_segment_header(uint64_t first) noexcept;
enum class HeaderStatus : uint8_t { kSound, kOtherVersion, kDamaged };
// Of the kSegmentHeaderSize bytes at the start of a file that is named by `first`.
HeaderStatus check_segment_header(Bytes header, uint64_t first) noexcept;

struct Frame {
  uint32_t size = 0;  // of the record behind the header
  uint32_t sum = 0;
  uint64_t sequence = 0;
};
FrameHeader make_frame_header(uint64_t sequence, Bytes record) noexcept;
// Of the first kFrameHeaderSize bytes.
Frame read_frame_header(const uint8_t* bytes) noexcept;
bool sum_is_right(const uint8_t* frame, uint32_t record_size) noexcept;

// The number up to which everything is settled.
Cursor make_cursor(uint64_t settled) noexcept;
std::optional<uint64_t> read_cursor(Bytes bytes) noexcept;

// "00000000000004d2.seg"
std::string segment_name(uint64_t first);
// None when it is no name of ours.
std::optional<uint64_t> first_of(std::string_view name) noexcept;

}  // namespace vek::engine::spool

#endif  // VEK_RAW_MSGPACK_API_SPOOL_FORMAT_H
