#include "raw_msgpack_api/connection.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace vek::engine {
namespace {

constexpr size_t kMostPieces = 40;  // of one call

IoStatus status_of(int error) {
  if (error == EAGAIN || error == EINTR) return IoStatus::kAgain;
  return error == ECONNRESET || error == EPIPE ? IoStatus::kClosed : IoStatus::kFailed;
}

}  // namespace

IoStatus Connection::fail(IoStatus status, std::string error) {
  error_ = std::move(error);
  return status;
}

IoResult Connection::read(std::span<uint8_t> out) {
  const ssize_t count = recv(fd(), out.data(), out.size(), MSG_DONTWAIT);
  if (count > 0) return {IoStatus::kOk, static_cast<size_t>(count)};
  if (count == 0) return {fail(IoStatus::kClosed, "the receiver closed the connection"), 0};
  const IoStatus status = status_of(errno);
  return {status == IoStatus::kAgain ? status : fail(status, std::strerror(errno)), 0};
}

IoResult Connection::write(std::span<const Bytes> pieces) {
  std::array<iovec, kMostPieces> vectors;
  size_t used = 0;
  size_t bytes = 0;
  for (const Bytes piece : pieces.first(std::min(pieces.size(), kMostPieces))) {
    vectors[used++] = {const_cast<uint8_t*>(piece.data()), piece.size()};
    bytes += piece.size();
  }
  msghdr message{};
  message.msg_iov = vectors.data();
  message.msg_iovlen = used;
  const ssize_t count = sendmsg(fd(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
  want_write(count < 0 || static_cast<size_t>(count) < bytes);
  if (count > 0) return {IoStatus::kOk, static_cast<size_t>(count)};
  const IoStatus status = status_of(errno);
  return {status == IoStatus::kAgain ? status : fail(status, std::strerror(errno)), 0};
}

void Connection::shut_down() noexcept { shutdown(fd(), SHUT_WR); }

}  // namespace vek::engine
