#include "exporter/block_walk.h"

#include <algorithm>

namespace vek {
namespace {

constexpr size_t kMinRecord = 5;  // fewer bytes at a block's end are padding

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

size_t BlockWalk::block_end() const {
  return block_start_ + std::min<uint64_t>(block_size_, used_.size() - block_start_);
}

bool BlockWalk::current(BlockRecord& out) {
  while (block_start_ < used_.size()) {
    const size_t left = block_end() - position_;
    if (left >= kMinRecord) {
      out.bytes = used_.subspan(position_, left);
      out.type = vek_data_block_get_type(out.bytes.data());
      return true;
    }
    end_block();
  }
  return false;
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

void BlockWalk::end_block() {
  block_start_ = block_end();
  position_ = block_start_;
}

}  // namespace vek
