#include "tools/base/console.h"

#include <gtest/gtest.h>

#include "tests/tools/tool_runner.h"

namespace vek::test {
namespace {

TEST(Console, ColoursErrorsOnATerminalOnly) {
  if (!can_open_terminal()) GTEST_SKIP() << "no pseudo-terminals here";
  EXPECT_EQ(run_tool({"generate"}).standard_error,
            "vektool: error: generate: --output is required\n"
            "Try 'vektool generate --help'.\n");
  EXPECT_NE(run_tool_on_terminal({"generate"}).standard_error.find("\033[1;31merror:\033[0m "),
            std::string::npos);
}

TEST(Console, NoColorTurnsColoursOff) {
  if (!can_open_terminal()) GTEST_SKIP() << "no pseudo-terminals here";
  ToolSetting no_color;
  no_color.environment = {{"NO_COLOR", "1"}};
  EXPECT_EQ(run_tool_on_terminal({"generate"}, no_color).standard_error.find('\033'),
            std::string::npos);
  ToolSetting dumb;
  dumb.environment = {{"TERM", "dumb"}};
  EXPECT_EQ(run_tool_on_terminal({"generate"}, dumb).standard_error.find('\033'),
            std::string::npos);
}

}  // namespace
}  // namespace vek::test
