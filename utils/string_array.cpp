#include "utils/string_array.h"

#include <cerrno>
#include <cstring>

#include "utils/input_file.h"
#include "utils/logger.h"
#include "utils/owned.h"
#include "utils/strings.h"

namespace {

size_t block_size(uint64_t count) { return sizeof(vek_string_array_t) + count * sizeof(char*); }

// Takes the string over only on success.
bool append_owned(vek_string_array_t** array, vek::CString& text) {
  const uint64_t count = *array ? (*array)->count : 0;
  auto* grown = static_cast<vek_string_array_t*>(std::realloc(*array, block_size(count + 1)));
  if (!grown) return false;
  grown->strings[count] = text.release();
  grown->count = count + 1;
  *array = grown;
  return true;
}

bool append_bounded(vek_string_array_t** array, const char* text, size_t length) {
  vek::CString copy(strndup(text, length));
  return copy && append_owned(array, copy);
}

}  // namespace

vek_string_array_t* vek_init_string_array(void) {
  return static_cast<vek_string_array_t*>(std::calloc(1, block_size(0)));
}

bool vek_append_string_array(vek_string_array_t** array, const char* text) {
  if (!array || !text) return false;
  vek::CString copy(strdup(text));
  return copy && append_owned(array, copy);
}

void vek_free_string_array(vek_string_array_t* array) {
  if (!array) return;
  for (uint64_t i = 0; i < array->count; ++i) std::free(array->strings[i]);
  std::free(array);
}

void vek_log_string_array(int priority, const vek_string_array_t* array, const char* name) {
  if (!array) return;
  for (uint64_t i = 0; i < array->count; ++i) {
    VEK_LOG(priority, "%s[%zu] = %s", name, static_cast<size_t>(i), array->strings[i]);
  }
}

bool vek_string_array_join(vek_string_array_t** dst, const vek_string_array_t* src) {
  if (!dst) return false;
  if (!src) return true;
  const bool onto_itself = *dst == src;  // appending moves the block that is being read
  const uint64_t count = src->count;
  for (uint64_t i = 0; i < count; ++i) {
    if (vek_append_string_array(dst, (onto_itself ? *dst : src)->strings[i])) continue;
    vek_free_string_array(*dst);
    *dst = nullptr;
    return false;
  }
  return true;
}

bool vek_string_array_contains(const vek_string_array_t* array, const char* text) {
  if (!array || !text) return false;
  for (uint64_t i = 0; i < array->count; ++i) {
    if (std::strcmp(array->strings[i], text) == 0) return true;
  }
  return false;
}

vek_string_array_t* vek_string_array_from_comma_separated_string(const char* text, size_t length) {
  vek_string_array_t* array = vek_init_string_array();
  if (!array) {
    VEK_LOGE("Unable to create string array");
    return nullptr;
  }
  const size_t size = text ? strnlen(text, length) : 0;
  for (size_t at = 0; at < size;) {
    const auto* comma = static_cast<const char*>(std::memchr(text + at, ',', size - at));
    const size_t token_size = comma ? static_cast<size_t>(comma - (text + at)) : size - at;
    if (token_size > 0 && !append_bounded(&array, text + at, token_size)) {
      VEK_LOGE("Unable to append string");
      vek_free_string_array(array);
      return nullptr;
    }
    at += token_size + 1;
  }
  return array;
}

bool vek_string_array_remove_duplicates(vek_string_array_t** array, bool sorted) {
  if (!sorted) {
    VEK_LOGE("[%s] not implemented", "vek_string_array_remove_duplicates");
    return false;
  }
  if (!array || !*array || (*array)->count == 0) return true;

  vek_string_array_t* block = *array;
  uint64_t kept = 1;
  for (uint64_t i = 1; i < block->count; ++i) {
    if (std::strcmp(block->strings[i], block->strings[kept - 1]) == 0) {
      std::free(block->strings[i]);
    } else {
      block->strings[kept++] = block->strings[i];
    }
  }
  if (kept == block->count) return true;
  block->count = kept;
  // A block that cannot shrink is still a valid, if roomy, block.
  if (auto* shrunk = static_cast<vek_string_array_t*>(std::realloc(block, block_size(kept)))) {
    *array = shrunk;
  }
  return true;
}

bool vek_string_array_append_file_lines(vek_string_array_t** array, const char* path,
                                        const char* what) {
  if (!array || !path) return false;
  const vek::File file = vek::open_input_file(path);
  if (!file) {
    VEK_LOGI("Failed to open %s file %s: %s", what ? what : "", path, std::strerror(errno));
    return false;
  }
  if (what) VEK_LOGI("Loading %s from %s", what, path);

  vek::InputLines lines(file.get());
  while (char* raw = lines.next()) {
    const char* line = trim_white_space(raw);
    if (*line == '\0' || *line == '#') continue;
    if (!vek_append_string_array(array, line)) return false;
  }
  // A failing disk or a line that memory does not hold: the list is not the whole one.
  if (!lines.at_end()) {
    VEK_LOGD("Reading of %s ended early", path);
    return false;
  }
  return true;
}
