// Schema identifiers: 16 raw bytes (an MD5 digest), written as 32 lower-case hexadecimal digits.
// All zero means unset; the 16 ASCII bytes "BLOB_DATA_SCHEMA" mark blob data.
#ifndef VEK_DATA_SCHEMA_ID_H
#define VEK_DATA_SCHEMA_ID_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "utils/export.h"

#define VEK_SCHEMA_ID_SIZE 16
#define VEK_SCHEMA_ID_TEXT_SIZE 33  // 32 digits and a terminator

VEK_C_BEGIN

VEK_API bool vek_schema_id_is_unset(const uint8_t* id);
VEK_API void vek_copy_schema_id(uint8_t* dst, const uint8_t* src);
VEK_API void vek_reset_schema_id(uint8_t* id);
// memcmp over the 16 bytes.
VEK_API int vek_compare_schema_id(const uint8_t* a, const uint8_t* b);
// A new 33-byte text that the caller frees; null when out of memory.
VEK_API char* vek_schema_id_string(const uint8_t* id);
// Writes the same text into a buffer of at least 33 bytes.
VEK_API void vek_schema_id_to_schema_string(const uint8_t* id, char* dst);
// 1, or 0 at the first pair of digits that does not parse. A null text answers 1 and writes
// nothing: hosts rely on this lenient answer.
VEK_API int vek_schema_from_id_string(const char* text, uint8_t* id);
VEK_API bool vek_schema_id_is_blob(const uint8_t* id);
VEK_API void vek_schema_id_set_blob(uint8_t* id);

VEK_C_END

#ifdef __cplusplus

#include <functional>
#include <string>

namespace vek::data {

// An identifier as a map key: bytes, text and the text's hash, worked out once.
class VEK_API SchemaId {
 public:
  SchemaId();                                  // unset: zero bytes and the text of 32 zeros
  explicit SchemaId(const std::string& text);  // stores the text; the bytes stay zero
  explicit SchemaId(const uint8_t* bytes);     // 16 bytes

  const uint8_t* bytes() const { return bytes_; }
  const std::string& str() const { return text_; }
  uint64_t hash() const { return hash_; }
  bool isBlob() const { return is_blob_; }

  // Two identifiers are the same when their texts are.
  bool operator==(const SchemaId& other) const { return text_ == other.text_; }

 private:
  uint8_t bytes_[VEK_SCHEMA_ID_SIZE];
  std::string text_;
  uint64_t hash_;
  bool is_blob_;
};

}  // namespace vek::data

template <>
struct std::hash<vek::data::SchemaId> {
  size_t operator()(const vek::data::SchemaId& id) const noexcept { return id.hash(); }
};

#endif  // __cplusplus

#endif  // VEK_DATA_SCHEMA_ID_H
