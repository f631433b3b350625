#include "raw_msgpack_api/socket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace vek::engine {

void Socket::reset() noexcept {
  if (fd_ >= 0) close(std::exchange(fd_, -1));
}

std::string SocketAddress::text() const {
  if (storage.ss_family == AF_UNIX) {
    return reinterpret_cast<const sockaddr_un*>(&storage)->sun_path;
  }
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  if (getnameinfo(get(), size, host.data(), host.size(), port.data(), port.size(),
                  NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return "?";
  }
  const std::string name = host.data();
  return (storage.ss_family == AF_INET6 ? '[' + name + ']' : name) + ':' + port.data();
}

bool unix_address(std::string_view path, SocketAddress& out) {
  sockaddr_un address{};
  if (path.empty() || path.size() >= sizeof(address.sun_path)) return false;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  std::memcpy(&out.storage, &address, sizeof(address));
  out.size = sizeof(address);
  return true;
}

Socket start_connect(const SocketAddress& address) {
  Socket result(socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!result) return result;
  if (address.storage.ss_family != AF_UNIX) {
    // Frames are written whole, so nothing is gained by holding their ends back; and a peer that
    // vanished without a word is noticed on an idle connection too.
    const int on = 1;
    setsockopt(result.fd(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    setsockopt(result.fd(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof(on));
  }
  if (connect(result.fd(), address.get(), address.size) != 0 && errno != EINPROGRESS) {
    const int error = errno;
    result.reset();
    errno = error;
  }
  return result;
}

int connect_result(const Socket& socket) {
  pollfd request{socket.fd(), POLLOUT, 0};
  if (poll(&request, 1, 0) == 0) return EINPROGRESS;
  int error = 0;
  socklen_t size = sizeof(error);
  if (getsockopt(socket.fd(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) return errno;
  return error;
}

}  // namespace vek::engine
