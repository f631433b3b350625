#include <cstdlib>
#include <cstring>

#include "counters/counter_data.h"
#include "data/json_number.h"
#include "json/json.h"
#include "json/json_owned.h"
#include "json/json_template.h"
#include "json/json_text.h"
#include "utils/logger.h"

namespace {

constexpr char kTemplate[] =
    R"({"name" : "", "description" : "", "units" : "", "data_type" : "", "counting_type" : ""})";

bool set_number(JSON_Object* object, const char* key, double number) noexcept {
  return json_object_set_number(object, key, number) == JSONSuccess;
}

}  // namespace

JSON_Value* vek_counter_info_jsonify(const vek_counter_info_t* counter) {
  if (!counter) return nullptr;
  vek::JsonValue json(json_value_init_object());
  JSON_Object* object = json_value_get_object(json.get());
  if (!object) return nullptr;

  const bool is_whole =
      vek::set_text(object, "name", counter->name) &&
      vek::set_text(object, "description", counter->description) &&
      vek::set_text(object, "units", counter->units) &&
      vek::set_text(object, "data_type", vek_data_type_string(counter->data_type)) &&
      set_number(object, "length", counter->length) &&
      set_number(object, "offset", counter->offset) &&
      set_number(object, "hidden", counter->hidden ? 1 : 0) &&
      set_number(object, "mandatory", counter->mandatory ? 1 : 0) &&
      vek::set_text(object, "counting_type", vek_counting_type_string(counter->counting_type));
  return is_whole ? json.release() : nullptr;
}

vek_counter_info_t* vek_counter_info_from_json(const JSON_Value* json) {
  if (!vek::json_matches_template(json, kTemplate)) {
    VEK_LOGE("JSON does not match schema '%s'", kTemplate);
    return nullptr;
  }
  const JSON_Object* object = json_value_get_object(json);
  auto* counter = static_cast<vek_counter_info_t*>(std::calloc(1, sizeof(vek_counter_info_t)));
  if (!counter) return nullptr;

  counter->name = strdup(json_object_get_string(object, "name"));
  counter->description = strdup(json_object_get_string(object, "description"));
  counter->units = strdup(json_object_get_string(object, "units"));
  counter->data_type = vek_data_type_from_string(json_object_get_string(object, "data_type"));
  counter->counting_type =
      vek_counting_type_from_string(json_object_get_string(object, "counting_type"));
  counter->offset = vek::json_number_to<uint32_t>(json_object_get_number(object, "offset"));
  counter->length = vek::json_number_to<uint32_t>(json_object_get_number(object, "length"));
  counter->hidden = json_object_get_number(object, "hidden") != 0;
  counter->mandatory = json_object_get_number(object, "mandatory") != 0;
  if (counter->name && counter->description && counter->units) return counter;

  vek_destroy_counter_info(counter);
  std::free(counter);
  return nullptr;
}
