// Every system call of the scenarios fails with each error that its manual lists, is interrupted,
// and does half of what it was asked for: once, and from there on.
//
// What came of it is the usual, or was told, by the call or in the log; no descriptor and no thread
// is left, and the next call works. VEK_EVERY_CALL=1 takes every call of every scenario.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "tests/hardening/clock_shift.h"
#include "tests/hardening/failing_calls.h"
#include "tests/hardening/scenario.h"
#include "tests/support/log_capture.h"
#include "tests/support/process_threads.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

size_t entries_of(const char* folder) {
  size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}

class EverySystemCall : public ::testing::TestWithParam<Scenario> {
 protected:
  void fail(const CallErrors& call, int error, unsigned n, bool and_all_later) {
    SCOPED_TRACE(std::string(call.name) + " " + std::to_string(n) + " with " +
                 (error == kShortCount ? "half" : std::strerror(error)) +
                 (and_all_later ? " from there on" : ""));
    shift_clock(11);  // rate-limited messages are due again
    log_.clear();
    const size_t descriptors = entries_of("/proc/self/fd");
    std::string result;
    {
      const FailCall failing(call.call, error, n, and_all_later);
      result = run(GetParam());
    }
    EXPECT_FALSE(result.starts_with('!')) << result;
    EXPECT_TRUE(result == usual_ || result.empty() || says_why()) << result << "\ninstead of\n"
                                                                  << usual_;
    EXPECT_EQ(entries_of("/proc/self/fd"), descriptors);
    EXPECT_TRUE(threads_come_down_to(threads_));
    EXPECT_EQ(run(GetParam()), usual_) << "the next call";
  }

  bool says_why() const {
    const auto lines = log_.lines();
    return std::any_of(lines.begin(), lines.end(),
                       [](const LogLine& line) { return line.priority <= VEK_LOG_WARNING; });
  }

  std::string usual_ = run(GetParam());
  size_t threads_ = entries_of("/proc/self/task");
  LogCapture log_{6};
};

// For one scenario of an ordinary test run.
constexpr std::chrono::milliseconds kEnough{700};

TEST_P(EverySystemCall, MayFailAndIsTold) {
  const bool all = std::getenv("VEK_EVERY_CALL") != nullptr;
  calls_made();
  ASSERT_EQ(run(GetParam()), usual_);
  const auto made = calls_made();
  const auto begin = std::chrono::steady_clock::now();
  for (const CallErrors& call : call_errors()) {
    const unsigned count = made[static_cast<size_t>(call.call)];
    for (const int error : call.errors) {
      for (unsigned n = 1; n <= count && !HasFailure(); n += all ? 1 : std::max(1u, count - n)) {
        fail(call, error, n, false);
        if (n == 1 && error != EINTR) fail(call, error, n, true);  // that does pass
      }
      if (HasFailure()) return;
      if (!all && std::chrono::steady_clock::now() - begin > kEnough) break;
    }
  }
}

// Those that ask the system for something.
std::vector<Scenario> asking_scenarios() {
  std::vector<Scenario> asking;
  for (const auto& some : {framework_scenarios(), exporter_scenarios(), engine_scenarios()}) {
    for (const Scenario& scenario : some) {
      const std::string_view name = scenario.name;
      if (name.find("file") != name.npos || name.find("director") != name.npos ||
          name.find("loading") != name.npos || name.starts_with("api") ||
          name.starts_with("output") || name.starts_with("spool") || name == "dead_letter") {
        asking.push_back(scenario);
      }
    }
  }
  return asking;
}

INSTANTIATE_TEST_SUITE_P(Of, EverySystemCall, ::testing::ValuesIn(asking_scenarios()),
                         [](const auto& scenario) { return std::string(scenario.param.name); });

// Each call of the table is made by some scenario.
TEST(EverySystemCallTable, IsReachedByTheScenarios) {
  const LogCapture quiet(2);
  calls_made();
  for (const Scenario& scenario : asking_scenarios()) run(scenario);
  const auto made = calls_made();
  for (const CallErrors& call : call_errors()) {
    const unsigned count = made[static_cast<size_t>(call.call)];
    if (std::getenv("VEK_EVERY_CALL")) std::printf("%s %u\n", call.name, count);
    EXPECT_GT(count, 0u) << call.name;
  }
}

}  // namespace
}  // namespace vek::test
