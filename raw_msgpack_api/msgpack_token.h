// One msgpack object header at a time: its kind, its value, and how many bytes or objects follow.
//
// Nothing is built and nothing is allocated: who walks records or prints them reads token by token.
// Lengths are compared with what remains before anything behind them is touched.
#ifndef VEK_RAW_MSGPACK_API_MSGPACK_TOKEN_H
#define VEK_RAW_MSGPACK_API_MSGPACK_TOKEN_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vek::engine {

using Bytes = std::span<const uint8_t>;

enum class TokenKind : uint8_t {
  kNil,
  kBool,
  kUnsigned,
  kNegative,  // integers below zero only
  kFloat32,
  kFloat64,
  kStr,
  kBin,
  kExt,
  kArray,
  kMap
};

enum class TokenStatus : uint8_t {
  kOk,
  kCut,      // the bytes end inside the object's header or payload
  kReserved  // the byte 0xc1, which begins no object
};

struct Token {
  TokenKind kind = TokenKind::kNil;
  int8_t ext_type = 0;
  uint8_t header_size = 1;    // bytes in front of the payload or of the first child
  uint64_t value = 0;         // truth, integer (two's complement), float bits, elements or pairs
  uint64_t payload_size = 0;  // bytes of a str, bin or ext

  bool is_container() const { return kind == TokenKind::kArray || kind == TokenKind::kMap; }
  // Objects that follow: the elements of an array, keys and values of a map.
  uint64_t children() const {
    if (kind == TokenKind::kMap) return value * 2;  // at most 2^33
    return kind == TokenKind::kArray ? value : 0;
  }
  // Bytes of the token itself, without children.
  size_t size() const { return header_size + static_cast<size_t>(payload_size); }
};

// By an object's first byte: the bytes of all of it, where that byte alone says how many; else 0.
extern const std::array<uint8_t, 256> kWholeSizes;

// The token at the start of `bytes`. With kOk all of token.size() bytes are there.
TokenStatus read_token(Bytes bytes, Token& token) noexcept;

// Bytes of the whole object at the start of `bytes`, children included, however deep they nest.
TokenStatus skip_object(Bytes bytes, size_t& size) noexcept;

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_MSGPACK_TOKEN_H
