// ".exp" files. Each line is told once, in order; the configuration that a file makes is made again
// by a file that says it in the plainest way.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string>
#include <string_view>

#include "exporter/exp_file_reader.h"
#include "fuzz/support.h"
#include "utils/owned.h"

namespace {

using vek::fuzz::require;
using Config = vek::Owned<fluentbit_exporter_config_t, destroy_config>;

class Observer : public vek::ExpFileObserver {
 public:
  void on_exp_line(const vek::ExpLine& line) override {
    require(line.number == ++lines_, "lines come in order");
    require(line.column >= 1, "columns begin with 1");
    require(line.text.find('#') == std::string_view::npos, "a comment is no text");
    require(line.key.empty() || std::ranges::count(vek::exp_keys(), line.key) == 1,
            "what takes a line is a key");
    if (line.kind == vek::ExpKeyKind::kText && !line.key.empty()) require_taken_alone(line);
  }
  size_t lines() const { return lines_; }

 private:
  // By the entry that hosts give single lines to.
  static void require_taken_alone(const vek::ExpLine& line) {
    const vek::fuzz::OffTheBooks own;
    const std::string key(line.key);
    std::string text(line.text);
    char* value = nullptr;
    require(!vek::take_exp_text(text.data(), (key + '-' + text).c_str(), &value),
            "by no other key");
    int number = 0;
    require(!vek::take_exp_number(text.data(), (key + '-' + text).c_str(), &number),
            "nor a number");
    require(vek::take_exp_text(text.data(), key.c_str(), &value), "a key takes its line");
    require((value ? std::string_view(value) : "") == line.value, "with the same value");
    std::free(value);
  }

  size_t lines_ = 0;
};

std::string said(const char* key, const char* value) {
  return value && *value != '\0' ? std::string(key) + " = " + value + '\n' : "";
}

std::string text_of(const fluentbit_exporter_config_t& config) {
  std::string text = said("name", config.name) + said("plugin_name", config.plugin_name) +
                     said("host", config.host) +
                     said("msgpack_data_layout", config.msgpack_data_layout) +
                     said("counterset", config.counterset) + said("fieldset", config.fieldset);
  text += "enable = " + std::to_string(config.enable) + '\n';
  text += "port = " + std::to_string(config.port) + '\n';
  text += "batch_mode = " + std::to_string(config.batch_mode) + '\n';
  for (uint64_t i = 0; i < config.source_tag_list->count; ++i) {
    text += (i == 0 ? "source_tag = " : ",") + std::string(config.source_tag_list->strings[i]);
  }
  text += '\n';
  for (int32_t i = 0; i < config.params->count; ++i) {
    const std::string name = config.params->params[i].name;
    // The blank keeps a parameter called "name" from being the plug-in's name; a name without a "="
    // keeps those that it has.
    const bool bare = !name.empty() && std::isspace(static_cast<unsigned char>(name[0]));
    text += bare ? "plugin_" + name : "plugin_ " + name + '=' + config.params->params[i].value;
    text += '\n';
  }
  return text;
}

// Whatever comes of it.
void read_into(const std::string& path, fluentbit_exporter_config_t& config) try {
  vek::read_exp_file(path, config, nullptr);
} catch (const std::bad_alloc&) {
  return;  // the plug-in's entry points catch it
}

Config read(std::string_view contents, vek::ExpFileObserver* observer) {
  const vek::fuzz::InputFile file(contents);
  Config config(vek_create_exporter_config());
  require(config != nullptr, "there is a configuration");
  const vek::fuzz::Budget budget(contents.size());
  require(vek::read_exp_file(file.path(), *config, observer), "the file is read");
  return config;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  const std::string_view contents(reinterpret_cast<const char*>(data), size);
  Observer observer;
  const Config config = read(contents, &observer);
  const auto newlines = static_cast<size_t>(std::count(contents.begin(), contents.end(), '\n'));
  require(observer.lines() == newlines + (size > 0 && contents.back() != '\n'),
          "every line is told");
  const vek::fuzz::InputFile file(contents);
  const std::string path = file.path();
  vek::fuzz::survives_without_memory(size, [&] {
    const Config other(vek_create_exporter_config());
    if (other) read_into(path, *other);
  });
  const std::string plain = text_of(*config);
  const Config again = read(plain, nullptr);
  require(text_of(*again) == plain, "said plainly, it is the same configuration");
  return 0;
}
