#include "raw_msgpack_api/gzip.h"

#include <new>

namespace vek::engine {

Gzip::Gzip() {
  constexpr int kGzipFormat = 16;
  constexpr int kMemoryLevel = 8;
  if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS + kGzipFormat,
                   kMemoryLevel, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
}

Gzip::~Gzip() { deflateEnd(&stream_); }

void Gzip::append(Bytes bytes, std::vector<uint8_t>& out) {
  deflateReset(&stream_);
  const size_t start = out.size();
  out.resize(start + deflateBound(&stream_, static_cast<uLong>(bytes.size())));
  stream_.next_in = const_cast<Bytef*>(bytes.data());
  stream_.avail_in = static_cast<uInt>(bytes.size());
  stream_.next_out = out.data() + start;
  stream_.avail_out = static_cast<uInt>(out.size() - start);
  // The bound is never exceeded, so one call does it all.
  if (deflate(&stream_, Z_FINISH) != Z_STREAM_END) throw std::bad_alloc();
  out.resize(out.size() - stream_.avail_out);
}

}  // namespace vek::engine
