#include "utils/pair_table.h"

#include <cstring>

const char* pair_get_string(const vek_pair_t* table, uint32_t value) {
  if (!table) return nullptr;
  for (; table->name; ++table) {
    if (table->value == value) return table->name;
  }
  return nullptr;
}

uint32_t pair_get_number(const vek_pair_t* table, const char* name) {
  if (!table || !name) return VEK_NOT_FOUND;
  for (; table->name; ++table) {
    if (std::strcmp(table->name, name) == 0) return table->value;
  }
  return VEK_NOT_FOUND;
}
