// FrameSource: takes records from a queue and makes frames of them.
#ifndef VEK_RAW_MSGPACK_API_FRAME_SOURCE_H
#define VEK_RAW_MSGPACK_API_FRAME_SOURCE_H

#include <cstdint>
#include <vector>

#include "raw_msgpack_api/chunk_id.h"
#include "raw_msgpack_api/forward_config.h"
#include "raw_msgpack_api/frame_writer.h"
#include "raw_msgpack_api/record_queue.h"
#include "utils/clock.h"

namespace vek::engine {

// Some records in flight, side by side, and what became of them.
struct Frame {
  enum class Fate : uint8_t { kOpen, kDelivered, kLost };

  // As it goes on the wire: `own`, with the entries between its first `front` bytes and the rest
  // where they are borrowed from the queue, which has them until they are settled.
  std::vector<uint8_t> own;
  size_t front = 0;
  std::vector<Bytes> borrowed;
  ChunkId chunk{};
  size_t records = 0;
  Fate fate = Fate::kOpen;
  DropReason reason{};    // of kLost
  size_t written = 0;     // on this connection
  bool was_sent = false;  // begun at least, on any connection
  uint32_t closes = 0;    // connections that ended while it was the oldest on its way
  uint64_t failures = 0;  // of these and others

  size_t size() const;
  // Its pieces behind the first `written` bytes, none of them empty.
  void unwritten(std::vector<Bytes>& pieces) const;
  // Copies what is borrowed. Throws std::bad_alloc, unchanged then.
  void keep();
};

class FrameSource {
 public:
  // The largest frame that receivers take as they are installed: they refuse more than 6,144,000
  // bytes. Only a frame of a single record is ever larger than the configured size.
  static constexpr size_t kLargestFrame = 6'000'000;
  // Of borrowed entries in one frame.
  static constexpr size_t kMostPieces = 32;

  FrameSource(const ForwardConfig& config, RecordQueue& queue);

  // Bytes of records that were taken from the queue and are in no frame yet.
  size_t left_over() const { return batch_ && left_ > 0 ? batch_->bytes_of_last(left_) : 0; }
  // Fills `frame` with the next records; false when there are none. Records that cannot be sent
  // make a frame of their own, lost from the start, as do those that memory ran out for.
  bool next(Frame& frame);
  // Makes `frame` of `count` records in flight, from the `first` on. Throws std::bad_alloc.
  void rebuild(Frame& frame, size_t first, size_t count);

 private:
  enum class Taken : uint8_t { kAdded, kFull, kLost };

  bool peek_batch();
  const RecordView* peek();
  bool borrow(Frame& frame);
  Taken add(const RecordView& record, Frame& frame);
  bool is_too_deep(const RecordView& record) const;
  void fill(Frame& frame);
  void finish(Frame& frame);

  const ForwardConfig& config_;
  RecordQueue& queue_;
  FrameWriter writer_;
  ChunkIds ids_;
  EventTime arrival_;
  const RecordBatch* batch_ = nullptr;
  size_t left_ = 0;  // records of batch_ that are in no frame yet: its last ones
  RecordView record_;
  LogRateLimit clamped_limit_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FRAME_SOURCE_H
