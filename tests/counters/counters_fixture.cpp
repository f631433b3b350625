#include "tests/counters/counters_fixture.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/temp_dir.h"

namespace vek::test {

Group make_group(const std::string& name, const std::vector<CounterSpec>& counters,
                 uint32_t num_counter_sets) {
  vek_counter_provider_info_t info = {name.c_str(), nullptr};
  Group group(vek_create_counter_group(nullptr, &info));
  group->info = nullptr;
  group->num_counter_sets = num_counter_sets;
  for (CounterSpec spec : counters) {
    char units[] = "";
    vek_counter_info_t counter = {};
    counter.name = spec.name.data();
    counter.description = spec.description.data();
    counter.units = units;
    counter.data_type = spec.data_type;
    counter.length = spec.length;
    EXPECT_TRUE(vek_add_counter_to_group(group.get(), &counter));
  }
  return group;
}

Schema make_schema(const std::vector<std::vector<CounterSpec>>& groups) {
  Schema schema(vek_create_counters_schema());
  for (size_t i = 0; i < groups.size(); ++i) {
    Group group = make_group("group" + std::to_string(i), groups[i]);
    EXPECT_TRUE(vek_counters_schema_append_group(schema.get(), group.release()));
  }
  vek_counters_schema_update_counter_offsets(schema.get());
  schema->size_of_counters = vek_counters_schema_size_of_counters(schema.get());
  return schema;
}

std::vector<CounterSpec> named(const std::vector<std::string>& names) {
  std::vector<CounterSpec> specs;
  for (const std::string& name : names) specs.push_back({name});
  return specs;
}

Strings strings_of(const std::vector<std::string>& texts) {
  vek_string_array_t* array = vek_init_string_array();
  for (const std::string& text : texts) {
    EXPECT_TRUE(vek_append_string_array(&array, text.c_str()));
  }
  return Strings(array);
}

Set set_from_lines(const vek_counters_schema_t* schema, const std::string& contents) {
  const TempDir dir;
  return Set(vek_schema_to_counter_set(schema, dir.write("counters.cset", contents).c_str()));
}

std::vector<std::string> exported_names(const vek_counter_set_t* set) {
  std::vector<std::string> names;
  for (uint64_t i = 0; i < set->num_counters; ++i) {
    if (!set->skip[i]) names.emplace_back(set->counters[i].name);
  }
  EXPECT_EQ(names.size(), set->num_exported);
  return names;
}

std::vector<std::string> shown_meta_names(const vek_counter_set_t* set) {
  std::vector<std::string> names;
  for (uint64_t i = 0; i < set->num_meta; ++i) {
    if (!set->meta[i].skip) names.emplace_back(set->meta[i].name);
  }
  EXPECT_EQ(names.size(), set->num_shown_meta);
  return names;
}

Block::Block(size_t size_of_values, uint64_t timestamp_us)
    : bytes_(sizeof(vek_counters_block_t) + size_of_values) {
  std::memcpy(bytes_.data(), "VEKD", 4);
  std::memcpy(bytes_.data() + 8, &timestamp_us, sizeof(timestamp_us));
}

Block& Block::put_bytes(const vek_counters_schema_t* schema, const char* counter, const void* data,
                        size_t size) {
  const vek_counter_info_t* info = vek_counters_schema_get_counter_by_name(schema, counter);
  if (!info || sizeof(vek_counters_block_t) + info->offset + size > bytes_.size()) {
    ADD_FAILURE() << "no room for counter " << counter;
    return *this;
  }
  std::memcpy(bytes_.data() + sizeof(vek_counters_block_t) + info->offset, data, size);
  return *this;
}

std::string printed(const std::function<void(std::FILE*)>& print) {
  char* text = nullptr;
  size_t size = 0;
  std::FILE* stream = open_memstream(&text, &size);
  print(stream);
  std::fclose(stream);
  std::string result(text, size);
  std::free(text);
  return result;
}

}  // namespace vek::test
