#include "data/schema_id.h"

#include <cstdlib>
#include <cstring>

#include "utils/strings.h"

namespace {

constexpr uint8_t kBlobId[VEK_SCHEMA_ID_SIZE] = {'B', 'L', 'O', 'B', '_', 'D', 'A', 'T',
                                                 'A', '_', 'S', 'C', 'H', 'E', 'M', 'A'};

constexpr char kHexDigits[] = "0123456789abcdef";

}  // namespace

bool vek_schema_id_is_unset(const uint8_t* id) {
  for (size_t i = 0; i < VEK_SCHEMA_ID_SIZE; ++i) {
    if (id[i] != 0) return false;
  }
  return true;
}

void vek_copy_schema_id(uint8_t* dst, const uint8_t* src) {
  std::memmove(dst, src, VEK_SCHEMA_ID_SIZE);
}

void vek_reset_schema_id(uint8_t* id) { std::memset(id, 0, VEK_SCHEMA_ID_SIZE); }

int vek_compare_schema_id(const uint8_t* a, const uint8_t* b) {
  return std::memcmp(a, b, VEK_SCHEMA_ID_SIZE);
}

char* vek_schema_id_string(const uint8_t* id) {
  auto* text = static_cast<char*>(std::calloc(VEK_SCHEMA_ID_TEXT_SIZE, 1));
  if (text) vek_schema_id_to_schema_string(id, text);
  return text;
}

void vek_schema_id_to_schema_string(const uint8_t* id, char* dst) {
  for (size_t i = 0; i < VEK_SCHEMA_ID_SIZE; ++i) {
    dst[2 * i] = kHexDigits[id[i] >> 4];
    dst[2 * i + 1] = kHexDigits[id[i] & 0xF];
  }
  dst[VEK_SCHEMA_ID_TEXT_SIZE - 1] = '\0';
}

int vek_schema_from_id_string(const char* text, uint8_t* id) {
  if (!text) return 1;
  for (size_t i = 0; i < VEK_SCHEMA_ID_SIZE; ++i) {
    // The second digit is looked at only behind a good first one: the text may end in between.
    const uint32_t high = hex_char_to_int(text[2 * i]);
    if (high == VEK_NOT_FOUND) return 0;
    const uint32_t low = hex_char_to_int(text[2 * i + 1]);
    if (low == VEK_NOT_FOUND) return 0;
    id[i] = static_cast<uint8_t>(high << 4 | low);
  }
  return 1;
}

bool vek_schema_id_is_blob(const uint8_t* id) {
  return std::memcmp(id, kBlobId, VEK_SCHEMA_ID_SIZE) == 0;
}

void vek_schema_id_set_blob(uint8_t* id) { std::memcpy(id, kBlobId, VEK_SCHEMA_ID_SIZE); }

namespace vek::data {

namespace {

constexpr uint8_t kUnsetId[VEK_SCHEMA_ID_SIZE] = {};

std::string hex_text(const uint8_t* bytes) {
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(bytes, text);
  return text;
}

}  // namespace

SchemaId::SchemaId() : SchemaId(kUnsetId) {}

SchemaId::SchemaId(const std::string& text)
    : bytes_{}, text_(text), hash_(std::hash<std::string>{}(text_)), is_blob_(false) {}

SchemaId::SchemaId(const uint8_t* bytes)
    : bytes_{},
      text_(hex_text(bytes)),
      hash_(std::hash<std::string>{}(text_)),
      is_blob_(vek_schema_id_is_blob(bytes)) {
  vek_copy_schema_id(bytes_, bytes);
}

}  // namespace vek::data
