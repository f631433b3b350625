#include "utils/environment.h"

#include <cstdlib>
#include <cstring>

#include "utils/logger.h"

namespace vek {

const char* lookup_environment(const char* prefixed, const char* plain) noexcept {
  constexpr const char* kName = "vek_getenv";  // operators know the look-up by this name
  const char* prefixed_value = std::getenv(prefixed);
  const char* plain_value = std::getenv(plain);
  if (prefixed_value && plain_value && std::strcmp(prefixed_value, plain_value) != 0) {
    VEK_LOGW("[%s] Environment variables conflict - %s=%s and %s=%s. Using %s", kName, prefixed,
             prefixed_value, plain, plain_value, prefixed);
  }
  if (!prefixed_value && !plain_value) {
    VEK_LOGD("[%s] No value for '%s' or '%s'", kName, prefixed, plain);
    return nullptr;
  }
  const char* value = prefixed_value ? prefixed_value : plain_value;
  VEK_LOGD("[%s] Using '%s'='%s'", kName, prefixed_value ? prefixed : plain, value);
  return value;
}

const char* path_from_environment(const char* name) noexcept { return secure_getenv(name); }

}  // namespace vek
