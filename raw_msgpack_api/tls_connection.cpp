#include "raw_msgpack_api/tls_connection.h"

#include <openssl/err.h>
#include <openssl/x509_vfy.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

namespace vek::engine {

std::string tls_error(const char* fallback) {
  const unsigned long code = ERR_get_error();
  const char* reason = code != 0 ? ERR_reason_error_string(code) : nullptr;
  if (ERR_SYSTEM_ERROR(code)) reason = std::strerror(ERR_GET_REASON(code));
  ERR_clear_error();
  return reason ? reason : fallback;
}

TlsConnection::TlsConnection(Socket socket, Session session)
    : Connection(std::move(socket)), session_(std::move(session)) {
  if (!session_ || SSL_set_fd(session_.get(), fd()) != 1) throw std::bad_alloc();
  SSL_set_connect_state(session_.get());
}

// What a call that did not succeed means; called right behind it, as it reads errno.
IoStatus TlsConnection::status_of(int result) {
  const int error = errno;
  switch (SSL_get_error(session_.get(), result)) {
    case SSL_ERROR_WANT_READ:
      return IoStatus::kAgain;
    case SSL_ERROR_WANT_WRITE:
      want_write(true);
      return IoStatus::kAgain;
    case SSL_ERROR_ZERO_RETURN:
      return fail(IoStatus::kClosed, "the receiver closed the connection");
    case SSL_ERROR_SYSCALL:
      ERR_clear_error();
      return fail(IoStatus::kClosed,
                  error == 0 ? "the receiver closed the connection" : std::strerror(error));
    default:
      break;
  }
  const long verified = SSL_get_verify_result(session_.get());
  if (!is_secure_ && verified != X509_V_OK) {
    ERR_clear_error();
    return fail(IoStatus::kFailed, std::string("TLS: the receiver's certificate: ") +
                                       X509_verify_cert_error_string(verified));
  }
  const bool cut = ERR_GET_REASON(ERR_peek_error()) == SSL_R_UNEXPECTED_EOF_WHILE_READING;
  return fail(cut ? IoStatus::kClosed : IoStatus::kFailed, "TLS: " + tls_error("protocol error"));
}

IoStatus TlsConnection::secure() {
  want_write(false);
  ERR_clear_error();
  errno = 0;
  const int result = SSL_do_handshake(session_.get());
  if (result != 1) return status_of(result);
  is_secure_ = true;
  return IoStatus::kOk;
}

IoResult TlsConnection::read(std::span<uint8_t> out) {
  want_write(write_waits_);
  ERR_clear_error();
  errno = 0;
  size_t count = 0;
  const int result = SSL_read_ex(session_.get(), out.data(), out.size(), &count);
  return result == 1 ? IoResult{IoStatus::kOk, count} : IoResult{status_of(0), 0};
}

IoResult TlsConnection::write(std::span<const Bytes> pieces) {
  const Bytes bytes = pieces.front();
  want_write(false);
  ERR_clear_error();
  errno = 0;
  size_t count = 0;
  const int result = SSL_write_ex(session_.get(), bytes.data(), bytes.size(), &count);
  write_waits_ = false;
  if (result == 1) return {IoStatus::kOk, count};
  const IoStatus status = status_of(0);
  write_waits_ = (events() & POLLOUT) != 0;
  return {status, 0};
}

void TlsConnection::shut_down() noexcept {
  if (is_secure_) SSL_shutdown(session_.get());
  ERR_clear_error();
  Connection::shut_down();
}

}  // namespace vek::engine
