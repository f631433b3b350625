#include "fuzz/schema_documents.h"

#include <memory>

#include "field_set/field_set.h"
#include "json/utf8.h"

namespace vek::fuzz {
namespace {

constexpr uint64_t kLargestRecord = 1 << 16;

}  // namespace

bool is_utf8(std::string_view text) { return json::is_valid_utf8(text); }

bool knows_all_names(const vek_schema_t& schema) {
  for (unsigned i = 0; i < schema.num_types; ++i) {
    for (unsigned k = 0; k < schema.types[i]->num_fields; ++k) {
      if (!vek_value_type_string(schema.types[i]->fields[k]->counting_mode)) return false;
    }
  }
  return true;
}

bool knows_all_names(const vek_counters_schema_t& schema) {
  for (uint32_t i = 0; i < schema.num_groups; ++i) {
    const vek_counter_group_t& group = *schema.groups[i];
    if (!vek_granularity_string(group.granularity)) return false;
    for (uint32_t k = 0; k < group.num_counters; ++k) {
      const vek_counter_info_t& counter = *group.counters[k];
      if (!vek_data_type_string(counter.data_type)) return false;
      if (!vek_counting_type_string(counter.counting_type)) return false;
    }
  }
  return true;
}

void require_renderable(const vek_schema_t& schema) {
  for (unsigned i = 0; i < schema.num_types; ++i) {
    const vek_type_definition_t* type = schema.types[i];
    if (!type || type->size > kLargestRecord) continue;
    const std::unique_ptr<uint8_t[]> record(new uint8_t[type->size]());
    const JsonValue json(vek_type_definition_jsonify_data(type, record.get()));
    if (json) require(!pretty(json.get()).empty(), "a rendered record has a text");
  }
}

void require_bindable(const vek_schema_t& schema) {
  FieldSet set;
  set.updateWithNewSchema(&schema);
  for (unsigned i = 0; i < schema.num_types; ++i) {
    const vek_type_definition_t* type = schema.types[i];
    if (!type) continue;
    for (const field_t& field : set.getFields(&schema, static_cast<uint8_t>(i))) {
      require(field.offset <= type->size, "a bound field begins inside its record");
    }
  }
}

}  // namespace vek::fuzz
