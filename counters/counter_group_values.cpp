#include <algorithm>
#include <cstring>
#include <string>

#include "counters/counter_group.h"
#include "json/json.h"
#include "json/json_owned.h"
#include "utils/logger.h"

namespace {

template <typename T>
double number_at(const char* bytes) noexcept {
  T value;
  std::memcpy(&value, bytes, sizeof(value));
  return static_cast<double>(value);
}

// May throw bad_alloc.
JSON_Value* text_at(const char* bytes, uint32_t length) {
  log_hex(bytes, length);
  return json_value_init_string(std::string(bytes, strnlen(bytes, length)).c_str());
}

JSON_Value* value_at(const vek_counter_info_t* counter, const char* bytes) {
  switch (counter->data_type) {
    case VEK_DATA_TYPE_UINT64:
    case VEK_DATA_TYPE_BIT64:
      return json_value_init_number(number_at<uint64_t>(bytes));
    case VEK_DATA_TYPE_FP64:
      return json_value_init_number(number_at<double>(bytes));
    case VEK_DATA_TYPE_STRING:
      return text_at(bytes, counter->length);
    default:
      return json_value_init_number(number_at<int64_t>(bytes));
  }
}

// What JSON cannot say (NaN, an infinity, bytes that are not UTF-8) is null: every counter has its
// member.
void set_value(JSON_Object* object, const vek_counter_info_t* counter, const char* bytes) {
  vek::JsonValue value(value_at(counter, bytes));
  if (!value) value.reset(json_value_init_null());
  if (value && json_object_set_value(object, counter->name, value.get()) == JSONSuccess) {
    (void)value.release();
  }
}

const char* shown_name(const vek_counter_group_t* group) noexcept {
  if (group->name) return group->name;
  if (group->provider && group->provider->name) return group->provider->name;
  return group->provider_name ? group->provider_name : "unset";
}

vek::JsonValue sets_jsonify(const vek_counter_group_t* group, const void* values) noexcept {
  vek::JsonValue json(json_value_init_array());
  JSON_Array* array = json_value_get_array(json.get());
  if (!array) return nullptr;
  for (uint32_t i = 0; i < group->num_counter_sets; ++i) {
    // Every set shows the same values: they are not offset from one another.
    vek::JsonValue set(vek_counter_set_values_jsonify(group, values));
    if (!set || json_array_append_value(array, set.get()) != JSONSuccess) return nullptr;
    (void)set.release();
  }
  return json;
}

}  // namespace

JSON_Value* vek_counter_set_values_jsonify(const vek_counter_group_t* group, const void* values) {
  if (!group || !values) return nullptr;
  vek::JsonValue json(json_value_init_object());
  JSON_Object* object = json_value_get_object(json.get());
  if (!object) {
    VEK_LOGE("Failed allocating JSON object");
    return nullptr;
  }
  const char* bytes = static_cast<const char*>(values);
  try {
    for (uint32_t i = 0; group->counters && i < group->num_counters; ++i) {
      const vek_counter_info_t* counter = group->counters[i];
      set_value(object, counter, bytes + counter->offset);
    }
  } catch (...) {
    return nullptr;  // out of memory, or a host's log function that throws
  }
  return json.release();
}

JSON_Value* vek_counter_group_values_jsonify(const vek_counter_group_t* group, const void* values) {
  if (!group || !values) return nullptr;
  vek::JsonValue json(json_value_init_object());
  JSON_Object* object = json_value_get_object(json.get());
  if (!object) {
    VEK_LOGE("Failed allocating JSON object");
    return nullptr;
  }
  json_object_set_string(object, "granularity", vek_granularity_string(group->granularity));
  json_object_set_string(object, "name", shown_name(group));
  vek::JsonValue sets = sets_jsonify(group, values);
  if (!sets || json_object_set_value(object, "counter_sets", sets.get()) != JSONSuccess) {
    return nullptr;
  }
  (void)sets.release();
  return json.release();
}

void vek_reset_counter_group_values(const vek_counter_group_t* group, void* values) {
  if (!group || !values) return;
  const size_t slots = static_cast<size_t>(group->num_counter_sets) * group->num_counters;
  std::memset(values, 0, slots * sizeof(uint64_t));
}
