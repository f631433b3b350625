#include <cerrno>
#include <cstring>

#include "counters/counters_schema.h"
#include "data/schema_id.h"
#include "json/json.h"
#include "json/json_owned.h"
#include "utils/logger.h"
#include "utils/owned.h"

vek_counters_schema_t* vek_counters_schema_load(const char* path) {
  if (!path) return nullptr;
  errno = 0;  // the message tells the file's error, not an older one
  const vek::JsonValue json = vek::parse_json_file(path);
  if (!json) {
    VEK_LOGE("Failed reading counters schema JSON from file '%s': %s", path, std::strerror(errno));
    return nullptr;
  }
  return vek_counters_schema_from_json(json.get());
}

vek_counters_schema_t* vek_counters_load_schema_from_dir(const uint8_t* id, const char* dir) {
  if (!id || !dir || vek_schema_id_is_unset(id)) return nullptr;
  const vek::CString id_text(vek_schema_id_string(id));
  char* raw_path = nullptr;
  if (!id_text || asprintf(&raw_path, "%s/schema_%s.json", dir, id_text.get()) < 0) {
    VEK_LOGE("asprintf failed");
    return nullptr;
  }
  const vek::CString path(raw_path);
  VEK_LOGD("opening counters schema: %s\n", path.get());
  vek_counters_schema_t* schema = vek_counters_schema_load(path.get());
  if (!schema) VEK_LOGD("Failed to load counters schema from file: %s", path.get());
  return schema;
}
