#include "raw_msgpack_api/spool_segment.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <utility>

#include "tests/raw_msgpack_api/segment_file.h"

namespace vek::engine {
namespace {

using namespace test;

TEST(SpoolSegment, IsNeitherDamagedNorTornWhenItEndsWithARecord) {
  const SegmentScan scan = SegmentFile(frame_of_record(1) + frame_of_record(2)).scan();
  EXPECT_EQ(scan.records, 2u);
  EXPECT_EQ(scan.lost, 0u);
  EXPECT_FALSE(scan.is_damaged);
  EXPECT_FALSE(scan.is_torn);
}

TEST(SpoolSegment, IsDamagedByAWholeRecordThatIsNoneOfOurs) {
  const std::vector<uint8_t> never_used = {0xc1};
  const std::string refused = text_of(spool::make_frame_header(2, never_used)) + "\xc1";
  const SegmentScan scan = SegmentFile(frame_of_record(1) + refused + frame_of_record(3)).scan();
  EXPECT_TRUE(scan.is_damaged);
  EXPECT_EQ(scan.refused, 1u);
  EXPECT_EQ(scan.lost, 1u);
  EXPECT_EQ(scan.records, 2u);
}

TEST(SpoolSegment, FindsARecordThatBeginsWithTheNextByte) {
  const SegmentScan scan = SegmentFile("x" + frame_of_record(1)).scan();
  EXPECT_EQ(scan.records, 1u);
  EXPECT_TRUE(scan.is_damaged);
}

TEST(SpoolSegment, CountsAsLostWhatNumbersTellAndNoMoreThanThereWasRoomFor) {
  const std::string damage(48, 'x');  // room for two of the shortest records, and part of one
  for (const auto& [number, lost] : {std::pair{1u, 0u}, {3u, 2u}, {4u, 3u}, {5u, 3u}, {999u, 3u}}) {
    EXPECT_EQ(SegmentFile(damage + frame_of_record(number)).scan().lost, lost) << number;
  }
}

TEST(SpoolSegment, TellsTheErrorThatStoppedIt) {
  SegmentFile file(frame_of_record(1) + std::string(300'000, '\0'));
  file.ops.read_error = EIO;
  file.ops.reads_until_error = 1;
  EXPECT_EQ(file.scan().error, EIO);
}

}  // namespace
}  // namespace vek::engine
