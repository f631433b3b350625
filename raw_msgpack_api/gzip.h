// Gzip: one compressed member per call, with a compressor that is made once.
#ifndef VEK_RAW_MSGPACK_API_GZIP_H
#define VEK_RAW_MSGPACK_API_GZIP_H

#include <zlib.h>

#include <cstdint>
#include <vector>

#include "raw_msgpack_api/msgpack_token.h"

namespace vek::engine {

class Gzip {
 public:
  Gzip();  // throws std::bad_alloc
  ~Gzip();
  Gzip(const Gzip&) = delete;
  Gzip& operator=(const Gzip&) = delete;

  // Appends the member. Receivers read one member and take an empty one for the end, so there is
  // exactly one, of at least one byte. Throws std::bad_alloc.
  void append(Bytes bytes, std::vector<uint8_t>& out);

 private:
  z_stream stream_{};
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_GZIP_H
