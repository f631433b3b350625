// The one reading of ".exp" files, for the plug-in and for whoever explains a file to its author.
//
// A line is "key = value" by prefix: a key takes every line that begins with it, tried in one fixed
// order, and whatever single character follows the key is dropped as its "=". Operators' files rely
// on both ("host:10.0.0.1" is as good as "host = 10.0.0.1").
#ifndef VEK_EXPORTER_EXP_FILE_READER_H
#define VEK_EXPORTER_EXP_FILE_READER_H

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "exporter/exp_config.h"

namespace vek {

enum class ExpKeyKind { kText, kNumber, kTags, kParameter };

// One line of a file. The texts are good during the call.
struct ExpLine {
  size_t number = 0;      // from 1
  std::string_view text;  // without comment and outer white space; may be empty
  std::string_view key;   // what took it; empty when nothing did
  ExpKeyKind kind = ExpKeyKind::kText;
  std::string_view behind;     // the text right behind the key, its "=" included
  std::string_view value;      // empty: the default stays
  std::string_view parameter;  // the NAME of "plugin_NAME"
  size_t column = 0;           // of `text`, from 1
  size_t value_column = 0;     // of `value`, from 1; 0 without one
};

class ExpFileObserver {
 public:
  virtual ~ExpFileObserver() = default;
  virtual void on_exp_line(const ExpLine& line) = 0;
};

// The keys, in the order in which they are tried.
std::span<const std::string_view> exp_keys();

// The names that end in ".exp" and are no directories, in the directory's order; false when it
// cannot be opened.
bool list_exp_files(const std::string& dir, std::vector<std::string>& names);

// The path by which a file of the directory is opened: longer ones are cut.
std::string exp_file_path(const std::string& dir, const std::string& name);

// Reads the file into the configuration; false when it cannot be opened or read to its end.
bool read_exp_file(const std::string& path, fluentbit_exporter_config_t& config,
                   ExpFileObserver* observer = nullptr);

// The value of a line that begins with `key`, cut out of `line` in place; null for another line.
char* exp_value_of(char* line, const char* key);
// What parseExportFileLine and parseExportFileLineToInt of FluentBitExportersArray do.
bool take_exp_text(char* line, const char* key, char** value);
bool take_exp_number(char* line, const char* key, int* value);

}  // namespace vek

#endif  // VEK_EXPORTER_EXP_FILE_READER_H
