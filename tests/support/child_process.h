// run_in_child: runs code in a forked copy of the test, for what changes a whole process (logger,
// environment, limits) or has to be seen on standard error.
#ifndef VEK_TESTS_SUPPORT_CHILD_PROCESS_H
#define VEK_TESTS_SUPPORT_CHILD_PROCESS_H

#include <functional>
#include <string>

namespace vek::test {

struct ChildResult {
  int exit_code = -1;  // 0 when no expectation failed in the child; -signal when one ended it
  std::string standard_error;
  std::string standard_output;
};

// Expectations that fail in the child are part of its output and give exit code 1. The child runs
// its exit handlers. One that takes longer than a minute is ended.
ChildResult run_in_child(const std::function<void()>& body);

}  // namespace vek::test

#endif  // VEK_TESTS_SUPPORT_CHILD_PROCESS_H
