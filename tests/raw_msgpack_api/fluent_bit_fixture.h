// What tests of outputs that a (fake) Fluent Bit serves have in common.
#ifndef VEK_TESTS_RAW_MSGPACK_API_FLUENT_BIT_FIXTURE_H
#define VEK_TESTS_RAW_MSGPACK_API_FLUENT_BIT_FIXTURE_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "tests/raw_msgpack_api/forward_fixture.h"
#include "tests/support/env_guard.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {

class FluentBitTest : public testing::Test {
 protected:
  // An output of the program, or of the library.
  ParameterPairs program(const ParameterPairs& more = {}) const {
    return with(VEK_FAKE_FLUENT_BIT, "process", more);
  }
  ParameterPairs library(const ParameterPairs& more = {}) const {
    return with(VEK_FAKE_FLUENT_BIT_LIBRARY, "library", more);
  }
  ParameterPairs with(const char* path, const char* engine, const ParameterPairs& more) const {
    ParameterPairs all = {
        {"vek.engine", engine},      {"vek.engine_path", path}, {"out", out_},
        {"vek.retry_base", "0.005"}, {"vek.retry_cap", "0.02"}, {"vek.ack_timeout", "2"},
        {"vek.grace", "10"}};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  // What the output was given.
  std::vector<uint64_t> numbers() const {
    std::vector<uint64_t> all;
    std::ifstream in(out_);
    for (uint64_t n; in >> n;) all.push_back(n);
    return all;
  }
  // The folders that engines left in their place for such.
  std::vector<std::string> folders() const {
    std::vector<std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator(run_.path())) {
      all.push_back(entry.path());
    }
    return all;
  }
  static size_t descriptors() {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      (void)entry;
      ++count;
    }
    return count;
  }
  static bool waits_for(const std::function<bool()>& condition) {
    for (int i = 0; i < 10'000; ++i) {
      if (condition()) return true;
      usleep(1000);
    }
    return false;
  }

  const TempDir dir_;
  const TempDir run_;
  const EnvGuard tmpdir_{"TMPDIR", run_.path().c_str()};  // behind the folders of the test's own
  const std::string out_ = dir_.file("out");
};

}  // namespace vek::test

#endif  // VEK_TESTS_RAW_MSGPACK_API_FLUENT_BIT_FIXTURE_H
