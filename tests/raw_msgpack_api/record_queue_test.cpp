#include "raw_msgpack_api/record_queue.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <thread>

#include "tests/raw_msgpack_api/pack.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/msgpack_json.h"

namespace vek::engine {
namespace {

using test::Pack;

// A record of `size` bytes (at least 4), told apart by its number.
std::vector<uint8_t> record_bytes(uint8_t number, size_t size = 10) {
  std::vector<uint8_t> bytes = Pack().map(1).u(number).str(std::string(size - 3, 'x')).bytes();
  bytes.resize(size);
  return bytes;
}

DropReason push_reason(RecordQueue& queue, uint8_t number, size_t size, size_t& dropped) {
  const auto bytes = record_bytes(number, size);
  const auto result = queue.push({bytes, RecordShape::kBareMap, 0, 0}, false, 0);
  dropped = result.dropped;
  return result.reason;
}

size_t push(RecordQueue& queue, uint8_t number, size_t size = 10) {
  size_t dropped = 0;
  push_reason(queue, number, size, dropped);
  return dropped;
}

std::string numbers(const RecordBatch& batch) {
  std::string text;
  for (size_t i = 0; i < batch.size(); ++i) text += std::to_string(batch[i].bytes[1]) + " ";
  return text;
}

void expect_exact(const RecordQueue& queue) {
  const Account account = queue.account();
  EXPECT_EQ(account.accepted,
            account.delivered + account.spooled + account.queued + account.dropped_sum());
}

constexpr auto kNoTime = std::chrono::seconds(0);
constexpr auto kLong = std::chrono::minutes(1);

TEST(RecordQueue, HandsRecordsOverInOrderAndCountsThemUntilSettled) {
  RecordQueue queue(1000);
  for (uint8_t i = 1; i <= 3; ++i) EXPECT_EQ(push(queue, i), 0u);
  const RecordBatch* batch = queue.take();
  ASSERT_NE(batch, nullptr);
  EXPECT_EQ(numbers(*batch), "1 2 3 ");
  EXPECT_EQ(queue.account().queued, 3u);  // in flight
  queue.settle_delivered(1);
  EXPECT_EQ(numbers(*queue.take()), "2 3 ");
  expect_exact(queue);
  queue.settle_dropped(1, DropReason::kWriteFailed);
  queue.drop_taken(DropReason::kOutOfMemory);
  expect_exact(queue);
  const Account account = queue.account();
  EXPECT_EQ(account.accepted, 3u);
  EXPECT_EQ(account.delivered, 1u);
  EXPECT_EQ(account.bytes, 10u);
  EXPECT_EQ(account.queued, 0u);
  EXPECT_EQ(account.dropped_for(DropReason::kWriteFailed), 1u);
  EXPECT_EQ(account.dropped_for(DropReason::kOutOfMemory), 1u);
  EXPECT_EQ(account.given_up(), 2u);
}

TEST(RecordQueue, LetsTheOldestGoWhenItIsFull) {
  RecordQueue queue(30);
  for (uint8_t i = 1; i <= 3; ++i) EXPECT_EQ(push(queue, i), 0u);
  EXPECT_EQ(push(queue, 4), 1u);
  EXPECT_EQ(push(queue, 5, 20), 2u);
  expect_exact(queue);
  EXPECT_EQ(queue.account().dropped_for(DropReason::kQueueFull), 3u);
  EXPECT_EQ(numbers(*queue.take()), "4 5 ");
}

TEST(RecordQueue, DropsOldestAcrossBatches) {
  constexpr size_t kSize = 30'000;  // two to a batch
  RecordQueue queue(6 * kSize);
  for (uint8_t i = 1; i <= 6; ++i) EXPECT_EQ(push(queue, i, kSize), 0u);
  for (uint8_t i = 7; i <= 9; ++i) EXPECT_EQ(push(queue, i, kSize), 1u);
  std::string seen;
  queue.close(Clock::now() + kLong);
  while (const RecordBatch* batch = queue.take()) {
    seen += numbers(*batch);
    queue.settle_delivered(batch->size());
  }
  EXPECT_EQ(seen, "4 5 6 7 8 9 ");
  expect_exact(queue);
}

TEST(RecordQueue, RefusesARecordThatCanNeverFit) {
  RecordQueue queue(30);
  push(queue, 1);
  size_t dropped = 0;
  EXPECT_EQ(push_reason(queue, 2, 31, dropped), DropReason::kTooLarge);
  EXPECT_EQ(dropped, 1u);
  EXPECT_EQ(push_reason(queue, 3, 30, dropped), DropReason::kQueueFull);
  EXPECT_EQ(numbers(*queue.take()), "3 ");
  expect_exact(queue);
}

TEST(RecordQueue, CannotCallBackWhatIsInFlight) {
  RecordQueue queue(20);
  push(queue, 1);
  push(queue, 2);
  ASSERT_EQ(numbers(*queue.take()), "1 2 ");
  EXPECT_EQ(push(queue, 3), 1u);  // nothing waits that could give way, so it is the new one
  EXPECT_EQ(numbers(*queue.take()), "1 2 ");
  queue.settle_delivered(1);
  EXPECT_EQ(push(queue, 4), 0u);
  EXPECT_EQ(push(queue, 5), 1u);
  queue.settle_delivered(1);
  EXPECT_EQ(numbers(*queue.take()), "5 ");
  expect_exact(queue);
}

TEST(RecordQueue, KeepsWhatWaitsWhereTheNewRecordWouldNotFitEitherWay) {
  RecordQueue queue(30);
  push(queue, 1, 20);
  ASSERT_EQ(numbers(*queue.take()), "1 ");
  EXPECT_EQ(push(queue, 2), 0u);
  EXPECT_EQ(push(queue, 3, 20), 1u);
  EXPECT_EQ(numbers(*queue.take_more()), "2 ");
  expect_exact(queue);
}

TEST(RecordQueue, HasSeveralBatchesInFlightAndSettlesTheOldestFirst) {
  constexpr size_t kSize = 30'000;  // two to a batch
  RecordQueue queue(10 * kSize);
  for (uint8_t i = 1; i <= 5; ++i) push(queue, i, kSize);
  const RecordBatch* first = queue.take_more();
  const RecordBatch* second = queue.take_more();
  EXPECT_EQ(numbers(*first), "1 2 ");
  EXPECT_EQ(numbers(*second), "3 4 ");
  EXPECT_EQ(queue.waiting_bytes(), kSize);
  EXPECT_EQ(queue.account().queued, 5u);
  EXPECT_EQ(queue.in_flight(0).bytes[1], 1);
  EXPECT_EQ(queue.in_flight(3).bytes[1], 4);
  queue.settle_delivered(1);
  EXPECT_EQ(numbers(*first), "2 ");  // batches stay where they are
  EXPECT_EQ(queue.in_flight(0).bytes[1], 2);
  queue.settle_delivered(2);
  EXPECT_EQ(queue.take(), second);
  EXPECT_EQ(numbers(*second), "4 ");
  EXPECT_EQ(queue.account().delivered, 3u);
  EXPECT_EQ(queue.account().bytes, 3 * kSize);
  EXPECT_EQ(numbers(*queue.take_more()), "5 ");
  EXPECT_EQ(queue.take_more(), nullptr);
  queue.settle_dropped(2, DropReason::kWriteFailed);
  EXPECT_EQ(queue.take_more(), nullptr);
  expect_exact(queue);
  EXPECT_EQ(queue.account().queued, 0u);
}

TEST(RecordQueue, CountsWhatIsInFlightAgainstItsLimit) {
  constexpr size_t kSize = 30'000;
  RecordQueue queue(4 * kSize);
  for (uint8_t i = 1; i <= 4; ++i) push(queue, i, kSize);
  queue.take_more();
  EXPECT_EQ(push(queue, 5, kSize), 1u);  // 3 gives way
  queue.settle_delivered(2);
  EXPECT_EQ(push(queue, 6, kSize), 0u);
  EXPECT_EQ(push(queue, 7, kSize), 0u);
  std::string seen;
  while (const RecordBatch* batch = queue.take_more()) seen += numbers(*batch);
  EXPECT_EQ(seen, "4 5 6 7 ");
  expect_exact(queue);
}

TEST(RecordQueue, DropsAllThatIsInFlight) {
  constexpr size_t kSize = 30'000;
  RecordQueue queue(6 * kSize);
  for (uint8_t i = 1; i <= 5; ++i) push(queue, i, kSize);
  queue.take_more();
  queue.take_more();
  queue.drop_taken(DropReason::kOutOfMemory);
  EXPECT_EQ(queue.account().dropped_for(DropReason::kOutOfMemory), 4u);
  EXPECT_EQ(numbers(*queue.take()), "5 ");
  expect_exact(queue);
}

TEST(RecordQueue, HandsNothingMoreOutAfterItsDeadline) {
  RecordQueue queue(100);
  push(queue, 1);
  EXPECT_FALSE(queue.is_over());
  queue.close(Clock::now() + kLong);
  EXPECT_FALSE(queue.is_over());
  ASSERT_NE(queue.take_more(), nullptr);
  EXPECT_FALSE(queue.is_over());  // in flight
  queue.settle_delivered(1);
  EXPECT_TRUE(queue.is_over());
  push(queue, 2);
  queue.close(Clock::now() + kNoTime);
  EXPECT_EQ(queue.take_more(), nullptr);
  EXPECT_TRUE(queue.is_over());
}

bool is_signalled(const WakeFd& wake) {
  pollfd request{wake.fd(), POLLIN, 0};
  return poll(&request, 1, 0) == 1;
}

TEST(RecordQueue, SignalsAConsumerThatSleepsOnce) {
  RecordQueue queue(100);
  const WakeFd wake;
  queue.set_wake(&wake);
  push(queue, 1);
  EXPECT_FALSE(is_signalled(wake));  // it did not say that it sleeps
  EXPECT_FALSE(queue.may_sleep(1));
  EXPECT_FALSE(queue.may_sleep(10));
  EXPECT_TRUE(queue.may_sleep(21));
  push(queue, 2);
  EXPECT_FALSE(is_signalled(wake));
  push(queue, 3);
  EXPECT_TRUE(is_signalled(wake));
  wake.clear();
  push(queue, 4);
  EXPECT_FALSE(is_signalled(wake));
  while (queue.take_more()) {
  }
  EXPECT_TRUE(queue.may_sleep(1));
  push(queue, 5);
  EXPECT_TRUE(is_signalled(wake));
  queue.set_wake(nullptr);
}

// A record of many counters, the last of which is cut to another kind where it is said so.
std::vector<uint8_t> steady_record(bool is_other = false) {
  Pack record;
  record.array(2).f64(1.5).map(10);
  for (int i = 0; i < 10; ++i) record.str("counter_" + std::to_string(i)).u(1'000'000);
  auto bytes = record.bytes();
  if (is_other) bytes[bytes.size() - 5] = 0xca;  // a float is as long
  return bytes;
}

struct SteadyFlow {
  SteadyFlow() {
    const auto bytes = steady_record();
    RecordWalk walk{Bytes(bytes)};
    walk.next();
    layout.learn(walk.found());
  }
  RecordQueue::PushResult push(RecordQueue& queue, Bytes bytes) const {
    return queue.push_like(layout, layout.found(bytes));
  }
  RecordLayout layout;
};

TEST(RecordQueue, TakesARecordThatFitsItsLayoutAndNoOther) {
  const SteadyFlow flow;
  const auto record = steady_record();
  const auto other = steady_record(true);
  for (const RecordForm form : {RecordForm::kAsEvents, RecordForm::kAsGiven}) {
    RecordQueue queue(100'000, nullptr, false, form);
    EXPECT_FALSE(flow.push(queue, other).fits);
    EXPECT_EQ(queue.account().accepted, 0u);
    EXPECT_EQ(queue.waiting_bytes(), 0u);
    EXPECT_TRUE(flow.push(queue, record).fits);
    EXPECT_FALSE(flow.push(queue, other).fits);
    EXPECT_TRUE(flow.push(queue, record).fits);
    EXPECT_EQ(queue.account().accepted, 2u);
    EXPECT_EQ(queue.account().queued, 2u);
    const RecordBatch* batch = queue.take();
    ASSERT_EQ(batch->size(), 2u);
    size_t sizes = 0;
    for (size_t i = 0; i < 2; ++i) {
      const Bytes body = (*batch)[i].body();
      const Bytes sent = Bytes(record).subspan(10);
      EXPECT_TRUE(std::equal(body.begin(), body.end(), sent.begin(), sent.end()));
      sizes += (*batch)[i].bytes.size();
    }
    // Records are sent as they lie: nothing of the other one is left between them.
    EXPECT_EQ(batch->bytes_of(2, 2).size(), sizes);
    expect_exact(queue);
  }
}

// What is not copied is not looked at on the way.
TEST(RecordQueue, CountsNoRecordThatDoesNotFitWhereThereIsNoRoomForIt) {
  const SteadyFlow flow;
  for (const size_t limit : {size_t{10}, steady_record().size() + 1}) {
    RecordQueue queue(limit, nullptr, false, RecordForm::kAsEvents);
    flow.push(queue, steady_record());
    queue.take_more();
    const Account before = queue.account();
    EXPECT_FALSE(flow.push(queue, steady_record(true)).fits);
    EXPECT_EQ(queue.account().accepted, before.accepted);
    EXPECT_EQ(queue.account().dropped_sum(), before.dropped_sum());
    const auto result = flow.push(queue, steady_record());
    EXPECT_TRUE(result.fits);
    EXPECT_EQ(result.dropped, 1u);
    expect_exact(queue);
  }
}

TEST(RecordQueue, AsksForMemoryBeforeThereIsNone) {
  constexpr uint64_t kRecord = 60'000;  // a batch each
  RecordQueue queue(10 * 1024 * 1024);
  const WakeFd wake;
  queue.set_wake(&wake);
  EXPECT_TRUE(queue.provide());
  EXPECT_FALSE(queue.provide());
  EXPECT_TRUE(queue.may_sleep(~size_t{0}));
  push(queue, 1, kRecord);
  EXPECT_FALSE(is_signalled(wake));
  EXPECT_TRUE(queue.provide());
  int pushed = 0;
  for (; pushed < 20 && !is_signalled(wake); ++pushed) push(queue, 2, kRecord);
  EXPECT_GT(pushed, 1);
  EXPECT_LT(pushed, 20);
  wake.clear();
  for (int i = 0; i < 20; ++i) push(queue, 3, kRecord);
  EXPECT_FALSE(is_signalled(wake));  // once is enough
  EXPECT_TRUE(queue.provide());
  queue.set_wake(nullptr);
}

TEST(RecordQueue, SignalsItsEndToAConsumerThatIsAwake) {
  RecordQueue queue(100);
  const WakeFd wake;
  queue.set_wake(&wake);
  queue.close(Clock::now() + kLong);
  EXPECT_TRUE(is_signalled(wake));
  queue.set_wake(nullptr);
  wake.clear();
  EXPECT_FALSE(is_signalled(wake));
}

TEST(RecordQueue, WakesAConsumerInPoll) {
  constexpr uint8_t kRecords = 200;
  RecordQueue queue(1 << 20);
  const WakeFd wake;
  std::string seen;
  std::thread consumer([&] {
    queue.set_wake(&wake);
    while (!queue.is_over()) {
      if (queue.may_sleep(1)) {
        pollfd request{wake.fd(), POLLIN, 0};
        poll(&request, 1, -1);
        wake.clear();
      }
      while (const RecordBatch* batch = queue.take_more()) {
        seen += numbers(*batch);
        queue.settle_delivered(batch->size());
      }
    }
    queue.set_wake(nullptr);
  });
  std::string expected;
  for (uint8_t i = 0; i < kRecords; ++i) {
    push(queue, i % 100);
    expected += std::to_string(i % 100) + " ";
    if (i % 7 == 0) std::this_thread::yield();
  }
  queue.close(Clock::now() + kLong);
  consumer.join();
  EXPECT_EQ(seen, expected);
}

TEST(RecordQueue, SetsTheCountOfAMendedRecordsMap) {
  const auto bytes = Pack().array(2).u(1).map(3).str("a").nil().bytes();
  RecordWalk walk{Bytes(bytes)};
  ASSERT_EQ(walk.next(), RecordWalk::Step::kRecord);
  RecordQueue queue(100);
  queue.push(walk.record(), walk.mended(), walk.pairs());
  EXPECT_EQ(test::to_hex((*queue.take())[0].bytes), "920181a161c0");
  EXPECT_EQ(queue.account().mended, 1u);
}

TEST(RecordQueue, EndsWhenItIsClosedAndEmpty) {
  RecordQueue queue(100);
  push(queue, 1);
  queue.close(Clock::now() + kLong);
  ASSERT_NE(queue.take(), nullptr);
  queue.settle_delivered(1);
  EXPECT_EQ(queue.take(), nullptr);
}

TEST(RecordQueue, EndsAtItsDeadlineWhateverIsLeft) {
  RecordQueue queue(100);
  push(queue, 1);
  queue.close(Clock::now() + kNoTime);
  EXPECT_EQ(queue.take(), nullptr);
  queue.drop_rest(DropReason::kGraceOver);
  expect_exact(queue);
  EXPECT_EQ(queue.account().dropped_for(DropReason::kGraceOver), 1u);
}

TEST(RecordQueue, WakesAConsumerThatWaits) {
  RecordQueue queue(1 << 20);
  std::string seen;
  std::thread consumer([&] {
    while (const RecordBatch* batch = queue.take()) {
      seen += numbers(*batch);
      queue.settle_delivered(batch->size());
    }
  });
  std::string expected;
  for (uint8_t i = 0; i < 100; ++i) {
    push(queue, i);
    expected += std::to_string(i) + " ";
    if (i % 10 == 0) std::this_thread::yield();
    expect_exact(queue);
  }
  queue.close(Clock::now() + kLong);
  consumer.join();
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(queue.account().delivered, 100u);
}

TEST(RecordQueue, PausesNoLongerThanItIsOpen) {
  RecordQueue queue(100);
  const auto start = Clock::now();
  std::thread closer([&] { queue.close(Clock::now() + kLong); });
  queue.pause(std::chrono::seconds(30));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(20));
  closer.join();
}

TEST(RecordQueue, CountsARecordThatMemoryHasNoRoomFor) {
  if (!test::FailAllocation::available()) GTEST_SKIP();
  const auto bytes = record_bytes(1);
  for (unsigned n = 1;; ++n) {
    RecordQueue queue(1000);
    test::FailAllocation failing(n);
    const auto result = queue.push({bytes, RecordShape::kBareMap, 0, 0}, false, 0);
    if (!failing.disarm()) break;
    EXPECT_EQ(result.reason, DropReason::kOutOfMemory);
    EXPECT_EQ(result.dropped, 1u);
    expect_exact(queue);
    EXPECT_EQ(push(queue, 2), 0u);
    EXPECT_EQ(numbers(*queue.take()), "2 ");
  }
}

TEST(AccountJson, NamesWhatOccurred) {
  Account account;
  EXPECT_EQ(account_json(account),
            R"({"accepted":0,"delivered":0,"spooled":0,"queued":0,"dropped":{},)"
            R"("mended":0,"clamped":0,"retried":0,"bytes":0})");
  account.accepted = 6;
  account.delivered = 1;
  account.queued = 2;
  account.dropped_for(DropReason::kCut) = 1;
  account.dropped_for(DropReason::kQueueFull) = 2;
  account.bytes = UINT64_MAX;
  EXPECT_EQ(
      account_json(account),
      R"({"accepted":6,"delivered":1,"spooled":0,"queued":2,"dropped":{"cut":1,"queue_full":2},)"
      R"("mended":0,"clamped":0,"retried":0,"bytes":18446744073709551615})");
}

}  // namespace
}  // namespace vek::engine
