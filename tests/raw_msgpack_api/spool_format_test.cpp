#include "raw_msgpack_api/spool_format.h"

#include <gtest/gtest.h>

#include "tests/support/msgpack_json.h"

namespace vek::engine::spool {
namespace {

std::vector<uint8_t> frame_of(uint64_t sequence, const std::vector<uint8_t>& record) {
  const FrameHeader header = make_frame_header(sequence, record);
  std::vector<uint8_t> frame(header.begin(), header.end());
  frame.insert(frame.end(), record.begin(), record.end());
  return frame;
}

// Other versions, and other machines, read what these bytes say.
TEST(SpoolFormat, HasTheseBytes) {
  EXPECT_EQ(test::to_hex(make_segment_header(0x0102030405060708)),
            "56454b53504f4f4c0100000000000000080706050403020100000000fbb2b656");
  EXPECT_EQ(test::to_hex(frame_of(5, {0x80})), "0100000082b28e24050000000000000080");
  EXPECT_EQ(test::to_hex(make_cursor(258)), "56454b43555253520201000000000000000000001cd7cad0");
}

TEST(SegmentHeader, IsSoundOnlyForItsOwnName) {
  const SegmentHeader header = make_segment_header(7);
  EXPECT_EQ(check_segment_header(header, 7), HeaderStatus::kSound);
  EXPECT_EQ(check_segment_header(header, 8), HeaderStatus::kDamaged);
  EXPECT_EQ(check_segment_header(Bytes(header).first(31), 7), HeaderStatus::kDamaged);
}

TEST(SegmentHeader, NoticesEveryChangedBit) {
  for (size_t i = 0; i < kSegmentHeaderSize * 8; ++i) {
    SegmentHeader header = make_segment_header(7);
    header[i / 8] = static_cast<uint8_t>(header[i / 8] ^ (1u << (i % 8)));
    EXPECT_EQ(check_segment_header(header, 7), HeaderStatus::kDamaged) << i;
  }
}

TEST(Frame, NoticesEveryChangedBit) {
  const std::vector<uint8_t> sound = frame_of(9, {0x81, 0xa1, 'k', 0x05});
  const auto is_right = [](const std::vector<uint8_t>& bytes) {
    const Frame frame = read_frame_header(bytes.data());
    return frame.size + kFrameHeaderSize == bytes.size() && sum_is_right(bytes.data(), frame.size);
  };
  EXPECT_TRUE(is_right(sound));
  for (size_t i = 0; i < sound.size() * 8; ++i) {
    std::vector<uint8_t> bytes = sound;
    bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] ^ (1u << (i % 8)));
    EXPECT_FALSE(is_right(bytes)) << i;
  }
}

TEST(Cursor, IsReadBackUnlessAnythingIsWrong) {
  EXPECT_EQ(read_cursor(make_cursor(kMaxSequence)), kMaxSequence);
  EXPECT_EQ(read_cursor(make_cursor(kMaxSequence + 1)), std::nullopt);
  const Cursor cursor = make_cursor(77);
  std::vector<uint8_t> longer(cursor.begin(), cursor.end());
  longer.push_back(0);
  EXPECT_EQ(read_cursor(longer), std::nullopt);
  for (size_t i = 0; i < kCursorSize; ++i) {
    EXPECT_EQ(read_cursor(Bytes(cursor).first(i)), std::nullopt);
    Cursor changed = cursor;
    changed[i] ^= 0x10;
    EXPECT_EQ(read_cursor(changed), std::nullopt) << i;
  }
}

TEST(SegmentName, SortsAsItsNumberDoesAndIsReadBack) {
  EXPECT_EQ(segment_name(1234), "00000000000004d2.seg");
  EXPECT_EQ(first_of("00000000000004d2.seg"), 1234u);
  EXPECT_LT(segment_name(0x99), segment_name(0xaa));
  EXPECT_EQ(first_of(segment_name(kMaxSequence)), kMaxSequence);
}

TEST(SegmentName, IsNothingElse) {
  for (const char* name : {"", "lock", "4d2.seg", "00000000000004D2.seg", "00000000000004d2.sega",
                           "0x000000000004d2.seg", "00000000000004d2.seg.damaged",
                           "ffffffffffffffff.seg", "00000000000004d2,seg"}) {
    EXPECT_EQ(first_of(name), std::nullopt) << name;
  }
}

}  // namespace
}  // namespace vek::engine::spool
