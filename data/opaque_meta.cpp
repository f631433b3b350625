#include "data/opaque_meta.h"

#include <cstdlib>
#include <cstring>

#include "utils/logger.h"

namespace vek {

namespace {

// A private, terminated copy: the page's owner may still be writing, and the dictionary wants texts
// that end.
CString terminated_copy(Bytes bytes) {
  CString copy(static_cast<char*>(std::malloc(bytes.size() + 1)));
  if (!copy) return nullptr;
  if (!bytes.empty()) std::memcpy(copy.get(), bytes.data(), bytes.size());
  copy.get()[bytes.size()] = '\0';
  return copy;
}

bool add_pair(vek_custom_options* options, const char* text) {
  const char* delimiter = std::strchr(text, '=');
  if (!delimiter) {
    VEK_LOGE("[opaque events extractor] Invaid meta event data (no delimeter)");
    return false;
  }
  if (delimiter == text) {
    VEK_LOGE("[opaque events extractor] Invaid meta event data (no key): %s", text);
    return false;
  }
  const CString key(strndup(text, static_cast<size_t>(delimiter - text)));
  if (!key) {
    VEK_LOGE("[opaque events extractor] Cannot allocate key for %s", text);
    return false;
  }
  const char* value = delimiter + 1;
  if (!vek_dict_add(options, key.get(), value)) {
    VEK_LOGE("[opaque events extractor] Cannot add meta pair %s=%s", key.get(), value);
    return false;
  }
  return true;
}

}  // namespace

OwnedOptions read_opaque_meta(Bytes meta) noexcept {
  OwnedOptions options(vek_dict_create());
  const CString texts = terminated_copy(meta);
  if (!options || !texts) {
    VEK_LOGE("[opaque events extractor] Unable to allocate extended event sinfo's meta");
    return nullptr;
  }
  for (size_t at = 0; at < meta.size(); at += std::strlen(texts.get() + at) + 1) {
    if (!add_pair(options.get(), texts.get() + at)) return nullptr;
  }
  return options;
}

}  // namespace vek
