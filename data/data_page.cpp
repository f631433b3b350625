#include "data/data_page.h"

#include <cctype>
#include <cstring>

namespace {

constexpr char kMagicPrefix[] = "VEK";
constexpr size_t kPrefixSize = 3;
constexpr size_t kMagicSize = 4;
constexpr size_t kLetter = 3;  // position of the letter that names the block type

struct BlockKind {
  vek_data_block_type_t type;
  char letter;
  const char* name;
};

constexpr BlockKind kBlockKinds[] = {
    {VEK_COUNTERS_BLOCK, 'D', "VEK_COUNTERS_BLOCK"}, {VEK_EVENTS_BLOCK, 'E', "VEK_EVENTS_BLOCK"},
    {VEK_SCHEMAS_BLOCK, 'S', "VEK_SCHEMAS_BLOCK"},   {VEK_BLOB_BLOCK, 'B', "VEK_BLOB_BLOCK"},
    {VEK_PAGE_BLOCK, 'P', "VEK_PAGE_BLOCK"},         {VEK_CNTX_BLOCK, 'X', "VEK_CNTX_BLOCK"},
};

const BlockKind* find_kind(vek_data_block_type_t type) {
  for (const BlockKind& kind : kBlockKinds) {
    if (kind.type == type) return &kind;
  }
  return nullptr;
}

}  // namespace

vek_data_block_type_t vek_data_block_get_type(const void* block) {
  const char letter = static_cast<const char*>(block)[kLetter];
  for (const BlockKind& kind : kBlockKinds) {
    if (kind.letter == letter) return kind.type;
  }
  return VEK_UNKNOWN_BLOCK;
}

void vek_data_block_set_type(char* magic, vek_data_block_type_t type) {
  if (const BlockKind* kind = find_kind(type)) vek_magic_value_fill(magic, kind->letter);
}

const char* vek_data_block_type_to_string(vek_data_block_type_t type) {
  const BlockKind* kind = find_kind(type);
  return kind ? kind->name : "Unknown block";
}

void vek_magic_value_fill(char* magic, char letter) {
  std::memcpy(magic, kMagicPrefix, kPrefixSize);
  magic[kLetter] = letter;
}

char vek_magic_value_fill_lower(char* magic, char letter) {
  vek_magic_value_fill(magic, letter);
  for (size_t i = 0; i < kMagicSize; ++i) {
    magic[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(magic[i])));
  }
  return magic[kLetter];
}

void vek_magic_value_copy(char* dst, const char* src) { std::memmove(dst, src, kMagicSize); }

bool vek_magic_value_match_type(const char* magic, char letter) {
  return std::strncmp(magic, kMagicPrefix, kPrefixSize) == 0 && magic[kLetter] == letter;
}

bool vek_magic_value_match(const char* a, const char* b) {
  return std::strncmp(a, b, kPrefixSize) == 0 && a[kLetter] == b[kLetter];
}
