// Which pages an exporter takes, by their source tag.
#include <algorithm>
#include <string_view>

#include "exporter/fluentbit_exporter.h"

namespace vek {

void FluentBitExporter::setSourceTagList(const vek_string_array_t* list) {
  source_tags_.clear();
  counters_in_source_tags_ = false;
  if (!list) return;
  for (uint64_t i = 0; i < list->count; ++i) {
    source_tags_.emplace_back(list->strings[i]);
    if (source_tags_.back() == "counters") counters_in_source_tags_ = true;
  }
}

bool FluentBitExporter::passesSourceTags(const PageView& page) const {
  const std::string_view tag = page.tag_text();
  if (tag.empty()) return counters_in_source_tags_;
  return std::find(source_tags_.begin(), source_tags_.end(), tag) != source_tags_.end();
}

}  // namespace vek
