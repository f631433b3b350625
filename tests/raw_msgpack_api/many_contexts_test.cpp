// Contexts in numbers: many at once, and many one after the other.
#include <gtest/gtest.h>
#include <malloc.h>

#include <filesystem>
#include <memory>

#include "tests/raw_msgpack_api/forward_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/process_threads.h"

namespace vek::test {
namespace {

size_t entries_of(const char* folder) {
  const std::filesystem::directory_iterator entries(folder);
  return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

TEST(ManyContexts, DoNotHoldOneAnotherUp) {
  constexpr size_t kReceivers = 50;
  constexpr uint64_t kRecords = 200;
  LogCapture log(3);
  std::vector<std::unique_ptr<ForwardReceiver>> receivers;
  std::vector<std::unique_ptr<Engine>> engines;
  std::vector<std::unique_ptr<Engine>> stuck;
  ForwardReceiver gone;
  const std::string dead_port = gone.port();
  gone.stop();
  for (size_t i = 0; i < kReceivers; ++i) {
    receivers.push_back(std::make_unique<ForwardReceiver>());
    engines.push_back(
        std::make_unique<Engine>("forward", quick(*receivers.back(), {{"vek.ack_timeout", "10"}})));
    stuck.push_back(std::make_unique<Engine>(
        "forward", ParameterPairs{{"Port", dead_port}, {"vek.grace", "0.01"}}));
  }
  for (uint64_t n = 0; n < kRecords; ++n) {
    for (size_t i = 0; i < kReceivers; ++i) {
      ASSERT_EQ(engines[i]->add(numbered_record(n)), 0);
      ASSERT_EQ(stuck[i]->add(numbered_record(n)), 0);
    }
  }
  for (size_t i = 0; i < kReceivers; ++i) {
    expect_all(*engines[i], *receivers[i], kRecords);
    EXPECT_EQ(stuck[i]->stat("queued"), kRecords);
    expect_balance(*stuck[i]);
    EXPECT_NE(stuck[i]->finish(), 0);
  }
}

TEST(ManyContexts, LeaveNothingBehindWhenTheyAreReleased) {
  constexpr int kCycles = 1000;
  LogCapture log(3);
  const ForwardReceiver receiver;
  const auto cycle = [&](int i) {
    Engine engine("forward", quick(receiver, {{"vek.ack_timeout", "10"}}));
    ASSERT_TRUE(engine.context());
    engine.add(numbered_record(static_cast<uint64_t>(i)));
    EXPECT_EQ(engine.finish(), 0);
  };
  for (int i = 0; i < 20; ++i) cycle(i);  // what is made once
  const size_t descriptors = entries_of("/proc/self/fd");
  const size_t threads = entries_of("/proc/self/task");
  const size_t memory = mallinfo2().uordblks;
  for (int i = 0; i < kCycles; ++i) cycle(i);
  // A socket of the receiver may be open for a moment longer.
  EXPECT_LE(entries_of("/proc/self/fd"), descriptors + 1);
  EXPECT_TRUE(threads_come_down_to(threads));
  // A handle stays for each, and a frame in the receiver.
  EXPECT_LE(mallinfo2().uordblks, memory + size_t{kCycles} * 2'000);
}

}  // namespace
}  // namespace vek::test
