#include "data/page_view.h"

#include <atomic>
#include <cstring>

namespace vek {

PageView::PageView(const vek_data_page_t* page) {
  vek_data_page_t header;
  std::memcpy(&header, page, offsetof(vek_data_page_t, reserved_160));
  // Keeps the compiler from going back to the page for a field of the copy.
  std::atomic_signal_fence(std::memory_order_acq_rel);

  version = header.version;
  minor_version = header.minor_version;
  total = header.total;
  filled = header.filled;
  block_size = header.block_size;
  std::memcpy(source_id.data(), header.data_source.source_id, VEK_PAGE_SOURCE_ID_SIZE);
  std::memcpy(tag.data(), header.data_source.tag, VEK_PAGE_TAG_SIZE);
  std::memcpy(schema_id.data(), header.schema_id, VEK_SCHEMA_ID_SIZE);
  if (total > VEK_PAGE_HEADER_SIZE) {
    blocks = ByteReader(reinterpret_cast<const uint8_t*>(page) + VEK_PAGE_HEADER_SIZE,
                        total - VEK_PAGE_HEADER_SIZE);
  }
}

}  // namespace vek
