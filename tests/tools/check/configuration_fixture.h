// ConfigurationFixture: destinations in a folder, and what is found in them.
#ifndef VEK_TESTS_TOOLS_CHECK_CONFIGURATION_FIXTURE_H
#define VEK_TESTS_TOOLS_CHECK_CONFIGURATION_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/temp_dir.h"
#include "tools/config/configuration.h"

namespace vek::test {

class ConfigurationFixture : public testing::Test {
 protected:
  void destination(const std::string& name, const std::string& lines) {
    dir_.write("config/" + name + ".exp", lines);
  }
  std::vector<tools::ConfiguredDestination> read() {
    std::vector<tools::ConfiguredDestination> destinations;
    tools::Findings unused;
    EXPECT_TRUE(tools::read_configuration(dir_.file("config"), destinations, unused));
    return destinations;
  }
  // "file:line: code: what", with " hint: ..." where there is one.
  static std::vector<std::string> texts(const tools::Findings& findings) {
    std::vector<std::string> all;
    for (const tools::Finding& finding : findings.sorted()) {
      const std::string path = finding.place.path;
      all.push_back(path.substr(path.rfind('/') + 1) + ":" + std::to_string(finding.place.line) +
                    ": " + finding.code + ": " + finding.what +
                    (finding.hint.empty() ? "" : ". hint: " + finding.hint));
    }
    return all;
  }

  TempDir dir_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_TOOLS_CHECK_CONFIGURATION_FIXTURE_H
