#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "tests/raw_msgpack_api/forward_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(ForwardDestination, DeliversFramesThatAreAcknowledged) {
  const ForwardReceiver receiver;
  Engine engine("forward", quick(receiver, {{"Tag", "site.a"}}));
  ASSERT_NE(engine.context(), nullptr);
  add_numbered(engine, 0, 1000);
  expect_all(engine, receiver, 1000);
  for (const ReceivedFrame& frame : receiver.frames()) {
    EXPECT_EQ(frame.tag, "site.a");
    EXPECT_EQ(frame.chunk.size(), 32u);
    EXPECT_FALSE(frame.compressed);
  }
  EXPECT_EQ(receiver.events()[7], "[ext(0,000000011dcd6500),{\"n\":7}]");
  EXPECT_EQ(receiver.connections(), 1);
}

TEST(ForwardDestination, KeepsItsConnection) {
  const ForwardReceiver receiver;
  Engine engine("forward", quick(receiver));
  for (uint64_t i = 0; i < 20; ++i) {
    add_numbered(engine, i, i + 1);
    ASSERT_TRUE(engine.drained());
  }
  expect_all(engine, receiver, 20);
  EXPECT_EQ(receiver.frames().size(), 20u);
  EXPECT_EQ(receiver.connections(), 1);
}

TEST(ForwardDestination, DeliversWithoutAcknowledgements) {
  const ForwardReceiver receiver;
  Engine engine("forward", quick(receiver, {{"require_ack_response", "off"}}));
  add_numbered(engine, 0, 1000);
  ASSERT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("delivered"), 1000u);
  EXPECT_EQ(engine.finish(), 0);
  for (int i = 0; i < 1000 && receiver.numbers().size() < 1000; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(receiver.numbers(), counted(1000));
  for (const ReceivedFrame& frame : receiver.frames()) EXPECT_EQ(frame.chunk, "");
}

TEST(ForwardDestination, CompressesWhenAsked) {
  const ForwardReceiver receiver;
  Engine engine("forward", quick(receiver, {{"Compress", "gzip"}}));
  add_numbered(engine, 0, 1000);
  expect_all(engine, receiver, 1000);
  for (const ReceivedFrame& frame : receiver.frames()) EXPECT_TRUE(frame.compressed);
}

TEST(ForwardDestination, SpeaksOverAUnixSocket) {
  const TempDir dir;
  const ForwardReceiver receiver({}, dir.file("socket"));
  Engine engine("forward", quick({{"Unix_Path", dir.file("socket")}}));
  add_numbered(engine, 0, 1000);
  expect_all(engine, receiver, 1000);
}

TEST(ForwardDestination, FindsHostsByName) {
  const ForwardReceiver receiver;
  Engine engine("forward", quick(receiver, {{"Host", "localhost"}}));
  add_numbered(engine, 0, 10);
  expect_all(engine, receiver, 10);
}

TEST(ForwardDestination, BoundsItsFrames) {
  const ForwardReceiver receiver;
  Engine engine("forward", quick(receiver, {{"vek.frame_size", "1K"}}));
  add_numbered(engine, 0, 5000);
  expect_all(engine, receiver, 5000);
  for (const ReceivedFrame& frame : receiver.frames()) EXPECT_LE(frame.bytes.size(), 1'100u);
  EXPECT_GE(receiver.frames().size(), 5000u * 15 / 1000);
}

std::vector<uint8_t> record_of(uint64_t number, size_t size) {
  return Pack()
      .array(2)
      .u(1)
      .map(2)
      .str("n")
      .u(number)
      .str("x")
      .str(std::string(size, 'x'))
      .bytes();
}

TEST(ForwardDestination, SendsALargeRecordAloneAndDropsOneThatNoReceiverTakes) {
  LogCapture log;
  const ForwardReceiver receiver;
  Engine engine("forward", quick(receiver, {{"vek.ack_timeout", "5"}}));
  engine.add(record_of(0, 10));
  engine.add(record_of(1, 2'000'000));
  engine.add(record_of(2, 10));
  engine.add(record_of(99, 6'000'000));
  engine.add(record_of(3, 5'990'000));
  engine.add(record_of(4, 10));
  ASSERT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("delivered"), 5u);
  EXPECT_EQ(engine.stat("too_large_to_send"), 1u);
  expect_balance(engine);
  EXPECT_NE(engine.finish(), 0);
  EXPECT_EQ(receiver.numbers(), counted(5));
  for (const ReceivedFrame& frame : receiver.frames()) {
    EXPECT_TRUE(frame.size == 1 || frame.bytes.size() < 1'000'000);
    EXPECT_LT(frame.bytes.size(), 6'144'000u);
  }
  EXPECT_TRUE(log.has(4,
                      "[raw msgpack API] [forward] dropped 1 record(s), 1 so far "
                      "(too_large_to_send): receivers take no frame of its size"));
}

std::vector<uint8_t> nested(size_t maps) {
  Pack pack;
  pack.array(2).u(1);
  for (size_t i = 1; i < maps; ++i) pack.map(1).str("a");
  return pack.map(1).str("n").u(0).bytes();
}

TEST(ForwardDestination, DropsWhatNestsDeeperThanReceiversTake) {
  const struct {
    std::string depth;
    std::vector<uint8_t> record;
    bool is_sent;
  } cases[] = {
      {"", nested(28), true},
      {"", nested(29), false},
      {"60", nested(60), true},
      {"60", nested(61), false},
      {"1", nested(1), true},
      {"1", nested(2), false},
      // A list of maps: each of them is an event.
      {"1", Pack().array(2).u(1).array(1).map(1).str("n").u(0).bytes(), true},
      {"1", Pack().array(2).u(1).array(1).map(1).str("n").array(0).bytes(), false},
      // Another list: a map is put around it.
      {"2", Pack().array(2).u(1).array(1).u(0).bytes(), true},
      {"1", Pack().array(2).u(1).array(1).u(0).bytes(), false},
  };
  for (const auto& c : cases) {
    LogCapture log;
    const ForwardReceiver receiver;
    Engine engine("forward", quick(receiver, {{"vek.depth", c.depth}}));
    engine.add(c.record);
    ASSERT_TRUE(engine.drained());
    EXPECT_EQ(engine.stat("delivered"), c.is_sent ? 1u : 0u);
    EXPECT_EQ(engine.stat("too_deep"), c.is_sent ? 0u : 1u);
    EXPECT_EQ(receiver.events().size(), c.is_sent ? 1u : 0u);
  }
}

TEST(ForwardDestination, CountsTimesThatItCannotSay) {
  LogCapture log;
  const ForwardReceiver receiver;
  Engine engine("forward", quick(receiver));
  engine.add(Pack().array(2).u(0xffffffff).map(0).bytes());
  engine.add(Pack().array(2).u(1).map(0).bytes());
  ASSERT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("clamped"), 1u);
  EXPECT_THAT(receiver.events(),
              ElementsAre("[ext(0,fffffffd3b9ac9ff),{}]", "[ext(0,0000000100000000),{}]"));
}

TEST(ForwardDestination, StartsBeforeItsReceiver) {
  LogCapture log;
  ForwardReceiver receiver;
  receiver.stop();
  Engine engine("forward", quick(receiver));
  ASSERT_NE(engine.context(), nullptr);
  add_numbered(engine, 0, 100);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(engine.stat("queued"), 100u);
  receiver.start();
  expect_all(engine, receiver, 100);
  EXPECT_THAT(log.errors(), IsEmpty());
  EXPECT_THAT(log.warnings(), ElementsAre("[raw msgpack API] [forward] 127.0.0.1:" +
                                          receiver.port() + ": 127.0.0.1:" + receiver.port() +
                                          ": Connection refused; it is tried again"));
}

TEST(ForwardDestination, GivesUpAtTheEndOfItsGrace) {
  LogCapture log;
  ForwardReceiver receiver;
  receiver.stop();
  Engine engine("forward", quick(receiver, {{"vek.grace", "0.1"}}));
  add_numbered(engine, 0, 100);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_NE(engine.finish(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("\"dropped\":{\"grace_over\":100}")));
}

TEST(ForwardDestination, UsesItsGraceWhateverItsPauseWas) {
  LogCapture log;
  ForwardReceiver receiver;
  receiver.stop();
  Engine engine("forward", {{"Port", receiver.port()},
                            {"vek.retry_base", "3600"},
                            {"vek.retry_cap", "3600"},
                            {"vek.grace", "10"}});
  add_numbered(engine, 0, 100);
  while (log.warnings().empty()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  receiver.start();
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(receiver.numbers(), counted(100));
}

TEST(ForwardDestination, LetsTheOldestGoWhileItsReceiverIsDown) {
  LogCapture log;
  ForwardReceiver receiver;
  receiver.stop();
  Engine engine("forward", quick(receiver, {{"Mem_Buf_Limit", "15000"}}));  // 15 bytes a record
  add_numbered(engine, 0, 200);
  const auto padded = [](uint64_t n) {
    return Pack().array(2).f64(1.5).map(1).str("n").u(n).bytes();
  };
  for (uint64_t i = 200; i < 3000; ++i) engine.add(padded(i));
  expect_balance(engine);
  EXPECT_GT(engine.stat("queue_full"), 0u);
  receiver.start();
  EXPECT_TRUE(engine.drained());
  engine.finish();
  const auto numbers = receiver.numbers();
  ASSERT_FALSE(numbers.empty());
  EXPECT_EQ(numbers.back(), 2999u);
  EXPECT_EQ(numbers.size(), 3000 - numbers.front());
}

TEST(ForwardDestination, SleepsWhileThereIsNothingToDo) {
  const auto child = run_in_child([] {
    ForwardReceiver receiver;
    receiver.stop();  // its thread would be counted too
    Engine idle("forward", quick(receiver));
    Engine down("forward", {{"Port", receiver.port()}});
    add_numbered(down, 0, 100);
    const auto used = [] {
      rusage usage{};
      getrusage(RUSAGE_SELF, &usage);
      return usage.ru_utime.tv_sec * 1'000'000 + usage.ru_utime.tv_usec +
             usage.ru_stime.tv_sec * 1'000'000 + usage.ru_stime.tv_usec;
    };
    const auto before = used();
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    EXPECT_LT(used() - before, 10'000);  // one per cent
    _exit(testing::Test::HasFailure() ? 1 : 0);
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

TEST(ForwardDestination, WantsParametersThatItKnows) {
  const struct {
    ParameterPairs pairs;
    std::string error;
  } cases[] = {
      {{{"Shared_Kye", "x"}},
       "output 'forward' has no parameter 'Shared_Kye'; did you mean "
       "'Shared_Key'?"},
      {{{"tls.verfy", "on"}},
       "output 'forward' has no parameter 'tls.verfy'; did you mean "
       "'tls.verify'?"},
      {{{"net.connect_timout", "1"}},
       "output 'forward' has no parameter 'net.connect_timout'; did "
       "you mean 'net.connect_timeout'?"},
      {{{"Port", "99999"}}, "Port = '99999' cannot be used; it takes a number from 0 to 65535"},
      {{{"Compress", "zstd"}}, "Compress = 'zstd' cannot be used; it takes gzip or off"},
      {{{"Compress", "gzip"}, {"Unix_Path", "/x"}},
       "Compress = 'gzip' cannot be used; it takes off with Unix_Path"},
      {{{"tls", "on"}, {"Unix_Path", "/x"}},
       "tls = 'on' cannot be used; it takes off with Unix_Path"},
      {{{"Unix_Path", std::string(108, 'x')}},
       "Unix_Path = '" + std::string(108, 'x') +
           "' cannot be used; it takes a path of at most "
           "107 bytes"},
      {{{"tls", "perhaps"}}, "tls = 'perhaps' cannot be used; it takes on or off"},
      {{{"vek.frame_size", "2M"}},
       "vek.frame_size = '2M' cannot be used; it takes a size from 1000 to 1000000 bytes, as 64K"},
      {{{"vek.depth", "61"}}, "vek.depth = '61' cannot be used; it takes a number from 1 to 60"},
      {{{"vek.ack_timeout", "0"}},
       "vek.ack_timeout = '0' cannot be used; it takes seconds from 0.001 to 3600"},
      {{{"Retry_Limit", "0"}},
       "Retry_Limit = '0' cannot be used; it takes no_limits, no_retries or a number from 1"},
      {{{"Password", "secret-word"}},
       "Username = '' cannot be used; it takes the user whose Password it is"},
      {{{"Self_Hostname", std::string(800, 'h')}},
       "Self_Hostname = '" + std::string(800, 'h') +
           "' cannot be used; it takes a shorter text: receivers read at most 1023 bytes of a "
           "handshake"},
      {{{"tls", "on"}, {"tls.crt_file", "/c"}},
       "tls.key_file = '' cannot be used; it takes the key of tls.crt_file"},
      {{{"tls", "on"}, {"tls.ca_file", "/absent"}},
       "tls.ca_file = '/absent' cannot be used: No such file or directory"},
  };
  for (const auto& [pairs, error] : cases) {
    LogCapture log;
    EXPECT_EQ(Engine("forward", pairs).context(), nullptr) << error;
    EXPECT_THAT(log.errors(), ElementsAre("[raw msgpack API] " + error));
  }
}

TEST(ForwardDestination, WantsAPortThatIsOne) {
  LogCapture log;
  EXPECT_EQ(init("forward", "h", "70000", nullptr, "cntr", "cntr"), nullptr);
  EXPECT_EQ(init("forward", "h", "24224x", nullptr, "cntr", "cntr"), nullptr);
  EXPECT_THAT(
      log.errors(),
      ElementsAre("[raw msgpack API] port = '70000' cannot be used; it takes a number from 0 "
                  "to 65535",
                  "[raw msgpack API] port = '24224x' cannot be used; it takes a number from "
                  "0 to 65535"));
}

}  // namespace
}  // namespace vek::test
