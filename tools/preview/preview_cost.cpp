#include <array>
#include <cinttypes>
#include <cstdio>

#include "tools/base/console.h"
#include "tools/base/json_writer.h"
#include "tools/preview/preview_text.h"

namespace vek::tools {

// One page a node and interval, like an average one of the recording; series are those of an
// average source, once a node.
std::string cost_of(const PreviewRun::Result& result, uint64_t pages, const Fleet& fleet,
                    bool json) {
  const PreviewTotals& totals = *result.totals;
  const double pages_per_second =
      static_cast<double>(fleet.nodes) * 1e6 / static_cast<double>(fleet.interval_us);
  const double per_page = pages > 0 ? 1.0 / static_cast<double>(pages) : 0.0;
  const double records = static_cast<double>(totals.records) * per_page * pages_per_second;
  const double bytes = static_cast<double>(totals.bytes) * per_page * pages_per_second;
  const double sources = totals.sources.empty() ? 1.0 : static_cast<double>(totals.sources.size());
  const double series =
      static_cast<double>(totals.series.size()) / sources * static_cast<double>(fleet.nodes);
  const char* name = result.destination->name();
  if (json) {
    JsonWriter writer;
    writer.begin_object()
        .member("schema_version", kJsonSchemaVersion)
        .member("destination", name)
        .member("nodes", fleet.nodes)
        .member("interval_us", fleet.interval_us);
    writer.key("records_per_second").real(records).key("bytes_per_second").real(bytes);
    writer.member("series", static_cast<uint64_t>(series)).end_object();
    return writer.out() + "\n";
  }
  std::array<char, 160> line{};
  std::snprintf(line.data(), line.size(), ": %.0f records/s, %s/s, %s/day, %.0f series\n", records,
                readable_size(bytes).c_str(), readable_size(bytes * 86400).c_str(), series);
  return name + std::string(line.data());
}

}  // namespace vek::tools
