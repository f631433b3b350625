// What has arrived of an extended event's payload: as one run of bytes, or as the list of its
// chunks. Memory follows the bytes that arrive, whatever total was announced.
#ifndef VEK_DATA_OPAQUE_PAYLOAD_H
#define VEK_DATA_OPAQUE_PAYLOAD_H

#include <cstdint>

#include "data/byte_reader.h"
#include "data/opaque_events_extractor.h"
#include "utils/owned.h"

namespace vek {

// One buffer that doubles as chunks arrive, up to the total.
class OpaqueBuffer {
 public:
  // `data` is at most what is missing to `total`. False, and nothing changed, when out of memory.
  bool append(Bytes data, uint32_t total) noexcept;
  // Never null.
  const void* data() const { return bytes_ ? bytes_.get() : &nothing_; }

 private:
  static constexpr uint8_t nothing_ = 0;
  Malloced<uint8_t> bytes_;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

// Private copies of the chunks, in the order of their arrival.
class OpaqueChunkList {
 public:
  OpaqueChunkList() = default;
  ~OpaqueChunkList();
  OpaqueChunkList(const OpaqueChunkList&) = delete;
  OpaqueChunkList& operator=(const OpaqueChunkList&) = delete;

  // False, with the reason logged and nothing changed, when out of memory.
  bool append(Bytes data) noexcept;
  // Null before the first chunk.
  const vek_opaque_event_chunk_t* head() const { return head_; }

 private:
  vek_opaque_event_chunk_t* head_ = nullptr;
  vek_opaque_event_chunk_t* tail_ = nullptr;
};

}  // namespace vek

#endif  // VEK_DATA_OPAQUE_PAYLOAD_H
