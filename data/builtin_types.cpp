#include "data/builtin_types.h"

#include <cstdio>
#include <cstring>

#include "json/json.h"

namespace {

constexpr vek_builtin_type_row_t kRows[] = {
    {VEK_TYPE_BOOL, "bool", 1},
    {VEK_TYPE_CHAR, "char", 1},
    {VEK_TYPE_SHORT, "short", 2},
    {VEK_TYPE_INT, "int", 4},
    {VEK_TYPE_LONG, "long", 8},
    {VEK_TYPE_LONG_LONG, "long long", 8},
    {VEK_TYPE_UNSIGNED_CHAR, "unsigned char", 1},
    {VEK_TYPE_UNSIGNED_SHORT, "unsigned short", 2},
    {VEK_TYPE_UNSIGNED_INT, "unsigned int", 4},
    {VEK_TYPE_UNSIGNED_LONG, "unsigned long", 8},
    {VEK_TYPE_UNSIGNED_LONG_LONG, "unsigned long long", 8},
    {VEK_TYPE_FLOAT, "float", 4},
    {VEK_TYPE_DOUBLE, "double", 8},
    {VEK_TYPE_INT8, "int8_t", 1},
    {VEK_TYPE_INT16, "int16_t", 2},
    {VEK_TYPE_INT32, "int32_t", 4},
    {VEK_TYPE_INT64, "int64_t", 8},
    {VEK_TYPE_UINT8, "uint8_t", 1},
    {VEK_TYPE_UINT16, "uint16_t", 2},
    {VEK_TYPE_UINT32, "uint32_t", 4},
    {VEK_TYPE_UINT64, "uint64_t", 8},
    {VEK_TYPE_TIMESTAMP, "timestamp", 8},
    {VEK_TYPE_NONE, nullptr, 0},
};

const vek_builtin_type_row_t* find_row(uint32_t id) {
  for (const vek_builtin_type_row_t* row = kRows; row->id != 0; ++row) {
    if (row->id == id) return row;
  }
  return nullptr;
}

template <typename T>
JSON_Value* number_from(const uint8_t* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof(value));
  return json_value_init_number(static_cast<double>(value));
}

}  // namespace

const vek_builtin_type_row_t* vek_builtin_type_rows(void) { return kRows; }

const char* vek_builtin_type_name(uint32_t id) {
  const vek_builtin_type_row_t* row = find_row(id);
  return row ? row->name : nullptr;
}

uint64_t vek_builtin_type_size(uint32_t id) {
  const vek_builtin_type_row_t* row = find_row(id);
  return row ? row->size : 0;
}

uint32_t vek_builtin_type_from_name(const char* name) {
  if (!name) return VEK_TYPE_NONE;
  for (const vek_builtin_type_row_t* row = kRows; row->id != 0; ++row) {
    if (std::strcmp(row->name, name) == 0) return row->id;
  }
  return VEK_TYPE_NONE;
}

JSON_Value* vek_builtin_type_jsonify(uint32_t id, const uint8_t* bytes) {
  switch (id) {
    case VEK_TYPE_BOOL:
    case VEK_TYPE_CHAR:  // unsigned on purpose: the value must not depend on the machine's char
    case VEK_TYPE_UNSIGNED_CHAR:
    case VEK_TYPE_UINT8:
      return number_from<uint8_t>(bytes);
    case VEK_TYPE_INT8:
      return number_from<int8_t>(bytes);
    case VEK_TYPE_SHORT:
    case VEK_TYPE_INT16:
      return number_from<int16_t>(bytes);
    case VEK_TYPE_UNSIGNED_SHORT:
    case VEK_TYPE_UINT16:
      return number_from<uint16_t>(bytes);
    case VEK_TYPE_INT:
    case VEK_TYPE_INT32:
      return number_from<int32_t>(bytes);
    case VEK_TYPE_UNSIGNED_INT:
    case VEK_TYPE_UINT32:
      return number_from<uint32_t>(bytes);
    case VEK_TYPE_LONG:
    case VEK_TYPE_LONG_LONG:
    case VEK_TYPE_INT64:
      return number_from<int64_t>(bytes);
    case VEK_TYPE_UNSIGNED_LONG:
    case VEK_TYPE_UNSIGNED_LONG_LONG:
    case VEK_TYPE_UINT64:
    case VEK_TYPE_TIMESTAMP:
      return number_from<uint64_t>(bytes);
    case VEK_TYPE_FLOAT:
      return number_from<float>(bytes);
    case VEK_TYPE_DOUBLE:
      return number_from<double>(bytes);
    default:
      return nullptr;
  }
}

void vek_builtin_type_print_info(FILE* stream) {
  std::fprintf(stream, " %2s %-25s  %-8s\n", "Id", "Name", "Size");
  for (const vek_builtin_type_row_t* row = kRows; row->id != 0; ++row) {
    std::fprintf(stream, " %2d %-25s  %-8zu\n", static_cast<int>(row->id), row->name,
                 static_cast<size_t>(row->size));
  }
}
