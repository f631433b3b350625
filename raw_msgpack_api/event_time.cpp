#include "raw_msgpack_api/event_time.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <ctime>
#include <string_view>

namespace vek::engine {
namespace {

constexpr uint32_t kNanosecondsPerSecond = 1'000'000'000;

EventTime from_double(double seconds, EventTime fallback) {
  constexpr double kTooLate = 9.2e18;
  if (!(seconds >= 0.0 && seconds < kTooLate)) return fallback;
  const double whole = std::floor(seconds);
  EventTime time{static_cast<uint64_t>(whole),
                 static_cast<uint32_t>(std::lround((seconds - whole) * kNanosecondsPerSecond))};
  if (time.nanoseconds == kNanosecondsPerSecond) time = {time.seconds + 1, 0};
  return time;
}

// Two 32-bit big-endian numbers.
EventTime from_event_time(Bytes payload, EventTime fallback) {
  uint64_t both = 0;
  for (const uint8_t byte : payload) both = both << 8 | byte;
  const EventTime time{both >> 32, static_cast<uint32_t>(both)};
  return time.nanoseconds < kNanosecondsPerSecond ? time : fallback;
}

EventTime from_token(Bytes bytes, EventTime fallback) {
  Token token;
  if (read_token(bytes, token) != TokenStatus::kOk) return fallback;
  switch (token.kind) {
    case TokenKind::kUnsigned:
      return {token.value, 0};
    case TokenKind::kFloat32:
      return from_double(
          static_cast<double>(std::bit_cast<float>(static_cast<uint32_t>(token.value))), fallback);
    case TokenKind::kFloat64:
      return from_double(std::bit_cast<double>(token.value), fallback);
    case TokenKind::kExt:
      return from_event_time(bytes.subspan(token.header_size, 8), fallback);
    default:
      return fallback;
  }
}

// The "timestamp" entry of layout "custom": unsigned microseconds.
EventTime from_timestamp_entry(Bytes map, EventTime fallback) {
  constexpr std::string_view kKey = "timestamp";
  Token head;
  if (read_token(map, head) != TokenStatus::kOk) return fallback;
  size_t offset = head.size();
  for (uint64_t pair = 0; pair < head.value; ++pair) {
    Token key;
    size_t key_size = 0;
    size_t value_size = 0;
    if (read_token(map.subspan(offset), key) != TokenStatus::kOk ||
        skip_object(map.subspan(offset), key_size) != TokenStatus::kOk) {
      return fallback;
    }
    const Bytes text = map.subspan(offset + key.header_size, key.payload_size);
    offset += key_size;
    Token value;
    const std::string_view name{reinterpret_cast<const char*>(text.data()), text.size()};
    if (key.kind == TokenKind::kStr && name == kKey &&
        read_token(map.subspan(offset), value) == TokenStatus::kOk &&
        value.kind == TokenKind::kUnsigned) {
      return {value.value / 1'000'000, static_cast<uint32_t>(value.value % 1'000'000 * 1000)};
    }
    if (skip_object(map.subspan(offset), value_size) != TokenStatus::kOk) return fallback;
    offset += value_size;
  }
  return fallback;
}

}  // namespace

EventTime now() noexcept {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return {static_cast<uint64_t>(time.tv_sec), static_cast<uint32_t>(time.tv_nsec)};
}

EventHead event_head(EventTime time) noexcept {
  // fixarray 2, fixext 8 of type 0, seconds and nanoseconds.
  EventHead head = {0x92, 0xd7, 0};
  const uint64_t both = __builtin_bswap64(time.seconds << 32 | time.nanoseconds);
  std::memcpy(&head[3], &both, sizeof(both));
  return head;
}

EventTime time_of(const RecordView& record, EventTime fallback) noexcept {
  if (record.shape == RecordShape::kBareMap) return from_timestamp_entry(record.body(), fallback);
  return from_token(record.time(), fallback);
}

EventTime time_of(const RecordView& record) noexcept {
  constexpr EventTime kNone = {~uint64_t{0}, ~uint32_t{0}};  // no record can say that
  const EventTime time = time_of(record, kNone);
  return time == kNone ? now() : time;
}

const EventHead* EventHeads::of(const RecordView& record) noexcept {
  const Bytes time = record.shape == RecordShape::kBareMap ? Bytes() : record.time();
  const bool is_real = time.size() == kRealSize;
  if (is_real && std::memcmp(time.data(), last_.data(), kRealSize) == 0) return &head_;
  const EventTime clock = time_of(record);
  if (!fits_on_wire(clock)) return nullptr;
  head_ = event_head(clock);
  last_ = {};
  // What no clock shows stands for the present, which does not stay.
  const bool is_own = clock == time_of(record, {});
  if (is_real && is_own) std::memcpy(last_.data(), time.data(), kRealSize);
  return &head_;
}

}  // namespace vek::engine
