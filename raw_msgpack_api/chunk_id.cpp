#include "raw_msgpack_api/chunk_id.h"

#include <algorithm>

#include "raw_msgpack_api/base64.h"
#include "raw_msgpack_api/random_bytes.h"

namespace vek::engine {

ChunkIds::ChunkIds() : prefix_() { fill_random(prefix_); }

ChunkId ChunkIds::next() noexcept {
  std::array<uint8_t, 24> bytes;
  std::copy(prefix_.begin(), prefix_.end(), bytes.begin());
  uint64_t number = count_++;
  for (size_t i = bytes.size(); i > prefix_.size(); --i) {
    bytes[i - 1] = static_cast<uint8_t>(number);
    number >>= 8;
  }
  ChunkId id;
  static_assert(base64_size(bytes.size()) == id.size());
  put_base64(id.data(), bytes);
  return id;
}

}  // namespace vek::engine
