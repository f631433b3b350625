// Events: the field set of an exporter, and an events block on its way out.
#include <algorithm>
#include <cstring>

#include "exporter/block_path.h"
#include "exporter/block_walk.h"
#include "exporter/fluentbit_exporter.h"
#include "field_set/event_plan.h"
#include "utils/clock.h"
#include "utils/logger.h"

namespace vek {
namespace {

// Bytes of an events block as its header counts them; as good as infinite when that overflows.
uint64_t lengthOf(uint8_t count, uint64_t event_size) {
  uint64_t events = 0;
  uint64_t length = 0;
  if (__builtin_mul_overflow(count, event_size, &events) ||
      __builtin_add_overflow(events, sizeof(vek_event_header_t), &length)) {
    return UINT64_MAX;
  }
  return length;
}

// The whole events of a block that are there.
Bytes eventsIn(Bytes block, uint8_t count, uint64_t event_size) {
  const Bytes room = block.subspan(sizeof(vek_event_header_t));
  if (event_size == 0) return {};
  return room.first(std::min<uint64_t>(count, room.size() / event_size) * event_size);
}

void reportCutEvents(const BlockPath& path) {
  static LogRateLimit limit;
  if (!limit.due_at_level(VEK_LOG_ERROR)) return;
  VEK_LOGE("[Fluent Bit Export] [%s] events reach past their block. Skipping the rest of it.",
           path.name());
}

}  // namespace

void FluentBitExporter::createFieldSet(const vek_type_system_t* type_system,
                                       const char* fieldset_file) {
  fieldset_file_ = fieldset_file;
  if (field_set_) {
    field_set_->updateWithNewSchemas(type_system, false);
    return;
  }
  auto field_set = std::make_unique<FieldSet>();
  if (field_set->initializeFromFile(type_system, fieldset_file)) field_set_ = std::move(field_set);
}

void FluentBitExporter::takeSchemasBlock(const BlockRecord& record, BlockWalk& walk,
                                         BlockPath& path) {
  if (!walk.advance_schemas_block(record)) return;
  // A copy: a producer that still writes the page could make the block longer than it was checked
  // to be. What lies behind the entries that can be addressed is left out.
  const Bytes block = walk.last_schemas_block();
  const size_t size = std::min(block.size(), sizeof last_schemas_block_);
  last_schemas_block_ = {};
  std::memcpy(&last_schemas_block_, block.data(), size);
  last_schemas_block_.length = static_cast<uint16_t>(size);
  if (field_set_) field_set_->SaveLastSchemaBlock(&last_schemas_block_);
  path.on_schemas_block(field_set_.get());
}

// False refuses the rest of the page.
bool FluentBitExporter::exportEventsBlock(const PageView& page, const BlockRecord& record,
                                          BlockWalk& walk, const BlockPath& path) {
  if (!field_set_) {
    if (path.field_set_limit().due_at_level(VEK_LOG_ERROR)) {
      VEK_LOGE("[Fluent Bit Export] [%s] field_set_ is not set. Skipping data page.", path.name());
    }
    return false;
  }
  vek_event_header_t header;
  if (!ByteReader(record.bytes).read(0, header)) {
    reportCutEvents(path);
    walk.end_block();
    return true;
  }
  EventPlan* const plan = field_set_->findPlan(&header);
  if (!plan) {  // the reason is logged
    walk.end_block();
    return true;
  }
  packEvents(*plan, header, eventsIn(record.bytes, header.count, plan->record_size()),
             page.source_id.data());
  if (!walk.advance(lengthOf(header.count, plan->record_size()))) reportCutEvents(path);
  return true;
}

void FluentBitExporter::packEvents(EventPlan& plan, const vek_event_header_t& header, Bytes events,
                                   const char* source) {
  const uint64_t size = plan.record_size();
  const std::string_view source_text = source;
  for (; size > 0 && !events.empty(); events = events.subspan(size)) {
    send(FieldSet::packNextEvent(plan, events.data(), header.timestamp, source_text,
                                 record_layout_));
  }
}

}  // namespace vek
