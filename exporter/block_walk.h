// BlockWalk: the blocks of one page, record by record.
//
// A page's used bytes are cut at block boundaries; a block holds records (counters, events,
// schemas) that begin with a magic value. The walk knows boundaries and magic values, not what lies
// behind them: whoever handles a record says how far it reaches. Nothing outside the page's
// `filled` and `total` is ever handed out, whatever the header claims.
#ifndef VEK_EXPORTER_BLOCK_WALK_H
#define VEK_EXPORTER_BLOCK_WALK_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "data/byte_reader.h"
#include "data/data_page.h"
#include "data/page_view.h"

namespace vek {

struct BlockRecord {
  vek_data_block_type_t type = VEK_UNKNOWN_BLOCK;
  Bytes bytes;  // from the record's magic value to the end of its block
};

class BlockWalk {
 public:
  explicit BlockWalk(const PageView& page);

  // The record at hand; false behind the last one. After each, say where to go on:
  [[nodiscard]] bool current(BlockRecord& out);
  // ... behind `length` bytes of it. A length that does not advance, or leaves the block, ends the
  // block and answers false.
  bool advance(uint64_t length);
  // ... behind a schemas block, by its own length, which makes it the page's last schemas block.
  // False as above.
  bool advance_schemas_block(const BlockRecord& record);
  // ... at the next block boundary.
  void end_block();

  // Empty until the page has had a schemas block; applies to the events blocks behind it.
  Bytes last_schemas_block() const { return last_schemas_block_; }

 private:
  static constexpr size_t kMinRecord = 5;  // fewer bytes at a block's end are padding

  static Bytes used_bytes(const PageView& page) {
    if (page.filled <= VEK_PAGE_HEADER_SIZE) return {};
    const uint64_t used = page.filled - VEK_PAGE_HEADER_SIZE;
    return page.blocks.bytes().first(std::min<uint64_t>(used, page.blocks.size()));
  }
  size_t block_end() const {
    return block_start_ + std::min<uint64_t>(block_size_, used_.size() - block_start_);
  }

  Bytes used_;
  uint64_t block_size_;
  size_t block_start_ = 0;
  size_t position_ = 0;
  Bytes last_schemas_block_;
};

inline BlockWalk::BlockWalk(const PageView& page)
    : used_(used_bytes(page)),
      block_size_(page.block_size != 0 ? page.block_size : page.blocks.size()) {
  if (block_size_ < kMinRecord) used_ = {};  // no block can hold a record
}

inline bool BlockWalk::current(BlockRecord& out) {
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

inline void BlockWalk::end_block() {
  block_start_ = block_end();
  position_ = block_start_;
}

}  // namespace vek

#endif  // VEK_EXPORTER_BLOCK_WALK_H
