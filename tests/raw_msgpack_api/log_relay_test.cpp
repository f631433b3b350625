#include "raw_msgpack_api/log_relay.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <optional>

#include "tests/support/log_capture.h"

namespace vek::engine {
namespace {

using test::LogCapture;
using test::LogLine;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ForeignLine, HasItsLevelAndTextWithoutTheTime) {
  const struct {
    const char* line;
    int priority;
    const char* text;
  } cases[] = {
      {"[2026/01/31 12:00:00.123456789] [error] [output:http:http.0] no", 3,
       "[output:http:http.0] no"},
      {"[2026/01/31 12:00:00] [ warn] [engine] x\r", 4, "[engine] x"},
      {"[2026/01/31 12:00:00] [ info] y", 6, "y"},
      {"[2026/01/31 12:00:00] [debug] z", 7, "z"},
      {"  Fluent Bit v5 ", 7, "Fluent Bit v5"},
      {"[lonely", 7, "[lonely"},
      {"[a] [other] b", 7, "[a] [other] b"},
      {"", 7, ""},
  };
  for (const auto& c : cases) {
    const ForeignLine line = read_foreign_line(c.line);
    EXPECT_EQ(line.priority, c.priority) << c.line;
    EXPECT_EQ(line.text, c.text);
  }
}

class LogRelayTest : public testing::Test {
 protected:
  LogRelayTest() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    writer_ = Socket(ends[1]);
    SecretFilter secrets;
    secrets.add("password", "hunter2");
    relay_.emplace("out", Socket(ends[0]), secrets);
  }
  void say(std::string_view text) {
    EXPECT_EQ(write(writer_.fd(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  LogCapture log_;
  Socket writer_;
  std::optional<LogRelay> relay_;
};

TEST_F(LogRelayTest, PassesOnWhatIsThereBeforeItEnds) {
  say("[t] [error] a hunter2\n\n[t] [ in");
  say("fo] b\nunfinished");
  relay_.reset();
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{3, "[raw msgpack API] [out] fluent-bit: a ***"},
                                        LogLine{6, "[raw msgpack API] [out] fluent-bit: b"}));
}

TEST_F(LogRelayTest, CutsLinesThatNeverEnd) {
  say(std::string(5000, 'x'));
  relay_.reset();
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_LT(log_.lines()[0].text.size(), 4200u);
}

TEST_F(LogRelayTest, TellsTheErrors) {
  EXPECT_THAT(relay_->last_errors(), IsEmpty());
  say("[t] [error] one\n[t] [ warn] two\n[t] [error] three\n");
  for (int i = 0; i < 1000 && relay_->last_errors() != "one; three"; ++i) usleep(1000);
  EXPECT_EQ(relay_->last_errors(), "one; three");
}

TEST_F(LogRelayTest, TakesWarningsForNewsOnceTheEndIsAskedFor) {
  relay_->expect_end();
  say("[t] [ warn] going\n[t] [error] broken\n");
  relay_.reset();
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{6, "[raw msgpack API] [out] fluent-bit: going"},
                                        LogLine{3, "[raw msgpack API] [out] fluent-bit: broken"}));
}

// poll() finds both ready at once, again and again.
TEST(LogRelayThread, RestsWhereItsSourceCannotBeReadOrIsAtItsEnd) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
  close(ends[1]);
  Socket sources[] = {Socket(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC)), Socket(ends[0])};
  for (Socket& source : sources) {
    const std::clock_t before = std::clock();  // of all threads
    {
      const LogRelay relay("out", std::move(source), {});
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 10);
  }
}

}  // namespace
}  // namespace vek::engine
