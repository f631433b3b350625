// TlsConnection: a connection inside TLS.
#ifndef VEK_RAW_MSGPACK_API_TLS_CONNECTION_H
#define VEK_RAW_MSGPACK_API_TLS_CONNECTION_H

#include <openssl/ssl.h>

#include "raw_msgpack_api/connection.h"
#include "utils/owned.h"

namespace vek::engine {

class TlsConnection : public Connection {
 public:
  using Session = Owned<SSL, SSL_free>;
  // Of a session that has its names, but not its socket yet. Throws std::bad_alloc.
  TlsConnection(Socket socket, Session session);

  IoStatus secure() override;
  IoResult read(std::span<uint8_t> out) override;
  IoResult write(std::span<const Bytes> pieces) override;
  void shut_down() noexcept override;

 private:
  IoStatus status_of(int result);

  Session session_;
  bool is_secure_ = false;
  bool write_waits_ = false;
};

// The reason of the oldest error that OpenSSL noted in this thread, `fallback` where there is none;
// forgets them all.
std::string tls_error(const char* fallback);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_TLS_CONNECTION_H
