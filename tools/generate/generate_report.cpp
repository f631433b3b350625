#include "tools/generate/generate_report.h"

#include "tools/base/console.h"
#include "tools/base/harmless_text.h"
#include "tools/base/json_writer.h"
#include "tools/generate/demo_config.h"
#include "tools/generate/demo_pages.h"

namespace vek::tools {
namespace {

std::string streams_line(const WrittenPages& written) {
  const DemoStreams& streams = written.streams;
  return std::to_string(streams.pages.size()) + " pages with " +
         std::to_string(streams.dictionaries) + " dictionaries and " +
         std::to_string(streams.aggregated) + " aggregated records, from " +
         std::to_string(streams.sources) + " sources\n";
}

// "fault  truncated-page   pages.bin, page 243 at byte 413456: the page ends here, ..."
std::string fault_lines(const WrittenPages& written) {
  std::string text;
  for (const PlacedFault& fault : written.faults) {
    append_cell(text, "fault", 5);
    append_cell(text, fault.name, 15);
    text += fault.file + ", page " + std::to_string(fault.page) + " at byte " +
            std::to_string(fault.offset) + ": " + fault.what + "\n";
  }
  return text;
}

}  // namespace

std::string generate_json(const GenerateOptions& options, const std::string& dir,
                          const WrittenPages& written) {
  JsonWriter json;
  json.begin_object()
      .member("schema_version", kJsonSchemaVersion)
      .member("directory", dir)
      .member("seed", options.seed)
      .member("pages", options.pages)
      .member("samples", written.samples)
      .member("events", written.events)
      .member("stream_pages", uint64_t{written.streams.pages.size()})
      .member("dictionaries", written.streams.dictionaries)
      .member("aggregated", written.streams.aggregated)
      .key("faults")
      .begin_array();
  for (const PlacedFault& fault : written.faults) {
    json.begin_object()
        .member("fault", fault.name)
        .member("file", fault.file)
        .member("page", fault.page)
        .member("offset", fault.offset)
        .member("what", fault.what)
        .end_object();
  }
  return json.end_array().end_object().out() + "\n";
}

std::string generate_text(const GenerateOptions& options, const DemoSchemaSet& schemas,
                          const std::string& dir, const WrittenPages& written) {
  uint32_t counters = vek_counters_schema_number_of_counters(schemas.type_system->counters_schema);
  std::string text = "seed " + std::to_string(options.seed) + ": " + std::to_string(options.pages) +
                     " pages, " + std::to_string(written.samples) + " samples of " +
                     std::to_string(counters) + " counters in " +
                     std::to_string(schemas.groups.size()) + " groups, " +
                     std::to_string(written.events) + " events, from " +
                     std::to_string(demo_devices().size()) + " sources\n";
  text += streams_line(written);
  text += dir + "/pages.bin  " + readable_size(static_cast<double>(written.bytes)) + "\n";
  text += dir + "/streams.bin  " + readable_size(static_cast<double>(written.stream_bytes)) + "\n";
  for (const DemoFile& schema : schemas.files) text += dir + "/" + schema.name + "\n";
  text += dir + "/type_system.json\n";
  for (const DemoFile& config : demo_config_files(dir)) text += dir + "/" + config.name + "\n";
  text += dir + "/records  (empty: the destinations of config/ and streams/ write here)\n";
  text += fault_lines(written);
  return text;
}

}  // namespace vek::tools
