#include "raw_msgpack_api/record_batch.h"

#include <algorithm>

namespace vek::engine {

void RecordBatch::append(const RecordView& record, bool mended, uint64_t pairs) {
  const size_t offset = bytes_.size();
  bytes_.reserve(std::max(kTargetBytes, offset + record.bytes.size()));
  entries_.push_back({offset, record.bytes.size(), record.shape, record.time_offset,
                      record.body_offset, record.depth});
  bytes_.insert(bytes_.end(), record.bytes.begin(), record.bytes.end());
  if (mended) set_map_count(std::span(bytes_).subspan(offset + record.body_offset), pairs);
}

void RecordBatch::clear() {
  // One huge record must not keep its memory for ever.
  if (bytes_.capacity() > kTargetBytes) bytes_ = {};
  bytes_.clear();
  entries_.clear();
  first_ = 0;
  number_ = 0;
  is_spooled_ = false;
}

}  // namespace vek::engine
