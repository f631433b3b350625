#include "raw_msgpack_api/tls_client.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <array>
#include <new>

#include "raw_msgpack_api/tls_connection.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

bool is_address(const std::string& host) {
  std::array<unsigned char, sizeof(in6_addr)> address{};
  return inet_pton(AF_INET, host.c_str(), address.data()) == 1 ||
         inet_pton(AF_INET6, host.c_str(), address.data()) == 1;
}

// OpenSSL would ask for a passphrase on the terminal; a collector has none.
int give_passphrase(char* out, int size, int, void* options) {
  const std::string& text = static_cast<const TlsOptions*>(options)->key_passphrase;
  if (size < 0 || text.size() > static_cast<size_t>(size)) return 0;
  return static_cast<int>(text.copy(out, text.size()));
}

bool report(const char* parameter, const std::string& path) {
  VEK_LOGE("[raw msgpack API] %s = '%s' cannot be used: %s", parameter, path.c_str(),
           tls_error("no reason given").c_str());
  return false;
}

}  // namespace

TlsClient::TlsClient(const TlsOptions& options)
    : verify_(options.verify),
      server_name_(options.server_name),
      name_is_address_(is_address(options.server_name)),
      context_(SSL_CTX_new(TLS_client_method())) {
  if (!context_) throw std::bad_alloc();
  SSL_CTX_set_min_proto_version(context_.get(), TLS1_2_VERSION);
  // Frames are written piece by piece, from memory that may move meanwhile.
  SSL_CTX_set_mode(context_.get(),
                   SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  SSL_CTX_set_verify(context_.get(), verify_ ? SSL_VERIFY_PEER : SSL_VERIFY_NONE, nullptr);
}

bool TlsClient::load(const TlsOptions& options) {
  SSL_CTX* context = context_.get();
  ERR_clear_error();
  if (!options.ca_file.empty()) {
    if (SSL_CTX_load_verify_file(context, options.ca_file.c_str()) != 1) {
      return report("tls.ca_file", options.ca_file);
    }
  } else if (verify_) {
    SSL_CTX_set_default_verify_paths(context);
  }
  if (options.crt_file.empty()) return true;
  if (SSL_CTX_use_certificate_chain_file(context, options.crt_file.c_str()) != 1) {
    return report("tls.crt_file", options.crt_file);
  }
  SSL_CTX_set_default_passwd_cb(context, give_passphrase);
  SSL_CTX_set_default_passwd_cb_userdata(context, const_cast<TlsOptions*>(&options));
  const bool loaded =
      SSL_CTX_use_PrivateKey_file(context, options.key_file.c_str(), SSL_FILETYPE_PEM) == 1 &&
      SSL_CTX_check_private_key(context) == 1;
  SSL_CTX_set_default_passwd_cb_userdata(context, nullptr);
  SSL_CTX_set_default_passwd_cb(context, nullptr);
  return loaded || report("tls.key_file", options.key_file);
}

std::unique_ptr<TlsClient> TlsClient::make(const TlsOptions& options) {
  std::unique_ptr<TlsClient> client(new TlsClient(options));
  return client->load(options) ? std::move(client) : nullptr;
}

std::unique_ptr<Connection> TlsClient::connect(Socket socket) const {
  TlsConnection::Session session(SSL_new(context_.get()));
  if (!session) throw std::bad_alloc();
  bool named = true;
  X509_VERIFY_PARAM* checks = SSL_get0_param(session.get());
  if (name_is_address_) {
    named = !verify_ || X509_VERIFY_PARAM_set1_ip_asc(checks, server_name_.c_str()) == 1;
  } else {
    named = SSL_set_tlsext_host_name(session.get(), server_name_.c_str()) == 1 &&
            (!verify_ || SSL_set1_host(session.get(), server_name_.c_str()) == 1);
  }
  if (!named) throw std::bad_alloc();
  return std::make_unique<TlsConnection>(std::move(socket), std::move(session));
}

}  // namespace vek::engine
