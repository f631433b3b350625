#include "data/byte_reader.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <numeric>
#include <vector>

#include "tests/support/guarded_bytes.h"

namespace {

using vek::ByteReader;
using vek::Bytes;
using vek::test::GuardedBytes;

constexpr size_t kEnd = std::numeric_limits<size_t>::max();

std::vector<uint8_t> counting_bytes(size_t size) {
  std::vector<uint8_t> bytes(size);
  std::iota(bytes.begin(), bytes.end(), uint8_t{1});
  return bytes;
}

template <typename T>
void expect_reads_only_inside(size_t size) {
  const std::vector<uint8_t> bytes = counting_bytes(size);
  const GuardedBytes guarded(bytes);
  const ByteReader reader(guarded.bytes());
  for (size_t offset = 0; offset <= size + sizeof(T) + 1; ++offset) {
    T value = 99;
    const bool inside = offset + sizeof(T) <= size;
    ASSERT_EQ(reader.read(offset, value), inside) << size << " bytes, offset " << offset;
    T expected = 99;
    if (inside) std::memcpy(&expected, bytes.data() + offset, sizeof(T));
    EXPECT_EQ(value, expected);
  }
}

TEST(ByteReader, ReadsOnlyInsideItsBytesAtEveryLengthAndOffset) {
  for (size_t size = 0; size <= 20; ++size) {
    expect_reads_only_inside<uint8_t>(size);
    expect_reads_only_inside<uint16_t>(size);
    expect_reads_only_inside<uint32_t>(size);
    expect_reads_only_inside<uint64_t>(size);
    expect_reads_only_inside<double>(size);
  }
}

TEST(ByteReader, ReadsLittleEndianUnalignedValues) {
  const std::array<uint8_t, 9> bytes = {0xff, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08};
  const ByteReader reader{Bytes(bytes)};
  uint16_t two = 0;
  uint64_t eight = 0;
  ASSERT_TRUE(reader.read(1, two));
  ASSERT_TRUE(reader.read(1, eight));
  EXPECT_EQ(two, 0x0201);
  EXPECT_EQ(eight, 0x0807060504030201u);
}

TEST(ByteReader, OffsetsAndLengthsNearTheLargestNumberDoNotWrap) {
  const std::vector<uint8_t> bytes = counting_bytes(16);
  const ByteReader reader(bytes.data(), bytes.size());
  EXPECT_FALSE(reader.has(kEnd, 1));
  EXPECT_FALSE(reader.has(1, kEnd));
  EXPECT_FALSE(reader.has(kEnd, kEnd));
  EXPECT_FALSE(reader.has(kEnd - 3, 4));
  uint32_t value = 7;
  EXPECT_FALSE(reader.read(kEnd - 3, value));
  EXPECT_EQ(value, 7u);
}

TEST(ByteReader, ALengthOfZeroFitsUpToTheEnd) {
  const std::vector<uint8_t> bytes = counting_bytes(4);
  const ByteReader reader{Bytes(bytes)};
  EXPECT_TRUE(reader.has(0, 0));
  EXPECT_TRUE(reader.has(4, 0));
  EXPECT_FALSE(reader.has(5, 0));
}

TEST(ByteReader, SlicesOnlyWhatIsThere) {
  const std::vector<uint8_t> bytes = counting_bytes(6);
  const ByteReader reader{Bytes(bytes)};
  Bytes part;
  ASSERT_TRUE(reader.slice(2, 4, part));
  EXPECT_EQ(part.data(), bytes.data() + 2);
  EXPECT_EQ(part.size(), 4u);
  EXPECT_FALSE(reader.slice(3, 4, part));
  EXPECT_EQ(part.size(), 4u) << "a refused slice changes nothing";
}

TEST(ByteReader, TheRestIsEmptyBehindTheEnd) {
  const std::vector<uint8_t> bytes = counting_bytes(6);
  const ByteReader reader{Bytes(bytes)};
  EXPECT_EQ(reader.rest(0).size(), 6u);
  EXPECT_EQ(reader.rest(5).size(), 1u);
  EXPECT_TRUE(reader.rest(6).empty());
  EXPECT_TRUE(reader.rest(7).empty());
  EXPECT_TRUE(reader.rest(kEnd).empty());
}

TEST(ByteReader, TextsEndAtTheirNulOrTheirField) {
  const char raw[] = {'a', 'b', '\0', 'c', 'd', 'e'};
  const GuardedBytes guarded(raw, sizeof(raw));
  const ByteReader reader(guarded.bytes());
  std::string_view text;
  ASSERT_TRUE(reader.text(0, 6, text));
  EXPECT_EQ(text, "ab");
  ASSERT_TRUE(reader.text(0, 2, text));
  EXPECT_EQ(text, "ab");
  ASSERT_TRUE(reader.text(3, 3, text));
  EXPECT_EQ(text, "cde");
  ASSERT_TRUE(reader.text(2, 1, text));
  EXPECT_EQ(text, "");
  EXPECT_FALSE(reader.text(3, 4, text));
}

TEST(ByteReader, AnEmptyReaderHoldsNothing) {
  const ByteReader reader;
  uint8_t value = 0;
  EXPECT_EQ(reader.size(), 0u);
  EXPECT_FALSE(reader.read(0, value));
  EXPECT_TRUE(reader.has(0, 0));
}

}  // namespace
