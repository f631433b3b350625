#include "utils/record_packer.h"

#include <algorithm>

#include "utils/clock.h"
#include "utils/logger.h"

namespace vek {
namespace {

constexpr unsigned kMostMissesCounted = 7;  // 128 records until the next try

[[gnu::cold, gnu::noinline]] void report_lost_record() noexcept {
  static LogRateLimit limit;
  if (limit.due_at_level(VEK_LOG_ERROR))
    VEK_LOGE("[record packer] out of memory: a record is lost");
}

}  // namespace

size_t pack_record(MsgpackBuffer& buffer, const PlanSection& head, const PlanSection& body,
                   const PlanInput& input, size_t least_capacity) noexcept {
  const size_t room = section_room(head, input) + section_room(body, input);
  if (!buffer.restart(std::max(room, least_capacity))) {
    report_lost_record();
    return 0;
  }
  char* p = pack_section(buffer.data(), head, input);
  p = pack_section(p, body, input);
  return static_cast<size_t>(p - buffer.data());
}

std::string_view RecordPacker::pack(const PlanSection& head, const PlanSection& body,
                                    const PlanInput& input) noexcept {
  if (head_ == &head && body_ == &body) {
    if (places_.rewrite(input)) {
      misses_ = 0;
      return places_.record();
    }
    if (misses_ < kMostMissesCounted) ++misses_;
    pause_ = (1u << misses_) - 1;
  }
  const std::string_view record = pack_once(head, body, input);
  if (pause_ > 0) {
    --pause_;
  } else if (places_.learn(head, body, input, buffer_.data(), record.size(), buffer_.capacity())) {
    head_ = &head;
    body_ = &body;
  }
  return record;
}

std::string_view RecordPacker::pack_once(const PlanSection& head, const PlanSection& body,
                                         const PlanInput& input) noexcept {
  head_ = nullptr;
  const size_t size = pack_record(buffer_, head, body, input);
  return {buffer_.data(), size};
}

}  // namespace vek
