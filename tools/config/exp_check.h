// ExpCheck: what is wrong with the lines of one ".exp" file.
//
// The plug-in's own reader tells what it made of each line; this only says it in words.
#ifndef VEK_TOOLS_CONFIG_EXP_CHECK_H
#define VEK_TOOLS_CONFIG_EXP_CHECK_H

#include <map>
#include <set>
#include <string>

#include "exporter/exp_file_reader.h"
#include "tools/config/finding.h"

namespace vek::tools {

class ExpCheck : public ExpFileObserver {
 public:
  // `places` gets the place of each key's value.
  ExpCheck(std::string path, std::map<std::string, Place>& places, Findings& findings)
      : path_(std::move(path)), places_(places), findings_(findings) {}

  void on_exp_line(const ExpLine& line) override;

 private:
  void check_key(const ExpLine& line);
  void check_value(const ExpLine& line);
  void check_number(const ExpLine& line);
  void check_tags(const ExpLine& line);
  void check_parameter(const ExpLine& line);
  void check_repeated(const std::string& key, const ExpLine& line);
  Place at(const ExpLine& line) const { return {path_, line.number, line.column}; }
  Place at_value(const ExpLine& line) const;

  std::string path_;
  std::map<std::string, Place>& places_;
  Findings& findings_;
  std::map<std::string, size_t> seen_;  // key to line
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_CONFIG_EXP_CHECK_H
