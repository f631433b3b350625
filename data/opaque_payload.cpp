#include "data/opaque_payload.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "utils/logger.h"

namespace vek {

namespace {

void log_no_chunk_data(Bytes data) {
  VEK_LOGE(
      "[opaque events extractor] Unable to allocate extended event chunk data buffer of %u bytes",
      static_cast<uint32_t>(data.size()));
}

}  // namespace

bool OpaqueBuffer::append(Bytes data, uint32_t total) noexcept {
  const size_t needed = size_ + data.size();
  if (needed > capacity_) {
    const size_t wanted = std::max(needed, std::min<size_t>(total, 2 * capacity_));
    void* grown = std::realloc(bytes_.get(), wanted);
    if (!grown) {
      log_no_chunk_data(data);
      return false;
    }
    (void)bytes_.release();
    bytes_.reset(static_cast<uint8_t*>(grown));
    capacity_ = wanted;
  }
  if (!data.empty()) std::memcpy(bytes_.get() + size_, data.data(), data.size());
  size_ = needed;
  return true;
}

OpaqueChunkList::~OpaqueChunkList() {
  while (head_) {
    vek_opaque_event_chunk_t* next = head_->next;
    std::free(head_->data);
    std::free(head_);
    head_ = next;
  }
}

bool OpaqueChunkList::append(Bytes data) noexcept {
  Malloced<vek_opaque_event_chunk_t> chunk(
      static_cast<vek_opaque_event_chunk_t*>(std::calloc(1, sizeof(vek_opaque_event_chunk_t))));
  if (!chunk) {
    VEK_LOGE("[opaque events extractor] Unable to allocate extended event chunk");
    return false;
  }
  // A chunk without bytes has a buffer too: recipients copy from it without looking.
  Malloced<unsigned char> copy(
      static_cast<unsigned char*>(std::malloc(std::max<size_t>(data.size(), 1))));
  if (!copy) {
    log_no_chunk_data(data);
    return false;
  }
  if (!data.empty()) std::memcpy(copy.get(), data.data(), data.size());
  chunk->data = copy.release();
  chunk->size = static_cast<uint32_t>(data.size());
  (tail_ ? tail_->next : head_) = chunk.get();
  tail_ = chunk.release();
  return true;
}

}  // namespace vek
