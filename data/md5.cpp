// OpenSSL still has its plain MD5 calls, marked as deprecated since 3.0: right for safeguards, of
// no weight for an identifier. This asks for the 1.1 interface, without the mark.
#define OPENSSL_API_COMPAT 0x10100000L

#include "data/md5.h"

#include <openssl/md5.h>

#include <cstring>

#include "data/schema_id.h"
#include "json/json_owned.h"

static_assert(MD5_DIGEST_LENGTH == VEK_SCHEMA_ID_SIZE);

bool vek_MD5(const void* data, size_t length, uint8_t* out_digest) {
  MD5_CTX context;
  return MD5_Init(&context) == 1 && MD5_Update(&context, data, length) == 1 &&
         MD5_Final(out_digest, &context) == 1;
}

bool vek_get_schema_id_from_pretty_json_string(const char* text, uint8_t* out_digest) {
  return text && vek_MD5(text, std::strlen(text), out_digest);
}

bool vek_type_system_get_json_schema_id(uint8_t* out_digest, const JSON_Value* json) {
  const vek::JsonText text(json_serialize_to_string_pretty(json));
  return vek_get_schema_id_from_pretty_json_string(text.get(), out_digest);
}
