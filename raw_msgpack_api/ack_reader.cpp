#include "raw_msgpack_api/ack_reader.h"

namespace vek::engine {
namespace {

std::string_view payload_of(Bytes object, const Token& token) {
  const Bytes payload = object.subspan(token.header_size, token.payload_size);
  return {reinterpret_cast<const char*>(payload.data()), payload.size()};
}

// The text under "ack" in a whole map; false when there is none.
bool find_ack(Bytes map, std::string_view& chunk) {
  Token head;
  if (read_token(map, head) != TokenStatus::kOk || head.kind != TokenKind::kMap) return false;
  size_t offset = head.size();
  for (uint64_t pair = 0; pair < head.value; ++pair) {
    Token key;
    Token value;
    size_t size = 0;
    const Bytes key_bytes = map.subspan(offset);
    if (read_token(key_bytes, key) != TokenStatus::kOk) return false;
    if (skip_object(key_bytes, size) != TokenStatus::kOk) return false;
    const Bytes value_bytes = map.subspan(offset += size);
    if (read_token(value_bytes, value) != TokenStatus::kOk) return false;
    if (key.kind == TokenKind::kStr && payload_of(key_bytes, key) == "ack") {
      chunk = payload_of(value_bytes, value);
      return value.kind == TokenKind::kStr || value.kind == TokenKind::kBin;
    }
    if (skip_object(value_bytes, size) != TokenStatus::kOk) return false;
    offset += size;
  }
  return false;
}

}  // namespace

void AckReader::feed(Bytes bytes) {
  buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<ptrdiff_t>(at_));
  at_ = 0;
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
}

AckReader::Step AckReader::next() noexcept {
  const Bytes rest = Bytes(buffer_).subspan(at_);
  if (rest.empty()) return Step::kNeedMore;
  Token head;
  if (read_token(rest, head) == TokenStatus::kOk && head.kind != TokenKind::kMap) {
    return Step::kBroken;
  }
  size_t size = 0;
  switch (skip_object(rest, size)) {
    case TokenStatus::kCut:
      return rest.size() > kLongestReply ? Step::kBroken : Step::kNeedMore;
    case TokenStatus::kReserved:
      return Step::kBroken;
    case TokenStatus::kOk:
      break;
  }
  at_ += size;
  return size <= kLongestReply && find_ack(rest.first(size), chunk_) ? Step::kAck : Step::kBroken;
}

void AckReader::clear() {
  buffer_.clear();
  at_ = 0;
}

}  // namespace vek::engine
