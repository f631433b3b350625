#include "tools/golden/golden_test.h"

#include <algorithm>
#include <memory>

#include "tools/base/console.h"
#include "tools/base/json_writer.h"
#include "tools/base/text_file.h"
#include "tools/base/xml_text.h"
#include "tools/golden/golden_case.h"

namespace vek::tools {
namespace {

std::string shortened(const std::string& record) {
  constexpr size_t kShown = 200;
  return record.size() <= kShown ? record : record.substr(0, kShown) + "...";
}

std::string difference_text(const GoldenDifference& difference) {
  std::string out = difference.destination;
  if (difference.line == 0) return out + ": " + difference.found;
  out += ", record " + std::to_string(difference.line);
  // Both sides from where they part, with a little before it.
  const auto [one, other] = std::mismatch(difference.expected.begin(), difference.expected.end(),
                                          difference.found.begin(), difference.found.end());
  const auto part = static_cast<size_t>(one - difference.expected.begin());
  const size_t from = part > 40 ? part - 40 : 0;
  const auto side = [&](const std::string& record) {
    if (record.empty()) return std::string("(none)");
    return (from > 0 ? "..." : "") + shortened(record.substr(from));
  };
  return out + ":\n      expected " + side(difference.expected) + "\n      found    " +
         side(difference.found);
}

std::string junit_case(const GoldenCase& one, ExitStatus status) {
  std::string problem = status == ExitStatus::kGood ? "" : one.problem();
  for (const GoldenDifference& difference : one.differences()) {
    problem += (problem.empty() ? "" : "\n") + difference_text(difference);
  }
  const std::string head = "  <testcase classname=\"vektool\" name=\"" + xml_text(one.dir()) + "\"";
  if (problem.empty()) return head + "/>\n";
  return head + ">\n    <failure message=\"" + xml_text(problem) + "\"/>\n  </testcase>\n";
}

std::string json_case(const GoldenCase& one, ExitStatus status) {
  JsonWriter json;
  json.begin_object()
      .member("schema_version", kJsonSchemaVersion)
      .member("case", one.dir())
      .member("passed", status == ExitStatus::kGood && one.differences().empty())
      .member("problem", one.problem())
      .member("records", uint64_t{one.records()});
  json.key("differences").begin_array();
  for (const GoldenDifference& difference : one.differences()) {
    json.begin_object()
        .member("destination", difference.destination)
        .member("record", uint64_t{difference.line})
        .member("expected", difference.expected)
        .member("found", difference.found)
        .end_object();
  }
  json.end_array().key("idle_rules").begin_array();
  for (const std::string& rule : one.idle_rules()) json.text(rule);
  return json.end_array().end_object().out() + "\n";
}

std::string text_case(const GoldenCase& one, ExitStatus status, bool accepted) {
  if (status != ExitStatus::kGood) return "failed  " + one.problem() + "\n";
  const char* verdict = accepted ? "written " : one.differences().empty() ? "passed  " : "failed  ";
  std::string out = verdict + one.dir() + " (" + std::to_string(one.records()) + " records)\n";
  if (!accepted) {
    for (const GoldenDifference& difference : one.differences()) {
      out += "    " + difference_text(difference) + "\n";
    }
  }
  for (const std::string& rule : one.idle_rules()) out += "    never exercised: " + rule + "\n";
  return out;
}

}  // namespace

ExitStatus run_golden_tests(const GoldenTestOptions& options) {
  ExitStatus worst = ExitStatus::kGood;
  std::string junit;
  size_t failures = 0;
  for (const std::string& dir : options.cases) {
    GoldenCase one(dir);
    ExitStatus status = one.run();
    if (status == ExitStatus::kGood && options.accept && !one.accept()) {
      status = ExitStatus::kEnvironment;
    }
    const bool failed =
        status != ExitStatus::kGood || (!options.accept && !one.differences().empty());
    if (failed) {
      ++failures;
      const ExitStatus own = status == ExitStatus::kGood ? ExitStatus::kBad : status;
      if (worst != ExitStatus::kEnvironment) worst = own;
    }
    junit += junit_case(one, status);
    if (options.json.json) {
      write_json(json_case(one, status), options.json);
    } else {
      write_output(text_case(one, status, options.accept));
    }
  }
  if (options.junit.empty()) return worst;
  const std::string report =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"vektool "
      "test\" tests=\"" +
      std::to_string(options.cases.size()) + "\" failures=\"" + std::to_string(failures) + "\">\n" +
      junit + "</testsuite>\n";
  std::string problem;
  if (write_text_file(options.junit, report, problem)) return worst;
  say_error("%s", problem.c_str());
  return ExitStatus::kEnvironment;
}

void add_test(CommandLine& line, Action& action) {
  const auto options = std::make_shared<GoldenTestOptions>();
  Verb verb = line.add_verb(
      "test", "Compare what leaves with what is expected, for recordings with a configuration");
  verb.texts("DIR", "", options->cases,
             "Directories of *.bin, config/, schemas/ or type_system.json, and expected/")
      .required();
  verb.flag("--accept", options->accept, "Write what leaves to expected/, and pass");
  verb.text("--junit", "FILE", options->junit, "Write the results for a build server, too");
  add_json_options(verb, options->json, "One JSON object a case");
  add_color_option(verb);
  verb.footer(
      "Records stand in expected/NAME.ndjson, one a line, by destination. Rules that took\n"
      "nothing are listed. Exit status: 0 all passed, 1 not all, 4 something is missing.");
  verb.when_read([options, &action] { action = [options] { return run_golden_tests(*options); }; });
}

}  // namespace vek::tools
