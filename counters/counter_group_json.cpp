#include <cstdlib>
#include <cstring>

#include "counters/counter_group.h"
#include "data/json_number.h"
#include "json/json.h"
#include "json/json_owned.h"
#include "json/json_template.h"
#include "json/json_text.h"
#include "utils/logger.h"
#include "utils/owned.h"

namespace {

using Group = vek::Owned<vek_counter_group_t, vek_destroy_counter_group>;

constexpr char kTemplate[] =
    R"({"granularity" : "", "num_counters" : 0, "num_counter_sets" : 0, "counters" : []})";

// Appends; the array owns the value only when that worked.
bool append(JSON_Array* array, vek::JsonValue value) noexcept {
  if (!value || json_array_append_value(array, value.get()) != JSONSuccess) return false;
  (void)value.release();
  return true;
}

vek::JsonValue counters_jsonify(const vek_counter_group_t* group) noexcept {
  vek::JsonValue json(json_value_init_array());
  JSON_Array* array = json_value_get_array(json.get());
  if (!array) return nullptr;
  for (uint32_t i = 0; group->counters && i < group->num_counters; ++i) {
    if (!append(array, vek::JsonValue(vek_counter_info_jsonify(group->counters[i])))) {
      return nullptr;
    }
  }
  return json;
}

// A key that is absent, or not a string, leaves the text null.
bool copy_optional(const JSON_Object* object, const char* key, char** out) noexcept {
  const char* text = json_object_get_string(object, key);
  if (!text) return true;
  *out = strdup(text);
  return *out != nullptr;
}

bool read_counters(const JSON_Object* object, vek_counter_group_t* group) noexcept {
  const JSON_Array* array = json_object_get_array(object, "counters");
  const size_t count = json_array_get_count(array);
  if (count == 0) return true;
  group->counters = static_cast<vek_counter_info_t**>(std::calloc(count, sizeof(void*)));
  if (!group->counters) {
    VEK_LOGE("Failed to allocate array of %d counter pointers", static_cast<int>(count));
    return false;
  }
  for (size_t i = 0; i < count; ++i) {
    group->counters[i] = vek_counter_info_from_json(json_array_get_value(array, i));
    if (!group->counters[i]) return false;
    ++group->num_counters;
  }
  return true;
}

}  // namespace

JSON_Value* vek_counter_group_jsonify(const vek_counter_group_t* group) {
  if (!group) return nullptr;
  vek::JsonValue json(json_value_init_object());
  JSON_Object* object = json_value_get_object(json.get());
  if (!object) return nullptr;

  const char* name = group->name;
  if (!name && group->provider) name = group->provider->name;
  if (!vek::set_text(object, "granularity", vek_granularity_string(group->granularity)) ||
      !vek::set_text(object, "name", name) ||
      !vek::set_text(object, "provider", group->provider_name) ||
      json_object_set_number(object, "num_counter_sets", group->num_counter_sets) != JSONSuccess ||
      json_object_set_number(object, "num_counters", group->num_counters) != JSONSuccess) {
    return nullptr;
  }
  vek::JsonValue counters = counters_jsonify(group);
  if (!counters || json_object_set_value(object, "counters", counters.get()) != JSONSuccess) {
    return nullptr;
  }
  (void)counters.release();
  return json.release();
}

vek_counter_group_t* vek_counter_group_from_json(const JSON_Value* json) {
  if (!vek::json_matches_template(json, kTemplate)) {
    VEK_LOGE("JSON does not match schema '%s'", kTemplate);
    return nullptr;
  }
  const JSON_Object* object = json_value_get_object(json);
  Group group(static_cast<vek_counter_group_t*>(std::calloc(1, sizeof(vek_counter_group_t))));
  if (!group) return nullptr;

  group->num_counter_sets =
      vek::json_number_to<uint32_t>(json_object_get_number(object, "num_counter_sets"));
  group->granularity = vek_granularity_from_string(json_object_get_string(object, "granularity"));
  if (!copy_optional(object, "name", &group->name) ||
      !copy_optional(object, "provider", &group->provider_name) ||
      !read_counters(object, group.get())) {
    return nullptr;
  }
  return group.release();
}
