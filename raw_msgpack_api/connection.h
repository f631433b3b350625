// Connection: bytes to and from a peer over a connected socket that never blocks.
#ifndef VEK_RAW_MSGPACK_API_CONNECTION_H
#define VEK_RAW_MSGPACK_API_CONNECTION_H

#include <poll.h>

#include <memory>
#include <span>
#include <string>

#include "raw_msgpack_api/msgpack_token.h"
#include "raw_msgpack_api/socket.h"

namespace vek::engine {

enum class IoStatus : uint8_t {
  kOk,
  kAgain,   // not now: poll for events()
  kClosed,  // the peer ended the connection, or the network did; error() says how
  kFailed   // it cannot be used any more; error() says why
};

struct IoResult {
  IoStatus status = IoStatus::kOk;
  size_t bytes = 0;  // with kOk, at least 1
};

class Connection {
 public:
  explicit Connection(Socket socket) : socket_(std::move(socket)) {}
  virtual ~Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // What has to happen before the first byte of data; to be called again after kAgain.
  virtual IoStatus secure() { return IoStatus::kOk; }
  virtual IoResult read(std::span<uint8_t> out);
  // As much of the pieces, which are not empty, as goes at once, in their order.
  virtual IoResult write(std::span<const Bytes> pieces);
  IoResult write(Bytes bytes) { return write(std::span(&bytes, 1)); }
  // Says goodbye, so that the peer has the chance to read what was sent.
  virtual void shut_down() noexcept;

  int fd() const { return socket_.fd(); }
  // What to poll for: always for reading, and for writing where the last call that got kAgain
  // needs that.
  short events() const { return static_cast<short>(POLLIN | (wants_write_ ? POLLOUT : 0)); }
  const std::string& error() const { return error_; }

 protected:
  IoStatus fail(IoStatus status, std::string error);
  void want_write(bool wants) { wants_write_ = wants; }

 private:
  Socket socket_;
  bool wants_write_ = false;
  std::string error_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_CONNECTION_H
