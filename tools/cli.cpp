#include "tools/cli.h"

#include <exception>
#include <string>
#include <vector>

#include "tools/base/console.h"
#include "tools/base/signals.h"
#include "tools/base/suggest.h"
#include "tools/bench/bench.h"
#include "tools/check/check.h"
#include "tools/doctor/doctor.h"
#include "tools/generate/generate.h"
#include "tools/golden/golden_test.h"
#include "tools/inspect/inspect.h"
#include "tools/plugin/plugin_log.h"
#include "tools/preview/preview.h"
#include "tools/record/record.h"
#include "tools/replay/replay.h"
#include "utils/logger.h"
#include "utils/version.h"

namespace vek::tools {
namespace {

// Adds one verb; when it is chosen, `action` is set.
using AddVerb = void (*)(CommandLine& line, Action& action);

constexpr AddVerb kVerbs[] = {add_bench,   add_check,  add_doctor, add_generate, add_inspect,
                              add_preview, add_record, add_replay, add_test};

std::string did_you_mean(const std::string& word, const std::vector<std::string>& names) {
  const std::string guess = nearest(word, names);
  return guess.empty() ? std::string() : "; did you mean '" + guess + "'?";
}

ExitStatus usage_error(const std::string& message, const std::string& help_of) {
  say_error("%s", message.c_str());
  say("Try 'vektool %s--help'.", help_of.c_str());
  return ExitStatus::kUsage;
}

// A mistyped option often shows as another complaint (its value becomes a page file, a required
// option is missing), so it is looked for first.
ExitStatus explain(const CommandLine::Wrong& wrong) {
  if (wrong.verb.empty()) return usage_error(wrong.complaint, "");
  const std::string help_of = wrong.verb + " ";
  for (const std::string& word : wrong.left_over) {
    if (!word.starts_with("-") || word == "-" || word == "--") continue;
    const std::string option = word.substr(0, word.find('='));
    return usage_error(
        wrong.verb + ": unknown option '" + option + "'" + did_you_mean(option, wrong.options),
        help_of);
  }
  return usage_error(wrong.verb + ": " + wrong.complaint, help_of);
}

// What stands before the verb: the verb itself, or one of the tool's own two options. The parser
// would report a mistyped verb as a missing one.
bool answered_by_first_word(const CommandLine& line, int argc, const char* const* argv,
                            ExitStatus& status) {
  const std::string word = argc > 1 ? argv[1] : "";
  const std::vector<std::string> verbs = line.verb_names();
  if (word == "help") {
    write_output(line.help());
    return true;
  }
  if (word.empty()) {
    say_error("no command given");
    say("%s", line.help().c_str());
    status = ExitStatus::kUsage;
    return true;
  }
  if (word == "-h" || word == "--help" || word == "--version") return false;
  for (const std::string& verb : verbs) {
    if (verb == word) return false;
  }
  const bool option = word.starts_with("-");
  const std::string guess =
      option ? did_you_mean(word, {"--help", "--version"}) : did_you_mean(word, verbs);
  status =
      usage_error((option ? "unknown option '" : "unknown command '") + word + "'" + guess, "");
  return true;
}

ExitStatus parse_and_run(int argc, const char* const* argv) {
  const std::string version = std::string("vektool ") + vek_version_string();
  CommandLine line(
      "vektool",
      "Works with telemetry data pages and with the configuration of an exporter plug-in.\n"
      "Exit status: 0 good, 1 what was looked at is bad, 2 wrong usage, 3 only warnings with\n"
      "--strict, 4 something in the environment is missing, 5 not everything was delivered.",
      version);
  Action action;
  for (const AddVerb add : kVerbs) add(line, action);

  ExitStatus status = ExitStatus::kGood;
  if (answered_by_first_word(line, argc, argv, status)) return status;
  CommandLine::Wrong wrong;
  switch (line.read(argc, argv, wrong)) {
    case CommandLine::Outcome::kVersion:
      write_output(version + "\n");
      return ExitStatus::kGood;
    case CommandLine::Outcome::kHelp:
      write_output(line.help());
      return ExitStatus::kGood;
    case CommandLine::Outcome::kWrong:
      return explain(wrong);
    case CommandLine::Outcome::kGood:
      break;
  }
  return action();
}

}  // namespace

ExitStatus run_command_line(int argc, const char* const* argv) {
  install_signal_handlers();
  // The tool's own copy of the framework logs like the plug-in's.
  vek_init_stderr_logger(environment_log_level(VEK_LOG_WARNING));
  try {
    return parse_and_run(argc, argv);
  } catch (const std::exception& exception) {
    say_error("%s", exception.what());
  }
  return ExitStatus::kEnvironment;
}

}  // namespace vek::tools
