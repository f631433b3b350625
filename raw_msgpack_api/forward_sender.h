// ForwardSender: keeps a link to a receiver and the frames of a queue moving over it.
//
// One loop around one poll(2) does everything: it sleeps until the receiver, the queue or a time
// limit has something for it, and costs nothing while there is nothing to do. While records flow it
// naps instead: neither each record nor each acknowledgement wakes it, which would cost the thread
// that adds records a system call and perhaps its processor, and both sides more than the records
// do.
//
// Every failure ends the connection: a late acknowledgement on it would be taken for that of
// another frame. What was not acknowledged is sent again on the next one, after a pause.
#ifndef VEK_RAW_MSGPACK_API_FORWARD_SENDER_H
#define VEK_RAW_MSGPACK_API_FORWARD_SENDER_H

#include <string>

#include "raw_msgpack_api/ack_reader.h"
#include "raw_msgpack_api/backoff.h"
#include "raw_msgpack_api/forward_config.h"
#include "raw_msgpack_api/forward_link.h"
#include "raw_msgpack_api/frame_window.h"
#include "raw_msgpack_api/record_queue.h"
#include "raw_msgpack_api/wake_fd.h"
#include "utils/clock.h"

namespace vek::engine {

class ForwardSender {
 public:
  // All borrowed; `tls` may be null.
  ForwardSender(const ForwardConfig& config, const TlsClient* tls, const WakeFd& wake,
                RecordQueue& queue);
  ~ForwardSender();
  ForwardSender(const ForwardSender&) = delete;
  ForwardSender& operator=(const ForwardSender&) = delete;

  // Until the queue is over.
  void run();

 private:
  void step();
  void approach();
  void exchange();
  bool read_replies();
  bool take_replies(Bytes bytes);
  bool write_frames();
  void note_progress();
  void fail(bool closed, std::string why);
  void sleep();
  bool has_work() const;
  Clock::time_point next_event() const;
  size_t bytes_to_wake_for() const;
  bool may_nap() const;
  size_t burst() const;

  const ForwardConfig& config_;
  const WakeFd& wake_;
  RecordQueue& queue_;
  ForwardLink link_;
  FrameWindow window_;
  AckReader replies_;
  Backoff backoff_;
  Clock::time_point now_{};
  Clock::time_point retry_at_{};
  Clock::time_point progress_at_{};  // of the oldest frame on its way
  int naps_left_ = 0;                // before it sleeps until somebody wakes it
  int looks_left_ = 0;               // at what the queue took of the memory that was ready for it
  bool is_closing_ = false;
  bool has_failed_ = false;  // since the last frame arrived
  bool has_unread_ = false;  // the receiver says more than was read in one go
  LogRateLimit failure_limit_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FORWARD_SENDER_H
