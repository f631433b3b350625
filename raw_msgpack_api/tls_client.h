// TlsClient: how this destination speaks TLS: whom it trusts and who it says it is.
//
// Read from its files once, when the destination is made, so that what is wrong with them is said
// then. Peers have to show a certificate that is trusted and made out to their name, unless
// verification is switched off.
#ifndef VEK_RAW_MSGPACK_API_TLS_CLIENT_H
#define VEK_RAW_MSGPACK_API_TLS_CLIENT_H

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "raw_msgpack_api/connection.h"
#include "utils/owned.h"

namespace vek::engine {

struct TlsOptions {
  bool verify = true;
  std::string server_name;     // asked for, and checked
  std::string ca_file;         // empty: what the system trusts
  std::string crt_file;        // the client's certificate, its chain behind it; may be empty
  std::string key_file;        // its key
  std::string key_passphrase;  // of that file
};

class TlsClient {
 public:
  // Null, after an error line that names the parameter, when a file does not work.
  static std::unique_ptr<TlsClient> make(const TlsOptions& options);

  // Throws std::bad_alloc.
  std::unique_ptr<Connection> connect(Socket socket) const;

 private:
  explicit TlsClient(const TlsOptions& options);
  bool load(const TlsOptions& options);

  bool verify_;
  std::string server_name_;
  bool name_is_address_;
  Owned<SSL_CTX, SSL_CTX_free> context_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_TLS_CLIENT_H
