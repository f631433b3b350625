#include "utils/logger.h"

#include <barrier>
#include <climits>
#include <thread>

#include "tests/support/temp_dir.h"
#include "tests/utils/logger_fixture.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct LevelCase {
  const char* prefixed;
  const char* plain;
  uint32_t level;
};

TEST(LoggerLevel, ComesFromTheEnvironmentOnFirstUse) {
  const LevelCase cases[] = {
      {nullptr, nullptr, 0}, {nullptr, "7", 7},    {"4", "7", 4},
      {"x", "7", 0},         {"", "7", 0},         {nullptr, "debug", 0},
      {" 6", nullptr, 6},    {"3abc", nullptr, 3}, {"12", nullptr, 12},
  };
  for (const LevelCase& c : cases) {
    SCOPED_TRACE(testing::Message()
                 << (c.prefixed ? c.prefixed : "-") << " / " << (c.plain ? c.plain : "-"));
    log_of([&c] {
      set_variable("VEK_API_LOG_LEVEL", c.prefixed);
      set_variable("API_LOG_LEVEL", c.plain);
      VEK_LOGD("first message");
      EXPECT_EQ(vek_log_level, c.level);
    });
  }
}

TEST(LoggerLevel, DebugMessagesAppearWhenTheEnvironmentAsksForThem) {
  const auto lines = log_of([] {
    setenv("API_LOG_LEVEL", "7", 1);
    VEK_LOGD("seen %d", 1);
  });
  EXPECT_THAT(lines, ElementsAre("[debug] [vek_getenv] No value for 'VEK_LOG_THREAD_SAFE' or "
                                 "'LOG_THREAD_SAFE'",
                                 "[debug] seen 1"));
}

TEST(LoggerLevel, NothingIsLoggedWithoutAnEnvironment) {
  EXPECT_THAT(log_of([] { VEK_LOGE("unseen"); }), IsEmpty());
}

TEST(LoggerLevel, MinusOneAsksForEverythingAndInitialisesOnce) {
  const auto lines = log_of([] {
    setenv("VEK_API_LOG_LEVEL", "-1", 1);
    VEK_LOGD("one");
    EXPECT_NE(vek_log_level, VEK_LOG_LEVEL_UNSET);
    VEK_LOGD("two");
  });
  EXPECT_THAT(lines, ElementsAre(testing::_, "[debug] one", "[debug] two"));
}

TEST(LoggerLevel, IsTheHighestPriorityThatIsEmitted) {
  for (const uint32_t level : {0u, 3u, 4u, 5u, 6u, 7u}) {
    SCOPED_TRACE(level);
    const auto lines = log_of([level] {
      vek_init_stderr_logger(0);
      EXPECT_EQ(vek_set_log_level(level), 0u);
      for (int priority = 0; priority <= 7; ++priority) VEK_LOG(priority, "p");
    });
    EXPECT_EQ(lines.size(), level + 1);
  }
}

TEST(LoggerLevel, SuppressedMessagesDoNotEvaluateTheirArguments) {
  log_of([] {
    vek_init_stderr_logger(VEK_LOG_WARNING);
    int evaluated = 0;
    VEK_LOGI("%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    VEK_LOGW("%d", ++evaluated);
    EXPECT_EQ(evaluated, 1);
  });
}

TEST(LoggerLevel, SettingItReturnsThePreviousOne) {
  log_of([] {
    EXPECT_EQ(vek_set_log_level(3), VEK_LOG_LEVEL_UNSET);
    EXPECT_EQ(vek_set_log_level(7), 3u);
    EXPECT_EQ(vek_log_level, 7u);
  });
}

TEST(LoggerLine, CarriesTimestampPrefixTextAndNewline) {
  const auto lines = log_of([] {
    vek_init_stderr_logger(6);
    VEK_LOGE("a %s", "b");
    VEK_LOGW("%d%%", 5);
    VEK_LOGI("%s", "");
    VEK_LOG(5, "notice");
  });
  EXPECT_THAT(lines, ElementsAre("[error] a b", "[warning] 5%", "[info] ", "notice"));
}

TEST(LoggerLine, EveryPriorityHasItsPrefix) {
  EXPECT_STREQ(vek_priority_level_string_logger(3), "[error] ");
  EXPECT_STREQ(vek_priority_level_string_logger(4), "[warning] ");
  EXPECT_STREQ(vek_priority_level_string_logger(6), "[info] ");
  EXPECT_STREQ(vek_priority_level_string_logger(7), "[debug] ");
  for (const int other : {INT_MIN, -1, 0, 1, 2, 5, 8, INT_MAX}) {
    EXPECT_STREQ(vek_priority_level_string_logger(other), "") << other;
  }
}

TEST(LoggerLine, OfOneMegabyteStaysWhole) {
  const std::string message(1 << 20, 'm');
  const auto lines = log_of([&message] {
    vek_init_stderr_logger(6);
    VEK_LOGI("%s", message.c_str());
    VEK_LOGI("after");
  });
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(lines[0] == "[info] " + message) << lines[0].size();
  EXPECT_EQ(lines[1], "[info] after");
}

TEST(LoggerLine, IsFlushedAtOnce) {
  const TempDir dir;
  log_of([&dir] {
    ASSERT_TRUE(vek_init_file_logger(dir.file("log").c_str(), 6));
    VEK_LOGI("written");
    EXPECT_THAT(lines_of(read_file(dir.file("log"))), ElementsAre("[info] written"));
  });
}

TEST(LoggerLine, WrittenDirectlyInitialisesStandardErrorAtTheCurrentLevel) {
  const auto lines = log_of([] {
    vek_set_log_level(4);
    _vek_log(VEK_LOG_ERROR, "direct %d", 1);
    EXPECT_EQ(vek_log_level, 4u);
    EXPECT_EQ(logger::state.stream, stderr);
    EXPECT_NE(logger::state.mutex, nullptr);
  });
  EXPECT_THAT(lines, ElementsAre("[error] direct 1"));
}

TEST(LoggerLine, WrittenDirectlyBeforeAnyInitialisationComesToAnEnd) {
  const auto lines = log_of([] {
    _vek_log(VEK_LOG_ERROR, "direct");
    EXPECT_EQ(vek_log_level, 0u);
  });
  EXPECT_THAT(lines, ElementsAre("[error] direct"));
}

std::string timestamp(time_t seconds, long nanoseconds) {
  char text[64] = "untouched";
  const timespec time{seconds, nanoseconds};
  const size_t length = logger::format_timestamp(time, text, sizeof text);
  EXPECT_EQ(length, std::string(text).size());
  return text;
}

TEST(LoggerTimestamp, IsLocalTimeWithMilliseconds) {
  log_of([] {
    setenv("TZ", "XYZ-2", 1);
    tzset();
    EXPECT_EQ(timestamp(1769860800, 123'999'999), "[2026-01-31 14:00:00.123] ");
    EXPECT_EQ(timestamp(0, 0), "[1970-01-01 02:00:00.000] ");
    EXPECT_EQ(timestamp(1769860800, 7'000'000), "[2026-01-31 14:00:00.007] ");
    EXPECT_EQ(timestamp(1769860800, 999'999'999), "[2026-01-31 14:00:00.999] ");
  });
}

TEST(LoggerTimestamp, CarriesAThousandMillisecondsIntoTheSeconds) {
  log_of([] {
    setenv("TZ", "UTC0", 1);
    tzset();
    EXPECT_EQ(timestamp(1769860799, 1'000'000'000), "[2026-01-31 12:00:00.000] ");
    EXPECT_EQ(timestamp(1769860799, 1'005'000'000), "[2026-01-31 12:00:00.005] ");
  });
}

TEST(LoggerTimestamp, GoesToTheStreamThatIsGiven) {
  char* text = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  vek_dump_timestamp_logger(stream);
  fclose(stream);
  EXPECT_EQ(size, 26u);
  EXPECT_TRUE(starts_with_timestamp(text)) << text;
  free(text);
}

// A line of its own form: thread, number, and a filler whose letter and length follow from both.
std::string numbered_line(int thread, int number) {
  const auto length = static_cast<size_t>(number % 50 == 0 ? 20000 : 10 + (number * 7) % 300);
  return "t" + std::to_string(thread) + " n" + std::to_string(number) + " " +
         std::string(length, static_cast<char>('a' + thread));
}

TEST(LoggerThreads, LinesOfEightThreadsNeverInterleave) {
  constexpr int kThreads = 8;
  constexpr int kLines = 500;
  const auto lines = log_of([] {
    vek_init_stderr_logger(6);
    std::barrier start(kThreads);  // so that the first thread is not done before the last begins
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([t, &start] {
        start.arrive_and_wait();
        for (int n = 0; n < kLines; ++n) VEK_LOGI("%s", numbered_line(t, n).c_str());
      });
    }
    for (std::thread& thread : threads) thread.join();
  });
  ASSERT_EQ(lines.size(), static_cast<size_t>(kThreads * kLines));
  int next[kThreads] = {};
  for (const std::string& line : lines) {
    int thread = -1;
    ASSERT_EQ(std::sscanf(line.c_str(), "[info] t%d ", &thread), 1) << line.substr(0, 80);
    ASSERT_TRUE(thread >= 0 && thread < kThreads);
    ASSERT_EQ(line, "[info] " + numbered_line(thread, next[thread]++));
  }
}

// The one test whose logger is that of a process that has just started, rather than one put back.
TEST(LoggerDeathTest, StartsUninitialised) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        const bool fresh = vek_log_level == 4294967295u && !is_registered &&
                           logger::state.stream == nullptr && logger::state.mutex == nullptr;
        setenv("VEK_API_LOG_LEVEL", "6", 1);
        VEK_LOGI("hello");
        exit(fresh && vek_log_level == 6 ? 0 : 1);
      },
      testing::ExitedWithCode(0), testing::HasSubstr("[info] hello\n"));
}

}  // namespace
}  // namespace vek::test
