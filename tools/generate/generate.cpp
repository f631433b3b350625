#include "tools/generate/generate.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>

#include "tools/base/console.h"
#include "tools/base/text_file.h"
#include "tools/generate/demo_config.h"
#include "tools/generate/demo_pages.h"
#include "tools/generate/demo_schemas.h"
#include "tools/generate/demo_streams.h"
#include "tools/generate/generate_report.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

namespace fs = std::filesystem;

bool make_directories(const GenerateOptions& options, std::string& dir, std::string& problem) {
  std::error_code error;
  const fs::path output(options.output);
  if (fs::exists(output, error) && !options.force &&
      (!fs::is_directory(output, error) || !fs::is_empty(output, error))) {
    problem =
        options.output + ": is there already and not an empty directory; --force writes into it";
    return false;
  }
  fs::create_directories(output, error);
  if (!error) dir = fs::canonical(output, error).string();
  if (!error) {
    problem = why_not_usable(dir);
    if (!problem.empty()) {
      problem = dir + ": " + problem;
      return false;
    }
  }
  for (const char* sub : {"schemas", "config", "streams", "records"}) {
    if (!error) fs::create_directories(output / sub, error);
  }
  if (error) problem = options.output + ": cannot be made: " + error.message();
  return !error;
}

bool write_files(const std::string& dir, const std::vector<DemoFile>& files, std::string& problem) {
  for (const DemoFile& file : files) {
    if (!write_text_file(dir + "/" + file.name, file.text, problem)) return false;
  }
  return true;
}

bool write_pages(const GenerateOptions& options, const DemoSchemaSet& schemas,
                 const std::string& path, WrittenPages& written, std::string& problem) {
  File file(std::fopen(path.c_str(), "we"));
  if (!file) {
    problem = path + ": cannot be created: " + std::strerror(errno);
    return false;
  }
  const DemoSchemas parts{schemas.groups, *schemas.type_system->counters_schema,
                          schemas.counters_id.data(), *schemas.type_system};
  DemoPages pages(options.seed, parts);
  PageFaults faults(options.faults, options.seed, options.pages, parts);
  bool good = true;
  for (uint64_t i = 0; good && i < options.pages; ++i) {
    std::vector<uint8_t> image = pages.next();
    faults.apply(i + 1, written.bytes, image);
    good = std::fwrite(image.data(), 1, image.size(), file.get()) == image.size();
    written.bytes += image.size();
  }
  written.samples = pages.samples();
  written.events = pages.events();
  written.faults = faults.placed();
  if (std::fclose(file.release()) != 0 || !good) {
    problem = path + ": cannot be written: " + std::strerror(errno);
    return false;
  }
  return true;
}

bool write_streams(const GenerateOptions& options, const DemoSchemaSet& schemas,
                   const std::string& path, WrittenPages& written, std::string& problem) {
  written.streams = make_demo_streams(options.seed);
  add_stream_faults(options.faults, options.seed, *schemas.type_system, written.streams.pages,
                    written.faults);
  std::string bytes;
  for (const std::vector<uint8_t>& page : written.streams.pages) {
    bytes.append(reinterpret_cast<const char*>(page.data()), page.size());
  }
  written.stream_bytes = bytes.size();
  return write_text_file(path, bytes, problem);
}

}  // namespace

ExitStatus generate(const GenerateOptions& options) {
  std::string dir;
  std::string problem;
  DemoSchemaSet schemas;
  WrittenPages written;
  if (!make_demo_schemas(schemas)) {
    say_error("the schemas could not be made");
    return ExitStatus::kEnvironment;
  }
  const bool good = make_directories(options, dir, problem) &&
                    write_files(dir, schemas.files, problem) &&
                    write_text_file(dir + "/type_system.json", schemas.document, problem) &&
                    write_pages(options, schemas, dir + "/pages.bin", written, problem) &&
                    write_streams(options, schemas, dir + "/streams.bin", written, problem) &&
                    write_files(dir, demo_config_files(dir), problem);
  if (!good) {
    say_error("%s", problem.c_str());
    return ExitStatus::kEnvironment;
  }
  if (options.json.json) {
    write_json(generate_json(options, dir, written), options.json);
  } else {
    write_output(generate_text(options, schemas, dir, written));
  }
  return ExitStatus::kGood;
}

void add_generate(CommandLine& line, Action& action) {
  const auto options = std::make_shared<GenerateOptions>();
  Verb verb =
      line.add_verb("generate", "Make a demonstration data set: schemas, pages and configuration");
  verb.text("--output", "DIR", options->output, "Directory to make it in").required();
  verb.number("--seed", "N", options->seed, 0, std::numeric_limits<uint64_t>::max(),
              "The same seed gives the same data")
      .shows_default();
  verb.number("--pages", "N", options->pages, 1, 10'000'000, "How many pages").shows_default();
  verb.flag("--force", options->force, "Write into a directory that is not empty");
  verb.taken_by(
      "--faults", "LIST",
      [options](const std::string& text) { options->faults = take_fault_names(text); },
      "Put faults into the recordings, and say where: all, or a list with commas of\n"
      "truncated-page, flipped-bit, unknown-schema, missing-chunk, reordered-chunk,\n"
      "counter-wrap, clock-jump");
  add_json_options(verb, options->json, "What was made, as one JSON object");
  add_color_option(verb);
  verb.when_read([options, &action] {
    if (!options->faults.empty() && options->pages < PageFaults::kLeastPages) {
      refuse("--faults", "needs at least " + std::to_string(PageFaults::kLeastPages) + " pages");
    }
    action = [options] { return generate(*options); };
  });
}

}  // namespace vek::tools
