// One golden test: a directory, the records that leave by it, and the records that were expected.
#ifndef VEK_TOOLS_GOLDEN_GOLDEN_CASE_H
#define VEK_TOOLS_GOLDEN_GOLDEN_CASE_H

#include <map>
#include <string>
#include <vector>

#include "tools/base/exit_status.h"

namespace vek::tools {

struct GoldenDifference {
  std::string destination;
  size_t line = 0;       // of the expected records, from 1
  std::string expected;  // empty: there was none
  std::string found;     // empty: there is none
};

class GoldenCase {
 public:
  explicit GoldenCase(std::string dir) : dir_(std::move(dir)) {}

  // Other than kGood: problem() says why nothing could be compared.
  ExitStatus run();
  // The first difference of each destination.
  const std::vector<GoldenDifference>& differences() const { return differences_; }
  // Lines of the configuration's files that took nothing.
  const std::vector<std::string>& idle_rules() const { return idle_rules_; }
  size_t records() const;
  // Makes what leaves what is expected.
  bool accept();

  const std::string& dir() const { return dir_; }
  const std::string& problem() const { return problem_; }

 private:
  bool compare(const std::string& destination, const std::vector<std::string>& found);
  ExitStatus fail(ExitStatus status, std::string problem);

  std::string dir_;
  std::string problem_;
  std::map<std::string, std::vector<std::string>> found_;  // by destination
  std::vector<GoldenDifference> differences_;
  std::vector<std::string> idle_rules_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_GOLDEN_GOLDEN_CASE_H
