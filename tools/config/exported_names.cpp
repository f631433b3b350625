#include "tools/config/exported_names.h"

#include "counters/counter_data.h"
#include "data/builtin_types.h"

namespace vek::tools {
namespace {

ValueKind kind_of_counter(uint32_t data_type) {
  if (data_type == VEK_DATA_TYPE_FP64) return ValueKind::kReal;
  return data_type == VEK_DATA_TYPE_STRING ? ValueKind::kText : ValueKind::kInteger;
}

ValueKind kind_of_field(const field_t& field) {
  switch (field.field_type) {
    case VEK_TYPE_BOOL:
      return ValueKind::kBoolean;
    case VEK_TYPE_FLOAT:
    case VEK_TYPE_DOUBLE:
      return ValueKind::kReal;
    case VEK_TYPE_CHAR:
      return field.array_length > 1 ? ValueKind::kText : ValueKind::kInteger;
    default:
      return ValueKind::kInteger;
  }
}

}  // namespace

const char* value_kind_text(ValueKind kind) {
  switch (kind) {
    case ValueKind::kInteger:
      return "integer";
    case ValueKind::kReal:
      return "fraction";
    case ValueKind::kText:
      return "text";
    default:
      return "boolean";
  }
}

void append_exported(const vek_counter_set_t& set, ExportedNames& out) {
  for (uint64_t i = 0; i < set.num_counters; ++i) {
    if (set.skip[i]) continue;
    out.push_back({set.counters[i].name, kind_of_counter(set.counters[i].data_type),
                   std::string(kFromCounters)});
  }
  for (uint64_t i = 0; i < set.num_meta; ++i) {
    const vek_counter_set_meta_element_t& meta = set.meta[i];
    if (meta.skip) continue;
    ValueKind kind = ValueKind::kText;
    if (meta.kind == VEK_META_COUNTER_ALIAS) kind = kind_of_counter(meta.element.data_type);
    if (meta.kind == VEK_META_BUILTIN_ALIAS && meta.builtin == VEK_META_TIMESTAMP) {
      kind = ValueKind::kInteger;
    }
    out.push_back({meta.name, kind, std::string(kFromCounters)});
  }
}

void append_exported(const std::string& type, const field_set_t& field_set, ExportedNames& out) {
  for (const field_t& field : field_set.fields) {
    if (!field.skip) out.push_back({field.name, kind_of_field(field), type});
  }
}

}  // namespace vek::tools
