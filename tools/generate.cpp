#include "tools/generate.h"

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>

#include "data/md5.h"
#include "data/schema_id.h"
#include "data/type_system.h"
#include "json/json_owned.h"
#include "tools/console.h"
#include "tools/demo_config.h"
#include "tools/demo_counters.h"
#include "tools/demo_pages.h"
#include "tools/text_file.h"
#include "tools/whole_number.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

namespace fs = std::filesystem;

// What the counters schema is to its users: a text, its digest, and a document that wraps it.
struct DemoSchema {
  std::vector<DemoGroup> groups;
  OwnedCountersSchema schema;
  std::string text;
  std::string type_system_text;
  std::array<uint8_t, VEK_SCHEMA_ID_SIZE> id{};
  std::array<char, VEK_SCHEMA_ID_TEXT_SIZE> id_text{};
};

bool make_schema(DemoSchema& out) {
  out.groups = demo_groups();
  out.schema = demo_counters_schema(out.groups);
  if (!out.schema) return false;
  const JsonText text(vek_counters_schema_serialize(out.schema.get()));
  if (!text) return false;
  out.text = text.get();
  // A bare counters schema document is a type system without events.
  const Owned<vek_type_system_t, vek_destroy_type_system> type_system(
      vek_type_system_deserialize(text.get()));
  if (!type_system) return false;
  const JsonText wrapped(vek_type_system_serialize(type_system.get(), true));
  if (!wrapped) return false;
  out.type_system_text = wrapped.get();
  if (!vek_get_schema_id_from_pretty_json_string(text.get(), out.id.data())) return false;
  vek_schema_id_to_schema_string(out.id.data(), out.id_text.data());
  return true;
}

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
  for (const char* sub : {"schemas", "config", "records"}) {
    if (!error) fs::create_directories(output / sub, error);
  }
  if (error) problem = options.output + ": cannot be made: " + error.message();
  return !error;
}

struct WrittenPages {
  uint64_t bytes = 0;
  uint64_t records = 0;
};

bool write_pages(const GenerateOptions& options, const DemoSchema& schema, const std::string& path,
                 WrittenPages& written, std::string& problem) {
  File file(std::fopen(path.c_str(), "we"));
  if (!file) {
    problem = path + ": cannot be created: " + std::strerror(errno);
    return false;
  }
  DemoPages pages(options.seed, schema.groups, *schema.schema, schema.id.data());
  bool good = true;
  for (uint64_t i = 0; good && i < options.pages; ++i) {
    const std::vector<uint8_t> image = pages.next();
    good = std::fwrite(image.data(), 1, image.size(), file.get()) == image.size();
    written.bytes += image.size();
  }
  written.records = pages.records();
  if (std::fclose(file.release()) != 0 || !good) {
    problem = path + ": cannot be written: " + std::strerror(errno);
    return false;
  }
  return true;
}

void print_result(const GenerateOptions& options, const DemoSchema& schema, const std::string& dir,
                  const WrittenPages& written) {
  uint32_t counters = vek_counters_schema_number_of_counters(schema.schema.get());
  std::string text = "seed " + std::to_string(options.seed) + ": " + std::to_string(options.pages) +
                     " pages, " + std::to_string(written.records) + " samples of " +
                     std::to_string(counters) + " counters in " +
                     std::to_string(schema.groups.size()) + " groups, from " +
                     std::to_string(demo_devices().size()) + " sources\n";
  text += dir + "/pages.bin  " + readable_size(static_cast<double>(written.bytes)) + "\n";
  text += dir + "/schemas/schema_" + schema.id_text.data() + ".json\n";
  text += dir + "/type_system.json\n";
  for (const DemoFile& config : demo_config_files(dir)) text += dir + "/" + config.name + "\n";
  text += dir + "/records  (empty: the destinations of config/ write here)\n";
  write_output(text);
}

}  // namespace

ExitStatus generate(const GenerateOptions& options) {
  std::string dir;
  std::string problem;
  DemoSchema schema;
  WrittenPages written;
  if (!make_schema(schema)) {
    say_error("the counters schema could not be made");
    return ExitStatus::kEnvironment;
  }
  bool good = make_directories(options, dir, problem) &&
              write_text_file(dir + "/schemas/schema_" + schema.id_text.data() + ".json",
                              schema.text, problem) &&
              write_text_file(dir + "/type_system.json", schema.type_system_text, problem) &&
              write_pages(options, schema, dir + "/pages.bin", written, problem);
  if (good) {
    for (const DemoFile& config : demo_config_files(dir)) {
      good = good && write_text_file(dir + "/" + config.name, config.text, problem);
    }
  }
  if (!good) {
    say_error("%s", problem.c_str());
    return ExitStatus::kEnvironment;
  }
  print_result(options, schema, dir, written);
  return ExitStatus::kGood;
}

void add_generate(CLI::App& app, Action& action) {
  const auto options = std::make_shared<GenerateOptions>();
  CLI::App* verb = app.add_subcommand(
      "generate", "Make a demonstration data set: schema, pages and configuration");
  verb->add_option("--output", options->output, "Directory to make it in")
      ->required()
      ->type_name("DIR");
  verb->add_option("--seed", options->seed, "The same seed gives the same data")
      ->check(whole_number(0, std::numeric_limits<uint64_t>::max()))
      ->capture_default_str()
      ->type_name("N");
  verb->add_option("--pages", options->pages, "How many pages")
      ->check(whole_number(1, 10'000'000))
      ->capture_default_str()
      ->type_name("N");
  verb->add_flag("--force", options->force, "Write into a directory that is not empty");
  verb->callback([options, &action] { action = [options] { return generate(*options); }; });
}

}  // namespace vek::tools
