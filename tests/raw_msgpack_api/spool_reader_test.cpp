#include "raw_msgpack_api/spool_reader.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <utility>

#include "raw_msgpack_api/spool_format.h"
#include "raw_msgpack_api/spool_segment.h"
#include "tests/raw_msgpack_api/failing_ops.h"
#include "tests/raw_msgpack_api/spool_fixture.h"
#include "tests/support/temp_dir.h"

namespace vek::engine {
namespace {

using namespace test;
using Step = SegmentReader::Step;

constexpr uint64_t kFarthest = uint64_t{1} << 32;

std::string text_of(Bytes bytes) { return {bytes.begin(), bytes.end()}; }

std::string frame(uint64_t sequence) {
  const auto record = spool_record(sequence);
  return text_of(spool::make_frame_header(sequence, record)) + text_of(record);
}

// A header that announces so many bytes, which are not there.
std::string header_of(uint32_t size, uint64_t sequence) {
  std::string bytes(spool::kFrameHeaderSize, '\x11');
  for (size_t i = 0; i < 4; ++i) bytes[i] = static_cast<char>(size >> (8 * i));
  for (size_t i = 0; i < 8; ++i) bytes[8 + i] = static_cast<char>(sequence >> (8 * i));
  return bytes;
}

// A file of records without a segment's header.
class File {
 public:
  explicit File(const std::string& bytes) : end_(bytes.size()) {
    dir_.write("records", bytes);
    folder_ = SpoolFolder::open(dir_.path(), "[t]", ops);
    folder_->open_file("records", file_);
    ops.reads = 0;
  }
  SegmentReader reader(uint64_t bytes_that_are_gone = 0) const {
    return {*folder_, *file_, end_ + bytes_that_are_gone};
  }
  SegmentScan scan() const { return scan_segment(*folder_, *file_, 0, end_, 0, 0); }
  // What a new reader makes of its first bytes, behind this number.
  Step first_step(uint64_t sequence) const { return reader().read(0, sequence); }

  FailingOps ops;

 private:
  TempDir dir_;
  uint64_t end_;
  std::unique_ptr<SpoolFolder> folder_;
  SharedFile file_;
};

TEST(SpoolReader, BelievesALengthUpToAGigabyte) {
  EXPECT_EQ(File(header_of(1u << 30, 1)).first_step(0), Step::kTorn);
  EXPECT_EQ(File(header_of((1u << 30) + 1, 1)).first_step(0), Step::kDamaged);
  EXPECT_EQ(File(header_of(0, 1)).first_step(0), Step::kDamaged);
}

TEST(SpoolReader, BelievesNumbersThatGrowUpToTheGreatest) {
  constexpr uint64_t kGreatest = spool::kMaxSequence;
  EXPECT_EQ(File(frame(kGreatest)).first_step(kGreatest - 1), Step::kRecord);
  EXPECT_EQ(File(frame(kGreatest)).first_step(kGreatest), Step::kDamaged);
  EXPECT_EQ(File(frame(kGreatest + 1)).first_step(kGreatest), Step::kDamaged);
}

TEST(SpoolReader, BelievesNumbersAsFarFromTheOneBeforeAsAFileMayReach) {
  for (const uint64_t before : {uint64_t{0}, uint64_t{7}, 2 * kFarthest}) {
    EXPECT_EQ(File(frame(before + 1)).first_step(before), Step::kRecord) << before;
    EXPECT_EQ(File(frame(before + kFarthest)).first_step(before), Step::kRecord) << before;
    EXPECT_EQ(File(frame(before + kFarthest + 1)).first_step(before), Step::kDamaged) << before;
  }
}

TEST(SpoolReader, TakesAWrongSumForACutShortWriteOnlyAtTheEnd) {
  std::string bytes = frame(1);
  bytes.back() ^= 1;
  EXPECT_EQ(File(bytes).first_step(0), Step::kTorn);
  EXPECT_EQ(File(bytes + frame(2)).first_step(0), Step::kDamaged);
}

TEST(SpoolReader, ReadsWhatItHasInMemoryOnce) {
  const File file(frame(1) + frame(2));
  SegmentReader reader = file.reader();
  ASSERT_EQ(reader.read(0, 0), Step::kRecord);
  const int reads = file.ops.reads;
  EXPECT_EQ(reader.read(0, 0), Step::kRecord);
  EXPECT_EQ(reader.read(reader.next_offset(), 1), Step::kRecord);
  EXPECT_EQ(file.ops.reads, reads);
}

TEST(SpoolReader, SaysSoWhenAFileBecameShorter) {
  const File file(frame(1));
  SegmentReader reader = file.reader(100);
  ASSERT_EQ(reader.read(0, 0), Step::kRecord);
  EXPECT_EQ(reader.read(reader.next_offset(), 1), Step::kError);
  EXPECT_EQ(reader.error(), EIO);
}

TEST(SpoolReader, ForgetsAnErrorWithTheNextCall) {
  File file(frame(1) + "torn");
  file.ops.read_error = EIO;
  file.ops.read_errors_left = 2;
  SegmentReader reader = file.reader();
  const uint64_t torn = frame(1).size();
  ASSERT_EQ(reader.read(0, 0), Step::kError);
  EXPECT_EQ(reader.read(torn, 1), Step::kTorn);
  EXPECT_EQ(reader.error(), 0);
  ASSERT_EQ(reader.read(0, 0), Step::kError);
  EXPECT_EQ(reader.find(torn, 1), std::nullopt);
  EXPECT_EQ(reader.error(), 0);
}

TEST(SpoolReader, DoesNotTakeAnErrorAmongZerosForDamage) {
  File file(std::string(300'000, '\0'));
  file.ops.read_error = EIO;
  file.ops.reads_until_error = 1;
  SegmentReader reader = file.reader();
  EXPECT_EQ(reader.read(0, 0), Step::kError);
  EXPECT_EQ(reader.error(), EIO);
}

TEST(SpoolSegment, IsNeitherDamagedNorTornWhenItEndsWithARecord) {
  const SegmentScan scan = File(frame(1) + frame(2)).scan();
  EXPECT_EQ(scan.records, 2u);
  EXPECT_EQ(scan.lost, 0u);
  EXPECT_FALSE(scan.is_damaged);
  EXPECT_FALSE(scan.is_torn);
}

TEST(SpoolSegment, IsDamagedByAWholeRecordThatIsNoneOfOurs) {
  const std::vector<uint8_t> never_used = {0xc1};
  const std::string refused = text_of(spool::make_frame_header(2, never_used)) + "\xc1";
  const SegmentScan scan = File(frame(1) + refused + frame(3)).scan();
  EXPECT_TRUE(scan.is_damaged);
  EXPECT_EQ(scan.refused, 1u);
  EXPECT_EQ(scan.lost, 1u);
  EXPECT_EQ(scan.records, 2u);
}

TEST(SpoolSegment, FindsARecordThatBeginsWithTheNextByte) {
  const SegmentScan scan = File("x" + frame(1)).scan();
  EXPECT_EQ(scan.records, 1u);
  EXPECT_TRUE(scan.is_damaged);
}

TEST(SpoolSegment, CountsAsLostWhatNumbersTellAndNoMoreThanThereWasRoomFor) {
  const std::string damage(48, 'x');  // room for two of the shortest records, and part of one
  for (const auto& [number, lost] : {std::pair{1u, 0u}, {3u, 2u}, {4u, 3u}, {5u, 3u}, {999u, 3u}}) {
    EXPECT_EQ(File(damage + frame(number)).scan().lost, lost) << number;
  }
}

TEST(SpoolSegment, TellsTheErrorThatStoppedIt) {
  File file(frame(1) + std::string(300'000, '\0'));
  file.ops.read_error = EIO;
  file.ops.reads_until_error = 1;
  EXPECT_EQ(file.scan().error, EIO);
}

}  // namespace
}  // namespace vek::engine
