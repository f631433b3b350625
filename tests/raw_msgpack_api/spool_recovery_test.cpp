#include "raw_msgpack_api/spool_recovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tests/raw_msgpack_api/failing_ops.h"
#include "tests/raw_msgpack_api/spool_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::engine {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr size_t kFrame = 16;
constexpr size_t kHeader = 32;

std::string text_of(Bytes bytes) { return {bytes.begin(), bytes.end()}; }

std::string frame(uint64_t sequence, const std::vector<uint8_t>& record) {
  return text_of(spool::make_frame_header(sequence, record)) + text_of(record);
}
std::string frame(uint64_t number) { return frame(number, spool_record(number)); }
std::string header(uint64_t first) { return text_of(spool::make_segment_header(first)); }

std::string segment(uint64_t first, uint64_t last) {
  std::string bytes = header(first);
  for (uint64_t n = first; n <= last; ++n) bytes += frame(n);
  return bytes;
}

// Where record `number` of segment(first, ...) begins.
size_t offset_of(uint64_t first, uint64_t number) {
  return kHeader + (number - first) * frame(first).size();
}

std::vector<std::string> names_in(const TempDir& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

const std::string kOne = spool::segment_name(1);

TEST(SpoolRecovery, ReadsSegmentsInOrderOfTheirNumbers) {
  const TempDir dir;
  dir.write(spool::segment_name(11), segment(11, 20));
  dir.write(kOne, segment(1, 10));
  dir.write(spool::segment_name(300), segment(300, 301));
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(spool->next_sequence(), 302u);
  EXPECT_EQ(load_all(*spool), range(1, 20) + range(300, 301));
}

TEST(SpoolRecovery, GoesOnBehindTheCursor) {
  for (uint64_t settled = 0; settled <= 21; ++settled) {
    const TempDir dir;
    dir.write(kOne, segment(1, 10));
    dir.write(spool::segment_name(11), segment(11, 20));
    dir.write("cursor", text_of(spool::make_cursor(settled)));
    const auto spool = open_spool(dir.path());
    EXPECT_EQ(load_all(*spool), range(settled + 1, 20)) << settled;
    EXPECT_EQ(spool->next_sequence(), std::max<uint64_t>(settled, 20) + 1);
  }
}

TEST(SpoolRecovery, RepeatsRatherThanLosesWhenTheCursorIsDamaged) {
  for (const std::string& cursor : {std::string(), std::string("short"), std::string(24, 'x'),
                                    text_of(spool::make_cursor(UINT64_MAX))}) {
    const TempDir dir;
    LogCapture log(4);
    dir.write(kOne, segment(1, 10));
    dir.write("cursor", cursor);
    EXPECT_EQ(load_all(*open_spool(dir.path())), range(1, 10));
    EXPECT_THAT(log.warnings()[0], HasSubstr("the cursor in '" + dir.path() + "' is damaged"));
  }
}

TEST(SpoolRecovery, LosesOnlyTheTornRecordOfATornTail) {
  const std::string whole = segment(1, 3);
  const size_t last = offset_of(1, 3);
  for (size_t cut = last; cut < whole.size(); ++cut) {
    const TempDir dir;
    LogCapture log(4);
    dir.write(kOne, whole.substr(0, cut));
    {
      const auto spool = open_spool(dir.path());
      EXPECT_EQ(load_all(*spool), range(1, 2)) << cut;
      EXPECT_EQ(spool->lost_at_open(), 0u);
    }
    EXPECT_EQ(read_file(dir.file(kOne)), whole.substr(0, last));
    EXPECT_EQ(log.warnings().size(), cut == last ? 1u : 2u);
  }
}

TEST(SpoolRecovery, KnowsHowLongAFileIsWhoseTailWasOrWasNotCutOff) {
  const std::string sound = segment(1, 3);
  for (const int truncate_error : {0, EIO}) {
    const TempDir dir;
    LogCapture log(4);
    dir.write(kOne, sound + "torn");
    FailingOps ops;
    ops.truncate_error = truncate_error;
    const auto folder = SpoolFolder::open(dir.path(), "[t]", ops);
    RecoveredSpool found;
    ASSERT_TRUE(recover_spool(*folder, "[t]", found));
    EXPECT_EQ(found.segments.at(0).size, sound.size() + (truncate_error != 0 ? 4 : 0));
    EXPECT_EQ(std::filesystem::file_size(dir.file(kOne)), found.segments[0].size);
  }
}

TEST(SpoolRecovery, HandsOutNothingOfASegmentBeforeItsFirstNumber) {
  for (const uint64_t first : {0, 1, 7}) {
    const TempDir dir;
    LogCapture log(4);
    dir.write(spool::segment_name(first), header(first) + frame(first + 1));
    const auto folder = SpoolFolder::open(dir.path(), "[t]");
    RecoveredSpool found;
    ASSERT_TRUE(recover_spool(*folder, "[t]", found));
    EXPECT_EQ(found.segments.at(0).last, first == 0 ? 0 : first - 1);
    EXPECT_FALSE(found.segments[0].is_damaged);
  }
}

TEST(SpoolRecovery, TakesZerosAtTheEndForATornTail) {
  for (const size_t zeros : {1, 16, 50, 5000, 300'000}) {
    const TempDir dir;
    LogCapture log(4);
    dir.write(kOne, segment(1, 3) + std::string(zeros, '\0'));
    const auto spool = open_spool(dir.path());
    EXPECT_EQ(load_all(*spool), range(1, 3));
    EXPECT_EQ(std::filesystem::file_size(dir.file(kOne)), segment(1, 3).size());
  }
}

TEST(SpoolRecovery, RemovesWhatIsOnlyTheBeginningOfAHeader) {
  for (size_t size = 0; size < kHeader; ++size) {
    for (const std::string& bytes : {header(1).substr(0, size), std::string(size, '\0')}) {
      const TempDir dir;
      LogCapture log(4);
      dir.write(kOne, bytes);
      const auto spool = open_spool(dir.path());
      EXPECT_THAT(names_in(dir), ElementsAre("lock")) << size;
      EXPECT_THAT(log.lines(), IsEmpty());
      EXPECT_EQ(spool->next_sequence(), 2u);  // a name is used once
    }
  }
}

// Damage
// ---------------------------------------------------------------------------------------------

TEST(SpoolRecovery, EveryDamagedByteCostsOneRecordAtMost) {
  const std::string whole = segment(1, 5);
  for (size_t at = 0; at < whole.size(); ++at) {
    const TempDir dir;
    LogCapture log(3);
    std::string bytes = whole;
    bytes[at] = static_cast<char>(bytes[at] ^ 0x5a);
    dir.write(kOne, bytes);
    const auto spool = open_spool(dir.path());
    Numbers expected = range(1, 5);
    if (at >= kHeader) {
      expected.erase(expected.begin() + static_cast<long>((at - kHeader) / frame(1).size()));
    }
    EXPECT_EQ(load_all(*spool), expected) << at;
    spool->settle(expected.size());
    const bool in_last = at >= offset_of(1, 5);
    EXPECT_EQ(spool->lost_at_open(), at < kHeader || in_last ? spool->lost_at_open() : 1u) << at;
    if (in_last) continue;  // may be a torn tail as well
    // Set aside with all that was in it.
    EXPECT_THAT(names_in(dir), ElementsAre(kOne + ".damaged", "cursor", "lock")) << at;
    EXPECT_EQ(read_file(dir.file(kOne + ".damaged")), bytes);
  }
}

TEST(SpoolRecovery, SaysWhatIsDamagedAndCountsWhatIsLost) {
  const TempDir dir;
  LogCapture log(3);
  std::string bytes = segment(1, 20);
  for (size_t i = offset_of(1, 6) + 3; i < offset_of(1, 9) + 20; ++i) bytes[i] = 'Z';
  dir.write(kOne, bytes);
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(spool->lost_at_open(), 4u);
  EXPECT_THAT(log.errors(), ElementsAre("[t] '" + dir.path() + "/" + kOne +
                                        "' is damaged: 4 record(s) in it are lost, 16 are sent "
                                        "before it is set aside"));
  EXPECT_EQ(load_all(*spool), range(1, 5) + range(10, 20));
}

TEST(SpoolRecovery, KeepsADamagedFileThroughRestartsUntilItHasServed) {
  const TempDir dir;
  LogCapture log(3);
  std::string bytes = segment(1, 20);
  bytes[offset_of(1, 6)] = 'Z';
  dir.write(kOne, bytes);
  {
    const auto spool = open_spool(dir.path());
    load_all(*spool);
    spool->settle(8);
  }
  EXPECT_EQ(read_file(dir.file(kOne)), bytes);
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(spool->lost_at_open(), 0u);  // it was counted when the cursor was before it
  EXPECT_EQ(load_all(*spool), range(10, 20));
  spool->settle(11);
  EXPECT_EQ(read_file(dir.file(kOne + ".damaged")), bytes);
}

TEST(SpoolRecovery, SetsAForeignFileOfOurNameAside) {
  for (const size_t size : {5, 100, 200'000}) {
    const TempDir dir;
    LogCapture log(3);
    std::string foreign(size, 'q');
    dir.write(kOne, foreign);
    dir.write(spool::segment_name(9), segment(9, 9));
    const auto spool = open_spool(dir.path());
    EXPECT_EQ(load_all(*spool), range(9, 9));
    EXPECT_EQ(read_file(dir.file(kOne + ".damaged")), foreign);
  }
}

TEST(SpoolRecovery, KeepsGarbageBehindSoundRecords) {
  const TempDir dir;
  LogCapture log(3);
  const std::string bytes = segment(1, 3) + std::string(500, 'q');
  dir.write(kOne, bytes);
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(spool->lost_at_open(), 1u);
  EXPECT_EQ(load_all(*spool), range(1, 3));
  spool->settle(3);
  EXPECT_EQ(read_file(dir.file(kOne + ".damaged")), bytes);
}

TEST(SpoolRecovery, SetsAFileOfAnotherVersionAside) {
  const TempDir dir;
  LogCapture log(3);
  std::string bytes = segment(1, 3);
  // As version 2 would write it: the checksum is right.
  const std::string version_2 = "56454b53504f4f4c0200000000000000010000000000000000000000342d59ba";
  for (size_t i = 0; i < kHeader; ++i) {
    bytes[i] = static_cast<char>(std::stoi(version_2.substr(2 * i, 2), nullptr, 16));
  }
  dir.write(kOne, bytes);
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(spool->unread(), 0u);
  EXPECT_EQ(spool->next_sequence(), 2u);
  EXPECT_EQ(read_file(dir.file(kOne + ".unknown")), bytes);
}

TEST(SpoolRecovery, LeavesStrangersAloneAndNamesThem) {
  const TempDir dir;
  LogCapture log(4);
  dir.write("notes.txt", "mine");
  dir.write(spool::segment_name(7) + "/inside", "a folder");
  ASSERT_EQ(symlink("/etc/passwd", dir.file(spool::segment_name(8)).c_str()), 0);
  dir.write("0000000000000001.seg.damaged", "set aside before");
  for (int i = 0; i < 4; ++i) dir.write("x" + std::to_string(i), "");
  const auto before = names_in(dir);
  const auto spool = open_spool(dir.path());
  EXPECT_THAT(log.warnings(),
              ElementsAre("[t] 7 file(s) in '" + dir.path() +
                          "' are none of the spool's and left alone: '" + spool::segment_name(7) +
                          "', '" + spool::segment_name(8) + "', 'notes.txt', 'x0', 'x1'"));
  EXPECT_EQ(spool->next_sequence(), 9u);  // their names are taken
  auto after = names_in(dir);
  std::erase(after, "lock");
  EXPECT_EQ(after, before);
}

// Records
// ---------------------------------------------------------------------------------------------

TEST(SpoolRecovery, NeverYieldsABrokenRecord) {
  const std::vector<std::vector<uint8_t>> broken = {
      {0xc1},
      Pack().str("no record").bytes(),
      Pack().map(2).str("a").u(1).bytes(),                          // one pair short
      Pack().map(1).str("a").u(1).bytes() + Pack().map(0).bytes(),  // two records
      Pack().array(2).u(1).map(1).str("a").bytes(),
  };
  for (const auto& record : broken) {
    const TempDir dir;
    LogCapture log(3);
    dir.write(kOne, header(1) + frame(1) + frame(2, record) + frame(3));
    const auto spool = open_spool(dir.path());
    EXPECT_EQ(spool->lost_at_open(), 1u);
    EXPECT_EQ(load_all(*spool), (Numbers{1, 3}));
  }
}

TEST(SpoolRecovery, TakesNumbersThatGrowAndNoOthers) {
  const TempDir dir;
  LogCapture log(3);
  dir.write(spool::segment_name(5), header(5) + frame(5) + frame(6) + frame(6) + frame(4) +
                                        frame(9) + frame(uint64_t{1} << 40) + frame(10));
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(load_all(*spool), (Numbers{5, 6, 9, 10}));
}

TEST(SpoolRecovery, FindsARecordBehindALengthThatReachesPastTheEnd) {
  const TempDir dir;
  LogCapture log(3);
  std::string bytes = segment(1, 4);
  bytes[offset_of(1, 2) + 2] = 0x7f;  // 8 MB
  dir.write(kOne, bytes);
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(spool->lost_at_open(), 1u);
  EXPECT_EQ(load_all(*spool), (Numbers{1, 3, 4}));
}

TEST(SpoolRecovery, EndsASearchThatAFileWasMadeFor) {
  // Every byte begins a record that reaches to the end, and none is one.
  std::string bytes = header(1);
  for (int i = 0; i < 100'000; ++i) {
    bytes += std::string("\x00\x40\x0f\x00\x01\x00\x00\x00", 8);
    bytes += std::string("\x01\x00\x00\x00\x00\x00\x00\x00", 8);
  }
  const TempDir dir;
  LogCapture log(3);
  dir.write(kOne, bytes);
  const auto start = Clock::now();
  open_spool(dir.path());
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
}

TEST(SpoolRecovery, StopsTheStartWhenAFileCannotBeRead) {
  const TempDir dir;
  LogCapture log(3);
  dir.write(kOne, segment(1, 2));
  FailingOps ops;
  ops.open_error = EACCES;
  EXPECT_EQ(open_spool(dir.path(), 1'000'000, ops), nullptr);
  ops.open_error = 0;
  ops.read_error = EIO;
  EXPECT_EQ(open_spool(dir.path(), 1'000'000, ops), nullptr);
  EXPECT_THAT(log.errors(),
              ElementsAre("[t] cannot read '" + dir.file(kOne) + "': Permission denied",
                          "[t] cannot read '" + dir.file(kOne) + "': Input/output error"));
  EXPECT_EQ(load_all(*open_spool(dir.path())), range(1, 2));
}

}  // namespace
}  // namespace vek::engine
