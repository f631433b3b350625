// Sockets that never block, never outlive an exec and never raise SIGPIPE; the addresses they
// connect to.
#ifndef VEK_RAW_MSGPACK_API_SOCKET_H
#define VEK_RAW_MSGPACK_API_SOCKET_H

#include <sys/socket.h>

#include <string>
#include <string_view>
#include <utility>

namespace vek::engine {

class Socket {
 public:
  Socket() = default;
  explicit Socket(int fd) : fd_(fd) {}  // owned
  ~Socket() { reset(); }
  Socket(Socket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Socket& operator=(Socket&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  int fd() const { return fd_; }  // -1: none
  explicit operator bool() const { return fd_ >= 0; }
  void reset() noexcept;
  // To another owner.
  int release() noexcept { return std::exchange(fd_, -1); }

 private:
  int fd_ = -1;
};

struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t size = 0;

  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
  // "127.0.0.1:24224", "[::1]:24224" or a path.
  std::string text() const;
};

// False when the path is empty or longer than such an address can be (107 bytes).
bool unix_address(std::string_view path, SocketAddress& out);

// Begins to connect. Invalid, with the error in errno, when that failed at once; otherwise the
// socket is writable when connect_result() has the outcome.
Socket start_connect(const SocketAddress& address);
// 0, or the error that ended the attempt; EINPROGRESS while it goes on.
int connect_result(const Socket& socket);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_SOCKET_H
