#include "exporter/exp_file_reader.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "utils/input_file.h"
#include "utils/logger.h"
#include "utils/strings.h"

namespace vek {
namespace {

// The order matters: "plugin_name" stands before the "plugin_" parameters, "name" behind it.
constexpr std::array<std::string_view, 11> kKeys = {"msgpack_data_layout",
                                                    "plugin_name",
                                                    "name",
                                                    "counterset",
                                                    "fieldset",
                                                    "host",
                                                    "enable",
                                                    "port",
                                                    "batch_mode",
                                                    "source_tag",
                                                    "plugin_"};

char** text_member(std::string_view key, fluentbit_exporter_config_t& config) {
  if (key == "msgpack_data_layout") return &config.msgpack_data_layout;
  if (key == "plugin_name") return &config.plugin_name;
  if (key == "name") return &config.name;
  if (key == "counterset") return &config.counterset;
  if (key == "fieldset") return &config.fieldset;
  return key == "host" ? &config.host : nullptr;
}

int* number_member(std::string_view key, fluentbit_exporter_config_t& config) {
  if (key == "enable") return &config.enable;
  if (key == "port") return &config.port;
  return key == "batch_mode" ? &config.batch_mode : nullptr;
}

// False when memory ran out.
bool store_text(const char* text, char** value) {
  if (*text == '\0') return true;  // an empty value leaves the field as it was
  char* copy = strdup(text);
  if (!copy) return false;
  std::free(*value);
  *value = copy;
  return true;
}

void appendSourceTags(vek_string_array_t** list, std::string_view tags) {
  while (true) {
    const size_t comma = tags.find(',');
    const std::string tag(tags.substr(0, comma));
    if (!vek_append_string_array(list, tag.c_str())) {
      VEK_LOGE("[FluentBitExportersArray] [%s] Failed to append source_tag '%s' to source_tag_list",
               "parseExpFileToConfig", tag.c_str());
    }
    if (comma == std::string_view::npos) return;
    tags.remove_prefix(comma + 1);
  }
}

// What is left of a line without its comment and the white space around it.
char* meaningOf(char* line) {
  if (char* comment = std::strchr(line, '#')) *comment = '\0';
  return trim_white_space(line);
}

// Gives one line to the configuration and writes down what became of it.
class LineTaker {
 public:
  LineTaker(fluentbit_exporter_config_t& config, ExpLine& out) : config_(config), out_(out) {}

  // False when memory ran out.
  [[nodiscard]] bool take(char* line) {
    line_ = line;
    text_ = line;  // the line is cut up while it is read
    out_.text = text_;
    for (const std::string_view key : kKeys) {
      if (!text_.starts_with(key)) continue;
      out_.key = key;
      out_.behind = std::string_view(text_).substr(key.size());
      return give(key);
    }
    return true;
  }

 private:
  bool give(std::string_view key) {
    if (char** text = text_member(key, config_)) {
      out_.kind = ExpKeyKind::kText;
      note_value(key);
      const char* const value = exp_value_of(line_, key.data());
      return !value || store_text(value, text);
    }
    if (int* number = number_member(key, config_)) {
      out_.kind = ExpKeyKind::kNumber;
      note_value(key);
      take_exp_number(line_, key.data(), number);
    } else if (key == "source_tag") {
      out_.kind = ExpKeyKind::kTags;
      note_value(key);
      const char* tags = exp_value_of(line_, key.data());
      if (tags && *tags != '\0') appendSourceTags(&config_.source_tag_list, tags);
    } else {
      out_.kind = ExpKeyKind::kParameter;
      return take_parameter(out_.behind);
    }
    return true;
  }

  void note_value(std::string_view key) {
    copy_ = text_;
    const char* value = exp_value_of(copy_.data(), key.data());
    out_.value = value ? value : "";
    if (!out_.value.empty()) out_.value_column = static_cast<size_t>(value - copy_.data());
  }

  // `text` is what follows "plugin_".
  bool take_parameter(std::string_view text) {
    if (text.starts_with('=')) {
      VEK_LOGE("empty param name in line %s", text_.c_str());
      return true;
    }
    const size_t equals = text.find('=');
    name_ = text.substr(0, equals);
    if (equals == std::string_view::npos) {
      out_.parameter = name_;
      return push_parameter(config_.params, name_.c_str(), "");
    }
    text.remove_prefix(equals + 1);
    copy_ = text.substr(0, text.find('='));
    const char* name = trim_white_space(name_.data());
    const char* value = trim_white_space(copy_.data());
    out_.parameter = name;
    out_.value = value;
    if (!out_.value.empty()) {
      out_.value_column = static_cast<size_t>(text.data() - text_.data()) +
                          static_cast<size_t>(value - copy_.data());
    }
    return push_parameter(config_.params, name, value);
  }

  fluentbit_exporter_config_t& config_;
  ExpLine& out_;
  char* line_ = nullptr;
  std::string text_;
  std::string copy_;
  std::string name_;
};

}  // namespace

std::span<const std::string_view> exp_keys() { return kKeys; }

bool read_exp_file(const std::string& path, fluentbit_exporter_config_t& config,
                   ExpFileObserver* observer) {
  const File file = open_input_file(path.c_str());
  if (!file) return false;
  InputLines lines(file.get());
  for (size_t number = 1; char* raw = lines.next(); ++number) {
    ExpLine line;
    LineTaker taker(config, line);
    char* const meaning = meaningOf(raw);
    line.number = number;
    line.column = static_cast<size_t>(meaning - raw) + 1;
    if (!taker.take(meaning)) {
      VEK_LOGE("[FluentBitExportersArray] out of memory while reading '%s'", path.c_str());
      return false;
    }
    if (!line.value.empty()) line.value_column += line.column;
    if (observer) observer->on_exp_line(line);
  }
  // Half a configuration could send what its other half filters.
  return lines.at_end();
}

char* exp_value_of(char* line, const char* key) {
  const size_t key_length = std::strlen(key);
  if (std::strncmp(line, key, key_length) != 0) return nullptr;
  char* value = trim_white_space(line + key_length);
  if (*value != '\0') ++value;  // the "=", or whatever stands for it
  return trim_white_space(value);
}

bool take_exp_text(char* line, const char* key, char** value) {
  const char* text = exp_value_of(line, key);
  if (!text) return false;
  (void)store_text(text, value);
  return true;
}

bool take_exp_number(char* line, const char* key, int* value) {
  const char* text = exp_value_of(line, key);
  if (!text) return false;
  *value = static_cast<int>(std::strtol(text, nullptr, 10));
  return true;
}

}  // namespace vek
