// FrameWindow: the frames between a queue and a receiver, oldest first: made of the queue's
// records, written, and settled with the queue when the receiver has acknowledged them.
//
// A frame keeps its bytes and its chunk id however often it is sent. Frames that do not make it are
// sent again in the same order on the next connection, except for one that a receiver can't stand:
//
// - A frame on which the receiver closed kClosesToSuspect connections, while it was the oldest one
//   without acknowledgement, is suspect. That is no proof yet: a receiver whose disk is full closes
//   on anything. So from then on a frame that was delivered lately is sent once more in front of
//   it, and only a connection that acknowledges the one and ends with the other proves something.
// - A suspect that is proven is split in halves, which are suspect too, down to a single record;
//   that record is given up.
// - Where nothing was ever delivered there is no such frame to send. After kClosesWithoutProof a
//   suspect is split all the same, and a single record is overtaken by a frame from behind it to
//   see whether that one passes. Only there may records arrive in another order.
#ifndef VEK_RAW_MSGPACK_API_FRAME_WINDOW_H
#define VEK_RAW_MSGPACK_API_FRAME_WINDOW_H

#include <deque>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "raw_msgpack_api/chunk_id.h"
#include "raw_msgpack_api/dead_letter_file.h"
#include "raw_msgpack_api/drop_report.h"
#include "raw_msgpack_api/forward_config.h"
#include "raw_msgpack_api/frame_source.h"
#include "raw_msgpack_api/record_queue.h"

namespace vek::engine {

class FrameWindow {
 public:
  // A receiver is slowed down by reading, and a sender by acknowledgements that it leaves unread:
  // neither has more than this to catch up with.
  static constexpr size_t kMostFrames = 32;
  static constexpr uint32_t kClosesToSuspect = 3;
  static constexpr uint32_t kClosesWithoutProof = 10;

  // All borrowed.
  FrameWindow(const ForwardConfig& config, RecordQueue& queue);

  bool empty() const { return frames_.empty(); }
  // True when records of the queue are in its hands, in frames or not.
  bool has_work() const { return !empty() || source_.left_over() > 0; }
  // Makes frames of what waits: as many as there is room for, of full size; a smaller one too where
  // nothing else is on its way, or with `flush`. Throws std::bad_alloc, with nothing lost.
  void fill(bool flush);
  // Bytes that have to wait in the queue for fill() to do anything.
  size_t wants() const;

  // What to write next on this connection, in pieces; none: nothing for now. The same until all of
  // it is written, as TLS demands.
  std::span<const Bytes> next_to_write();
  // So much of it was.
  void wrote(size_t bytes);
  // Frames that were begun on this connection and are not acknowledged.
  bool awaits_answer() const { return !sent_.empty(); }
  // False when the oldest of them is another one, or not written whole.
  bool acknowledge(std::string_view chunk);
  // Frames that arrived on this connection.
  size_t arrived() const { return arrived_; }
  // The connection is gone; `closed`: the receiver ended it.
  void connection_ended(bool closed);

 private:
  static constexpr size_t kLargestKept = 1'000'000;  // bytes of last_
  static constexpr size_t kKeptFor = 64;             // deliveries

  bool has_suspect() const;
  bool takes_any() const;
  Frame* choose();
  Frame* choose_trial();
  void deliver(Frame& frame);
  void settle();
  void remember(std::unique_ptr<Frame> frame);
  void blame(Frame& frame);
  void split(const Frame& frame);
  void give_up(Frame& frame, DropReason reason);
  bool is_full() const;

  const ForwardConfig& config_;
  RecordQueue& queue_;
  DropReport report_;
  DeadLetterFile dead_letters_;
  FrameSource source_;
  std::deque<std::unique_ptr<Frame>> frames_;
  size_t bytes_ = 0;             // of frames_
  std::deque<Frame*> sent_;      // on this connection and not acknowledged
  Frame* writing_ = nullptr;     // the last of sent_, until it is written whole
  std::vector<Bytes> pieces_;    // of writing_
  std::unique_ptr<Frame> last_;  // delivered before frames_, with bytes of its own
  size_t deliveries_ = 0;        // since then
  Frame* trial_ = nullptr;       // sent in front of a suspect on this connection
  size_t trials_ = 0;
  size_t arrived_ = 0;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FRAME_WINDOW_H
