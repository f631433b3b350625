#include "raw_msgpack_api/spool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

#include "tests/raw_msgpack_api/failing_ops.h"
#include "tests/raw_msgpack_api/spool_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"
#include "tests/support/msgpack_json.h"
#include "tests/support/temp_dir.h"

namespace vek::engine {
namespace {

using test::FailingOps;
using test::load_all;
using test::LogCapture;
using test::open_spool;
using test::range;
using test::store;
using test::store_all;
using test::TempDir;
using testing::ElementsAre;
using testing::HasSubstr;
using namespace test;  // operator+ of numbers
using Outcome = Spool::Outcome;

size_t segments_in(const TempDir& dir) {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    if (entry.path().extension() == ".seg") ++count;
  }
  return count;
}

uint64_t bytes_in(const TempDir& dir) {
  uint64_t bytes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    if (entry.path().extension() == ".seg") bytes += entry.file_size();
  }
  return bytes;
}

TEST(Spool, HandsRecordsBackInOrderAsTheyWere) {
  const TempDir dir;
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(spool->next_sequence(), 1u);
  const auto timed = Pack().array(2).f64(1.5).map(1).str("n").u(7).bytes();
  RecordWalk walk{Bytes(timed)};
  walk.next();
  EXPECT_EQ(spool->store(1, walk.record(), false, 0).outcome, Outcome::kStored);
  EXPECT_EQ(store(*spool, 2).outcome, Outcome::kStored);
  EXPECT_EQ(spool->unread(), 2u);
  RecordBatch batch;
  EXPECT_EQ(spool->load(batch).lost, 0u);
  ASSERT_EQ(batch.size(), 2u);
  EXPECT_EQ(test::to_hex(batch[0].bytes), test::to_hex(timed));
  EXPECT_EQ(batch[0].shape, RecordShape::kTimedMap);
  EXPECT_EQ(batch[0].time_offset, 1u);
  EXPECT_EQ(batch[0].body_offset, 10u);
  EXPECT_EQ(number_of(batch[1]), 2u);
  EXPECT_EQ(spool->unread(), 0u);
}

TEST(Spool, StoresAMendedRecordMended) {
  const TempDir dir;
  const auto spool = open_spool(dir.path());
  const auto bytes = Pack().array(2).u(1).map(3).str("a").nil().bytes();
  RecordWalk walk{Bytes(bytes)};
  ASSERT_EQ(walk.next(), RecordWalk::Step::kRecord);
  spool->store(1, walk.record(), walk.mended(), walk.pairs());
  RecordBatch batch;
  spool->load(batch);
  EXPECT_EQ(test::to_hex(batch[0].bytes), "920181a161c0");
}

TEST(Spool, LoadsWhatWasNotSettledAfterARestart) {
  const TempDir dir;
  {
    const auto spool = open_spool(dir.path());
    ASSERT_TRUE(store_all(*spool, 1, 100));
    EXPECT_EQ(load_all(*spool), range(1, 100));
    spool->settle(30);
    spool->settle(10);
  }
  LogCapture log;
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(spool->unread(), 60u);
  EXPECT_EQ(spool->next_sequence(), 101u);
  EXPECT_EQ(spool->lost_at_open(), 0u);
  EXPECT_THAT(log.warnings(), ElementsAre("[t] 60 record(s) of a former run wait in '" +
                                          dir.path() + "' and are sent first"));
  ASSERT_TRUE(store_all(*spool, 101, 110));
  EXPECT_EQ(load_all(*spool), range(41, 110));
}

TEST(Spool, NeverUsesANumberAgainThoughEverythingIsSettled) {
  const TempDir dir;
  {
    const auto spool = open_spool(dir.path());
    ASSERT_TRUE(store_all(*spool, 1, 5));
    load_all(*spool);
    spool->settle(5);
  }
  EXPECT_EQ(segments_in(dir), 0u);
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(spool->unread(), 0u);
  EXPECT_EQ(spool->next_sequence(), 6u);
}

TEST(Spool, LoadsBatchesOfModerateSize) {
  const TempDir dir;
  const auto spool = open_spool(dir.path());
  ASSERT_TRUE(store_all(*spool, 1, 5, 30'000));
  ASSERT_EQ(store(*spool, 6, 200'000).outcome, Outcome::kStored);
  ASSERT_TRUE(store_all(*spool, 7, 8, 10));
  std::vector<size_t> sizes;
  while (spool->unread() > 0) {
    RecordBatch batch;
    spool->load(batch);
    sizes.push_back(batch.size());
  }
  EXPECT_THAT(sizes, ElementsAre(2u, 2u, 1u, 1u, 2u));
}

TEST(Spool, RemovesASegmentOnceAllOfItIsSettled) {
  const TempDir dir;
  const auto spool = open_spool(dir.path(), 8'000);  // segments of 1000 bytes
  ASSERT_TRUE(store_all(*spool, 1, 60));
  const size_t before = segments_in(dir);
  EXPECT_GE(before, 4u);
  load_all(*spool);
  spool->settle(30);
  const size_t half = segments_in(dir);
  EXPECT_LT(half, before);
  EXPECT_GE(half, before / 2);
  spool->settle(30);
  EXPECT_EQ(segments_in(dir), 1u);  // the one that is written to
}

TEST(Spool, LetsTheOldestGoWhenItIsFull) {
  const TempDir dir;
  const auto spool = open_spool(dir.path(), 8'000);
  uint64_t given_up = 0;
  for (uint64_t n = 1; n <= 500; ++n) {
    const auto result = store(*spool, n);
    ASSERT_EQ(result.outcome, Outcome::kStored);
    given_up += result.given_up;
    ASSERT_LE(bytes_in(dir), 8'000u);
    ASSERT_EQ(spool->unread() + given_up, n);
  }
  EXPECT_GE(bytes_in(dir), 6'000u);
  EXPECT_EQ(load_all(*spool), range(given_up + 1, 500));
}

TEST(Spool, LeavesWhatIsInFlightToWhoeverHasIt) {
  const TempDir dir;
  const auto spool = open_spool(dir.path(), 8'000);
  ASSERT_TRUE(store_all(*spool, 1, 20));
  EXPECT_EQ(load_all(*spool), range(1, 20));
  uint64_t given_up = 0;
  for (uint64_t n = 21; n <= 200; ++n) given_up += store(*spool, n).given_up;
  EXPECT_EQ(spool->in_flight_gone(), 20u);
  EXPECT_EQ(load_all(*spool), range(21 + given_up, 200));
  spool->settle(20);
  EXPECT_EQ(spool->in_flight_gone(), 0u);
  spool->settle(200 - 20 - given_up);
  EXPECT_EQ(segments_in(dir), 1u);
}

TEST(Spool, RefusesARecordThatCanNeverFit) {
  const TempDir dir;
  const auto spool = open_spool(dir.path(), 1'000);
  ASSERT_TRUE(store_all(*spool, 1, 3));
  const auto result = store(*spool, 4, 2'000);
  EXPECT_EQ(result.outcome, Outcome::kTooLarge);
  EXPECT_EQ(result.given_up, 0u);
  EXPECT_EQ(store(*spool, 5, 900).outcome, Outcome::kStored);
}

TEST(Spool, PutsOlderRecordsThatComeLaterBeforeTheOthers) {
  const TempDir dir;
  {
    const auto spool = open_spool(dir.path());
    ASSERT_TRUE(store_all(*spool, 1, 5));
    ASSERT_TRUE(store_all(*spool, 21, 30));  // 6 to 20 were in memory
    EXPECT_EQ(store(*spool, 31).outcome, Outcome::kStored);
    ASSERT_TRUE(store_all(*spool, 6, 20));
  }
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(spool->next_sequence(), 32u);
  EXPECT_EQ(load_all(*spool), range(1, 31));
}

TEST(Spool, KeepsItsPlaceWhenNumbersAreLeftOut) {
  const TempDir dir;
  {
    const auto spool = open_spool(dir.path());
    for (uint64_t n = 2; n <= 40; n += 2) ASSERT_EQ(store(*spool, n).outcome, Outcome::kStored);
    load_all(*spool);
    spool->settle(7);
  }
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(spool->unread(), 13u);
  EXPECT_EQ(load_all(*spool).front(), 16u);
}

TEST(Spool, FilesAreForTheirOwnerAlone) {
  const TempDir dir;
  const auto spool = open_spool(dir.path());
  ASSERT_TRUE(store_all(*spool, 1, 1));
  load_all(*spool);
  spool->settle(1);
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    struct stat status {};
    ASSERT_EQ(stat(entry.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u) << entry.path();
    ++files;
  }
  EXPECT_EQ(files, 3u);  // lock, cursor, one segment
}

// Disk errors
// ---------------------------------------------------------------------------------------------

TEST(SpoolErrors, FinishShortAndInterruptedWrites) {
  const TempDir dir;
  FailingOps ops;
  ops.largest_write = 7;
  ops.interrupt_every = 3;
  {
    const auto spool = open_spool(dir.path(), 100'000, ops);
    ASSERT_TRUE(store_all(*spool, 1, 20));
    EXPECT_TRUE(spool->sync());
  }
  EXPECT_EQ(load_all(*open_spool(dir.path())), range(1, 20));
}

TEST(SpoolErrors, LeaveTheDiskInPeaceAndTryAgainLater) {
  for (const int error : {ENOSPC, EIO, EROFS, EDQUOT}) {
    const TempDir dir;
    FailingOps ops;
    LogCapture log(3);
    const auto spool = open_spool(dir.path(), 100'000, ops);
    ASSERT_TRUE(store_all(*spool, 1, 3));
    ops.write_error = error;
    ops.bytes_until_error = 20;  // a part of the record gets through
    EXPECT_EQ(store(*spool, 4).outcome, Outcome::kFailed);
    EXPECT_FALSE(spool->is_ready());
    const int calls = ops.writes;
    EXPECT_EQ(store(*spool, 4).outcome, Outcome::kFailed);
    EXPECT_EQ(ops.writes, calls);
    EXPECT_THAT(log.errors(), ElementsAre("[t] cannot write to the spool '" + dir.path() +
                                          "': " + std::strerror(error)));
    ops.write_error = 0;
    while (!spool->is_ready()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_TRUE(store_all(*spool, 5, 6));
    ASSERT_TRUE(store_all(*spool, 4, 4));
    EXPECT_EQ(load_all(*spool), range(1, 6));
    spool->settle(1);
  }
}

TEST(SpoolErrors, LeaveAFileAloneThatCannotBeCutBack) {
  const TempDir dir;
  FailingOps ops;
  LogCapture log(3);
  {
    const auto spool = open_spool(dir.path(), 100'000, ops);
    ASSERT_TRUE(store_all(*spool, 1, 3));
    ops.write_error = EIO;
    ops.bytes_until_error = 20;
    ops.truncate_error = EIO;
    EXPECT_EQ(store(*spool, 4).outcome, Outcome::kFailed);
    ops.write_error = 0;
    while (!spool->is_ready()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_TRUE(store_all(*spool, 4, 6));
    EXPECT_EQ(load_all(*spool), range(1, 6));
  }
  const auto spool = open_spool(dir.path());
  EXPECT_EQ(load_all(*spool), range(1, 6));
  EXPECT_EQ(spool->lost_at_open(), 0u);
}

TEST(SpoolErrors, LeaveNoFileBehindThatCouldNotBeBegun) {
  const TempDir dir;
  FailingOps ops;
  LogCapture log(3);
  const auto spool = open_spool(dir.path(), 100'000, ops);
  ops.write_error = ENOSPC;
  ops.bytes_until_error = 5;
  EXPECT_EQ(store(*spool, 1).outcome, Outcome::kFailed);
  EXPECT_EQ(segments_in(dir), 0u);
}

TEST(SpoolErrors, AnnounceASyncThatFailedAndGoOnInANewFile) {
  const TempDir dir;
  FailingOps ops;
  LogCapture log(3);
  const auto spool = open_spool(dir.path(), 100'000, ops);
  ASSERT_TRUE(store_all(*spool, 1, 2));
  ops.sync_error = EIO;
  EXPECT_FALSE(spool->sync());
  EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("cannot sync the spool '" + dir.path() + "'")));
  ops.sync_error = 0;
  ASSERT_TRUE(store_all(*spool, 3, 4));
  EXPECT_TRUE(spool->sync());
  EXPECT_EQ(segments_in(dir), 2u);
  EXPECT_EQ(load_all(*spool), range(1, 4));
}

TEST(SpoolErrors, KeepRecordsThatCannotBeReadJustNow) {
  const TempDir dir;
  FailingOps ops;
  LogCapture log(3);
  const auto spool = open_spool(dir.path(), 100'000, ops);
  ASSERT_TRUE(store_all(*spool, 1, 4));
  RecordBatch batch;
  for (const int error : {EMFILE, ENFILE, ENOMEM, EACCES}) {
    ops.open_error = error;
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(spool->load(batch).is_blocked);
  }
  ops.open_error = 0;
  EXPECT_EQ(load_all(*spool), range(1, 4));
}

TEST(SpoolErrors, GiveAFileUpThatTheDiskNeverReads) {
  const TempDir dir;
  FailingOps ops;
  LogCapture log(3);
  const auto spool = open_spool(dir.path(), 8'000, ops);
  ASSERT_TRUE(store_all(*spool, 1, 30));
  ops.read_error = EIO;
  RecordBatch batch;
  EXPECT_TRUE(spool->load(batch).is_blocked);
  EXPECT_TRUE(spool->load(batch).is_blocked);
  ops.read_errors_left = 1;
  const auto result = spool->load(batch);
  EXPECT_FALSE(result.is_blocked);
  EXPECT_GT(result.lost, 0u);
  EXPECT_EQ(number_of(batch[0]), result.lost + 1);
  EXPECT_TRUE(std::filesystem::exists(dir.file("0000000000000001.seg.damaged")));
}

TEST(SpoolErrors, RaiseNoSignalAtTheLimitOfFileSizes) {
  const TempDir dir;
  const auto child = run_in_child([&] {
    const rlimit limit{500, 500};
    setrlimit(RLIMIT_FSIZE, &limit);
    LogCapture log(3);
    const auto spool = open_spool(dir.path());
    uint64_t n = 1;
    while (store(*spool, n).outcome == Outcome::kStored) ++n;
    EXPECT_GT(n, 3u);
    EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("File too large")));
    EXPECT_EQ(load_all(*spool), range(1, n - 1));
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

// Damage while it waits
// ---------------------------------------------------------------------------------------------

TEST(SpoolDamage, CostsOnlyTheRecordsThatItTouches) {
  const TempDir dir;
  LogCapture log(3);
  const auto spool = open_spool(dir.path());
  ASSERT_TRUE(store_all(*spool, 1, 10));
  const std::string name = dir.file("0000000000000001.seg");
  std::string bytes = read_file(name);
  bytes[200] ^= 1;
  dir.write("0000000000000001.seg", bytes);
  ASSERT_TRUE(store_all(*spool, 11, 12));
  uint64_t lost = 0;
  const auto numbers = load_all(*spool, &lost);
  EXPECT_EQ(lost, 1u);
  EXPECT_EQ(numbers.size(), 11u);
  EXPECT_EQ(spool->unread(), 0u);
  EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("was damaged while it waited: 1 record(s)")));
  ASSERT_TRUE(store_all(*spool, 13, 13));
  EXPECT_EQ(load_all(*spool), range(13, 13));
}

TEST(SpoolDamage, AFileThatDisappearsIsLostAndNothingElse) {
  const TempDir dir;
  LogCapture log(3);
  const auto spool = open_spool(dir.path(), 8'000);
  ASSERT_TRUE(store_all(*spool, 1, 40));
  std::filesystem::remove(dir.file("0000000000000001.seg"));
  uint64_t lost = 0;
  const auto numbers = load_all(*spool, &lost);
  EXPECT_GT(lost, 0u);
  EXPECT_EQ(numbers, range(lost + 1, 40));
}

TEST(Spool, LosesNothingToMissingMemory) {
  if (!FailAllocation::available()) GTEST_SKIP();
  for (unsigned n = 1;; ++n) {
    const TempDir dir;
    const auto spool = open_spool(dir.path());
    const auto bytes = spool_record(1);
    FailAllocation failing(n);
    const auto stored = spool->store(1, {bytes, RecordShape::kBareMap, 0, 0}, false, 0);
    RecordBatch batch;
    bool threw = false;
    try {
      spool->load(batch);
    } catch (const std::bad_alloc&) {
      threw = true;
    }
    if (!failing.disarm()) break;
    if (stored.outcome == Outcome::kStored) {
      if (threw) {
        EXPECT_TRUE(batch.empty());
        EXPECT_EQ(load_all(*spool), range(1, 1));
      } else {
        EXPECT_EQ(batch.size(), 1u);
      }
    } else {
      EXPECT_EQ(spool->unread(), 0u);
    }
  }
}

TEST(Spool, StoresWhileAnotherThreadLoadsAndSettles) {
  const TempDir dir;
  constexpr uint64_t kRecords = 20'000;
  const auto spool = open_spool(dir.path(), 400'000);
  std::atomic<uint64_t> given_up{0};
  std::atomic<bool> is_done{false};
  std::thread loader([&] {
    uint64_t last = 0;
    uint64_t seen = 0;
    while (!is_done || spool->unread() > 0) {
      RecordBatch batch;
      spool->load(batch);
      for (size_t i = 0; i < batch.size(); ++i) {
        EXPECT_GT(number_of(batch[i]), last);
        last = number_of(batch[i]);
      }
      seen += batch.size();
      spool->settle(batch.size());
    }
    EXPECT_EQ(seen + given_up, kRecords);
  });
  std::thread syncer([&] {
    while (!is_done) spool->sync();
  });
  for (uint64_t n = 1; n <= kRecords; ++n) given_up += store(*spool, n).given_up;
  is_done = true;
  loader.join();
  syncer.join();
}

}  // namespace
}  // namespace vek::engine
