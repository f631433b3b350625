// Records that a receiver closes on, among others that it takes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <set>

#include "raw_msgpack_api/spool_folder.h"
#include "tests/raw_msgpack_api/forward_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using testing::HasSubstr;

bool has_number(const ReceivedFrame& frame, const std::set<uint64_t>& numbers) {
  return std::any_of(frame.events.begin(), frame.events.end(), [&](const std::string& event) {
    return numbers.count(std::stoull(event.substr(event.find("\"n\":") + 4))) > 0;
  });
}

// Closes on every frame that holds one of these records.
ReceiverScript close_on(std::set<uint64_t> poison) {
  ReceiverScript script;
  script.reply = [poison = std::move(poison)](const ReceivedFrame& frame) {
    Reply reply = acknowledge(frame);
    if (!has_number(frame, poison)) return reply;
    reply.stores = false;
    reply.pieces.clear();
    reply.closes = true;
    return reply;
  };
  return script;
}

std::vector<uint64_t> without(uint64_t count, const std::set<uint64_t>& poison) {
  std::vector<uint64_t> numbers;
  for (const uint64_t n : counted(count)) {
    if (poison.count(n) == 0) numbers.push_back(n);
  }
  return numbers;
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(ForwardPoison, IsFoundWhereverItStands) {
  constexpr uint64_t kRecords = 200;
  const std::set<uint64_t> cases[] = {{100}, {0}, {kRecords - 1}, {50, 51}, {0, 1}, {10, 90, 150}};
  for (const auto& poison : cases) {
    SCOPED_TRACE(testing::PrintToString(poison));
    LogCapture log(3);
    const TempDir dir;
    const ForwardReceiver receiver(close_on(poison));
    Engine engine("forward",
                  quick(receiver, {{"storage.path", dir.file("spool")}, {"Alias", "a/b"}}));
    std::vector<uint8_t> all;
    for (uint64_t i = 0; i < kRecords; ++i) all = all + numbered_record(i);
    engine.add(all);
    // Proof needs something that passes, also behind the last record.
    add_numbered(engine, kRecords, kRecords + 1);
    ASSERT_TRUE(engine.drained());
    EXPECT_EQ(engine.stat("refused"), poison.size());
    EXPECT_EQ(engine.stat("delivered"), kRecords + 1 - poison.size());
    expect_balance(engine);
    EXPECT_NE(engine.finish(), 0);
    auto numbers = receiver.numbers();
    const auto expected = without(kRecords + 1, poison);
    // Where nothing was ever delivered, a record had to be overtaken.
    if (poison.count(0) > 0) std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(numbers, expected);
    // As they were refused: events.
    std::vector<uint8_t> letters;
    for (const uint64_t n : poison) {
      letters = letters +
                Pack().array(2).ext(0, {"\0\0\0\1\x1d\xcd\x65\0", 8}).map(1).str("n").u(n).bytes();
    }
    const std::string path =
        dir.file("spool/" + engine::safe_folder_name("a/b") + ".dead-letter.msgpack");
    EXPECT_EQ(read_file(path), std::string(letters.begin(), letters.end()));
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
  }
}

TEST(ForwardPoison, IsDroppedWhereNoFolderIsGiven) {
  LogCapture log;
  const ForwardReceiver receiver(close_on({3}));
  Engine engine("forward", quick(receiver));
  for (uint64_t i = 0; i < 6; ++i) {
    add_numbered(engine, i, i + 1);
    ASSERT_TRUE(engine.drained());
  }
  EXPECT_EQ(engine.stat("refused"), 1u);
  EXPECT_EQ(receiver.numbers(), without(6, {3}));
  EXPECT_THAT(log.warnings(),
              testing::Contains(HasSubstr("dropped 1 record(s), 1 so far (refused)")));
}

TEST(ForwardPoison, IsNotWhatAReceiverClosesOnThatTakesNothing) {
  LogCapture log(3);
  // As one whose disk is full: everything but an acknowledgement in the beginning ends it.
  std::atomic<bool> full{false};
  ReceiverScript script;
  script.reply = [&](const ReceivedFrame& frame) {
    Reply reply = acknowledge(frame);
    if (!full) return reply;
    reply.stores = false;
    reply.pieces.clear();
    reply.closes = true;
    return reply;
  };
  const ForwardReceiver receiver(script);
  Engine engine("forward", quick(receiver, {{"vek.frame_size", "1K"}}));
  add_numbered(engine, 0, 100);
  ASSERT_TRUE(engine.drained());
  for (uint64_t i = 1; i <= 3; ++i) {
    full = true;
    add_numbered(engine, i * 100, i * 100 + 100);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(engine.stat("queued"), 100u);
    full = false;
    ASSERT_TRUE(engine.drained());
  }
  expect_all(engine, receiver, 400);
  EXPECT_GT(receiver.connections(), 30);
}

TEST(ForwardPoison, DoesNotKeepTheLastRecordFromWaiting) {
  LogCapture log(3);
  const ForwardReceiver receiver(close_on({0}));
  Engine engine("forward", quick(receiver, {{"vek.grace", "0.1"}}));
  add_numbered(engine, 0, 1);
  std::this_thread::sleep_for(std::chrono::milliseconds(400));
  // Nothing else ever passed, so nothing is proven.
  EXPECT_EQ(engine.stat("queued"), 1u);
  EXPECT_EQ(engine.stat("refused"), 0u);
  EXPECT_NE(engine.finish(), 0);
}

}  // namespace
}  // namespace vek::test
