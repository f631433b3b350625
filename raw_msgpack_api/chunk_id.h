// ChunkIds: names for frames, which receivers echo when they acknowledge.
//
// No two frames may ever share one, not even those of two collectors that write to one receiver, or
// of one before and after a restart: 128 random bits of each sender, then a counter.
#ifndef VEK_RAW_MSGPACK_API_CHUNK_ID_H
#define VEK_RAW_MSGPACK_API_CHUNK_ID_H

#include <array>
#include <cstdint>
#include <string_view>

namespace vek::engine {

// Base64 text of 24 bytes.
using ChunkId = std::array<char, 32>;

inline std::string_view chunk_text(const ChunkId& id) { return {id.data(), id.size()}; }

class ChunkIds {
 public:
  ChunkIds();  // throws std::system_error when there is no randomness to be had
  explicit ChunkIds(const std::array<uint8_t, 16>& prefix) : prefix_(prefix) {}

  ChunkId next() noexcept;

 private:
  std::array<uint8_t, 16> prefix_;
  uint64_t count_ = 0;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_CHUNK_ID_H
