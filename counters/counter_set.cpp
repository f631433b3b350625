#include "counters/counter_set.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "counters/counter_plan.h"
#include "counters/counter_set_build.h"
#include "utils/logger.h"

namespace {

constexpr uint8_t kSkipped = 1;

template <typename T>
T* allocate_zeroed(uint64_t count) noexcept {
  return static_cast<T*>(std::calloc(std::max<uint64_t>(count, 1), sizeof(T)));
}

bool fill_entry(const vek_counter_info_t* counter, vek_counter_set_element_t* entry) noexcept {
  entry->name = strdup(counter->name ? counter->name : "");
  if (!entry->name) return false;
  entry->name_len = std::strlen(entry->name);
  entry->data_type = counter->data_type;
  entry->length = counter->length;
  entry->offset = uint64_t{counter->offset} + sizeof(vek_counters_block_t);
  return true;
}

bool fill_entries(const vek_counters_schema_t* schema, vek_counter_set_t* set) noexcept {
  uint64_t filled = 0;
  for (uint32_t g = 0; g < schema->num_groups; ++g) {
    const vek_counter_group_t* group = schema->groups[g];
    // A schema whose groups carry several sets counts as one without counters.
    for (uint32_t c = 0; c < group->num_counters && filled < set->num_counters; ++c) {
      if (!fill_entry(group->counters[c], &set->counters[filled++])) return false;
    }
  }
  return true;
}

// Every counter skipped, while the exported count already is that of all counters.
vek::CounterSet new_set(const vek_counters_schema_t* schema, const char* name) noexcept {
  vek::CounterSet set(allocate_zeroed<vek_counter_set_t>(1));
  if (!set) return nullptr;
  const uint64_t count = vek_counters_schema_number_of_counters(schema);
  set->counters = allocate_zeroed<vek_counter_set_element_t>(count);
  set->skip = allocate_zeroed<uint8_t>(count);
  set->name = strdup(name);
  if (!set->counters || !set->skip || !set->name) return nullptr;
  set->num_counters = count;
  set->num_exported = count;
  std::memset(set->skip, kSkipped, count);
  if (!fill_entries(schema, set.get())) return nullptr;
  return set;
}

void export_all(vek_counter_set_t* set) noexcept {
  std::memset(set->skip, 0, set->num_counters);
  set->num_exported = set->num_counters;
}

// False when memory ran out: a set that lacks some of it would export something else.
bool select_by_file(vek_counter_set_t* set, const char* file_name,
                    vek::CounterSetObserver* observer) {
  vek::StringArray tokens;
  if (vek::read_cset_file(file_name, set, tokens, observer) < 0) {
    VEK_LOGI("Cannot open '%s', will export whole counter set.", file_name);
    export_all(set);
  } else if (tokens && tokens->count > 0) {
    return vek::apply_tokens(set, tokens.get(), observer);
  } else {
    export_all(set);
  }
  return true;
}

}  // namespace

vek_counter_set_t* vek_schema_to_counter_set(const vek_counters_schema_t* schema,
                                             const char* file_name) {
  return vek::make_counter_set(schema, file_name, nullptr);
}

vek_counter_set_t* vek::make_counter_set(const vek_counters_schema_t* schema, const char* file_name,
                                         CounterSetObserver* observer) {
  if (!schema) return nullptr;
  vek::CounterSet set = new_set(schema, file_name ? file_name : "default");
  if (!set) return nullptr;
  if (file_name) {
    if (!select_by_file(set.get(), file_name, observer)) return nullptr;
  } else {
    export_all(set.get());
  }
  vek::bind_meta_fields(set.get());
  set->plan = vek::make_counter_plan(*set).release();
  return set.release();
}

vek_counter_set_t* vek_schema_and_tokens_to_counter_set(const vek_counters_schema_t* schema,
                                                        const char* name,
                                                        const vek_string_array_t* tokens) {
  if (!schema || !name) return nullptr;
  vek::CounterSet set = new_set(schema, name);
  if (!set) return nullptr;
  if (tokens && !vek::apply_tokens(set.get(), tokens)) return nullptr;
  set->plan = vek::make_counter_plan(*set).release();
  return set.release();
}

void vek_free_counter_set(vek_counter_set_t* set) {
  if (!set) return;
  for (uint64_t i = 0; set->meta && i < set->num_meta; ++i) {
    // The name inside `element` is borrowed from `name`.
    std::free(set->meta[i].name);
    std::free(set->meta[i].source_name);
    std::free(set->meta[i].constant);
  }
  for (uint64_t i = 0; set->counters && i < set->num_counters; ++i) {
    std::free(set->counters[i].name);
  }
  std::free(set->meta);
  std::free(set->counters);
  std::free(set->skip);
  std::free(set->name);
  delete set->plan;
  std::free(set);
}

void vek_counter_set_set_name(vek_counter_set_t* set, const char* name) {
  if (!set || !name) return;
  char* copy = strdup(name);
  if (!copy) return;
  std::free(set->name);
  set->name = copy;
}
