#include "counters/meta_field_line.h"

#include <cstring>

#include "utils/logger.h"
#include "utils/strings.h"

namespace {

constexpr char kName[] = "vek_set_file_parser_check_custom_meta_field";

void log_parts(const char* line, const char* prefix, const char* equal,
               const set_file_parser_key_val_pair_t& pair) {
  VEK_LOGD("[%s] ---------------------", kName);
  VEK_LOGD("[%s] original line = '%s'", kName, line);
  VEK_LOGD("[%s] prefix        = '%s'", kName, prefix);
  VEK_LOGD("[%s] prefix size   = %zu", kName, std::strlen(prefix));
  VEK_LOGD("[%s] pos_equal     = %zu", kName, static_cast<size_t>(equal - line));
  VEK_LOGD("[%s] key           = '%s'", kName, pair.key);
  VEK_LOGD("[%s] val           = '%s'", kName, pair.val);
  VEK_LOGD("[%s] ---------------------", kName);
}

}  // namespace

bool vek_set_file_parser_check_custom_meta_field(const char* line, const char* prefix,
                                                 set_file_parser_key_val_pair_t& pair,
                                                 bool* found) {
  if (!line || !prefix || !found || !std::strstr(line, prefix)) return false;
  const char* equal = std::strchr(line, '=');
  if (!equal) {
    VEK_LOGE("[%s] meta field line should include '=' character", kName);
    return false;
  }
  // The key starts at the prefix's length from the start of the line, wherever the prefix was
  // found; a first "=" in front of that leaves it empty.
  const size_t key_start = std::strlen(prefix);
  const size_t key_end = static_cast<size_t>(equal - line);
  const size_t key_size = key_end > key_start ? key_end - key_start : 0;
  vek_strncpy(pair.key, sizeof(pair.key), key_size ? line + key_start : "", key_size);
  vek_strncpy(pair.val, sizeof(pair.val), equal + 1, std::strlen(equal + 1));
  log_parts(line, prefix, equal, pair);

  *found = pair.key[0] != '\0' && pair.val[0] != '\0';
  if (!*found) VEK_LOGW("[%s] error parsing line '%s'", kName, line);
  return true;
}
