#include "tests/raw_msgpack_api/test_certificates.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace vek::test {
namespace {

using Memory = Owned<BIO, BIO_free>;

std::string text_of(const Memory& memory) {
  char* data = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &data);
  return {data, static_cast<size_t>(size)};
}

void add_extension(X509* certificate, X509* issuer, int id, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, id, value.c_str());
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

Identity make(std::string name, long seconds) {
  static long serial = 0;
  name += ' ' + std::to_string(++serial);
  Identity identity;
  identity.key.reset(EVP_EC_gen("P-256"));
  identity.certificate.reset(X509_new());
  X509* certificate = identity.certificate.get();
  X509_set_version(certificate, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate), -7200);
  X509_gmtime_adj(X509_getm_notAfter(certificate), seconds);
  X509_set_pubkey(certificate, identity.key.get());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
  return identity;
}

}  // namespace

std::string Identity::certificate_pem() const {
  const Memory memory(BIO_new(BIO_s_mem()));
  PEM_write_bio_X509(memory.get(), certificate.get());
  return text_of(memory);
}

std::string Identity::key_pem(const char* passphrase) const {
  const Memory memory(BIO_new(BIO_s_mem()));
  PEM_write_bio_PrivateKey(memory.get(), key.get(), passphrase ? EVP_aes_256_cbc() : nullptr,
                           nullptr, 0, nullptr, const_cast<char*>(passphrase));
  return text_of(memory);
}

Authority::Authority() : own_(make("test authority", 7200)) {
  X509_set_issuer_name(certificate(), X509_get_subject_name(certificate()));
  add_extension(certificate(), certificate(), NID_basic_constraints, "critical,CA:TRUE");
  X509_sign(certificate(), own_.key.get(), EVP_sha256());
}

Identity Authority::issue(const std::string& names, long seconds) const {
  Identity identity = make("test", seconds);
  X509_set_issuer_name(identity.certificate.get(), X509_get_subject_name(certificate()));
  if (!names.empty()) {
    add_extension(identity.certificate.get(), certificate(), NID_subject_alt_name, names);
  }
  X509_sign(identity.certificate.get(), own_.key.get(), EVP_sha256());
  return identity;
}

OwnedTls server_tls(const Identity& identity, const Authority* clients) {
  OwnedTls tls(SSL_CTX_new(TLS_server_method()));
  SSL_CTX_use_certificate(tls.get(), identity.certificate.get());
  SSL_CTX_use_PrivateKey(tls.get(), identity.key.get());
  if (clients) {
    X509_STORE_add_cert(SSL_CTX_get_cert_store(tls.get()), clients->certificate());
    SSL_CTX_set_verify(tls.get(), SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  }
  return tls;
}

}  // namespace vek::test
