#include "tools/replay/filtered_records.h"

#include <algorithm>
#include <string_view>

#include "utils/output_rules.h"

namespace vek::tools {
namespace {

bool takes_tag(const vek_string_array_t* tags, std::string_view tag) {
  if (!tags || tags->count == 0) return true;
  const std::string_view wanted = tag.empty() ? "counters" : tag;
  return std::any_of(tags->strings, tags->strings + tags->count,
                     [&](const char* listed) { return wanted == listed; });
}

bool has_spool(const fluentbit_exporter_config_t& config) {
  for (int32_t i = 0; config.params && i < config.params->count; ++i) {
    if (same_word(config.params->params[i].name, "storage.path")) return true;
  }
  return false;
}

}  // namespace

void add_filtered(const fluentbit_exporter_config_t& config, const OfferedRecords& offered,
                  DestinationAccount& account) {
  if (offered.has_uncounted || has_spool(config)) return;
  uint64_t of_tags = 0;
  uint64_t rest = 0;
  for (const auto& [tag, records] : offered.by_tag) {
    (takes_tag(config.source_tag_list, tag) ? rest : of_tags) += records;
  }
  if (rest < account.accepted) return;  // its engine got records from somewhere else
  account.filtered.emplace();
  if (of_tags > 0) account.filtered->emplace_back("source_tag", of_tags);
  if (rest > account.accepted) {
    account.filtered->emplace_back("not_exported", rest - account.accepted);
  }
}

}  // namespace vek::tools
