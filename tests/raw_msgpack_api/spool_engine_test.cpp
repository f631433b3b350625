// The spool through the engine's entry points, with the destination forward before it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>

#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/raw_msgpack_api/forward_receiver.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// A port at which nobody listens, and no patience.
ParameterPairs to_nobody(const TempDir& dir, const ParameterPairs& more = {}) {
  ParameterPairs all = {{"Port", "1"},
                        {"storage.path", dir.path()},
                        {"vek.grace", "0.1"},
                        {"vek.retry_base", "0.005"}};
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

ParameterPairs to(const ForwardReceiver& receiver, const TempDir& dir) {
  return {{"Port", receiver.port()}, {"storage.path", dir.path()}, {"vek.grace", "20"}};
}

bool wait_for_delivery(const Engine& engine) {
  for (int i = 0; i < 20'000; ++i) {
    if (engine.stat("queued") + engine.stat("spooled") == 0) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

TEST(EngineSpool, KeepsWhatCouldNotBeSentForTheNextStart) {
  for (const char* sync : {"always", "50", "never"}) {
    const TempDir dir;
    {
      LogCapture log(4);
      Engine engine("forward", to_nobody(dir, {{"vek.fsync", sync}}));
      ASSERT_NE(engine.context(), nullptr);
      for (uint64_t n = 0; n < 100; ++n) engine.add(numbered_record(n));
      EXPECT_EQ(engine.finish(), 0) << "nothing is lost";
      EXPECT_THAT(log.warnings(),
                  testing::Contains("[raw msgpack API] [forward] 100 records wait in '" +
                                    dir.file("forward") + "' for the next start"));
    }
    const LogCapture log(4);
    const ForwardReceiver receiver;
    Engine engine("forward", to(receiver, dir));
    ASSERT_NE(engine.context(), nullptr);
    for (uint64_t n = 100; n < 110; ++n) engine.add(numbered_record(n));
    EXPECT_TRUE(wait_for_delivery(engine));
    EXPECT_EQ(engine.stat("accepted"), 110u);
    EXPECT_EQ(engine.stat("delivered"), 110u);
    EXPECT_EQ(engine.finish(), 0);
    std::vector<uint64_t> expected(110);
    for (uint64_t n = 0; n < 110; ++n) expected[n] = n;
    EXPECT_EQ(receiver.numbers(), expected) << sync;
  }
}

TEST(EngineSpool, TakesMoreThanMemoryHolds) {
  const TempDir dir;
  const LogCapture log(4);
  const ForwardReceiver receiver;
  {
    Engine engine("forward", to_nobody(dir, {{"Mem_Buf_Limit", "2k"}}));
    for (uint64_t n = 0; n < 2'000; ++n) engine.add(numbered_record(n));
    EXPECT_EQ(engine.stat("queued") + engine.stat("spooled"), 2'000u);
    EXPECT_EQ(engine.finish(), 0);
  }
  Engine engine("forward", to(receiver, dir));
  EXPECT_TRUE(wait_for_delivery(engine));
  EXPECT_EQ(engine.stat("delivered"), 2'000u);
}

TEST(EngineSpool, BelongsToOneDestination) {
  const TempDir dir;
  LogCapture log(3);
  const Engine first("forward", to_nobody(dir));
  EXPECT_EQ(Engine("forward", to_nobody(dir)).context(), nullptr);
  EXPECT_THAT(log.errors(),
              testing::Contains(HasSubstr("cannot use the spool folder '" + dir.file("forward") +
                                          "': another destination or process")));
  EXPECT_NE(Engine("forward", to_nobody(dir, {{"Alias", "b"}})).context(), nullptr);
}

TEST(EngineSpool, IsNotMadeForOtherDestinations) {
  const TempDir dir;
  Engine engine("null", {{"storage.path", dir.path()}, {"vek.fsync", "always"}});
  ASSERT_NE(engine.context(), nullptr);
  engine.add(numbered_record(1));
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(EngineSpool, RefusesValuesThatItCannotUse) {
  const TempDir dir;
  LogCapture log(3);
  for (const char* value : {"", "0", "-1", "1.5", "10s", "sometimes", "3600001"}) {
    EXPECT_EQ(Engine("forward", to_nobody(dir, {{"vek.fsync", value}})).context(), nullptr);
  }
  EXPECT_EQ(Engine("forward", to_nobody(dir, {{"storage.total_limit_size", "big"}})).context(),
            nullptr);
  EXPECT_EQ(log.errors().size(), 8u);
  EXPECT_EQ(log.errors()[5],
            "[raw msgpack API] vek.fsync = 'sometimes' is neither always, never nor a number of "
            "milliseconds from 1 to 3600000");
  EXPECT_EQ(log.errors()[7],
            "[raw msgpack API] storage.total_limit_size = 'big' is no size; write it as 1G");
}

[[noreturn]] void add_for_ever(const TempDir& dir, uint64_t first, int out) {
  vek_set_log_level(0);
  Engine engine("forward", to_nobody(dir, {{"vek.fsync", "always"}}));
  for (uint64_t n = first;; ++n) {
    if (engine.add(numbered_record(n)) != 0) _exit(1);
    if (write(out, &n, sizeof n) != sizeof n) _exit(1);
  }
}

// VEK_SPOOL_KILLS chooses how often; by hand, a thousand and more.
TEST(EngineSpool, DeliversWhatAKilledProcessHadAccepted) {
  const char* text = std::getenv("VEK_SPOOL_KILLS");
  const int kills = text ? std::atoi(text) : 30;
  const LogCapture log(4);
  const TempDir dir;
  std::mt19937 random(7);
  std::set<uint64_t> reported;
  for (int i = 0; i < kills; ++i) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fcntl(ends[0], F_SETPIPE_SZ, 1 << 20);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      close(ends[0]);
      add_for_ever(dir, static_cast<uint64_t>(i) * 1'000'000, ends[1]);
    }
    close(ends[1]);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 30'000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    uint64_t number = 0;
    while (read(ends[0], &number, sizeof number) == sizeof number) reported.insert(number);
    close(ends[0]);
  }
  EXPECT_FALSE(reported.empty()) << "the machine was too slow to see anything";
  const ForwardReceiver receiver;
  Engine engine("forward", to(receiver, dir));
  ASSERT_NE(engine.context(), nullptr);
  EXPECT_TRUE(wait_for_delivery(engine));
  EXPECT_EQ(engine.finish(), 0);
  const auto numbers = receiver.numbers();
  const std::set<uint64_t> arrived(numbers.begin(), numbers.end());
  EXPECT_TRUE(std::includes(arrived.begin(), arrived.end(), reported.begin(), reported.end()));
  EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
}

}  // namespace
}  // namespace vek::test
