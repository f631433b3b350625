#include "raw_msgpack_api/forward_sender.h"

#include <openssl/crypto.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <limits>
#include <new>

#include "raw_msgpack_api/random_bytes.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

uint32_t random_seed() {
  std::array<uint8_t, 4> bytes;
  fill_random(bytes);
  return static_cast<uint32_t>(bytes[0] | bytes[1] << 8 | bytes[2] << 16) | 1u;
}

// Naps end by themselves. After so many in which nothing moved the flow has ended.
constexpr std::chrono::milliseconds kNap{1};
constexpr int kNaps = 20;
// Bytes in the queue that end a nap early.
constexpr size_t kBurst = 1'000'000;
// While nothing can be sent and the queue grows, this often memory is made ready for it.
constexpr std::chrono::milliseconds kLook{2};
constexpr int kLooks = 50;

// For poll(2): rounded up, so that the moment has come when it returns; at most a minute.
int milliseconds_until(Clock::time_point moment, Clock::time_point now) {
  constexpr std::chrono::milliseconds kMost{60'000};
  if (moment <= now) return 0;
  if (moment - now >= kMost) return static_cast<int>(kMost.count());
  return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(moment - now).count());
}

}  // namespace

ForwardSender::ForwardSender(const ForwardConfig& config, const TlsClient* tls, const WakeFd& wake,
                             RecordQueue& queue)
    : config_(config),
      wake_(wake),
      queue_(queue),
      link_(config, tls),
      window_(config, queue),
      backoff_(config.retry_base, config.retry_cap, random_seed()) {
  queue_.set_wake(&wake_);
}

ForwardSender::~ForwardSender() {
  queue_.set_wake(nullptr);
  link_.say_goodbye();
  OPENSSL_thread_stop();
}

void ForwardSender::run() {
  constexpr std::chrono::milliseconds kWithoutMemory{100};
  while (!queue_.is_over()) {
    try {
      step();
      if (!queue_.is_over()) sleep();
    } catch (const std::bad_alloc&) {
      queue_.pause(kWithoutMemory);
    } catch (const std::exception& error) {
      fail(false, error.what());
    }
  }
}

void ForwardSender::step() {
  wake_.clear();
  now_ = Clock::now();
  if (queue_.provide()) looks_left_ = kLooks;
  if (queue_.stop().is_set() && !is_closing_) {
    is_closing_ = true;
    retry_at_ = now_;  // the grace is for attempts, not for waiting
  }
  if (!link_.is_ready()) approach();
  if (link_.is_ready()) exchange();
}

bool ForwardSender::has_work() const { return window_.has_work() || queue_.waiting_bytes() > 0; }

// Towards a link that is ready; there is none while nothing is to be sent.
void ForwardSender::approach() {
  if (link_.phase() == ForwardLink::Phase::kClosed) {
    if (!has_work() || now_ < retry_at_) return;
    link_.open(now_);
  }
  if (!link_.advance(now_)) fail(false, link_.error());
  if (link_.is_ready()) {
    VEK_LOGD("[raw msgpack API] [%s] connected to %s", config_.name.c_str(), link_.place().c_str());
  }
}

void ForwardSender::exchange() {
  if (!read_replies()) return;
  if (now_ >= next_event() && window_.awaits_answer()) {
    fail(false, config_.acknowledged ? "no acknowledgement in time" : "it takes no data");
    return;
  }
  window_.fill(is_closing_);
  if (!write_frames()) return;
}

// False when the connection is over.
bool ForwardSender::read_replies() {
  constexpr int kMostReads = 16;
  std::array<uint8_t, AckReader::kLongestReply> buffer;
  Connection& connection = link_.connection();
  for (int i = 0; i < kMostReads; ++i) {
    const IoResult result = connection.read(buffer);
    has_unread_ = result.status == IoStatus::kOk;
    if (result.status == IoStatus::kAgain) return true;
    if (result.status != IoStatus::kOk) {
      fail(result.status == IoStatus::kClosed, connection.error());
      return false;
    }
    // Without acknowledgements nothing is expected, and whatever comes has no meaning.
    if (config_.acknowledged && !take_replies(Bytes(buffer).first(result.bytes))) return false;
  }
  return true;
}

bool ForwardSender::take_replies(Bytes bytes) {
  replies_.feed(bytes);
  for (;;) {
    switch (replies_.next()) {
      case AckReader::Step::kNeedMore:
        return true;
      case AckReader::Step::kBroken:
        fail(false, "what the receiver says is no acknowledgement");
        return false;
      case AckReader::Step::kAck:
        if (!window_.acknowledge(replies_.chunk())) {
          fail(false, "the receiver acknowledges another frame than the oldest");
          return false;
        }
        note_progress();
        break;
    }
  }
}

// A frame arrived.
void ForwardSender::note_progress() {
  progress_at_ = now_;
  naps_left_ = kNaps;
  backoff_.reset();
  if (!has_failed_) return;
  has_failed_ = false;
  VEK_LOGI("[raw msgpack API] [%s] %s takes records again", config_.name.c_str(),
           link_.place().c_str());
}

// False when the connection is over.
bool ForwardSender::write_frames() {
  Connection& connection = link_.connection();
  for (;;) {
    const bool was_waiting = window_.awaits_answer();
    const auto pieces = window_.next_to_write();
    if (pieces.empty()) return true;
    if (!was_waiting) progress_at_ = now_;
    const IoResult result = connection.write(pieces);
    if (result.status == IoStatus::kAgain) return true;
    if (result.status != IoStatus::kOk) {
      const std::string why = connection.error();
      // What it acknowledged before it went need not be sent again.
      if (read_replies()) fail(result.status == IoStatus::kClosed, why);
      return false;
    }
    naps_left_ = kNaps;
    const size_t arrived = window_.arrived();
    window_.wrote(result.bytes);
    if (window_.arrived() > arrived) note_progress();
    if (!config_.acknowledged) window_.fill(is_closing_);
  }
}

// A copy of the text: the link forgets its own when it is closed.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void ForwardSender::fail(bool closed, const std::string why) {
  constexpr std::chrono::milliseconds kLongestInGrace{500};
  // Receivers close connections that have been idle for long. That is no failure, if records came
  // through before.
  const bool was_idle = closed && !window_.has_work() && window_.arrived() > 0;
  window_.connection_ended(closed);
  replies_.clear();
  has_unread_ = false;
  link_.close();
  now_ = Clock::now();
  retry_at_ = now_;
  if (was_idle) return;
  const auto pause = backoff_.next();
  retry_at_ += is_closing_ ? std::min(pause, Backoff::Duration(kLongestInGrace)) : pause;
  has_failed_ = true;
  if (failure_limit_.due_at_level(VEK_LOG_WARNING)) {
    VEK_LOGW("[raw msgpack API] [%s] %s: %s; it is tried again", config_.name.c_str(),
             link_.place().c_str(), why.c_str());
  }
}

// When something has to happen although nothing was heard.
Clock::time_point ForwardSender::next_event() const {
  switch (link_.phase()) {
    case ForwardLink::Phase::kClosed:
      return has_work() ? retry_at_ : Clock::time_point::max();
    case ForwardLink::Phase::kReady:
      return window_.awaits_answer() ? progress_at_ + config_.ack_timeout
                                     : Clock::time_point::max();
    default:
      return link_.deadline();
  }
}

// Bytes in the queue with which step() could do something that it cannot do now.
size_t ForwardSender::bytes_to_wake_for() const {
  if (link_.is_ready()) return window_.wants();
  const bool is_idle = link_.phase() == ForwardLink::Phase::kClosed && !has_work();
  return is_idle ? 1 : std::numeric_limits<size_t>::max();
}

// Not where only the receiver can move what there is.
bool ForwardSender::may_nap() const {
  constexpr size_t kNone = std::numeric_limits<size_t>::max();
  return naps_left_ > 0 && !is_closing_ && link_.is_ready() && window_.wants() != kNone;
}

// Less where the queue would be full by then.
size_t ForwardSender::burst() const {
  return std::max(window_.wants(), std::min(kBurst, queue_.limit() / 4));
}

void ForwardSender::sleep() {
  const bool naps = may_nap();
  if (has_unread_ || !queue_.may_sleep(naps ? burst() : bytes_to_wake_for())) return;
  short events = link_.events();
  auto until = std::min(next_event(), queue_.stop().deadline());
  const auto now = Clock::now();
  if (naps) {
    --naps_left_;
    events = static_cast<short>(events & ~POLLIN);
    until = std::min(until, now + kNap);
  } else if (looks_left_ > 0) {
    --looks_left_;
    until = std::min(until, now + kLook);
  }
  std::array<pollfd, 2> requests = {{{wake_.fd(), POLLIN, 0}, {link_.fd(), events, 0}}};
  poll(requests.data(), requests.size(), milliseconds_until(until, now));
}

}  // namespace vek::engine
