#include "raw_msgpack_api/record_walk.h"

#include <algorithm>
#include <array>

namespace vek::engine {
namespace {

// Seconds as a number, or as the EventTime extension of Fluent Bit (type 0, 8 bytes).
bool is_time(const Token& token) {
  switch (token.kind) {
    case TokenKind::kUnsigned:
    case TokenKind::kNegative:
    case TokenKind::kFloat32:
    case TokenKind::kFloat64:
      return true;
    case TokenKind::kExt:
      return token.ext_type == 0 && token.payload_size == 8;
    default:
      return false;
  }
}

// Passes over those of the next `left` objects whose first byte says how long they are: nearly all.
size_t pass_scalars(Bytes bytes, size_t offset, uint64_t& left) {
  for (; left > 0 && offset < bytes.size(); --left) {
    const size_t size = kWholeSizes[bytes[offset]];
    if (size == 0 || size > bytes.size() - offset) break;
    offset += size;
  }
  return offset;
}

}  // namespace

// Reads up to the header of the record's map or array; false when this is no record's beginning.
bool RecordWalk::read_head(Token& body_head, size_t& base_depth) noexcept {
  found_ = FoundRecord{};
  Token head;
  if (read_token(rest_, head) != TokenStatus::kOk) return false;
  if (head.kind == TokenKind::kMap) {
    body_head = head;
    base_depth = 1;
    return true;
  }
  if (head.kind != TokenKind::kArray || head.value != 2) return false;
  Token time;
  if (read_token(rest_.subspan(head.size()), time) != TokenStatus::kOk || !is_time(time)) {
    return false;
  }
  const size_t body_offset = head.size() + time.size();
  if (read_token(rest_.subspan(body_offset), body_head) != TokenStatus::kOk) return false;
  if (!body_head.is_container()) return false;
  found_.view.time_offset = head.header_size;
  found_.view.body_offset = static_cast<uint8_t>(body_offset);
  found_.view.shape =
      body_head.kind == TokenKind::kMap ? RecordShape::kTimedMap : RecordShape::kTimedList;
  base_depth = 2;
  return true;
}

RecordWalk::Body RecordWalk::walk_body(const Token& head, size_t base_depth,
                                       size_t& size) noexcept {
  std::array<uint64_t, kMaxRecordDepth + 1> left;  // objects still due, by depth
  size_t depth = base_depth;
  size_t deepest = depth;
  left[depth] = head.children();
  size_t offset = found_.view.body_offset + size_t{head.header_size};
  while (depth >= base_depth) {
    offset = pass_scalars(rest_, offset, left[depth]);
    if (left[depth] == 0) {
      --depth;
      continue;
    }
    Token token;
    const TokenStatus status = read_token(rest_.subspan(offset), token);
    if (status == TokenStatus::kReserved) return Body::kBroken;
    if (status == TokenStatus::kCut) {
      const uint64_t seen = head.children() - left[base_depth];
      const bool behind_a_pair = offset == rest_.size() && depth == base_depth &&
                                 head.kind == TokenKind::kMap && seen > 0 && seen % 2 == 0;
      if (!behind_a_pair) return Body::kCut;
      found_.pairs = seen / 2;
      size = offset;
      found_.view.depth = static_cast<uint8_t>(deepest - base_depth + 1);
      return Body::kShort;
    }
    --left[depth];  // cppcheck-suppress containerOutOfBounds ; it has kMaxRecordDepth + 1
    offset += token.size();
    if (token.is_container()) {
      if (depth == kMaxRecordDepth) return Body::kTooDeep;
      left[++depth] = token.children();
      deepest = std::max(deepest, depth);
    }
  }
  size = offset;
  found_.view.depth = static_cast<uint8_t>(deepest - base_depth + 1);
  return Body::kSound;
}

RecordWalk::Step RecordWalk::pass_over(DropReason reason) noexcept {
  size_t size = 0;
  switch (skip_object(rest_, size)) {
    case TokenStatus::kCut:
      return give_up(DropReason::kCut);
    case TokenStatus::kReserved:
      return give_up(DropReason::kBroken);
    case TokenStatus::kOk:
      break;
  }
  rest_ = rest_.subspan(size);
  reason_ = reason;
  return Step::kDropped;
}

RecordWalk::Step RecordWalk::give_up(DropReason reason) noexcept {
  rest_ = {};
  reason_ = reason;
  return Step::kDropped;
}

RecordWalk::Step RecordWalk::deliver(size_t size, bool mended) noexcept {
  found_.view.bytes = rest_.first(size);
  rest_ = rest_.subspan(size);
  found_.mended = mended;
  return Step::kRecord;
}

RecordWalk::Step RecordWalk::next() noexcept {
  if (rest_.empty()) return Step::kEnd;
  Token body_head;
  size_t base_depth = 0;
  if (!read_head(body_head, base_depth)) return pass_over(DropReason::kWrongShape);
  size_t size = 0;
  switch (walk_body(body_head, base_depth, size)) {
    case Body::kTooDeep:
      return pass_over(DropReason::kTooDeep);
    case Body::kCut:
      return give_up(DropReason::kCut);
    case Body::kBroken:
      return give_up(DropReason::kBroken);
    case Body::kShort:
      return deliver(size, true);
    case Body::kSound:
      break;
  }
  return deliver(size, false);
}

void set_map_count(std::span<uint8_t> map, uint64_t pairs) noexcept {
  if (map[0] != 0xde && map[0] != 0xdf) {
    map[0] = static_cast<uint8_t>(0x80u | (pairs & 0x0fu));
    return;
  }
  for (size_t i = map[0] == 0xde ? 2 : 4; i > 0; --i) {
    map[i] = static_cast<uint8_t>(pairs);
    pairs >>= 8;
  }
}

}  // namespace vek::engine
