#include "utils/record_packer.h"

#include <algorithm>

#include "utils/clock.h"
#include "utils/logger.h"

namespace vek {
namespace {

constexpr unsigned kMostMissesCounted = 7;  // 128 records until the next try
constexpr size_t kValuesOfAMove = 64;       // that could be packed anew instead
constexpr size_t kMostDebt = 4 * kValuesOfAMove;

}  // namespace

[[gnu::cold, gnu::noinline]] void report_lost_record() noexcept {
  static LogRateLimit limit;
  if (limit.due_at_level(VEK_LOG_ERROR))
    VEK_LOGE("[record packer] out of memory: a record is lost");
}

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
      if (places_.moves() == 0 && debt_ == 0) [[likely]] {
        misses_ = 0;
      } else if (!pays_off()) {
        stop_for_a_while();
        head_ = nullptr;
      }
      return places_.record();
    }
    stop_for_a_while();
  }
  const std::string_view record = pack_anew(head, body, input);
  if (pause_ > 0) {
    --pause_;
  } else if (places_.learn(head, body, input, buffer_.data(), record.size(), buffer_.capacity())) {
    head_ = &head;
    body_ = &body;
    kept_head_.forget();
  }
  return record;
}

std::string_view RecordPacker::pack_anew(const PlanSection& head, const PlanSection& body,
                                         const PlanInput& input) noexcept {
  head_ = nullptr;
  const size_t room = section_room(head, input) + section_room(body, input);
  if (buffer_.capacity() < room) [[unlikely]] {
    kept_head_.forget();
    if (!buffer_.restart(room)) {
      report_lost_record();
      return {};
    }
  }
  char* const record = buffer_.data();
  size_t size = kept_head_.renew(record, head, input);
  if (size == 0) {
    size = static_cast<size_t>(pack_section(record, head, input) - record);
    kept_head_.learn(head, input, size);
  }
  const char* const end = pack_section(record + size, body, input);
  return {record, static_cast<size_t>(end - record)};
}

// Whether places are still worth it after a record that moves were made for, or one behind it.
[[gnu::noinline]] bool RecordPacker::pays_off() noexcept {
  debt_ += kValuesOfAMove * places_.moves();
  debt_ -= std::min(debt_, places_.values());
  if (debt_ == 0) misses_ = 0;
  return debt_ <= kMostDebt;
}

void RecordPacker::stop_for_a_while() noexcept {
  if (misses_ < kMostMissesCounted) ++misses_;
  pause_ = (1u << misses_) - 1;
  debt_ = 0;
}

std::string_view RecordPacker::pack_once(const PlanSection& head, const PlanSection& body,
                                         const PlanInput& input) noexcept {
  head_ = nullptr;
  kept_head_.forget();
  const size_t size = pack_record(buffer_, head, body, input);
  return {buffer_.data(), size};
}

}  // namespace vek
