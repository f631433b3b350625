#include "raw_msgpack_api/forward_probe.h"

#include <gtest/gtest.h>

#include "tests/raw_msgpack_api/forward_receiver.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using engine::probe_receiver;

class ForwardProbeTest : public testing::Test {
 protected:
  std::string probe(std::chrono::milliseconds patience = std::chrono::milliseconds(300)) const {
    return probe_receiver(path_, "t", engine::Clock::now() + patience, {});
  }

  const TempDir dir_;
  const std::string path_ = dir_.file("in");
};

TEST_F(ForwardProbeTest, IsEmptyFramesThatAreAcknowledged) {
  const ForwardReceiver receiver({}, path_);
  EXPECT_EQ(probe(std::chrono::seconds(10)), "");
  const auto frames = receiver.frames();
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0].tag, "t");
  EXPECT_TRUE(frames[0].events.empty());
  EXPECT_NE(frames[0].chunk, frames[1].chunk);
  EXPECT_EQ(frames[0].connection, frames[1].connection);
}

TEST_F(ForwardProbeTest, WaitsForAReceiverThatStartsLate) {
  std::unique_ptr<ForwardReceiver> receiver;
  std::thread late([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    receiver = std::make_unique<ForwardReceiver>(ReceiverScript{}, path_);
  });
  EXPECT_EQ(probe(std::chrono::seconds(10)), "");
  late.join();
}

TEST_F(ForwardProbeTest, SaysWhyThereIsNone) {
  EXPECT_EQ(probe(), "No such file or directory");
  EXPECT_EQ(probe_receiver(std::string(200, 'x'), "t", engine::Clock::now(), {}),
            "its path is too long for a socket");
}

TEST_F(ForwardProbeTest, IsNotContentWithLess) {
  ReceiverScript silent;
  silent.reply = [](const ReceivedFrame&) { return Reply{}; };
  ReceiverScript other;
  other.reply = [](const ReceivedFrame&) {
    Reply reply;
    reply.pieces = {ack("another")};
    return reply;
  };
  ReceiverScript once;  // reads no second frame
  once.reply = [n = 0](const ReceivedFrame& frame) mutable {
    return n++ % 2 == 0 ? acknowledge(frame) : Reply{};
  };
  ReceiverScript closes;
  closes.reply = [](const ReceivedFrame&) {
    Reply reply;
    reply.closes = true;
    return reply;
  };
  for (ReceiverScript* script : {&silent, &other, &once, &closes}) {
    const ForwardReceiver receiver(*script, path_);
    EXPECT_NE(probe(), "");
  }
}

TEST_F(ForwardProbeTest, IsGivenUpWhenAsked) {
  const auto begin = engine::Clock::now();
  probe_receiver(path_, "t", begin + std::chrono::seconds(60), [] { return true; });
  EXPECT_LT(engine::Clock::now() - begin, std::chrono::seconds(10));
}

}  // namespace
}  // namespace vek::test
