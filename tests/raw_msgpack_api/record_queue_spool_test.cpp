// The queue with a spool behind it: where records are, in which order they leave, and the account.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <random>
#include <thread>

#include "raw_msgpack_api/record_queue.h"
#include "tests/raw_msgpack_api/failing_ops.h"
#include "tests/raw_msgpack_api/spool_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::engine {
namespace {

using namespace test;

constexpr auto kLong = std::chrono::minutes(1);

RecordQueue::PushResult push(RecordQueue& queue, uint64_t number, size_t size = 40) {
  const auto bytes = spool_record(number, size);
  return queue.push({bytes, RecordShape::kBareMap, 0, 0, 1}, false, 0);
}

void push_all(RecordQueue& queue, uint64_t first, uint64_t last, size_t size = 40) {
  for (uint64_t n = first; n <= last; ++n) push(queue, n, size);
}

void expect_exact(const RecordQueue& queue) {
  const Account account = queue.account();
  EXPECT_EQ(account.accepted,
            account.delivered + account.spooled + account.queued + account.dropped_sum());
}

// Delivers everything that can be had without waiting.
Numbers drain(RecordQueue& queue) {
  Numbers numbers;
  while (const RecordBatch* batch = queue.take_more()) {
    for (size_t i = 0; i < batch->size(); ++i) numbers.push_back(number_of((*batch)[i]));
    queue.settle_delivered(batch->size());
    expect_exact(queue);
  }
  return numbers;
}

void wait_until_ready(const Spool& spool) {
  while (!spool.is_ready()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

class QueueWithSpool : public testing::Test {
 protected:
  TempDir dir_;
  LogCapture log_{4};
  FailingOps ops_;
};

TEST_F(QueueWithSpool, LeavesTheDiskAloneWhileMemoryHasRoom) {
  const auto spool = open_spool(dir_.path(), 1'000'000, ops_);
  RecordQueue queue(10'000, spool.get());
  push_all(queue, 1, 100);
  EXPECT_EQ(ops_.writes, 0);
  EXPECT_EQ(queue.account().queued, 100u);
  EXPECT_EQ(drain(queue), range(1, 100));
}

TEST_F(QueueWithSpool, GoesOnToTheDiskWhenMemoryIsFullAndKeepsTheOrder) {
  const auto spool = open_spool(dir_.path());
  RecordQueue queue(1'000, spool.get());
  for (uint64_t n = 1; n <= 200; ++n) {
    EXPECT_EQ(push(queue, n).dropped, 0u);
    expect_exact(queue);
  }
  EXPECT_GT(queue.account().queued, 10u);
  EXPECT_GT(queue.account().spooled, 150u);
  EXPECT_EQ(drain(queue), range(1, 200));
  EXPECT_EQ(queue.account().spooled, 0u);
  push_all(queue, 201, 205);  // memory has room, and nothing waits on disk
  EXPECT_EQ(queue.account().queued, 5u);
}

TEST_F(QueueWithSpool, SendsEveryRecordThroughTheDiskWhenAsked) {
  const auto spool = open_spool(dir_.path());
  RecordQueue queue(100'000, spool.get(), true);
  push_all(queue, 1, 10);
  EXPECT_EQ(queue.account().spooled, 10u);
  EXPECT_EQ(queue.account().queued, 0u);
  const RecordBatch* batch = queue.take();
  ASSERT_EQ(batch->size(), 10u);
  EXPECT_EQ(queue.account().spooled, 0u);
  EXPECT_EQ(queue.account().queued, 10u);  // in flight, though still on disk
  expect_exact(queue);
}

TEST_F(QueueWithSpool, CountsRecordsOfAFormerRunAsAccepted) {
  { ASSERT_TRUE(store_all(*open_spool(dir_.path()), 1, 7)); }
  const auto spool = open_spool(dir_.path());
  RecordQueue queue(100'000, spool.get());
  EXPECT_EQ(queue.account().accepted, 7u);
  EXPECT_EQ(queue.account().spooled, 7u);
  push_all(queue, 8, 9);
  EXPECT_EQ(drain(queue), range(1, 9));
  EXPECT_EQ(queue.account().delivered, 9u);
}

TEST_F(QueueWithSpool, KeepsWhatIsLeftForTheNextRunInOrder) {
  for (const bool spool_first : {false, true}) {
    const TempDir dir;
    {
      const auto spool = open_spool(dir.path());
      RecordQueue queue(2'000, spool.get(), spool_first);
      push_all(queue, 1, 100);
      ASSERT_NE(queue.take_more(), nullptr);
      queue.settle_delivered(5);
      queue.close(Clock::now() + kLong);
      queue.spool_rest(Clock::now() + kLong);
      EXPECT_EQ(queue.account().spooled, 95u);
      EXPECT_EQ(queue.account().queued, 0u);
      expect_exact(queue);
      queue.drop_rest(DropReason::kSpoolFailed);
      EXPECT_EQ(queue.account().given_up(), 0u);
    }
    EXPECT_EQ(load_all(*open_spool(dir.path())), range(6, 100));
  }
}

TEST_F(QueueWithSpool, CountsWhatCouldNotBeSpooledInTheEnd) {
  const auto spool = open_spool(dir_.path(), 1'000'000, ops_);
  RecordQueue queue(100'000, spool.get());
  push_all(queue, 1, 10);
  ops_.write_error = ENOSPC;
  queue.spool_rest(Clock::now() + kLong);
  queue.drop_rest(DropReason::kSpoolFailed);
  EXPECT_EQ(queue.account().dropped_for(DropReason::kSpoolFailed), 10u);
  expect_exact(queue);
}

TEST_F(QueueWithSpool, LetsTheOldestOnDiskGoWhenThatIsFullToo) {
  const auto spool = open_spool(dir_.path(), 8'000);
  RecordQueue queue(1'000, spool.get());
  push_all(queue, 1, 500);
  expect_exact(queue);
  const Account account = queue.account();
  const uint64_t lost = account.dropped_for(DropReason::kSpoolFull);
  EXPECT_GT(lost, 300u);
  EXPECT_EQ(account.dropped_sum(), lost);
  const uint64_t in_memory = account.queued;
  EXPECT_EQ(drain(queue), range(1, in_memory) + range(in_memory + lost + 1, 500));
}

TEST_F(QueueWithSpool, StaysInMemoryWhileTheDiskIsFullAndKeepsTheOrder) {
  const auto spool = open_spool(dir_.path(), 1'000'000, ops_);
  RecordQueue queue(10'000, spool.get(), true);
  push_all(queue, 1, 10);
  ops_.write_error = ENOSPC;
  push_all(queue, 11, 20);
  EXPECT_EQ(queue.account().spooled, 10u);
  EXPECT_EQ(queue.account().queued, 10u);
  EXPECT_EQ(queue.account().dropped_sum(), 0u);
  ops_.write_error = 0;
  wait_until_ready(*spool);
  push(queue, 21);
  EXPECT_EQ(queue.account().spooled, 21u);  // those in between went to the disk as well
  expect_exact(queue);
  EXPECT_EQ(drain(queue), range(1, 21));
}

TEST_F(QueueWithSpool, DropsTheOldestInMemoryWhenTheDiskTakesNothing) {
  const auto spool = open_spool(dir_.path(), 1'000'000, ops_);
  RecordQueue queue(1'000, spool.get());
  ops_.write_error = EIO;
  push_all(queue, 1, 100);
  expect_exact(queue);
  const Account account = queue.account();
  EXPECT_EQ(account.dropped_for(DropReason::kQueueFull), 100 - account.queued);
  EXPECT_EQ(drain(queue), range(101 - account.queued, 100));
}

TEST_F(QueueWithSpool, NeverSaysThatItHasWhatItCannotRead) {
  const auto spool = open_spool(dir_.path(), 1'000'000, ops_);
  RecordQueue queue(10'000, spool.get(), true);
  push_all(queue, 1, 10);
  EXPECT_GT(queue.waiting_bytes(), 0u);
  ops_.open_error = EMFILE;
  EXPECT_EQ(queue.take_more(), nullptr);
  EXPECT_EQ(queue.waiting_bytes(), 0u);  // or a consumer would ask without end
  EXPECT_TRUE(queue.may_sleep(1));
  ops_.open_error = 0;
  queue.look_again();
  EXPECT_EQ(drain(queue), range(1, 10));
}

TEST_F(QueueWithSpool, TakesNoMoreFromDiskThanMemoryHolds) {
  const auto spool = open_spool(dir_.path());
  RecordQueue queue(200'000, spool.get(), true);
  push_all(queue, 1, 100, 10'000);
  size_t bytes = 0;
  while (const RecordBatch* batch = queue.take_more()) bytes += batch->bytes();
  EXPECT_LE(bytes, 200'000u);
  EXPECT_GE(bytes, 130'000u);
  EXPECT_EQ(queue.waiting_bytes(), 0u);
}

TEST_F(QueueWithSpool, IsOverOnlyWhenNothingWaitsOnDisk) {
  const auto spool = open_spool(dir_.path());
  RecordQueue queue(100'000, spool.get(), true);
  push_all(queue, 1, 3);
  queue.close(Clock::now() + kLong);
  EXPECT_FALSE(queue.is_over());
  ASSERT_NE(queue.take(), nullptr);
  queue.settle_delivered(3);
  EXPECT_TRUE(queue.is_over());
  EXPECT_EQ(queue.take(), nullptr);
}

// Whatever happens in which order: records leave in theirs, and none is unaccounted for.
TEST_F(QueueWithSpool, IsExactThroughAnythingThatHappens) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::mt19937 random(seed);
    const TempDir dir;
    FailingOps ops;
    uint64_t pushed = 0;
    uint64_t last = 0;
    uint64_t arrived = 0;
    uint64_t lost = 0;
    for (int run = 0; run < 3; ++run) {
      const auto spool = open_spool(dir.path(), 20'000, ops);
      ASSERT_NE(spool, nullptr);
      RecordQueue queue(3'000, spool.get(), seed % 2 == 0);
      std::vector<uint64_t> flight;
      for (int step = 0; step < 300; ++step) {
        const auto dice = random() % 10;
        if (dice < 6) {
          push(queue, ++pushed, random() % 300);
        } else if (dice < 8) {
          if (const RecordBatch* batch = queue.take_more()) {
            for (size_t i = 0; i < batch->size(); ++i) flight.push_back(number_of((*batch)[i]));
          }
        } else if (!flight.empty()) {
          const size_t count = 1 + random() % flight.size();
          for (size_t i = 0; i < count; ++i) {
            EXPECT_GT(flight[i], last);
            last = flight[i];
          }
          flight.erase(flight.begin(), flight.begin() + static_cast<long>(count));
          arrived += count;
          queue.settle_delivered(count);
        }
        expect_exact(queue);
      }
      queue.spool_rest(Clock::now() + kLong);
      expect_exact(queue);
      lost += queue.account().dropped_sum();
      EXPECT_EQ(queue.account().queued, 0u);
      EXPECT_EQ(pushed, arrived + lost + queue.account().spooled) << seed;
    }
  }
}

TEST_F(QueueWithSpool, HandsEverythingOverBetweenThreads) {
  constexpr uint64_t kRecords = 20'000;
  const auto spool = open_spool(dir_.path());
  RecordQueue queue(50'000, spool.get());
  Numbers seen;
  std::thread consumer([&] {
    while (const RecordBatch* batch = queue.take()) {
      for (size_t i = 0; i < batch->size(); ++i) seen.push_back(number_of((*batch)[i]));
      if (seen.size() % 3 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      queue.settle_delivered(batch->size());
    }
  });
  for (uint64_t n = 1; n <= kRecords; ++n) {
    push(queue, n);
    if (n % 100 == 0) expect_exact(queue);
    if (n % 2'000 == 0) spool->sync();
  }
  queue.close(Clock::now() + kLong);
  consumer.join();
  EXPECT_EQ(seen, range(1, kRecords));
}

}  // namespace
}  // namespace vek::engine
