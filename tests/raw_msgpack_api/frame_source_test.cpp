#include "raw_msgpack_api/frame_source.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/raw_msgpack_api/pack.h"
#include "tests/support/log_capture.h"
#include "tests/support/msgpack_json.h"

namespace vek::engine {
namespace {

using test::Pack;
using Buffer = std::vector<uint8_t>;

constexpr size_t kMemory = 64'000'000;

ForwardConfig config_for_frames_of(size_t bytes) {
  ForwardConfig config;
  config.name = "f";
  config.tag = "cntr";
  config.frame_size = bytes;
  config.acknowledged = false;  // its ids would differ
  return config;
}

void push(RecordQueue& queue, const Buffer& buffer) {
  RecordWalk walk{Bytes(buffer)};
  while (walk.next() == RecordWalk::Step::kRecord) {
    queue.push(walk.record(), walk.mended(), walk.pairs());
  }
}

Buffer bytes_of(const Frame& frame) {
  std::vector<Bytes> pieces;
  frame.unwritten(pieces);
  Buffer all;
  for (const Bytes piece : pieces) all.insert(all.end(), piece.begin(), piece.end());
  return all;
}

// Every frame of what waits, delivered as it comes, one line each.
std::string frames_of(RecordQueue& queue, const ForwardConfig& config) {
  FrameSource source(config, queue);
  std::string text;
  for (;;) {
    Frame frame;
    if (!source.next(frame)) return text;
    if (frame.fate == Frame::Fate::kLost) {
      text += "lost " + std::string(drop_reason_row(frame.reason).name) + "\n";
      queue.settle_dropped(frame.records, frame.reason);
      continue;
    }
    EXPECT_EQ(bytes_of(frame).size(), frame.size());
    text += test::msgpack_to_text(bytes_of(frame)) + "\n";
    queue.settle_delivered(frame.records);
  }
}

std::string frames_of(const std::vector<Buffer>& records, const ForwardConfig& config,
                      RecordForm form) {
  RecordQueue queue(kMemory, nullptr, false, form);
  for (const Buffer& record : records) push(queue, record);
  std::string text = frames_of(queue, config);
  EXPECT_EQ(queue.account().queued, 0u);
  return text;
}

Buffer timed(double time, uint64_t number) {
  return Pack().array(2).f64(time).map(1).str("n").u(number).bytes();
}

TEST(FrameSource, SendsEventsOutOfTheQueuesMemoryAsItWouldCopiesOfRecords) {
  const std::vector<Buffer> records = {
      timed(1.5, 1), Pack().array(2).u(5).map(0).bytes(),
      Pack().map(1).str("timestamp").u(1'700'000'000'123'456).bytes(),
      Pack().array(2).ext(0, std::string("\0\0\0\1\0\0\0\2", 8)).map(1).nil().nil().bytes(),
      Pack().array(2).u(7).map(2).str("mended").nil().bytes()};
  const auto config = config_for_frames_of(1000);
  const std::string expected = "[\"cntr\",[[ext(0,0x000000011dcd6500),{\"n\":1}],";
  const std::string sent = frames_of(records, config, RecordForm::kAsEvents);
  EXPECT_EQ(sent, frames_of(records, config, RecordForm::kAsGiven));
  EXPECT_NE(sent.find("\"size\":5"), std::string::npos) << sent << expected;
}

TEST(FrameSource, CutsRunsOfEventsWhereFramesAreFull) {
  std::vector<Buffer> records;
  for (uint64_t i = 0; i < 100; ++i) records.push_back(timed(1, i));
  // An event of this kind has 15 bytes.
  EXPECT_EQ(frames_of(records, config_for_frames_of(15 * 40), RecordForm::kAsEvents),
            frames_of(records, config_for_frames_of(15 * 40), RecordForm::kAsGiven));
}

// Lists, times beyond the wire and maps that nest too deep are not sent as they are kept; whatever
// stands beside them keeps its order.
TEST(FrameSource, KeepsOrderAcrossRecordsOfEveryKind) {
  test::LogCapture log(3);
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    std::vector<Buffer> records;
    std::uniform_int_distribution<int> kind(0, 40);
    for (uint64_t i = 0; i < 60; ++i) {
      switch (kind(random)) {
        case 0:
          records.push_back(
              Pack().array(2).u(1).array(2).map(1).str("n").u(i).map(1).str("n").u(i).bytes());
          break;
        case 1:
          records.push_back(Pack().array(2).u(1).array(1).u(i).bytes());
          break;
        case 2:
          records.push_back(Pack().array(2).u(1ull << 33).map(1).str("n").u(i).bytes());
          break;
        case 3: {
          Pack deep;
          deep.array(2).u(1).map(1).str("n");
          for (int level = 0; level < 29; ++level) deep.array(1);
          records.push_back(deep.u(i).bytes());
          break;
        }
        case 4:
          records.push_back(
              Pack().array(2).u(1).map(1).str("n").str(std::string(2000, 'x')).bytes());
          break;
        default:
          records.push_back(timed(1.25, i * 100));
      }
    }
    const auto config = config_for_frames_of(500);
    std::string sent;
    std::string expected;
    // What is sent, whichever frames it goes in.
    for (auto [form, out] :
         {std::pair{RecordForm::kAsEvents, &sent}, std::pair{RecordForm::kAsGiven, &expected}}) {
      const std::string frames = frames_of(records, config, form);
      for (size_t at = 0; (at = frames.find("\"n\":", at)) != std::string::npos; ++at) {
        *out += frames.substr(at, frames.find('}', at) - at) + " ";
      }
    }
    EXPECT_EQ(sent, expected);
  }
}

TEST(FrameSource, GivesALargeEventAFrameOfItsOwnAndATooLargeOneUp) {
  test::LogCapture log(3);
  const auto large = [](size_t size) {
    return Pack().array(2).u(1).map(1).str("n").str(std::string(size, 'x')).bytes();
  };
  const auto config = config_for_frames_of(100);
  const std::string sent =
      frames_of({timed(1, 1), large(5'000'000), timed(1, 2), large(6'000'000), timed(1, 3)}, config,
                RecordForm::kAsEvents);
  std::vector<size_t> sizes;
  for (size_t at = 0; at < sent.size(); at = sent.find('\n', at) + 1) {
    sizes.push_back((sent.find('\n', at) - at) / 1'000'000);
  }
  EXPECT_EQ(sizes, (std::vector<size_t>{0, 5, 0, 0, 0}));
  EXPECT_NE(sent.find("lost too_large_to_send"), std::string::npos);
}

TEST(FrameSource, TellsWhatIsUnwrittenAtEveryByte) {
  RecordQueue queue(kMemory, nullptr, false, RecordForm::kAsEvents);
  for (uint64_t i = 0; i < 3; ++i) push(queue, timed(1, i));
  const auto config = config_for_frames_of(1000);
  FrameSource source(config, queue);
  Frame frame;
  ASSERT_TRUE(source.next(frame));
  ASSERT_EQ(frame.borrowed.size(), 1u);
  const Buffer whole = bytes_of(frame);
  for (frame.written = 0; frame.written <= whole.size(); ++frame.written) {
    EXPECT_EQ(bytes_of(frame),
              Buffer(whole.begin() + static_cast<ptrdiff_t>(frame.written), whole.end()));
  }
  frame.written = 0;
  frame.keep();
  EXPECT_TRUE(frame.borrowed.empty());
  queue.settle_delivered(3);
  EXPECT_EQ(bytes_of(frame), whole);
}

}  // namespace
}  // namespace vek::engine
