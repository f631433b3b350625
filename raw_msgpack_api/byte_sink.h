// ByteSink: where the text or bytes of records go; FdSink: any file descriptor.
//
// Writes happen on a context's own thread, which has every signal blocked: a reader that went away
// is the error EPIPE, a file size limit EFBIG, never a signal that ends the host.
#ifndef VEK_RAW_MSGPACK_API_BYTE_SINK_H
#define VEK_RAW_MSGPACK_API_BYTE_SINK_H

#include <cstddef>
#include <string_view>

#include "raw_msgpack_api/stop_signal.h"

namespace vek::engine {

struct WriteResult {
  size_t written = 0;
  int error = 0;  // errno of what stopped the write, ETIMEDOUT when the grace ended; 0: all written
};

class ByteSink {
 public:
  virtual ~ByteSink() = default;
  virtual WriteResult write(std::string_view bytes, const StopSignal& stop) = 0;
  // Takes back the last `count` bytes written, the beginning of a record that has no end, where the
  // sink can.
  virtual void take_back(size_t count) { (void)count; }
};

class FdSink : public ByteSink {
 public:
  explicit FdSink(int fd);  // owned
  ~FdSink() override;
  FdSink(const FdSink&) = delete;
  FdSink& operator=(const FdSink&) = delete;

  // Waits for a slow reader, but no longer than `stop` allows.
  WriteResult write(std::string_view bytes, const StopSignal& stop) override;

 protected:
  int fd() const { return fd_; }

 private:
  long write_some(std::string_view bytes) const;
  bool wait_writable() const;

  int fd_;
  bool is_file_;
  bool is_socket_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_BYTE_SINK_H
