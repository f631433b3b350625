// CRC32C (Castagnoli), the checksum of the spool's records.
#ifndef VEK_RAW_MSGPACK_API_CRC32C_H
#define VEK_RAW_MSGPACK_API_CRC32C_H

#include <cstdint>
#include <span>

namespace vek::engine {

// Of `bytes`; with the sum of what stands in front of them, of both.
uint32_t crc32c(std::span<const uint8_t> bytes, uint32_t sum = 0) noexcept;

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_CRC32C_H
