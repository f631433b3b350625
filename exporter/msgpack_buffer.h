// MsgpackBuffer: a growing msgpack buffer that releases its bytes.
#ifndef VEK_EXPORTER_MSGPACK_BUFFER_H
#define VEK_EXPORTER_MSGPACK_BUFFER_H

#include <msgpack.h>

namespace vek {

class MsgpackBuffer {
 public:
  MsgpackBuffer() { msgpack_sbuffer_init(&buffer_); }
  ~MsgpackBuffer() { msgpack_sbuffer_destroy(&buffer_); }
  MsgpackBuffer(const MsgpackBuffer&) = delete;
  MsgpackBuffer& operator=(const MsgpackBuffer&) = delete;

  msgpack_sbuffer* get() { return &buffer_; }
  const msgpack_sbuffer& operator*() const { return buffer_; }

 private:
  msgpack_sbuffer buffer_;
};

}  // namespace vek

#endif  // VEK_EXPORTER_MSGPACK_BUFFER_H
