// Findings: what a check has to say about files, in the order in which people read them.
#ifndef VEK_TOOLS_CONFIG_FINDING_H
#define VEK_TOOLS_CONFIG_FINDING_H

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace vek::tools {

enum class Severity { kError, kWarning };

struct Place {
  std::string path;
  size_t line = 0;    // from 1; 0: the file as a whole
  size_t column = 0;  // from 1; 0: the line as a whole
};

struct Finding {
  Place place;
  Severity severity = Severity::kError;
  std::string code;  // for scripts: a few words with hyphens
  std::string what;
  std::string hint;  // how it is mended; may be empty
};

class Findings {
 public:
  void error(const Place& place, const char* code, std::string what, std::string hint = {});
  void warning(const Place& place, const char* code, std::string what, std::string hint = {});
  // A file that was looked at, findings or not.
  void looked_at(const std::string& path) { files_.insert(path); }

  // By path, line and column; equal ones once.
  std::vector<Finding> sorted() const;
  size_t errors() const;
  size_t warnings() const;
  const std::set<std::string>& files() const { return files_; }

 private:
  std::vector<Finding> all_;
  std::set<std::string> files_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_CONFIG_FINDING_H
