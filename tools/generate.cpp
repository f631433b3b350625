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
#include "tools/demo_events.h"
#include "tools/demo_pages.h"
#include "tools/text_file.h"
#include "tools/whole_number.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

namespace fs = std::filesystem;

// The schemas as their users meet them: objects, files, and a document that holds them all.
struct DemoData {
  std::vector<DemoGroup> groups;
  Owned<vek_type_system_t, vek_destroy_type_system> type_system;
  std::array<uint8_t, VEK_SCHEMA_ID_SIZE> counters_id{};
  std::vector<DemoFile> schema_files;
  std::string type_system_text;
};

// Every schema file is named by the digest of its own text, which is what pages carry.
bool add_schema_file(DemoData& data, const JsonText& text, uint8_t* id) {
  if (!text || !vek_get_schema_id_from_pretty_json_string(text.get(), id)) return false;
  std::array<char, VEK_SCHEMA_ID_TEXT_SIZE> id_text{};
  vek_schema_id_to_schema_string(id, id_text.data());
  data.schema_files.push_back(
      {std::string("schemas/schema_") + id_text.data() + ".json", text.get()});
  return true;
}

bool make_counters(DemoData& data) {
  data.groups = demo_groups();
  const OwnedCountersSchema schema = demo_counters_schema(data.groups);
  if (!schema) return false;
  const JsonText text(vek_counters_schema_serialize(schema.get()));
  if (!add_schema_file(data, text, data.counters_id.data())) return false;
  // A bare counters schema document is a type system without events.
  data.type_system.reset(vek_type_system_deserialize(text.get()));
  return data.type_system != nullptr;
}

bool make_events(DemoData& data) {
  if (!add_demo_events(*data.type_system)) return false;
  for (uint8_t i = 0; i < data.type_system->num_schemas; ++i) {
    const JsonValue json(vek_schema_jsonify(data.type_system->schemas[i]));
    const JsonText text(json_serialize_to_string_pretty(json.get()));
    std::array<uint8_t, VEK_SCHEMA_ID_SIZE> id{};
    if (!add_schema_file(data, text, id.data())) return false;
  }
  return true;
}

bool make_schemas(DemoData& data) {
  if (!make_counters(data) || !make_events(data)) return false;
  const JsonText text(vek_type_system_serialize(data.type_system.get(), true));
  if (!text) return false;
  data.type_system_text = text.get();
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

bool write_files(const std::string& dir, const std::vector<DemoFile>& files, std::string& problem) {
  for (const DemoFile& file : files) {
    if (!write_text_file(dir + "/" + file.name, file.text, problem)) return false;
  }
  return true;
}

struct WrittenPages {
  uint64_t bytes = 0;
  uint64_t samples = 0;
  uint64_t events = 0;
};

bool write_pages(const GenerateOptions& options, const DemoData& data, const std::string& path,
                 WrittenPages& written, std::string& problem) {
  File file(std::fopen(path.c_str(), "we"));
  if (!file) {
    problem = path + ": cannot be created: " + std::strerror(errno);
    return false;
  }
  DemoPages pages(options.seed, {data.groups, *data.type_system->counters_schema,
                                 data.counters_id.data(), *data.type_system});
  bool good = true;
  for (uint64_t i = 0; good && i < options.pages; ++i) {
    const std::vector<uint8_t> image = pages.next();
    good = std::fwrite(image.data(), 1, image.size(), file.get()) == image.size();
    written.bytes += image.size();
  }
  written.samples = pages.samples();
  written.events = pages.events();
  if (std::fclose(file.release()) != 0 || !good) {
    problem = path + ": cannot be written: " + std::strerror(errno);
    return false;
  }
  return true;
}

void print_result(const GenerateOptions& options, const DemoData& data, const std::string& dir,
                  const WrittenPages& written) {
  uint32_t counters = vek_counters_schema_number_of_counters(data.type_system->counters_schema);
  std::string text = "seed " + std::to_string(options.seed) + ": " + std::to_string(options.pages) +
                     " pages, " + std::to_string(written.samples) + " samples of " +
                     std::to_string(counters) + " counters in " +
                     std::to_string(data.groups.size()) + " groups, " +
                     std::to_string(written.events) + " events, from " +
                     std::to_string(demo_devices().size()) + " sources\n";
  text += dir + "/pages.bin  " + readable_size(static_cast<double>(written.bytes)) + "\n";
  for (const DemoFile& schema : data.schema_files) text += dir + "/" + schema.name + "\n";
  text += dir + "/type_system.json\n";
  for (const DemoFile& config : demo_config_files(dir)) text += dir + "/" + config.name + "\n";
  text += dir + "/records  (empty: the destinations of config/ write here)\n";
  write_output(text);
}

}  // namespace

ExitStatus generate(const GenerateOptions& options) {
  std::string dir;
  std::string problem;
  DemoData data;
  WrittenPages written;
  if (!make_schemas(data)) {
    say_error("the schemas could not be made");
    return ExitStatus::kEnvironment;
  }
  const bool good = make_directories(options, dir, problem) &&
                    write_files(dir, data.schema_files, problem) &&
                    write_text_file(dir + "/type_system.json", data.type_system_text, problem) &&
                    write_pages(options, data, dir + "/pages.bin", written, problem) &&
                    write_files(dir, demo_config_files(dir), problem);
  if (!good) {
    say_error("%s", problem.c_str());
    return ExitStatus::kEnvironment;
  }
  print_result(options, data, dir, written);
  return ExitStatus::kGood;
}

void add_generate(CLI::App& app, Action& action) {
  const auto options = std::make_shared<GenerateOptions>();
  CLI::App* verb = app.add_subcommand(
      "generate", "Make a demonstration data set: schemas, pages and configuration");
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
