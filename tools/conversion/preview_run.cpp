#include "tools/conversion/preview_run.h"

#include <algorithm>

#include "exporter/exporters_array.h"
#include "tools/base/console.h"
#include "tools/base/signals.h"
#include "tools/pages/page_file.h"

namespace vek::tools {

class PreviewRun::Exporter : public RecordSink {
 public:
  Exporter(const ConfiguredDestination& destination, const OnRecord& on_record)
      : destination_(destination), on_record_(on_record), exporter_(capture_engine(*this)) {
    configure_exporter(exporter_, *destination.config);
    exporter_.connectToFlb();
  }

  void on_records(Bytes buffer) override {
    RecordReader reader(buffer);
    std::string json;
    totals_.bytes += buffer.size();
    while (reader.next(json)) {
      ++totals_.records;
      note_fields(reader);
      if (on_record_) on_record_(destination_, json);
    }
    if (reader.is_broken()) ++totals_.unreadable;
  }

  bool take(const vek_data_page_t* page, const vek_exporter_schema_manager_t& schemas) {
    return exporter_.exportDataPage(page, &schemas);
  }
  Result result() const { return {&destination_, &totals_}; }

 private:
  void note_fields(const RecordReader& reader) {
    const std::string source(reader.text_of("source"));
    totals_.sources.insert(source);
    for (const SeenField& field : reader.fields()) {
      totals_.fields[field.name].insert(field.kind);
      if (field.is_nan) totals_.not_finite.insert(field.name);
      const bool is_number = field.kind == ValueKind::kInteger || field.kind == ValueKind::kReal;
      if (is_number && field.name != "timestamp") totals_.series.emplace(source, field.name);
    }
  }

  const ConfiguredDestination& destination_;
  const OnRecord& on_record_;
  PreviewTotals totals_;
  FluentBitExporter exporter_;  // last: it hands records over until it goes
};

PreviewRun::PreviewRun(const std::vector<ConfiguredDestination>& destinations,
                       const vek_exporter_schema_manager_t& schemas, OnRecord on_record)
    : on_record_(std::move(on_record)), schemas_(schemas) {
  for (const ConfiguredDestination& destination : destinations) {
    if (!destination.is_enabled()) continue;
    exporters_.push_back(std::make_unique<Exporter>(destination, on_record_));
  }
}

PreviewRun::~PreviewRun() = default;

ExitStatus PreviewRun::run(const std::vector<std::string>& pages) {
  ExitStatus status = ExitStatus::kGood;
  for (const std::string& path : pages) {
    PageFile file;
    PageFile::Result result = PageFile::Result::kReadFailed;
    if (file.open(path)) {
      while ((result = file.next()) == PageFile::Result::kPage && !stop_requested()) {
        ++pages_;
        const auto failed = std::count_if(
            exporters_.begin(), exporters_.end(),
            [&](const auto& exporter) { return !exporter->take(file.page(), schemas_); });
        if (failed > 0) ++failed_pages_;
      }
    }
    if (stop_requested()) return ExitStatus::kBad;
    if (result == PageFile::Result::kEnd) continue;
    say_error("%s", file.problem().c_str());
    if (status != ExitStatus::kEnvironment) {
      status = result == PageFile::Result::kDamaged ? ExitStatus::kBad : ExitStatus::kEnvironment;
    }
  }
  if (failed_pages_ > 0 && status == ExitStatus::kGood) status = ExitStatus::kBad;
  return status;
}

std::vector<PreviewRun::Result> PreviewRun::results() const {
  std::vector<Result> results;
  for (const auto& exporter : exporters_) results.push_back(exporter->result());
  return results;
}

}  // namespace vek::tools
