#include "utils/strings.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "utils/clock.h"
#include "utils/logger.h"
#include "utils/owned.h"

namespace {

bool is_blank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

bool is_visible_ascii(char c) { return c >= 32 && c <= 126; }

const char* text_or_empty(const char* text) { return text ? text : ""; }

// The pieces one after the other in new memory; null when there is none.
char* join(std::initializer_list<const char*> pieces) {
  size_t size = 1;
  for (const char* piece : pieces) size += std::strlen(piece);
  auto* joined = static_cast<char*>(std::malloc(size));
  if (!joined) return nullptr;
  char* end = joined;
  for (const char* piece : pieces) {
    const size_t length = std::strlen(piece);
    std::memcpy(end, piece, length);
    end += length;
  }
  *end = '\0';
  return joined;
}

}  // namespace

char* trim_white_space(char* text) {
  if (!text) return nullptr;
  while (is_blank(*text)) ++text;
  char* end = text + std::strlen(text);
  while (end > text && is_blank(end[-1])) --end;
  *end = '\0';
  return text;
}

char* vek_vexpand_string_template(const char* format, va_list args) {
  va_list measured_args;
  va_copy(measured_args, args);
  const int length = std::vsnprintf(nullptr, 0, format, measured_args);
  va_end(measured_args);
  if (length < 0 || length == INT_MAX) {
    VEK_LOGE("Failed to calculate length of expanded string template");
    return nullptr;
  }
  const int size = length + 1;
  vek::CString expanded(static_cast<char*>(std::malloc(static_cast<size_t>(size))));
  if (!expanded) {
    VEK_LOGE("Failed to allocate buffer for expanded string of size %d: %s", size,
             std::strerror(errno));
    return nullptr;
  }
  if (std::vsnprintf(expanded.get(), static_cast<size_t>(size), format, args) != length) {
    VEK_LOGE("Failed to expand file string template");
    return nullptr;
  }
  return expanded.release();
}

char* vek_expand_string_template(const char* format, ...) {
  va_list args;
  va_start(args, format);
  char* expanded = vek_vexpand_string_template(format, args);
  va_end(args);
  return expanded;
}

char* string_concat(const char* a, const char* b) {
  char* joined = join({text_or_empty(a), text_or_empty(b)});
  if (!joined) VEK_LOGE("[%s] Failed in malloc", "string_concat");
  return joined;
}

char* string_concat_comma_separated_token(const char* list, const char* token) {
  const bool first = !list || *list == '\0';
  char* joined = join({text_or_empty(list), first ? "" : ",", text_or_empty(token)});
  if (!joined) VEK_LOGE("[%s] Failed in malloc", "string_concat_comma_separated_token");
  return joined;
}

bool find_ith_substr(const char* text, const char* needle, size_t index, size_t* out_position) {
  if (!text || !needle || !out_position) {
    VEK_LOGE("[%s] invalid input", "find_ith_substr");
    return false;
  }
  for (const char* from = text;; ++from) {
    from = std::strstr(from, needle);
    if (!from) return false;
    if (index-- == 0) {
      *out_position = static_cast<size_t>(from - text);
      return true;
    }
    if (*from == '\0') return false;  // an empty needle occurs once more at the very end
  }
}

char* get_allocated_basename(const char* path) {
  if (!path || *path == '\0') return nullptr;
  const char* slash = std::strrchr(path, '/');
  return strdup(slash ? slash + 1 : path);
}

bool vek_string_ends_with(const char* text, const char* suffix) {
  if (!text || !suffix) return false;
  const size_t length = std::strlen(text);
  const size_t suffix_length = std::strlen(suffix);
  return suffix_length <= length && std::strcmp(text + length - suffix_length, suffix) == 0;
}

size_t vek_strncpy(char* dst, size_t dst_size, const char* src, size_t n) {
  if (!dst || !src || dst_size == 0) return 0;
  const size_t count = dst_size > n ? n : dst_size - 1;
  // A source that ends early is not read past its end; the rest is filled as strncpy does.
  const size_t length = strnlen(src, count);
  std::memcpy(dst, src, length);
  std::memset(dst + length, 0, count - length + 1);
  return count;
}

void strncpy_visible_ascii(char* dst, const char* src, size_t size) {
  static vek::LogRateLimit null_dst;
  static vek::LogRateLimit null_src;
  static vek::LogRateLimit no_size;
  if (!dst) {
    if (null_dst.due_at_level(VEK_LOG_ERROR)) {
      VEK_LOGE("%s: Destination buffer is NULL", "strncpy_visible_ascii");
    }
    return;
  }
  if (!src) {
    if (null_src.due_at_level(VEK_LOG_ERROR)) {
      VEK_LOGE("%s: Source string is NULL", "strncpy_visible_ascii");
    }
    return;
  }
  if (size == 0) {
    if (no_size.due_at_level(VEK_LOG_ERROR)) {
      VEK_LOGE("%s: Length is 0", "strncpy_visible_ascii");
    }
    return;
  }

  std::memset(dst, 0, size);
  if (*src != '\0' && !is_visible_ascii(*src)) {
    constexpr char kUnreadable[] = "N/A";
    // Like strncpy: a buffer too small for the whole text is left without a terminator.
    std::memcpy(dst, kUnreadable, std::min(size, sizeof kUnreadable));
    return;
  }
  for (size_t i = 0; i < size - 1 && is_visible_ascii(src[i]); ++i) dst[i] = src[i];
}

void print_si_prefixed_value(FILE* stream, int width, long long value) {
  if (value <= 999) {
    (void)std::fprintf(stream, " %*lld |", width, value);
  } else {
    (void)std::fprintf(stream, " %*lld k |", width - 2, value / 1000);
  }
}
