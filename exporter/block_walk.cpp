#include "exporter/block_walk.h"

namespace vek {

bool BlockWalk::advance(uint64_t length) {
  if (length == 0 || length > block_end() - position_) {
    end_block();
    return false;
  }
  position_ += length;
  return true;
}

bool BlockWalk::advance_schemas_block(const BlockRecord& record) {
  uint16_t length = 0;
  if (!ByteReader(record.bytes).read(offsetof(vek_schema_block_t, length), length)) {
    end_block();
    return false;
  }
  if (!advance(length)) return false;
  last_schemas_block_ = record.bytes.first(length);
  return true;
}

}  // namespace vek
