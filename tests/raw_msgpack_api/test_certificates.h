// Certificates for tests, made when they are needed.
#ifndef VEK_TESTS_RAW_MSGPACK_API_TEST_CERTIFICATES_H
#define VEK_TESTS_RAW_MSGPACK_API_TEST_CERTIFICATES_H

#include <openssl/ssl.h>

#include <string>

#include "utils/owned.h"

namespace vek::test {

using OwnedKey = Owned<EVP_PKEY, EVP_PKEY_free>;
using OwnedCertificate = Owned<X509, X509_free>;
using OwnedTls = Owned<SSL_CTX, SSL_CTX_free>;

struct Identity {
  OwnedKey key;
  OwnedCertificate certificate;

  std::string certificate_pem() const;
  std::string key_pem(const char* passphrase = nullptr) const;
};

// Signs for itself, and for others.
class Authority {
 public:
  Authority();
  // `names` as OpenSSL writes them: "DNS:localhost,IP:127.0.0.1". Valid for `seconds` from now,
  // which may be over.
  Identity issue(const std::string& names, long seconds = 3600) const;
  std::string pem() const { return own_.certificate_pem(); }
  X509* certificate() const { return own_.certificate.get(); }

 private:
  Identity own_;
};

// What a receiver needs; with `clients` it wants a certificate of that authority from them.
OwnedTls server_tls(const Identity& identity, const Authority* clients = nullptr);

}  // namespace vek::test

#endif  // VEK_TESTS_RAW_MSGPACK_API_TEST_CERTIFICATES_H
