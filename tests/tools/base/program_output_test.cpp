#include "tools/base/program_output.h"

#include <gtest/gtest.h>

namespace vek::tools {
namespace {

constexpr std::chrono::seconds kLong{30};

ProgramOutput run_script(const std::string& script, std::chrono::milliseconds patience = kLong) {
  return run_program("/bin/sh", {"-c", script}, patience);
}

TEST(ProgramOutput, IsAllOfStandardOutputAndNothingElse) {
  const ProgramOutput output = run_script("echo one; echo two >&2; cat; seq 100000 | wc -l");
  EXPECT_EQ(output.text, "one\n100000\n");
  EXPECT_EQ(output.problem, "");
  EXPECT_EQ(run_script("head -c 1000000 /dev/zero").text.size(), 1000000u);
}

TEST(ProgramOutput, SaysHowAProgramFailed) {
  EXPECT_EQ(run_script("exit 7").problem, "ends with status 7");
  EXPECT_EQ(run_script("kill -KILL $$").problem, "crashes: Killed");
  EXPECT_EQ(run_program("/nowhere/at/all", {}, kLong).problem,
            "cannot be run: No such file or directory");
}

TEST(ProgramOutput, DoesNotWaitForOneThatNeverEnds) {
  constexpr std::chrono::milliseconds kShort{50};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(run_script("exec sleep 60", kShort).problem, "does not come to an end");
  EXPECT_EQ(run_script("exec >&-; exec sleep 60", kShort).problem, "does not come to an end");
  EXPECT_EQ(run_script("exec cat /dev/zero").problem, "does not come to an end") << "endless";
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
}  // namespace vek::tools
