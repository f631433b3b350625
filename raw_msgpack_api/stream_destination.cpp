#include "raw_msgpack_api/stream_destination.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "raw_msgpack_api/record_json.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

constexpr std::chrono::milliseconds kRetryPause{1000};
constexpr size_t kKeptCapacity = 1'000'000;

// Somebody may make room; everything else stays as it is, however often it is tried.
bool may_pass(int error) { return error == ENOSPC || error == EDQUOT; }

}  // namespace

void JsonLines::append(const RecordView& record, std::string& out) {
  append_text(record.bytes, TextStyle::kJson, out);
  out += '\n';
}

StreamDestination::StreamDestination(std::string name, std::unique_ptr<RecordFormat> format,
                                     std::unique_ptr<ByteSink> sink)
    : name_(std::move(name)), format_(std::move(format)), sink_(std::move(sink)) {}

void StreamDestination::run(RecordQueue& queue) {
  while (const RecordBatch* batch = queue.take()) write_batch(*batch, queue);
}

void StreamDestination::write_batch(const RecordBatch& batch, RecordQueue& queue) {
  // One huge record must not keep its memory for ever.
  if (text_.capacity() > kKeptCapacity) std::string().swap(text_);
  text_.clear();
  ends_.clear();
  for (size_t i = 0; i < batch.size(); ++i) {
    format_->append(batch[i], text_);
    ends_.push_back(text_.size());
  }
  while (settle(sink_->write(text_, queue.stop()), queue)) {
    queue.count_retried(ends_.size());
    queue.pause(kRetryPause);
    if (queue.stop().expired()) return;
  }
}

bool StreamDestination::settle(const WriteResult& result, RecordQueue& queue) {
  const auto first_unwritten = std::upper_bound(ends_.begin(), ends_.end(), result.written);
  const auto delivered = static_cast<size_t>(first_unwritten - ends_.begin());
  queue.settle_delivered(delivered);
  if (result.error == 0) return false;

  const size_t whole = delivered > 0 ? ends_[delivered - 1] : 0;
  if (result.written > whole) sink_->take_back(result.written - whole);
  if (error_limit_.due_at_level(VEK_LOG_ERROR)) {
    VEK_LOGE("[raw msgpack API] [%s] cannot write: %s", name_.c_str(), std::strerror(result.error));
  }
  const size_t left = ends_.size() - delivered;
  if (!may_pass(result.error)) {
    queue.settle_dropped(
        left, result.error == ETIMEDOUT ? DropReason::kGraceOver : DropReason::kWriteFailed);
    return false;
  }
  text_.erase(0, whole);
  ends_.erase(ends_.begin(), first_unwritten);
  for (size_t& end : ends_) end -= whole;
  return true;
}

}  // namespace vek::engine
