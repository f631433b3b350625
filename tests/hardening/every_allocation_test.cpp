// Every allocation of every scenario fails once, and from there on.
//
// After each: what came of it is the usual, or was told, by the call or in the log; nothing leaks,
// no descriptor and no thread is left, and the next call works. Allocations are strided where there
// are many; VEK_EVERY_ALLOCATION=1 takes them all.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "tests/hardening/clock_shift.h"
#include "tests/hardening/scenario.h"
#include "tests/support/fail_allocation.h"
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

struct Holdings {
  size_t descriptors = entries_of("/proc/self/fd");
  size_t threads = entries_of("/proc/self/task");
};

class EveryAllocation : public ::testing::TestWithParam<Scenario> {
 protected:
  void SetUp() override {
    if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer has its own allocator";
    for (int i = 0; i < 4096; ++i) VEK_LOGI("room for lines");
    // Once for what is made once, and once more for what a run may keep.
    usual_ = run(GetParam());
    ASSERT_EQ(run(GetParam()), usual_) << "a scenario says the same every time";
    log_.clear();
    const long before = live_allocations();
    run(GetParam());
    log_.clear();
    kept_ = std::max(0L, live_allocations() - before);
  }

  // False when the scenario has fewer than n allocations.
  bool fail(unsigned n, FailAllocation::Mode mode, bool is_second_try = false) {
    shift_clock(11);  // rate-limited messages are due again
    log_.clear();
    const long live = live_allocations();
    const Holdings holdings;
    std::string result;
    bool failed = false;
    {
      FailAllocation failing(n, mode);
      result = run(GetParam());
      failed = failing.disarm();
    }
    const bool told = says_why();
    log_.clear();
    const long lost = live_allocations() - live - (result.capacity() > 15 ? 1 : 0);
    check(result, told, n, mode);
    // What is made once may be made by a way that only a failure takes; it is not made again.
    if (lost > kept_ && !is_second_try) return fail(n, mode, true);
    EXPECT_LE(lost, kept_) << "memory is lost with " << n << ", " << mode;
    EXPECT_EQ(entries_of("/proc/self/fd"), holdings.descriptors) << n << ", " << mode;
    EXPECT_TRUE(threads_come_down_to(holdings.threads)) << n << ", " << mode;
    EXPECT_EQ(run(GetParam()), usual_) << "the next call, behind " << n << ", " << mode;
    return failed;
  }

  bool says_why() const {
    const auto lines = log_.lines();
    return std::any_of(lines.begin(), lines.end(),
                       [](const LogLine& line) { return line.priority <= VEK_LOG_WARNING; });
  }

  void check(const std::string& result, bool told, unsigned n, FailAllocation::Mode mode) {
    EXPECT_FALSE(result.starts_with('!')) << result << " with " << n << ", " << mode;
    if (result == usual_ || result.empty()) return;
    EXPECT_TRUE(told) << "said nothing of it, with " << n << ", " << mode << ":\n"
                      << result << "\ninstead of\n"
                      << usual_;
  }

  std::string usual_;
  long kept_ = 0;
  LogCapture log_{6};
};

// For one scenario of an ordinary test run.
constexpr std::chrono::milliseconds kEnough{400};

TEST_P(EveryAllocation, MayFailAndIsTold) {
  const char* all = std::getenv("VEK_EVERY_ALLOCATION");
  for (const auto mode : {FailAllocation::kOnce, FailAllocation::kFromThereOn}) {
    const auto begin = std::chrono::steady_clock::now();
    unsigned n = 1;
    while (fail(n, mode) && !HasFailure()) {
      n += all ? 1 : 1 + n / 12;
      if (!all && std::chrono::steady_clock::now() - begin > kEnough) break;
    }
  }
}

std::vector<Scenario> all_scenarios() {
  std::vector<Scenario> all = framework_scenarios();
  for (const auto& more : {exporter_scenarios(), engine_scenarios()}) {
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(Of, EveryAllocation, ::testing::ValuesIn(all_scenarios()),
                         [](const auto& scenario) { return std::string(scenario.param.name); });

}  // namespace
}  // namespace vek::test
