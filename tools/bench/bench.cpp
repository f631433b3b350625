#include "tools/bench/bench.h"

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>

#include "tools/base/console.h"
#include "tools/base/json_writer.h"
#include "tools/base/suggest.h"
#include "tools/bench/bench_baseline.h"
#include "tools/command_line/duration.h"
#include "tools/config/configuration.h"

namespace vek::tools {
namespace {

std::string line(const char* name, const char* format, double value, const std::string& behind) {
  std::array<char, 96> text{};
  std::array<char, 64> number{};
  std::snprintf(number.data(), number.size(), format, value);
  std::snprintf(text.data(), text.size(), "%-22s  %s", name, number.data());
  return text.data() + behind + "\n";
}

std::string percent(double share) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%+.1f %%", 100.0 * share);
  return text.data();
}

std::string spread_text(const Spread& spread) {
  std::array<char, 96> text{};
  std::snprintf(text.data(), text.size(), " (least %.1f, median deviation %.1f)", spread.least,
                spread.deviation);
  return text.data();
}

std::string as_text(const BenchResult& result) {
  const auto count = [](uint64_t number) { return static_cast<double>(number); };
  std::string text;
  text += line("destinations", "%.0f", count(result.destinations), "");
  text +=
      line("pages", "%.0f", count(result.pages), ", " + readable_size(count(result.page_bytes)));
  text += line("records", "%.0f", count(result.records),
               ", " + readable_size(count(result.record_bytes)));
  if (result.failed_pages > 0) text += line("failed pages", "%.0f", count(result.failed_pages), "");
  text +=
      line("ns a record", "%.1f", result.ns_per_record.median, spread_text(result.ns_per_record));
  text += line("records a second", "%.0f", result.records_per_second(), "");
  text += line("pages a second", "%.0f",
               result.records_per_second() * count(result.pages) / count(result.records),
               ", " + readable_size(result.page_bytes_per_second()) + " a second");
  if (result.allocations_per_record) {
    text += line("allocations a record", "%.3f", *result.allocations_per_record, "");
  }
  text += "peak memory             " + readable_size(count(result.peak_memory)) + ", " +
          readable_size(count(result.memory_before)) + " of it before the first record\n";
  return text;
}

std::string verdict_text(const BenchResult& before, const Verdict& verdict) {
  std::array<char, 32> median{};
  std::snprintf(median.data(), median.size(), "%.1f", before.ns_per_record.median);
  std::string spread = percent(verdict.spread);
  spread.erase(0, 1);
  return std::string("verdict                 ") + verdict_name(verdict.kind) + ": " +
         percent(verdict.change) + " against " + median.data() + " ns a record; within " + spread +
         " is chance\n";
}

void warn_of_other_records(const BenchResult& before, const BenchResult& now) {
  if (before.records == now.records && before.record_bytes == now.record_bytes &&
      before.destinations == now.destinations) {
    return;
  }
  say_warning("the baseline made %" PRIu64 " records of %" PRIu64 " bytes for %" PRIu64
              " destinations: another configuration",
              before.records, before.record_bytes, before.destinations);
}

ExitStatus report(const BenchOptions& options, const BenchResult& result) {
  BenchResult before;
  Verdict verdict;
  const bool has_baseline = !options.baseline.empty();
  std::string problem;
  if (has_baseline) {
    if (!read_baseline(options.baseline, result, before, problem)) {
      say_error("%s", problem.c_str());
      return ExitStatus::kEnvironment;
    }
    warn_of_other_records(before, result);
    verdict = compare(before, result);
  }
  if (options.json.json) {
    JsonWriter json;
    json.begin_object().member("schema_version", kJsonSchemaVersion);
    write_bench(result, json);
    json.key("verdict");
    if (has_baseline) {
      json.text(verdict_name(verdict.kind)).key("change").real(verdict.change);
      json.key("spread").real(verdict.spread);
    } else {
      json.null();
    }
    write_json(json.end_object().out() + "\n", options.json);
  } else {
    write_output(as_text(result) + (has_baseline ? verdict_text(before, verdict) : ""));
  }
  return verdict.kind == Verdict::Kind::kSlower ? ExitStatus::kBad : ExitStatus::kGood;
}

// Only one of them, where one is asked for.
ExitStatus choose(const BenchOptions& options, std::vector<ConfiguredDestination>& destinations) {
  Findings unused;  // for "check" to say
  if (!read_configuration(options.config_dir, destinations, unused)) {
    say_error("%s: cannot be opened: %s", options.config_dir.c_str(), std::strerror(errno));
    return ExitStatus::kEnvironment;
  }
  return keep_destination(options.config_dir, options.destination, destinations);
}

}  // namespace

ExitStatus bench(const BenchOptions& options) {
  OwnSchemas schemas;
  ExitStatus status = schemas.load(options.schema_dir, options.type_system);
  if (status != ExitStatus::kGood) {
    say_error("%s", schemas.problem().c_str());
    return status;
  }
  std::vector<ConfiguredDestination> destinations;
  status = choose(options, destinations);
  if (status != ExitStatus::kGood) return status;
  BenchRun run(destinations, schemas.record());
  status = run.load(options.pages);
  if (status == ExitStatus::kGood) status = run.measure(options.plan);
  if (status != ExitStatus::kGood) {
    say_error("%s", run.problem().c_str());
    return status;
  }
  return report(options, run.result());
}

void add_bench(CommandLine& line, Action& action) {
  const auto options = std::make_shared<BenchOptions>();
  Verb verb = line.add_verb(
      "bench", "Measure how fast pages become records with a configuration, without sending");
  verb.text("--config", "DIR", options->config_dir, "Directory of .exp files").required();
  add_schema_options(verb, options->schema_dir, options->type_system, SchemaRule::kOne,
                     "One of the two:");
  verb.text("--destination", "NAME", options->destination, "Only this one, by its name");
  verb.number("--repeats", "N", options->plan.repeats, 3, 10'000, "How often to measure")
      .shows_default();
  add_duration(verb, "--warm-up", options->plan.warm_up_us, "Convert so long before measuring")
      .shows_default("300ms");
  add_duration(verb, "--repeat-time", options->plan.repeat_us,
               "How long each repeat takes at least")
      .shows_default("100ms");
  verb.text("--baseline", "FILE", options->baseline,
            "What --json printed before: say whether it is slower now; then the exit status is 1");
  add_json_options(verb, options->json, "One JSON object, good as a baseline");
  add_color_option(verb);
  add_pages_option(verb, options->pages).required();
  verb.footer(
      "Pages are in memory before the clock runs. Time is that of the converting thread alone;\n"
      "engines only count. Pages of at most 1 GiB together.");
  verb.when_read([options, &action] {
    check_pages(options->pages);
    action = [options] { return bench(*options); };
  });
}

}  // namespace vek::tools
