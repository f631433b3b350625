#include "raw_msgpack_api/connection.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace vek::engine {
namespace {

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

IoResult Connection::write(Bytes bytes) {
  const ssize_t count = send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  want_write(count < 0 || static_cast<size_t>(count) < bytes.size());
  if (count > 0) return {IoStatus::kOk, static_cast<size_t>(count)};
  const IoStatus status = status_of(errno);
  return {status == IoStatus::kAgain ? status : fail(status, std::strerror(errno)), 0};
}

void Connection::shut_down() noexcept { shutdown(fd(), SHUT_WR); }

}  // namespace vek::engine
