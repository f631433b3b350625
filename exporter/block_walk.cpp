#include "exporter/block_walk.h"

#include <algorithm>

namespace vek {
namespace {

Bytes usedBytes(const PageView& page) {
  if (page.filled <= VEK_PAGE_HEADER_SIZE) return {};
  const uint64_t used = page.filled - VEK_PAGE_HEADER_SIZE;
  return page.blocks.bytes().first(std::min<uint64_t>(used, page.blocks.size()));
}

}  // namespace

BlockWalk::BlockWalk(const PageView& page)
    : used_(usedBytes(page)),
      block_size_(page.block_size != 0 ? page.block_size : page.blocks.size()) {
  if (block_size_ < kMinRecord) used_ = {};  // no block can hold a record
}

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
