#include "data/opaque_page_walk.h"

#include <algorithm>
#include <atomic>
#include <string_view>

#include "utils/logger.h"

namespace vek {

namespace {

constexpr uint8_t kVersion = 1;
constexpr uint8_t kFirstMinorVersion = 7;  // the first whose pages carry opaque events

enum class Step { kGoOn, kEnd, kFail };

const char* name_of(const vek_type_definition_t& type) { return type.name ? type.name : ""; }

bool is_opaque(const vek_type_definition_t& type) {
  return std::string_view(name_of(type)).starts_with(VEK_OPAQUE_EVENT_TYPE_PREFIX);
}

// False when the length is beyond what a page can say of itself.
bool block_length(const vek_event_header_t& block, uint64_t event_size, int64_t& out) {
  int64_t events = 0;
  return !__builtin_mul_overflow(event_size, block.count, &events) &&
         !__builtin_add_overflow(events, VEK_BLOCK_HEADER_SIZE, &out);
}

class PageWalk {
 public:
  PageWalk(const PageView& page, const vek_opaque_type_lookup_t& lookup, OpaqueEventSink& sink)
      : page_(page), lookup_(lookup), sink_(sink) {}

  bool run();

 private:
  ByteReader left() const { return ByteReader(page_.blocks.rest(at_)); }
  Step block();
  Step schemas_block();
  Step events_block();
  bool take_events(const vek_event_header_t& block, uint64_t event_size);
  Step advance(uint64_t length);
  Step end_at(vek_data_block_type_t type) const;

  const PageView& page_;
  const vek_opaque_type_lookup_t& lookup_;
  OpaqueEventSink& sink_;
  uint64_t at_ = 0;  // from the end of the page header
  const vek_schema_block_t* schemas_ = nullptr;
};

bool PageWalk::run() {
  Step step = Step::kGoOn;
  while (step == Step::kGoOn && at_ < page_.blocks.size()) step = block();
  return step != Step::kFail;
}

Step PageWalk::block() {
  char magic[4];
  const vek_data_block_type_t type =
      left().read(0, magic) ? vek_data_block_get_type(magic) : VEK_UNKNOWN_BLOCK;
  switch (type) {
    case VEK_SCHEMAS_BLOCK:
      return schemas_block();
    case VEK_COUNTERS_BLOCK:
      VEK_LOGE("[opaque events extractor] unexpected VEK_COUNTERS_BLOCK found");
      return Step::kFail;
    case VEK_EVENTS_BLOCK: {
      const Step step = events_block();
      if (step == Step::kFail) {
        VEK_LOGE("[opaque events extractor] events block processing failed");
      }
      return step;
    }
    default:
      return end_at(type);
  }
}

Step PageWalk::end_at(vek_data_block_type_t type) const {
  VEK_LOGD(
      "[opaque events extractor] unexpected block type %d (filled=%lu, processed=%lu, total=%lu)",
      static_cast<int>(type), page_.filled, at_, page_.blocks.size());
  return Step::kEnd;
}

Step PageWalk::schemas_block() {
  VEK_LOGD("[opaque events extractor] VEK_SCHEMAS_BLOCK found");
  uint16_t length = 0;
  if (!left().read(offsetof(vek_schema_block_t, length), length) ||
      length < VEK_BLOCK_HEADER_SIZE || length > left().size()) {
    VEK_LOGE("[opaque events extractor] Bad schemas block (length %u, %zu bytes left)", length,
             left().size());
    return Step::kFail;
  }
  schemas_ = reinterpret_cast<const vek_schema_block_t*>(left().bytes().data());
  return advance(length);
}

Step PageWalk::events_block() {
  vek_event_header_t block;
  if (!left().read(0, block)) {
    VEK_LOGE("[opaque events extractor] Bad opaque event block (%lu < %ld)", left().size(),
             static_cast<long>(VEK_BLOCK_HEADER_SIZE));
    return Step::kFail;
  }
  // Keeps the compiler from going back to the page for a field of the copy.
  std::atomic_signal_fence(std::memory_order_acq_rel);

  const vek_type_definition_t* type =
      lookup_.find(lookup_.context, schemas_,
                   reinterpret_cast<const vek_event_header_t*>(left().bytes().data()));
  if (!type) {
    VEK_LOGE(
        "[opaque events extractor] Unable to get type_definition for schema_index:%u type_index:%u",
        block.schema_index, block.type_index);
    return Step::kFail;
  }
  if (!is_opaque(*type)) {
    VEK_LOGD("[opaque events extractor] %s is not an opaque data page. Skipping.", name_of(*type));
  } else if (!take_events(block, type->size)) {
    return Step::kFail;
  }
  int64_t length = 0;
  if (!block_length(block, type->size, length)) return Step::kFail;
  return advance(static_cast<uint64_t>(length));
}

bool PageWalk::take_events(const vek_event_header_t& block, uint64_t event_size) {
  const ByteReader reader = left();
  const Bytes room = reader.rest(VEK_BLOCK_HEADER_SIZE);
  const uint64_t count =
      event_size == 0 ? block.count : std::min<uint64_t>(block.count, room.size() / event_size);
  if (!sink_.take(page_, room.first(count * event_size), event_size, count)) {
    VEK_LOGE("[opaque events extractor] Unable to handle a relevant opaque event");
    return false;
  }
  if (count == block.count) return true;
  VEK_LOGE("[opaque events extractor] Bad opaque event block (%lu < %ld)", reader.size(),
           static_cast<long>(VEK_BLOCK_HEADER_SIZE + (count + 1) * event_size));
  return false;
}

// Only a block that was stepped over can reach past the end: nothing of it was read, and nothing
// can follow it.
Step PageWalk::advance(uint64_t length) {
  if (length > left().size()) return Step::kEnd;
  at_ += length;
  return Step::kGoOn;
}

}  // namespace

bool walk_opaque_page(const PageView& page, const vek_opaque_type_lookup_t& lookup,
                      OpaqueEventSink& sink) {
  if (page.version != kVersion || page.minor_version < kFirstMinorVersion) {
    VEK_LOGW("[opaque events extractor] Received incompatible data page. Skipping.");
    return false;
  }
  if (page.is_empty()) {
    VEK_LOGW("[opaque events extractor] Received empty data page. Skipping.");
    return false;
  }
  return PageWalk(page, lookup, sink).run();
}

}  // namespace vek
