// Receivers that misbehave for a while: whatever they do, the account balances, nothing is lost,
// records arrive in order, and what comes twice comes with the same chunk id and bytes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/raw_msgpack_api/forward_fixture.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

constexpr uint64_t kRecords = 300;

struct Misbehaviour {
  const char* name;
  ReceiverScript script;
};

// Replies as `bad` says on the first connections, then as one should.
ReceiverScript reply_badly(int connections, std::function<Reply(const ReceivedFrame&)> bad) {
  ReceiverScript script;
  script.reply = [=](const ReceivedFrame& frame) {
    return frame.connection < connections ? bad(frame) : acknowledge(frame);
  };
  return script;
}

Reply say(std::string text) {
  Reply reply;
  reply.pieces = {std::move(text)};
  return reply;
}

ReceiverScript limit(std::function<size_t(int)> bytes) {
  ReceiverScript script;
  script.limit = std::move(bytes);
  return script;
}

std::vector<Misbehaviour> misbehaviours() {
  std::vector<Misbehaviour> all;
  all.push_back({"closes at once", limit([](int c) -> size_t { return c < 5 ? 0 : SIZE_MAX; })});
  all.push_back({"closes inside a frame", limit([](int c) -> size_t {
                   return c < 8 ? static_cast<size_t>(1 + c * 5) : SIZE_MAX;
                 })});
  all.push_back({"closes every few hundred bytes for ever",
                 limit([](int c) { return static_cast<size_t>(300 + c * 40); })});
  all.push_back({"closes after a frame that it forgets", reply_badly(5, [](const ReceivedFrame&) {
                   Reply reply;
                   reply.stores = false;
                   reply.closes = true;
                   return reply;
                 })});
  all.push_back({"closes after a frame that it keeps", reply_badly(5, [](const ReceivedFrame&) {
                   Reply reply;
                   reply.closes = true;
                   return reply;
                 })});
  all.push_back({"closes after each acknowledgement", reply_badly(5, [](const ReceivedFrame& f) {
                   Reply reply = acknowledge(f);
                   reply.closes = true;
                   return reply;
                 })});
  all.push_back({"says nothing", reply_badly(2, [](const ReceivedFrame&) { return Reply(); })});
  all.push_back({"says nothing and forgets", reply_badly(2, [](const ReceivedFrame&) {
                   Reply reply;
                   reply.stores = false;
                   return reply;
                 })});
  all.push_back({"acknowledges too late", reply_badly(2, [](const ReceivedFrame& f) {
                   Reply reply = acknowledge(f);
                   reply.delay = std::chrono::milliseconds(250);
                   return reply;
                 })});
  all.push_back({"acknowledges twice", reply_badly(3, [](const ReceivedFrame& f) {
                   return say(ack(f.chunk) + ack(f.chunk));
                 })});
  all.push_back({"acknowledges another frame", reply_badly(3, [](const ReceivedFrame& f) {
                   return say(ack(f.chunk.substr(1) + f.chunk[0]));
                 })});
  all.push_back({"acknowledges part of the chunk id", reply_badly(3, [](const ReceivedFrame& f) {
                   return say(ack(f.chunk.substr(0, 31)));
                 })});
  all.push_back({"answers with something else",
                 reply_badly(3, [](const ReceivedFrame&) { return say("HTTP/1.1 400\r\n\r\n"); })});
  all.push_back({"answers with a broken byte",
                 reply_badly(3, [](const ReceivedFrame&) { return say("\xc1"); })});
  all.push_back({"answers with a megabyte", reply_badly(3, [](const ReceivedFrame&) {
                   return say(ack(std::string(1'000'000, 'x')));
                 })});
  all.push_back({"answers without end", reply_badly(3, [](const ReceivedFrame&) {
                   return say(
                       "\x81\xa3"
                       "ack\xdb\xff\xff\xff\xff" +
                       std::string(5000, 'x'));
                 })});
  ReceiverScript in_pieces;
  in_pieces.reply = [](const ReceivedFrame& frame) {
    Reply reply;
    for (const char c : ack(frame.chunk)) reply.pieces.emplace_back(1, c);
    return reply;
  };
  all.push_back({"acknowledges byte by byte", in_pieces});
  ReceiverScript slow;
  slow.read_size = 97;
  slow.read_pause = std::chrono::milliseconds(1);
  all.push_back({"reads slowly", slow});
  return all;
}

TEST(ForwardMisbehaviour, LosesNothingAndKeepsTheOrder) {
  for (const Misbehaviour& misbehaviour : misbehaviours()) {
    SCOPED_TRACE(misbehaviour.name);
    LogCapture log(3);
    const ForwardReceiver receiver(misbehaviour.script);
    Engine engine("forward", quick(receiver, {{"vek.frame_size", "1K"}}));
    add_numbered(engine, 0, kRecords / 2);
    expect_balance(engine);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    add_numbered(engine, kRecords / 2, kRecords);
    expect_balance(engine);
    expect_all(engine, receiver, kRecords);
  }
}

TEST(ForwardMisbehaviour, SurvivesAConnectionThatEndsInsideEachByteOfAnAcknowledgement) {
  const size_t size = ack(std::string(32, 'x')).size();
  for (size_t cut = 0; cut < size; ++cut) {
    SCOPED_TRACE(cut);
    LogCapture log(3);
    ReceiverScript script = reply_badly(1, [&](const ReceivedFrame& frame) {
      Reply reply = say(ack(frame.chunk).substr(0, cut));
      reply.closes = true;
      return reply;
    });
    const ForwardReceiver receiver(script);
    Engine engine("forward", quick(receiver));
    add_numbered(engine, 0, 3);
    ASSERT_TRUE(engine.drained());
    EXPECT_GT(engine.stat("retried"), 0u);
    expect_all(engine, receiver, 3);
  }
}

TEST(ForwardMisbehaviour, TakesAcknowledgementsThatAreGluedTogether) {
  LogCapture log(3);
  std::string held;
  int glued = 0;
  ReceiverScript script;
  script.reply = [&](const ReceivedFrame& frame) {
    if (frame.connection > 0) return acknowledge(frame);
    const bool is_third = held.size() > 2 * ack(frame.chunk).size() - 1;
    held += ack(frame.chunk);
    if (!is_third) return Reply();
    ++glued;
    return say(std::exchange(held, {}));
  };
  {
    const ForwardReceiver receiver(script);
    Engine engine("forward", quick(receiver, {{"vek.frame_size", "1K"}}));
    std::vector<uint8_t> all;
    for (uint64_t i = 0; i < 1000; ++i) all = all + numbered_record(i);
    engine.add(all);
    expect_all(engine, receiver, 1000);
  }
  EXPECT_GT(glued, 0);
}

TEST(ForwardMisbehaviour, CountsWhatIsSentAgain) {
  LogCapture log(3);
  const ForwardReceiver receiver(reply_badly(1, [](const ReceivedFrame&) {
    Reply reply;
    reply.closes = true;
    return reply;
  }));
  // Long enough for the busiest machine: only what was closed on is sent again.
  Engine engine("forward", quick(receiver, {{"vek.ack_timeout", "10"}}));
  // One record, which is one frame whenever the sender looks.
  engine.add(numbered_record(0));
  ASSERT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("retried"), 1u);
  const auto frames = receiver.frames();
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0].bytes, frames[1].bytes);
}

TEST(ForwardMisbehaviour, OutlivesRestarts) {
  LogCapture log(3);
  ForwardReceiver receiver;
  Engine engine("forward", quick(receiver, {{"vek.frame_size", "1K"}}));
  for (uint64_t i = 0; i < 2000; i += 200) {
    add_numbered(engine, i, i + 200);
    if (i % 400 == 0) receiver.stop();
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
    if (i % 400 == 0) receiver.start();
  }
  expect_all(engine, receiver, 2000);
}

TEST(ForwardMisbehaviour, HoldsOneWindowOfFramesAndNoMore) {
  LogCapture log(3);
  std::atomic<int> frames{0};
  ReceiverScript script;
  script.reply = [&](const ReceivedFrame&) {
    ++frames;
    return Reply();  // never an answer
  };
  const ForwardReceiver receiver(script);
  Engine engine(
      "forward",
      quick(receiver, {{"vek.frame_size", "1K"}, {"vek.ack_timeout", "60"}, {"vek.grace", "0"}}));
  add_numbered(engine, 0, 1);
  while (frames == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  add_numbered(engine, 1, 10'000);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(frames, 32);
  EXPECT_EQ(engine.stat("queued"), 10'000u);
}

TEST(ForwardMisbehaviour, NeverHoldsUpTheCollector) {
  LogCapture log(3);
  ReceiverScript script;
  script.read_size = 1;
  script.read_pause = std::chrono::milliseconds(50);
  const ForwardReceiver receiver(script);
  Engine engine("forward",
                {{"Port", receiver.port()}, {"Mem_Buf_Limit", "5M"}, {"vek.grace", "0"}});
  const auto record = Pack().array(2).u(1).map(1).str("x").str(std::string(1000, 'x')).bytes();
  auto slowest = std::chrono::steady_clock::duration::zero();
  for (int i = 0; i < 20'000; ++i) {
    const auto start = std::chrono::steady_clock::now();
    engine.add(record);
    slowest = std::max(slowest, std::chrono::steady_clock::now() - start);
  }
  EXPECT_LT(slowest, std::chrono::milliseconds(200));  // tests share their processors
  expect_balance(engine);
  EXPECT_GT(engine.stat("queue_full"), 0u);
}

TEST(ForwardMisbehaviour, GivesUpAFrameAfterSoManyTriesAsItIsTold) {
  LogCapture log;
  ReceiverScript script;
  script.reply = [](const ReceivedFrame& frame) {
    Reply reply = acknowledge(frame);
    if (frame.events[0].find("\"n\":0}") == std::string::npos) return reply;
    reply.pieces.clear();
    reply.closes = true;
    return reply;
  };
  const ForwardReceiver receiver(script);
  Engine engine("forward", quick(receiver, {{"Retry_Limit", "2"}, {"vek.frame_size", "1K"}}));
  add_numbered(engine, 0, 1);
  ASSERT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("retries_over"), 1u);
  EXPECT_EQ(engine.stat("retried"), 2u);
  EXPECT_EQ(receiver.frames().size(), 3u);
  add_numbered(engine, 1, 2);
  ASSERT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("delivered"), 1u);
  expect_balance(engine);
  EXPECT_NE(engine.finish(), 0);
  EXPECT_TRUE(log.has(4,
                      "[raw msgpack API] [forward] dropped 1 record(s), 1 so far "
                      "(retries_over): it was sent as often as Retry_Limit says"));
}

}  // namespace
}  // namespace vek::test
