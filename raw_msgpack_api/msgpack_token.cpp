#include "raw_msgpack_api/msgpack_token.h"

#include <array>

namespace vek::engine {
namespace {

// The first bytes 0xc0 to 0xdf: what they begin and how wide the number behind them is.
struct Form {
  TokenKind kind;
  uint8_t width;  // bytes of the value, the length or the count
  uint8_t fixed;  // the value of a boolean, the payload of a fixext
  bool reserved = false;
};

constexpr std::array<Form, 32> kForms = {{
    {TokenKind::kNil, 0, 0},      {TokenKind::kNil, 0, 0, true}, {TokenKind::kBool, 0, 0},
    {TokenKind::kBool, 0, 1},     {TokenKind::kBin, 1, 0},       {TokenKind::kBin, 2, 0},
    {TokenKind::kBin, 4, 0},      {TokenKind::kExt, 1, 0},       {TokenKind::kExt, 2, 0},
    {TokenKind::kExt, 4, 0},      {TokenKind::kFloat32, 4, 0},   {TokenKind::kFloat64, 8, 0},
    {TokenKind::kUnsigned, 1, 0}, {TokenKind::kUnsigned, 2, 0},  {TokenKind::kUnsigned, 4, 0},
    {TokenKind::kUnsigned, 8, 0}, {TokenKind::kNegative, 1, 0},  {TokenKind::kNegative, 2, 0},
    {TokenKind::kNegative, 4, 0}, {TokenKind::kNegative, 8, 0},  {TokenKind::kExt, 0, 1},
    {TokenKind::kExt, 0, 2},      {TokenKind::kExt, 0, 4},       {TokenKind::kExt, 0, 8},
    {TokenKind::kExt, 0, 16},     {TokenKind::kStr, 1, 0},       {TokenKind::kStr, 2, 0},
    {TokenKind::kStr, 4, 0},      {TokenKind::kArray, 2, 0},     {TokenKind::kArray, 4, 0},
    {TokenKind::kMap, 2, 0},      {TokenKind::kMap, 4, 0},
}};

uint64_t load_big_endian(const uint8_t* bytes, size_t width) {
  uint64_t value = 0;
  for (size_t i = 0; i < width; ++i) value = value << 8 | bytes[i];
  return value;
}

// Numbers of the signed forms: a value that is not negative is an unsigned number like any other.
void set_signed(Token& token, uint64_t raw, size_t width) {
  const unsigned unused_bits = static_cast<unsigned>(64 - 8 * width);
  const auto number = static_cast<int64_t>(raw << unused_bits) >> unused_bits;
  token.kind = number < 0 ? TokenKind::kNegative : TokenKind::kUnsigned;
  token.value = static_cast<uint64_t>(number);
}

// The one-byte forms outside 0xc0 to 0xdf.
void read_fix_form(uint8_t first, Token& token) {
  if (first < 0x80) {
    token.kind = TokenKind::kUnsigned;
    token.value = first;
  } else if (first < 0x90) {
    token.kind = TokenKind::kMap;
    token.value = first & 0x0fu;
  } else if (first < 0xa0) {
    token.kind = TokenKind::kArray;
    token.value = first & 0x0fu;
  } else if (first < 0xc0) {
    token.kind = TokenKind::kStr;
    token.payload_size = first & 0x1fu;
  } else {
    set_signed(token, first, 1);
  }
}

TokenStatus read_wide_form(Bytes bytes, Token& token) {
  const Form& form = kForms[bytes[0] - 0xc0u];
  if (form.reserved) return TokenStatus::kReserved;
  const bool is_ext = form.kind == TokenKind::kExt;
  token.header_size = static_cast<uint8_t>(1 + form.width + (is_ext ? 1 : 0));
  if (bytes.size() < token.header_size) return TokenStatus::kCut;
  const uint64_t number = form.width > 0 ? load_big_endian(&bytes[1], form.width) : form.fixed;
  token.kind = form.kind;
  switch (form.kind) {
    case TokenKind::kNegative:
      set_signed(token, number, form.width);
      break;
    case TokenKind::kExt:
      token.ext_type = static_cast<int8_t>(bytes[token.header_size - 1u]);
      token.payload_size = number;
      break;
    case TokenKind::kStr:
    case TokenKind::kBin:
      token.payload_size = number;
      break;
    default:
      token.value = number;
  }
  return TokenStatus::kOk;
}

constexpr uint8_t size_of_form(const Form& form) {
  const bool is_number = form.kind == TokenKind::kUnsigned || form.kind == TokenKind::kNegative ||
                         form.kind == TokenKind::kFloat32 || form.kind == TokenKind::kFloat64;
  if (form.reserved || (form.width > 0 && !is_number)) return 0;
  const int payload = form.kind == TokenKind::kExt ? 1 + form.fixed : form.width;
  return static_cast<uint8_t>(1 + payload);
}

constexpr std::array<uint8_t, 256> make_whole_sizes() {
  std::array<uint8_t, 256> sizes{};
  for (size_t i = 0; i < sizes.size(); ++i) {
    if (i < 0x80 || i >= 0xe0) sizes[i] = 1;
    if (i >= 0xa0 && i < 0xc0) sizes[i] = static_cast<uint8_t>(1 + (i & 0x1fu));
    if (i >= 0xc0 && i < 0xe0) sizes[i] = size_of_form(kForms[i - 0xc0u]);
  }
  return sizes;
}

}  // namespace

constinit const std::array<uint8_t, 256> kWholeSizes = make_whole_sizes();

TokenStatus read_token(Bytes bytes, Token& token) noexcept {
  if (bytes.empty()) return TokenStatus::kCut;
  token = Token{};
  const uint8_t first = bytes[0];
  if (first >= 0xc0 && first < 0xe0) {
    const TokenStatus status = read_wide_form(bytes, token);
    if (status != TokenStatus::kOk) return status;
  } else {
    read_fix_form(first, token);
  }
  return token.payload_size > bytes.size() - token.header_size ? TokenStatus::kCut
                                                               : TokenStatus::kOk;
}

TokenStatus skip_object(Bytes bytes, size_t& size) noexcept {
  size_t offset = 0;
  // Objects still announced. One sum serves every level: no stack, so no limit of depth.
  uint64_t pending = 1;
  while (pending > 0) {
    Token token;
    const TokenStatus status = read_token(bytes.subspan(offset), token);
    if (status != TokenStatus::kOk) return status;
    offset += token.size();
    pending += token.children() - 1;
    // Each object takes at least a byte, so more than remain can't be there; the sum stays small.
    if (pending > bytes.size() - offset) return TokenStatus::kCut;
  }
  size = offset;
  return TokenStatus::kOk;
}

}  // namespace vek::engine
