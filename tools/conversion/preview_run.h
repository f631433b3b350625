// PreviewRun: pages through the exporters of a configuration, with nothing sent.
#ifndef VEK_TOOLS_CONVERSION_PREVIEW_RUN_H
#define VEK_TOOLS_CONVERSION_PREVIEW_RUN_H

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "exporter/fluentbit_exporter.h"
#include "tools/base/exit_status.h"
#include "tools/config/configuration.h"
#include "tools/config/own_schemas.h"
#include "tools/conversion/capture_engine.h"
#include "tools/conversion/record_reader.h"

namespace vek::tools {

// What one destination was given.
struct PreviewTotals {
  uint64_t records = 0;
  uint64_t bytes = 0;
  uint64_t unreadable = 0;  // buffers that are no msgpack
  std::map<std::string, std::set<ValueKind>> fields;
  std::set<std::string> not_finite;                      // fields that were NaN or infinite
  std::set<std::pair<std::string, std::string>> series;  // source and field, of numbers
  std::set<std::string> sources;
};

class PreviewRun {
 public:
  // Called for each record with the destination's name and the record as JSON.
  using OnRecord = std::function<void(const ConfiguredDestination&, const std::string&)>;

  // Enabled destinations alone. All three outlive the run.
  PreviewRun(const std::vector<ConfiguredDestination>& destinations,
             const vek_exporter_schema_manager_t& schemas, OnRecord on_record);
  ~PreviewRun();
  PreviewRun(const PreviewRun&) = delete;
  PreviewRun& operator=(const PreviewRun&) = delete;

  // Every page of the files, intact ones before damage included. Messages say what was wrong.
  ExitStatus run(const std::vector<std::string>& pages);

  uint64_t pages() const { return pages_; }
  uint64_t failed_pages() const { return failed_pages_; }
  struct Result {
    const ConfiguredDestination* destination;
    const PreviewTotals* totals;
  };
  std::vector<Result> results() const;

 private:
  class Exporter;

  OnRecord on_record_;
  const vek_exporter_schema_manager_t& schemas_;
  std::vector<std::unique_ptr<Exporter>> exporters_;
  uint64_t pages_ = 0;
  uint64_t failed_pages_ = 0;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_CONVERSION_PREVIEW_RUN_H
