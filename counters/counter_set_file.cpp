#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "counters/counter_set_build.h"
#include "counters/meta_field_line.h"
#include "utils/input_file.h"
#include "utils/logger.h"
#include "utils/owned.h"
#include "utils/strings.h"

namespace {

using Kind = vek::CounterSetLineKind;

// Lines of a text file, each cut at its comment.
class LineReader {
 public:
  explicit LineReader(std::FILE* file) : lines_(file) {}

  bool next() {
    line_ = lines_.next();
    if (!line_) return false;
    size_t size = lines_.length();
    if (void* comment = std::memchr(line_, '#', size)) {
      size = static_cast<size_t>(static_cast<char*>(comment) - line_);
    }
    line_[size] = '\0';
    has_nul_ = std::strlen(line_) != size;
    ++number_;
    return true;
  }
  char* text() { return line_; }
  // A NUL inside the line would hide what follows it.
  bool has_nul() const { return has_nul_; }
  size_t number() const { return number_; }
  bool at_end() const { return lines_.at_end(); }

 private:
  vek::InputLines lines_;
  char* line_ = nullptr;
  size_t number_ = 0;
  bool has_nul_ = false;
};

// Meta fields: false when the line is none; `kept` tells whether the set has it now.
bool take_meta_alias(const char* line, vek_counter_set_t* set, bool& kept) {
  set_file_parser_key_val_pair_t pair;
  bool found = false;
  if (!vek_set_file_parser_check_custom_meta_field(line, "meta_field_alias:", pair, &found)) {
    return false;
  }
  VEK_LOGD("[counter_set] found meta alias field: key='%s' val='%s'", pair.key, pair.val);
  const bool appended = found && vek::append_meta_alias(set, pair.key, pair.val);
  kept = kept && appended;
  if (found && !appended) {
    VEK_LOGE("Meta field alias '%s' will be ignored", line);
  }
  return true;
}

bool take_meta_constant(const char* line, vek_counter_set_t* set, bool& kept) {
  set_file_parser_key_val_pair_t pair;
  bool found = false;
  if (!vek_set_file_parser_check_custom_meta_field(line, "meta_field_add:", pair, &found)) {
    return false;
  }
  VEK_LOGD("[counter_set] found meta const field: key='%s' val='%s'", pair.key, pair.val);
  const bool appended = found && vek::append_meta_constant(set, pair.key, pair.val);
  kept = kept && appended;
  if (found && !appended) {
    VEK_LOGE("Meta constant field '%s' will be ignored", line);
  }
  return true;
}

Kind take_line(const char* line, vek_counter_set_t* set, vek::StringArray& tokens) {
  bool kept = true;
  // Both are asked about every line, so one line may give an alias and a constant.
  const bool is_alias = take_meta_alias(line, set, kept);
  const bool is_constant = take_meta_constant(line, set, kept);
  if (is_alias || is_constant) return kept ? Kind::kMeta : Kind::kBadMeta;
  vek_string_array_t* array = tokens.release();
  if (!vek_append_string_array(&array, line)) {
    VEK_LOGE("[%s] Cannot append token '%s' to tokens_ string array.", "read_cset_file", line);
  }
  tokens.reset(array);
  return Kind::kToken;
}

// One line, to the set or the tokens; what it was taken for.
Kind read_line(LineReader& lines, const char* path, vek_counter_set_t* set,
               vek::StringArray& tokens) {
  if (lines.has_nul()) {
    VEK_LOGE("Line %zu of counterset file '%s' holds a NUL character and is ignored",
             lines.number(), path);
    return Kind::kNul;
  }
  const char* text = trim_white_space(lines.text());
  if (*text == '\0') return Kind::kEmpty;
  return *text == '[' ? Kind::kIgnored : take_line(text, set, tokens);
}

}  // namespace

int vek::read_cset_file(const char* path, vek_counter_set_t* set, StringArray& tokens,
                        CounterSetObserver* observer) {
  tokens.reset(vek_init_string_array());
  const File file = open_input_file(path);
  if (!file) {
    VEK_LOGE("Cannot open counterset file '%s'", path);
    return -1;
  }
  LineReader lines(file.get());
  while (lines.next()) {
    const Kind kind = read_line(lines, path, set, tokens);
    if (!observer) continue;
    const char* text = trim_white_space(lines.text());
    const size_t column = static_cast<size_t>(text - lines.text()) + 1;
    observer->on_counter_set_line({lines.number(), column, text, kind});
  }
  // A failing disk, or a line that memory does not hold.
  if (!lines.at_end()) {
    VEK_LOGE("Cannot open counterset file '%s'", path);
    return -1;
  }
  VEK_LOGI("Tokens from file '%s':", path);
  if (tokens) vek_log_string_array(VEK_LOG_INFO, tokens.get(), "tokens");
  return 1;
}
