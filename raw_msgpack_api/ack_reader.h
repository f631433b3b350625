// AckReader: the acknowledgements {"ack": chunk} in what a receiver sends, however it is cut up.
#ifndef VEK_RAW_MSGPACK_API_ACK_READER_H
#define VEK_RAW_MSGPACK_API_ACK_READER_H

#include <string_view>
#include <vector>

#include "raw_msgpack_api/msgpack_token.h"

namespace vek::engine {

class AckReader {
 public:
  // Bytes of one reply; what is longer is no acknowledgement.
  static constexpr size_t kLongestReply = 4096;

  enum class Step : uint8_t {
    kNeedMore,
    kAck,    // chunk() is what the receiver acknowledges
    kBroken  // nothing that comes behind it can be trusted either
  };

  // Every reply that is there has to be read before more is fed. Throws std::bad_alloc.
  void feed(Bytes bytes);
  Step next() noexcept;
  // As bytes, text or not; valid until the next feed().
  std::string_view chunk() const { return chunk_; }
  // For a new connection.
  void clear();

 private:
  std::vector<uint8_t> buffer_;
  size_t at_ = 0;
  std::string_view chunk_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_ACK_READER_H
