#include "utils/record_packer.h"

#include <algorithm>
#include <cstring>

#include "utils/clock.h"
#include "utils/logger.h"

namespace vek {
namespace {

constexpr unsigned kMostMissesCounted = 9;  // 512 records until the next try
constexpr size_t kValuesOfAMove = 64;       // that could be packed anew instead
constexpr size_t kMostDebt = 4 * kValuesOfAMove;

// Where room for texts is measured, it is measured and they are packed out of a copy: a producer
// may still be writing the page, and a text be longer the second time.
bool needs_copy(const PlanSection& head, const PlanSection& body) noexcept {
  return !has_fixed_room(head) || !has_fixed_room(body);
}

// The same input out of the copy; false when memory runs out.
bool move_to_copy(MsgpackBuffer& copy, const PlanSection& head, const PlanSection& body,
                  PlanInput& input) noexcept {
  const size_t size = std::max(head.input_size, body.input_size);
  if (!copy.restart(size)) {
    report_lost_record();
    return false;
  }
  std::memcpy(copy.data(), input.bytes, size);
  input.bytes = copy.data();
  return true;
}

}  // namespace

[[gnu::cold, gnu::noinline]] void report_lost_record() noexcept {
  static LogRateLimit limit;
  if (limit.due_at_level(VEK_LOG_ERROR))
    VEK_LOGE("[record packer] out of memory: a record is lost");
}

size_t pack_record(MsgpackBuffer& buffer, const PlanSection& head, const PlanSection& body,
                   const PlanInput& what, size_t least_capacity) noexcept {
  PlanInput input = what;
  MsgpackBuffer copy;
  if (needs_copy(head, body) && !move_to_copy(copy, head, body, input)) return 0;
  const size_t room = section_room(head, input) + section_room(body, input);
  if (!buffer.restart(std::max(room, least_capacity))) {
    report_lost_record();
    return 0;
  }
  char* p = pack_section(buffer.data(), head, input);
  p = pack_section(p, body, input);
  return static_cast<size_t>(p - buffer.data());
}

[[gnu::always_inline]] inline std::string_view RecordPacker::pack_anew(
    const PlanSection& head, const PlanSection& body, const PlanInput& input) noexcept {
  head_ = nullptr;
  size_t size = kept_body_ == &body ? kept_head_.renew(buffer_.data(), head, input) : 0;
  if (size == 0) {
    if (!make_room(head, body, input)) return {};
    size = static_cast<size_t>(pack_section(buffer_.data(), head, input) - buffer_.data());
    kept_head_.learn(head, input, size);
    kept_body_ = has_fixed_room(body) ? &body : nullptr;
  }
  char* const record = buffer_.data();
  const char* const end = pack_section(record + size, body, input);
  return {record, static_cast<size_t>(end - record)};
}

[[gnu::always_inline]] inline std::string_view RecordPacker::pack_stable(
    const PlanSection& head, const PlanSection& body, const PlanInput& input) noexcept {
  const std::string_view record = pack_anew(head, body, input);
  if (pause_ > 0) {
    --pause_;
  } else if (places_.learn(head, body, input, buffer_.data(), record.size(), buffer_.capacity())) {
    head_ = &head;
    body_ = &body;
    kept_body_ = nullptr;
  }
  return record;
}

std::string_view RecordPacker::pack_and_learn(const PlanSection& head, const PlanSection& body,
                                              const PlanInput& input) noexcept {
  if (needs_copy(head, body)) [[unlikely]] {
    return pack_copy(head, body, input);
  }
  return pack_stable(head, body, input);
}

std::string_view RecordPacker::pack_copy(const PlanSection& head, const PlanSection& body,
                                         PlanInput input) noexcept {
  head_ = nullptr;
  if (!move_to_copy(copy_, head, body, input)) return {};
  return pack_stable(head, body, input);
}

bool RecordPacker::make_room(const PlanSection& head, const PlanSection& body,
                             const PlanInput& input) noexcept {
  const size_t room = section_room(head, input) + section_room(body, input);
  if (buffer_.capacity() >= room) return true;
  kept_body_ = nullptr;
  if (buffer_.restart(room)) return true;
  report_lost_record();
  return false;
}

// Whether places are still worth it after a record that moves were made for, or one behind it.
void RecordPacker::account_for_moves() noexcept {
  debt_ += kValuesOfAMove * places_.moves();
  debt_ -= std::min(debt_, places_.values());
  if (debt_ == 0) misses_ = 0;
  if (debt_ <= kMostDebt) return;
  stop_for_a_while();
  head_ = nullptr;
}

void RecordPacker::stop_for_a_while() noexcept {
  if (misses_ < kMostMissesCounted) ++misses_;
  pause_ = (1u << misses_) - 1;
  debt_ = 0;
}

std::string_view RecordPacker::pack_once(const PlanSection& head, const PlanSection& body,
                                         const PlanInput& input) noexcept {
  head_ = nullptr;
  kept_body_ = nullptr;
  const size_t size = pack_record(buffer_, head, body, input);
  return {buffer_.data(), size};
}

}  // namespace vek
