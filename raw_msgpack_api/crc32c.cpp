#include "raw_msgpack_api/crc32c.h"

#include <array>
#include <cstddef>

namespace vek::engine {
namespace {

constexpr size_t kStride = 8;
using Tables = std::array<std::array<uint32_t, 256>, kStride>;

// tables[k][b]: what byte b does to the sum when k more bytes follow it.
constexpr Tables make_tables() {
  constexpr uint32_t kReversedPolynomial = 0x82f63b78;
  Tables tables{};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    uint32_t sum = byte;
    for (int bit = 0; bit < 8; ++bit) sum = (sum >> 1) ^ ((sum & 1) * kReversedPolynomial);
    tables[0][byte] = sum;
  }
  for (size_t k = 1; k < kStride; ++k) {
    for (size_t byte = 0; byte < 256; ++byte) {
      const uint32_t before = tables[k - 1][byte];
      tables[k][byte] = (before >> 8) ^ tables[0][before & 0xff];
    }
  }
  return tables;
}

constexpr Tables kTables = make_tables();

}  // namespace

uint32_t crc32c(std::span<const uint8_t> bytes, uint32_t sum) noexcept {
  sum = ~sum;
  const uint8_t* at = bytes.data();
  size_t left = bytes.size();
  for (; left >= kStride; left -= kStride, at += kStride) {
    const uint32_t low =
        sum ^ (at[0] | uint32_t{at[1]} << 8 | uint32_t{at[2]} << 16 | uint32_t{at[3]} << 24);
    sum = kTables[7][low & 0xff] ^ kTables[6][(low >> 8) & 0xff] ^ kTables[5][(low >> 16) & 0xff] ^
          kTables[4][low >> 24] ^ kTables[3][at[4]] ^ kTables[2][at[5]] ^ kTables[1][at[6]] ^
          kTables[0][at[7]];
  }
  for (; left > 0; --left, ++at) sum = (sum >> 8) ^ kTables[0][(sum ^ *at) & 0xff];
  return ~sum;
}

}  // namespace vek::engine
