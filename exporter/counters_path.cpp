// Counters: the counter sets of an exporter, and a counters block on its way out.
#include "counters/counters_msgpack.h"
#include "exporter/block_path.h"
#include "exporter/fluentbit_exporter.h"
#include "utils/clock.h"
#include "utils/logger.h"

namespace vek {

vek_counter_set_t* FluentBitExporter::getCset(const vek_counters_schema_t* schema,
                                              const char* counterset_file) {
  return csets_.get(schema, counterset_file).set;
}

void FluentBitExporter::createCounterSet(const vek_counters_schema_t* schema,
                                         const char* counterset_file) {
  counterset_file_ = counterset_file;
  counter_set_ = getCset(schema, counterset_file);
}

void FluentBitExporter::freeCounterSets() {
  csets_.clear();
  counter_set_ = nullptr;
}

void FluentBitExporter::freeCounterSet() { counter_set_ = nullptr; }

void FluentBitExporter::exportCountersBlock(const PageView& page, Bytes block, BlockPath& path) {
  static LogRateLimit too_short;
  const BoundCounterSet counters = path.counter_set();
  if (!counters.set) {
    VEK_LOGD("[Fluent Bit Export] [%s] no counters schema. Skipping counters block.", path.name());
    return;
  }
  if (block.size() < counters.block_extent) {
    if (too_short.due_at_level(VEK_LOG_ERROR)) {
      VEK_LOGE(
          "[Fluent Bit Export] [%s] counters reach past their block (%zu bytes, %lu needed). "
          "Skipping counters block.",
          path.name(), block.size(), counters.block_extent);
    }
    return;
  }
  send(pack_counters_block(*counters.packer, block.data(), counters.set, page.source_id.data(),
                           record_layout_));
}

}  // namespace vek
