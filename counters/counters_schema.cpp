#include "counters/counters_schema.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "utils/logger.h"

namespace {

constexpr uint32_t kDefaultLength = 8;

// Bytes that a counter takes in the block. The values size below follows another rule on purpose.
uint32_t size_in_block(const vek_counter_info_t* counter) noexcept {
  if (counter->data_type != VEK_DATA_TYPE_STRING && counter->length == 0) return kDefaultLength;
  return counter->length;
}

// Calls fn(group, counter) in schema order until it answers false.
template <typename Fn>
void for_each_counter(const vek_counters_schema_t* schema, Fn fn) {
  if (!schema || !schema->groups) return;
  for (uint32_t g = 0; g < schema->num_groups; ++g) {
    const vek_counter_group_t* group = schema->groups[g];
    if (!group || !group->counters) continue;
    for (uint32_t c = 0; c < group->num_counters; ++c) {
      if (group->counters[c] && !fn(group->counters[c])) return;
    }
  }
}

}  // namespace

vek_counters_schema_t* vek_create_counters_schema(void) {
  auto* schema = static_cast<vek_counters_schema_t*>(std::calloc(1, sizeof(vek_counters_schema_t)));
  if (!schema) {
    VEK_LOGE("failed to allocate schema");
    return nullptr;
  }
  static std::atomic<uint64_t> last_serial{0};
  schema->serial = ++last_serial;
  return schema;
}

void vek_destroy_counters_schema(vek_counters_schema_t* schema) {
  if (!schema) return;
  for (uint32_t i = 0; schema->groups && i < schema->num_groups; ++i) {
    vek_destroy_counter_group(schema->groups[i]);
  }
  std::free(schema->groups);
  std::free(schema);
}

bool vek_counters_schema_append_group(vek_counters_schema_t* schema, vek_counter_group_t* group) {
  if (!schema || !group) return false;
  const size_t count = static_cast<size_t>(schema->num_groups) + 1;
  void* groups = std::realloc(schema->groups, count * sizeof(vek_counter_group_t*));
  if (!groups) {
    VEK_LOGE("Failed allocating memory for %d's group: %s", static_cast<int>(count),
             std::strerror(errno));
    return false;
  }
  schema->groups = static_cast<vek_counter_group_t**>(groups);
  schema->groups[schema->num_groups++] = group;
  return true;
}

vek_counter_info_t* vek_counters_schema_get_counter_by_name(const vek_counters_schema_t* schema,
                                                            const char* name) {
  vek_counter_info_t* found = nullptr;
  if (!name) return found;
  for_each_counter(schema, [&](vek_counter_info_t* counter) {
    if (counter->name && std::strcmp(counter->name, name) == 0) found = counter;
    return found == nullptr;
  });
  return found;
}

uint32_t vek_counters_schema_number_of_counters(const vek_counters_schema_t* schema) {
  if (!schema || !schema->groups) return 0;
  uint32_t total = 0;
  for (uint32_t i = 0; i < schema->num_groups; ++i) {
    const vek_counter_group_t* group = schema->groups[i];
    if (group->num_counter_sets != 1) {
      VEK_LOGE("[%s] num_counter_sets should be 1, not %d", __func__,
               static_cast<int>(group->num_counter_sets));
      return 0;
    }
    total += group->num_counters;
  }
  return total;
}

uint32_t vek_counters_schema_total_number_of_counters(const vek_counters_schema_t* schema) {
  if (!schema || !schema->groups) return 0;
  uint32_t total = 0;
  for (uint32_t i = 0; i < schema->num_groups; ++i) {
    total += schema->groups[i]->num_counter_sets * schema->groups[i]->num_counters;
  }
  return total;
}

// Every counter but a STRING counts 8 bytes here, whatever its length: producers size their blocks
// by this rule, and place values by the rule of the offsets below.
uint32_t vek_counters_schema_size_of_counters(const vek_counters_schema_t* schema) {
  if (!schema) return 0;
  uint32_t size = 0;
  for (uint32_t g = 0; schema->groups && g < schema->num_groups; ++g) {
    const vek_counter_group_t* group = schema->groups[g];
    for (uint32_t c = 0; group->counters && c < group->num_counters; ++c) {
      const vek_counter_info_t* counter = group->counters[c];
      size += counter->data_type == VEK_DATA_TYPE_STRING ? counter->length : kDefaultLength;
    }
    VEK_LOGD("%s group %s has %d counter sets", __func__, group->name ? group->name : "(null)",
             static_cast<int>(group->num_counter_sets));
  }
  VEK_LOGD("%s returning %d d", __func__, static_cast<int>(size));
  return size;
}

void vek_counters_schema_update_counter_offsets(vek_counters_schema_t* schema) {
  uint32_t offset = 0;
  for_each_counter(schema, [&offset](vek_counter_info_t* counter) {
    const char* name = counter->name ? counter->name : "(null)";
    if (counter->data_type == VEK_DATA_TYPE_STRING && counter->length == 0) {
      VEK_LOGE("[%s] Fail: received 0 length string counter %s",
               "vek_counters_schema_update_counter_offsets", name);
      return false;
    }
    const uint32_t size = size_in_block(counter);
    counter->offset = offset;
    offset += size;
    VEK_LOGD("[schema] Set up counter %s  size=%d  offset=%d", name, static_cast<int>(size),
             static_cast<int>(counter->offset));
    return true;
  });
}
