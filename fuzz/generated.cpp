#include "fuzz/generated.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "data/builtin_types.h"

namespace vek::fuzz {
namespace {

// Few, so that files, shadowing, aliases and duplicates meet often.
constexpr std::array<const char*, 16> kNames = {
    "timestamp", "type",      "type_name", "source",
    "port_guid", "GUID",      "guid",      "values",
    "a",         "node_guid", "b",         "rx",
    "tx",        "text",      "x",         "longer_than_most_of_them_are"};
constexpr std::array<const char*, 5> kTypes = {"link", "power", "kelvra_smi_event_x", "alarm",
                                               "li"};
constexpr std::array<const char*, 6> kSections = {"default", "link", "li*", "*", "alarm", "inner"};

std::string name_of(Supply& supply) {
  const uint8_t choice = supply.byte();
  std::string name = kNames[choice % kNames.size()];
  if (choice >= 128) name += std::to_string(choice / 16);
  return name;
}

void add_counter(Supply& supply, vek_counter_group_t* group) {
  std::string name = name_of(supply);
  char nothing[] = "";
  vek_counter_info_t counter{};
  counter.name = name.data();
  counter.description = nothing;
  counter.units = nothing;
  counter.data_type = 1 + supply.below(VEK_DATA_TYPE_STRING);
  if (counter.data_type == VEK_DATA_TYPE_STRING) counter.length = supply.below(40);
  require(vek_add_counter_to_group(group, &counter), "a counter is added");
}

void add_type(Supply& supply, vek_schema_t* schema, const char* name, uint32_t most_fields) {
  std::vector<std::string> names;
  std::vector<vek_type_field_info_t> fields;
  const uint32_t count = 1 + supply.below(most_fields);
  bool nests = false;
  names.reserve(count);
  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t kind = supply.byte();
    vek_type_field_info_t field{};
    field.description = "";
    field.type_name = vek_builtin_type_name(1 + kind % 22);
    // One in a type: more would soon be more fields than a type may have.
    if (kind >= 200 && schema->num_types > 0 && !std::exchange(nests, true)) {
      field.type_name = schema->types[kind % schema->num_types]->name;
    }
    field.array_length = kind % 5 == 0 ? supply.below(nests ? 4 : 12) : 1;
    // Repeated names would be refused.
    names.push_back(name_of(supply) + '_' + std::to_string(i));
    if (kind % 3 == 0) names.back().resize(names.back().size() - 2);
    field.field_name = names.back().c_str();
    fields.push_back(field);
  }
  vek_schema_add_type(schema, name, fields.data(), count, nullptr);  // refusals are in order
}

}  // namespace

CountersSchema counters_schema(Supply& supply, uint32_t counters) {
  CountersSchema schema(vek_create_counters_schema());
  for (uint32_t groups = 1 + supply.below(3); groups > 0; --groups) {
    vek_counter_provider_info_t info{"group", nullptr};
    vek_counter_group_t* group = vek_create_counter_group(nullptr, &info);
    group->info = nullptr;
    group->num_counter_sets = 1;
    for (uint32_t i = supply.below(counters); i > 0; --i) add_counter(supply, group);
    require(vek_counters_schema_append_group(schema.get(), group), "a group is added");
  }
  vek_counters_schema_update_counter_offsets(schema.get());
  schema->size_of_counters = vek_counters_schema_size_of_counters(schema.get());
  return schema;
}

TypeSystem type_system(Supply& supply, const Extent& extent) {
  TypeSystem types(vek_create_type_system());
  vek_destroy_counters_schema(types->counters_schema);
  types->counters_schema = counters_schema(supply, extent.counters).release();
  vek_schema_t* schema = vek_type_system_add_schema(types.get(), "fuzz", 1, nullptr);
  for (uint32_t i = supply.below(extent.types - 1); i + 1 > 0; --i) {
    add_type(supply, schema, kTypes[i], extent.fields - 1);
  }
  if (schema->num_types == 0) {
    const vek_type_field_info_t field{"value", "", "uint64_t", VEK_VALUE_ABSOLUTE, 1};
    vek_schema_add_type(schema, "plain", &field, 1, nullptr);
  }
  std::fill_n(types->counters_schema_digest, VEK_SCHEMA_ID_SIZE, uint8_t{0xc0});
  std::fill_n(schema->digest, VEK_SCHEMA_ID_SIZE, uint8_t{0xe0});
  vek_schema_id_to_schema_string(schema->digest, schema->id_string);
  return types;
}

uint64_t time_of(Supply& supply) {
  constexpr uint64_t kToday = 1'700'000'000'000'000;
  const uint64_t time = supply.number() >> 8;
  return time % 4 == 0 ? time : kToday + time % kToday;
}

std::string rule_lines(Supply& supply) {
  std::string lines;
  for (uint32_t i = supply.below(12); i > 0; --i) {
    switch (supply.below(9)) {
      case 0:
        lines += std::string("[") + kSections[supply.below(6)] + "]";
        break;
      case 1:
        lines +=
            std::string("[") + kSections[supply.below(6)] + "," + kTypes[supply.below(5)] + "]";
        break;
      case 2:
        lines += name_of(supply) + "=^" + name_of(supply) + "$";
        break;
      case 3:
        lines += "meta_field_alias:" + name_of(supply) + "=" + name_of(supply);
        break;
      case 4:
        lines += "meta_field_add:" + name_of(supply) + "=" + name_of(supply);
        break;
      case 5:
        lines += "-" + name_of(supply);
        break;
      case 6:
        lines += name_of(supply) + "-" + name_of(supply);
        break;
      case 7:
        lines += supply.text(supply.below(20));
        break;
      default:
        lines += name_of(supply).substr(0, 2);
        break;
    }
    lines += '\n';
  }
  return lines;
}

}  // namespace vek::fuzz
