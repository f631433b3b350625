#include "raw_msgpack_api/crc32c.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace vek::engine {
namespace {

std::span<const uint8_t> bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// One bit at a time, straight from the polynomial.
uint32_t slow_crc32c(std::span<const uint8_t> data) {
  uint32_t sum = 0xffffffff;
  for (const uint8_t byte : data) {
    sum ^= byte;
    for (int bit = 0; bit < 8; ++bit) sum = (sum & 1) != 0 ? (sum >> 1) ^ 0x82f63b78 : sum >> 1;
  }
  return ~sum;
}

TEST(Crc32c, HasThePublishedValues) {
  EXPECT_EQ(crc32c({}), 0u);
  EXPECT_EQ(crc32c(bytes("a")), 0xc1d04330u);
  EXPECT_EQ(crc32c(bytes("123456789")), 0xe3069283u);
  EXPECT_EQ(crc32c(std::vector<uint8_t>(32, 0)), 0x8a9136aau);
  EXPECT_EQ(crc32c(std::vector<uint8_t>(32, 0xff)), 0x62a8ab43u);
}

TEST(Crc32c, IsTheSameAtEveryLengthAndInTwoParts) {
  std::vector<uint8_t> data;
  for (size_t i = 0; i < 100; ++i) {
    const uint32_t whole = crc32c(data);
    EXPECT_EQ(whole, slow_crc32c(data)) << i;
    for (size_t cut = 0; cut <= data.size(); ++cut) {
      const std::span all(data);
      EXPECT_EQ(crc32c(all.subspan(cut), crc32c(all.first(cut))), whole);
    }
    data.push_back(static_cast<uint8_t>(i * 37 + 11));
  }
}

}  // namespace
}  // namespace vek::engine
