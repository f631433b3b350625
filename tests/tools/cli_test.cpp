#include "tools/cli.h"

#include <gtest/gtest.h>

#include "tests/tools/tool_runner.h"

namespace vek::test {
namespace {

using Words = std::vector<std::string>;

struct UsageCase {
  Words arguments;
  std::string message;  // behind "vektool: error: "
};

class UsageError : public testing::TestWithParam<UsageCase> {};

TEST_P(UsageError, GoesToStandardErrorAndEndsWithTwo) {
  const ChildResult result = run_tool(GetParam().arguments);
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.standard_output, "");
  EXPECT_EQ(result.standard_error.substr(0, result.standard_error.find('\n')),
            "vektool: error: " + GetParam().message);
  EXPECT_NE(result.standard_error.find("vektool"), std::string::npos);
}

// Enough of a replay to be complete but for what a case adds.
Words replay_with(Words more) {
  Words words{"replay", "--plugin", "p.so", "--config", "c", "--schema-dir", "s"};
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, UsageError,
    testing::Values(
        UsageCase{{}, "no command given"},
        UsageCase{{"genrate"}, "unknown command 'genrate'; did you mean 'generate'?"},
        UsageCase{{"relpay"}, "unknown command 'relpay'; did you mean 'replay'?"},
        UsageCase{{"frobnicate"}, "unknown command 'frobnicate'"},
        UsageCase{{"--hlep"}, "unknown option '--hlep'; did you mean '--help'?"},
        UsageCase{{"-x"}, "unknown option '-x'"},
        UsageCase{{"generate"}, "generate: --output is required"},
        UsageCase{{"generate", "--output"}, "generate: --output: 1 required DIR missing"},
        UsageCase{{"generate", "--otput", "d"},
                  "generate: unknown option '--otput'; did you mean '--output'?"},
        UsageCase{{"generate", "--output=d", "--sed=3"},
                  "generate: unknown option '--sed'; did you mean '--seed'?"},
        UsageCase{{"generate", "--output", "d", "more"},
                  "generate: The following argument was not expected: more"},
        UsageCase{{"generate", "--output", "d", "--pages", "0"},
                  "generate: --pages: '0' is no whole number from 1 to 10000000"},
        UsageCase{{"generate", "--output", "d", "--pages", "12x"},
                  "generate: --pages: '12x' is no whole number from 1 to 10000000"},
        UsageCase{{"generate", "--output", "d", "--seed", "-5"},
                  "generate: --seed: '-5' is no whole number from 0 to 18446744073709551615"},
        UsageCase{{"generate", "--output", "d", "--seed", "18446744073709551616"},
                  "generate: --seed: '18446744073709551616' is no whole number from 0 to "
                  "18446744073709551615"},
        UsageCase{{"replay", "--plugn", "p.so", "--config", "c", "--schema-dir", "s", "f"},
                  "replay: unknown option '--plugn'; did you mean '--plugin'?"},
        UsageCase{{"replay", "--plugin", "p.so", "--config", "c", "--schema-dr", "s", "f"},
                  "replay: unknown option '--schema-dr'; did you mean '--schema-dir'?"},
        UsageCase{replay_with({}), "replay: PAGES is required"},
        UsageCase{{"replay", "--plugin", "p.so", "--config", "c", "f"},
                  "replay: Exactly 1 option from [--schema-dir,--type-system] is required"},
        UsageCase{replay_with({"--type-system", "t", "f"}),
                  "replay: Exactly 1 option from [--schema-dir,--type-system] is required and 2 "
                  "were given"},
        UsageCase{replay_with({"--pace", "slow", "f"}),
                  "replay: --pace: 'slow' is none of max, recorded"},
        UsageCase{replay_with({"--repeat", "0", "f"}),
                  "replay: --repeat: '0' is no whole number from 1 to 1000000000"},
        UsageCase{replay_with({"-", "-"}),
                  "replay: PAGES: standard input ('-') can be named only once"},
        UsageCase{replay_with({"--repeat", "2", "-"}),
                  "replay: --repeat: standard input ('-') can be read only once"},
        UsageCase{replay_with({"--speed", "fast", "f"}),
                  "replay: --speed: 'fast' is neither 'max' nor like 10x"},
        UsageCase{replay_with({"--speed", "0x", "f"}),
                  "replay: --speed: '0x' is neither 'max' nor like 10x"},
        UsageCase{replay_with({"--rate", "-1", "f"}), "replay: --rate: '-1' is no number above 0"},
        UsageCase{replay_with({"--rate", "5", "--speed", "2x", "f"}),
                  "replay: --speed excludes --rate"},
        UsageCase{replay_with({"--loop", "--repeat", "2", "f"}),
                  "replay: --repeat excludes --loop"},
        UsageCase{replay_with({"--loop", "-"}),
                  "replay: --loop: standard input ('-') can be read only once"},
        UsageCase{replay_with({"--from", "yesterday", "f"}),
                  "replay: --from: 'yesterday' is no time such as 2026-01-01T00:00:00Z, and no "
                  "number of microseconds"},
        UsageCase{replay_with({"--from", "5", "--to", "5", "f"}),
                  "replay: --to: is not behind --from"},
        UsageCase{replay_with({"--shift-time", "then", "f"}),
                  "replay: --shift-time: 'then' is not 'now'"},
        UsageCase{replay_with({"--color", "red", "f"}),
                  "replay: --color: 'red' is none of auto, always, never"},
        UsageCase{replay_with({"--int64", "double", "f"}),
                  "replay: --int64: 'double' is none of number, string"},
        UsageCase{{"chekc"}, "unknown command 'chekc'; did you mean 'check'?"},
        UsageCase{{"check"}, "check: DIR is required"},
        UsageCase{{"check", "--format", "jsno", "d"},
                  "check: --format: 'jsno' is none of text, json, junit, github; did you mean "
                  "'json'?"},
        UsageCase{{"check", "c", "--formt", "json"},
                  "check: unknown option '--formt'; did you mean '--format'?"},
        UsageCase{{"check", "c", "--format", "xml"},
                  "check: --format: 'xml' is none of text, json, junit, github"},
        UsageCase{{"check", "c", "--format", "text", "--json"}, "check: --format excludes --json"},
        UsageCase{{"check", "c", "--pages", "-"},
                  "check: --pages: pages are read twice, so they need a name"},
        UsageCase{{"preveiw"}, "unknown command 'preveiw'; did you mean 'preview'?"},
        UsageCase{{"preview", "--schema-dir", "s", "f"},
                  "preview: --config: exactly one of --config and --diff is required"},
        UsageCase{{"preview", "--config", "c", "--schema-dir", "s"},
                  "preview: PAGES: is required, but with --explain, --unmatched and --diff"},
        UsageCase{{"preview", "--diff", "a", "b", "--schema-dir", "s", "-"},
                  "preview: PAGES: --diff reads them twice, so they need a name"},
        UsageCase{{"preview", "--config", "c", "--schema-dir", "s", "--nodes", "5", "f"},
                  "preview: --nodes requires --cost"},
        UsageCase{
            {"preview", "--config", "c", "--schema-dir", "s", "--cost", "--interval", "1d", "f"},
            "preview: --interval: '1d' is no time such as 500ms, 1s or 5m"},
        UsageCase{{"preview", "--config", "c", "--schema-dr", "s", "f"},
                  "preview: unknown option '--schema-dr'; did you mean '--schema-dir'?"},
        UsageCase{{"docter"}, "unknown command 'docter'; did you mean 'doctor'?"},
        UsageCase{{"doctor"}, "doctor: --plugin is required"},
        UsageCase{{"tets"}, "unknown command 'tets'; did you mean 'test'?"},
        UsageCase{{"test"}, "test: DIR is required"},
        UsageCase{{"test", "d", "--acept"},
                  "test: unknown option '--acept'; did you mean '--accept'?"},
        UsageCase{{"inspct"}, "unknown command 'inspct'; did you mean 'inspect'?"},
        UsageCase{{"inspect"}, "inspect: PAGES is required"},
        UsageCase{{"inspect", "--streems", "f"},
                  "inspect: unknown option '--streems'; did you mean '--streams'?"},
        UsageCase{{"inspect", "--batch", "f"}, "inspect: --batch requires --streams"},
        UsageCase{{"inspect", "--streams", "f"},
                  "inspect: --streams: needs --schema-dir or --type-system, which say how long "
                  "events are"},
        UsageCase{{"inspect", "--schema-dir", "s", "--type-system", "t", "f"},
                  "inspect: Requires at most 1 options be given from "
                  "[--schema-dir,--type-system]"},
        UsageCase{{"inspect", "-", "-"},
                  "inspect: PAGES: standard input ('-') can be named only once"}));

TEST(CommandLine, HelpAndVersionGoToStandardOutput) {
  for (const Words& words :
       {Words{"--help"}, Words{"-h"}, Words{"help"}, Words{"generate", "--help"},
        Words{"replay", "-h"}, Words{"--version"}}) {
    SCOPED_TRACE(words[0]);
    const ChildResult result = run_tool(words);
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_NE(result.standard_output, "");
    EXPECT_EQ(result.standard_error, "");
  }
  EXPECT_EQ(run_tool({"--version"}).standard_output, "vektool 1.22.1\n");
}

TEST(CommandLine, HelpNamesEveryVerbAndEveryOption) {
  const std::string help = run_tool({"--help"}).standard_output;
  EXPECT_NE(help.find("generate"), std::string::npos);
  EXPECT_NE(help.find("replay"), std::string::npos);
  const std::string replay = run_tool({"replay", "--help"}).standard_output;
  for (const char* option : {"--plugin", "--config", "--schema-dir", "--type-system", "--repeat",
                             "--pace", "--speed", "--rate", "--loop", "--from", "--to",
                             "--shift-time", "--json", "--int64", "--color", "PAGES"}) {
    EXPECT_NE(replay.find(option), std::string::npos) << option;
  }
}

TEST(CommandLine, ColoursAreAsToldOrAsTheTerminalAndNoColorSay) {
  const Words bad = replay_with({"--color", "always", "none"});
  EXPECT_NE(run_tool(bad).standard_error.find("\033[1;31m"), std::string::npos);
  EXPECT_EQ(run_tool(replay_with({"none"})).standard_error.find("\033["), std::string::npos);
  if (!can_open_terminal()) GTEST_SKIP() << "no pseudo-terminals here";
  const auto seen = [](const Words& words, const char* no_color) {
    ToolSetting setting;
    setting.environment = {{"NO_COLOR", no_color}};
    return run_tool_on_terminal(words, setting).standard_error.find("\033[1;31m") !=
           std::string::npos;
  };
  EXPECT_TRUE(seen(replay_with({"none"}), ""));
  EXPECT_FALSE(seen(replay_with({"none"}), "1"));
  EXPECT_FALSE(seen(replay_with({"--color", "never", "none"}), ""));
  EXPECT_TRUE(seen(bad, "1"));
}

TEST(CommandLine, AClosedPipeEndsQuietly) {
  // The reader is gone before the tool writes.
  const ChildResult result =
      run_shell("{ sleep 0.2; \"$TOOL\" --help; echo \"status ${?}\" >&2; } | true");
  EXPECT_EQ(result.standard_error, "status 141\n");
}

}  // namespace
}  // namespace vek::test
