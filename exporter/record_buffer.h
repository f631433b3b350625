// RecordBuffer: a growing msgpack buffer that releases its bytes.
#ifndef VEK_EXPORTER_RECORD_BUFFER_H
#define VEK_EXPORTER_RECORD_BUFFER_H

#include <msgpack.h>

namespace vek {

class RecordBuffer {
 public:
  RecordBuffer() { msgpack_sbuffer_init(&buffer_); }
  ~RecordBuffer() { msgpack_sbuffer_destroy(&buffer_); }
  RecordBuffer(const RecordBuffer&) = delete;
  RecordBuffer& operator=(const RecordBuffer&) = delete;

  msgpack_sbuffer* get() { return &buffer_; }

 private:
  msgpack_sbuffer buffer_;
};

}  // namespace vek

#endif  // VEK_EXPORTER_RECORD_BUFFER_H
