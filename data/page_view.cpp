#include "data/page_view.h"

#include <atomic>
#include <cstddef>
#include <cstring>

#include "utils/unaligned.h"

namespace vek {

PageView::PageView(const vek_data_page_t* page) {
  const auto* const bytes = reinterpret_cast<const uint8_t*>(page);
  version = load_once<uint8_t>(bytes + offsetof(vek_data_page_t, version));
  minor_version = load_once<uint8_t>(bytes + offsetof(vek_data_page_t, minor_version));
  total = load_once<uint64_t>(bytes + offsetof(vek_data_page_t, total));
  filled = load_once<uint64_t>(bytes + offsetof(vek_data_page_t, filled));
  block_size = load_once<uint64_t>(bytes + offsetof(vek_data_page_t, block_size));
  std::memcpy(source_id.data(), bytes + offsetof(vek_data_page_t, data_source.source_id),
              VEK_PAGE_SOURCE_ID_SIZE);
  std::memcpy(tag.data(), bytes + offsetof(vek_data_page_t, data_source.tag), VEK_PAGE_TAG_SIZE);
  std::memcpy(schema_id.data(), bytes + offsetof(vek_data_page_t, schema_id), VEK_SCHEMA_ID_SIZE);
  // Keeps the compiler from going back to the page for what was copied.
  std::atomic_signal_fence(std::memory_order_acq_rel);
  if (total > VEK_PAGE_HEADER_SIZE) {
    blocks = ByteReader(reinterpret_cast<const uint8_t*>(page) + VEK_PAGE_HEADER_SIZE,
                        total - VEK_PAGE_HEADER_SIZE);
  }
}

}  // namespace vek
