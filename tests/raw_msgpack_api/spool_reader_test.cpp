#include "raw_msgpack_api/spool_reader.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/raw_msgpack_api/segment_file.h"

namespace vek::engine {
namespace {

using namespace test;
using Step = SegmentReader::Step;

constexpr uint64_t kFarthest = uint64_t{1} << 32;

// A header that announces so many bytes, which are not there.
std::string header_of(uint32_t size, uint64_t sequence) {
  std::string bytes(spool::kFrameHeaderSize, '\x11');
  for (size_t i = 0; i < 4; ++i) bytes[i] = static_cast<char>(size >> (8 * i));
  for (size_t i = 0; i < 8; ++i) bytes[8 + i] = static_cast<char>(sequence >> (8 * i));
  return bytes;
}

TEST(SpoolReader, BelievesALengthUpToAGigabyte) {
  EXPECT_EQ(SegmentFile(header_of(1u << 30, 1)).first_step(0), Step::kTorn);
  EXPECT_EQ(SegmentFile(header_of((1u << 30) + 1, 1)).first_step(0), Step::kDamaged);
  EXPECT_EQ(SegmentFile(header_of(0, 1)).first_step(0), Step::kDamaged);
}

TEST(SpoolReader, BelievesNumbersThatGrowUpToTheGreatest) {
  constexpr uint64_t kGreatest = spool::kMaxSequence;
  EXPECT_EQ(SegmentFile(frame_of_record(kGreatest)).first_step(kGreatest - 1), Step::kRecord);
  EXPECT_EQ(SegmentFile(frame_of_record(kGreatest)).first_step(kGreatest), Step::kDamaged);
  EXPECT_EQ(SegmentFile(frame_of_record(kGreatest + 1)).first_step(kGreatest), Step::kDamaged);
}

TEST(SpoolReader, BelievesNumbersAsFarFromTheOneBeforeAsAFileMayReach) {
  for (const uint64_t before : {uint64_t{0}, uint64_t{7}, 2 * kFarthest}) {
    EXPECT_EQ(SegmentFile(frame_of_record(before + 1)).first_step(before), Step::kRecord) << before;
    EXPECT_EQ(SegmentFile(frame_of_record(before + kFarthest)).first_step(before), Step::kRecord)
        << before;
    EXPECT_EQ(SegmentFile(frame_of_record(before + kFarthest + 1)).first_step(before),
              Step::kDamaged)
        << before;
  }
}

TEST(SpoolReader, TakesAWrongSumForACutShortWriteOnlyAtTheEnd) {
  std::string bytes = frame_of_record(1);
  bytes.back() ^= 1;
  EXPECT_EQ(SegmentFile(bytes).first_step(0), Step::kTorn);
  EXPECT_EQ(SegmentFile(bytes + frame_of_record(2)).first_step(0), Step::kDamaged);
}

TEST(SpoolReader, ReadsWhatItHasInMemoryOnce) {
  const SegmentFile file(frame_of_record(1) + frame_of_record(2));
  SegmentReader reader = file.reader();
  ASSERT_EQ(reader.read(0, 0), Step::kRecord);
  const int reads = file.ops.reads;
  EXPECT_EQ(reader.read(0, 0), Step::kRecord);
  EXPECT_EQ(reader.read(reader.next_offset(), 1), Step::kRecord);
  EXPECT_EQ(file.ops.reads, reads);
}

TEST(SpoolReader, SaysSoWhenAFileBecameShorter) {
  const SegmentFile file(frame_of_record(1));
  SegmentReader reader = file.reader(100);
  ASSERT_EQ(reader.read(0, 0), Step::kRecord);
  EXPECT_EQ(reader.read(reader.next_offset(), 1), Step::kError);
  EXPECT_EQ(reader.error(), EIO);
}

TEST(SpoolReader, ForgetsAnErrorWithTheNextCall) {
  SegmentFile file(frame_of_record(1) + "torn");
  file.ops.read_error = EIO;
  file.ops.read_errors_left = 2;
  SegmentReader reader = file.reader();
  const uint64_t torn = frame_of_record(1).size();
  ASSERT_EQ(reader.read(0, 0), Step::kError);
  EXPECT_EQ(reader.read(torn, 1), Step::kTorn);
  EXPECT_EQ(reader.error(), 0);
  ASSERT_EQ(reader.read(0, 0), Step::kError);
  EXPECT_EQ(reader.find(torn, 1), std::nullopt);
  EXPECT_EQ(reader.error(), 0);
}

TEST(SpoolReader, DoesNotTakeAnErrorAmongZerosForDamage) {
  SegmentFile file(std::string(300'000, '\0'));
  file.ops.read_error = EIO;
  file.ops.reads_until_error = 1;
  SegmentReader reader = file.reader();
  EXPECT_EQ(reader.read(0, 0), Step::kError);
  EXPECT_EQ(reader.error(), EIO);
}

}  // namespace
}  // namespace vek::engine
