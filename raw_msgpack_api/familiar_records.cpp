#include "raw_msgpack_api/familiar_records.h"

#include <algorithm>

namespace vek::engine {
namespace {

constexpr uint32_t kMostMisses = 256;

}  // namespace

// Neighbouring sizes are those of one layout whose numbers grow, so they go to different sets.
size_t FamiliarRecords::set_of(size_t size) { return size % kSets; }

const RecordLayout* FamiliarRecords::guess(Bytes buffer) const noexcept {
  for (const RecordLayout& layout : sets_[set_of(buffer.size())].layouts) {
    if (layout.begins(buffer)) return &layout;
  }
  return nullptr;
}

bool FamiliarRecords::find(Bytes buffer, FoundRecord& out) noexcept {
  Set& set = sets_[set_of(buffer.size())];
  for (const RecordLayout& layout : set.layouts) {
    if (!layout.fits(buffer)) continue;
    set.misses = 0;
    set.misses_to_learn = 1;
    out = layout.found(buffer);
    return true;
  }
  return false;
}

void FamiliarRecords::learn(const FoundRecord& record) noexcept {
  const size_t size = record.view.bytes.size();
  if (size > kLargest) return;
  Set& set = sets_[set_of(size)];
  if (++set.misses < set.misses_to_learn) return;
  set.misses = 0;
  set.misses_to_learn = std::min(set.misses_to_learn * 2, kMostMisses);
  set.layouts[set.oldest].learn(record);
  set.oldest = (set.oldest + 1) % kWays;
}

}  // namespace vek::engine
