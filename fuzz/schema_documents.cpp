#include "fuzz/schema_documents.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "field_set/field_set.h"
#include "json/utf8.h"

namespace vek::fuzz {
namespace {

constexpr uint64_t kLargestRecord = 1 << 16;
// Values that an input may unfold to. Documents soon find arrays of arrays of arrays, which take
// the time of thousands of others; where those end is what the tests of the limits are about.
constexpr uint64_t kMostValues = 2000;

// What unfolding a type visits, as far as kMostValues. `open` are the types around it: inside
// itself it is refused.
uint64_t values_of(const vek_type_definition_t* type,
                   std::vector<const vek_type_definition_t*>& open) {
  if (!type || type->id != VEK_TYPE_NONE) return 1;
  if (std::find(open.begin(), open.end(), type) != open.end()) return 1;
  open.push_back(type);
  uint64_t values = 1;
  for (uint16_t i = 0; i < type->num_fields && values <= kMostValues; ++i) {
    const vek_type_field_definition_t& field = *type->fields[i];
    values += field.array_length == 0 ? 1 : field.array_length * values_of(field.type, open);
  }
  open.pop_back();
  return std::min(values, kMostValues + 1);
}

uint64_t values_of(const vek_type_definition_t* type) {
  std::vector<const vek_type_definition_t*> open;
  return values_of(type, open);
}

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
    if (!type || type->size > kLargestRecord || values_of(type) > kMostValues) continue;
    const std::unique_ptr<uint8_t[]> record(new uint8_t[type->size]());
    const JsonValue json(vek_type_definition_jsonify_data(type, record.get()));
    if (json) require(!pretty(json.get()).empty(), "a rendered record has a text");
  }
}

void require_bindable(const vek_schema_t& schema) {
  uint64_t values = 0;
  for (unsigned i = 0; i < schema.num_types; ++i) values += values_of(schema.types[i]);
  if (values > kMostValues) return;
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
