#include <cstdio>

#include "data/builtin_types.h"
#include "field_set/field_set.h"

namespace vek {

void FieldSet::PrintFieldSet(const field_set_t* field_set) {
  std::printf("\n\n[PRINT FIELD SET]:");
  if (!field_set) {
    std::printf("\n\nNULL");
    return;
  }
  std::printf("num_included = %zu\n", static_cast<size_t>(field_set->num_included));
  for (const field_t& field : field_set->fields) {
    const char* type = vek_builtin_type_name(static_cast<uint32_t>(field.field_type));
    std::printf("field:");
    std::printf("      name         = %s\n", field.name);
    std::printf("      skip         = %d\n", field.skip ? 1 : 0);
    std::printf("      name_len     = %zu\n", static_cast<size_t>(field.name_len));
    std::printf("      data_str_len = %zu\n", static_cast<size_t>(field.data_str_len));
    std::printf("      offset       = %zu\n", static_cast<size_t>(field.offset));
    std::printf("      field_type   = %s\n", type ? type : "");
  }
  std::printf("\n");
}

}  // namespace vek
