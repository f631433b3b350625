// Bytes that nobody can guess.
#ifndef VEK_RAW_MSGPACK_API_RANDOM_BYTES_H
#define VEK_RAW_MSGPACK_API_RANDOM_BYTES_H

#include <cstdint>
#include <span>

namespace vek::engine {

// At most 256 bytes. Throws std::system_error when the system has none.
void fill_random(std::span<uint8_t> out);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_RANDOM_BYTES_H
