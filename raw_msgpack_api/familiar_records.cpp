#include "raw_msgpack_api/familiar_records.h"

#include <algorithm>
#include <cstring>
#include <exception>

namespace vek::engine {
namespace {

constexpr size_t kStep = 64;
constexpr uint32_t kMostMisses = 256;

using Lane = uint64_t __attribute__((vector_size(16), may_alias));

Lane load(const uint8_t* bytes) {
  Lane lane;
  std::memcpy(&lane, bytes, sizeof(lane));
  return lane;
}

// Bits of kStep bytes that the mask cares for and that differ.
Lane difference(const uint8_t* a, const uint8_t* b, const uint8_t* mask) {
  Lane all{};
  for (size_t i = 0; i < kStep; i += sizeof(Lane)) {
    all |= (load(a + i) ^ load(b + i)) & load(mask + i);
  }
  return all;
}

bool any(Lane lane) { return (lane[0] | lane[1]) != 0; }

// Whether `bytes` has the headers of a layout, which is padded to whole steps.
bool has_headers(Bytes bytes, const uint8_t* headers, const uint8_t* mask) {
  size_t at = 0;
  for (; at + kStep <= bytes.size(); at += kStep) {
    if (any(difference(bytes.data() + at, headers + at, mask + at))) return false;
  }
  if (at == bytes.size()) return true;
  std::array<uint8_t, kStep> rest{};
  std::memcpy(rest.data(), bytes.data() + at, bytes.size() - at);
  return !any(difference(rest.data(), headers + at, mask + at));
}

// What of a token at `mask` says more than a value: it gets ones there.
void mark(const Token& token, uint8_t first, uint8_t* mask) {
  switch (token.kind) {
    case TokenKind::kUnsigned:
      mask[0] = first < 0x80 ? 0x80 : 0xff;
      return;
    case TokenKind::kNegative:
      mask[0] = first >= 0xe0 ? 0xe0 : 0xff;
      return;
    case TokenKind::kBool:
      mask[0] = 0xfe;
      return;
    case TokenKind::kNil:
    case TokenKind::kFloat32:
    case TokenKind::kFloat64:
      mask[0] = 0xff;
      return;
    default:
      std::memset(mask, 0xff, token.header_size);
  }
}

}  // namespace

// Neighbouring sizes are those of one layout whose numbers grow, so they go to different sets.
size_t FamiliarRecords::set_of(size_t size) { return size % kSets; }

bool FamiliarRecords::find(Bytes buffer, FoundRecord& out) noexcept {
  if (buffer.empty()) return false;
  Set& set = sets_[set_of(buffer.size())];
  for (const Layout& layout : set.layouts) {
    if (layout.size != buffer.size() ||
        !has_headers(buffer, layout.headers.data(), layout.mask.data())) {
      continue;
    }
    set.misses = 0;
    set.misses_to_learn = 1;
    out = layout.record;
    out.view.bytes = buffer;
    return true;
  }
  return false;
}

void FamiliarRecords::learn(const FoundRecord& record) noexcept {
  const Bytes bytes = record.view.bytes;
  if (bytes.size() > kLargest) return;
  Set& set = sets_[set_of(bytes.size())];
  if (++set.misses < set.misses_to_learn) return;
  set.misses = 0;
  set.misses_to_learn = std::min(set.misses_to_learn * 2, kMostMisses);
  Layout& layout = set.layouts[set.oldest];
  set.oldest = (set.oldest + 1) % kWays;
  layout.size = 0;
  try {
    const size_t padded = (bytes.size() + kStep - 1) / kStep * kStep;
    layout.headers.assign(padded, 0);
    layout.mask.assign(padded, 0);
  } catch (const std::exception&) {
    return;
  }
  std::copy(bytes.begin(), bytes.end(), layout.headers.begin());
  for (size_t offset = 0; offset < bytes.size();) {
    Token token;
    if (read_token(bytes.subspan(offset), token) != TokenStatus::kOk) return;
    mark(token, bytes[offset], &layout.mask[offset]);
    offset += token.size();
  }
  layout.record = record;
  layout.record.view.bytes = {};
  layout.size = bytes.size();
}

}  // namespace vek::engine
