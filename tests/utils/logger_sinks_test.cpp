#include <dlfcn.h>
#include <syslog.h>

#include <chrono>
#include <cstdarg>
#include <cstring>
#include <thread>

#include "tests/support/temp_dir.h"
#include "tests/utils/logger_fixture.h"
#include "tests/utils/syslog_record.h"
#include "utils/owned.h"

namespace {
bool mutex_creation_fails = false;
}

// Stands before the C library's, so that a test can make the creation of the logger's mutex fail.
extern "C" int pthread_mutex_init(pthread_mutex_t* mutex,
                                  const pthread_mutexattr_t* attributes) noexcept {
  using Function = int (*)(pthread_mutex_t*, const pthread_mutexattr_t*);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pthread_mutex_init"));
  return mutex_creation_fails ? ENOMEM : real(mutex, attributes);
}

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Context = Owned<vek_logger_ctx_t, vek_destroy_logger_ctx>;

std::vector<std::string> received;

__attribute__((format(printf, 2, 3))) void receive(int priority, const char* format, ...) {
  char text[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  received.push_back(std::to_string(priority) + " " + text);
}

Context current() { return Context(vek_get_logger_ctx()); }

TEST(StderrLogger, WritesToStandardError) {
  const auto lines = log_of([] {
    EXPECT_TRUE(vek_init_stderr_logger(VEK_LOG_INFO));
    const Context context = current();
    EXPECT_EQ(context->type, 0u);
    EXPECT_EQ(context->stream, stderr);
    EXPECT_EQ(context->log_func, nullptr);
    EXPECT_EQ(context->level, 6u);
    EXPECT_NE(context->mutex, nullptr);
    VEK_LOGI("here");
  });
  EXPECT_THAT(lines, ElementsAre("[info] here"));
}

TEST(FileLogger, TruncatesTheFileAndWritesToIt) {
  const TempDir dir;
  const std::string path = dir.write("log", "old contents\n");
  const auto lines = log_of([&path] {
    EXPECT_TRUE(vek_init_file_logger(path.c_str(), VEK_LOG_INFO));
    const Context context = current();
    EXPECT_EQ(context->type, 2u);
    EXPECT_NE(context->stream, nullptr);
    EXPECT_NE(context->stream, stderr);
    VEK_LOGE("in the file");
    VEK_LOGD("suppressed");
  });
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_THAT(lines_of(read_file(path)), ElementsAre("[error] in the file"));
}

TEST(FileLogger, OnAnUnwritablePathFallsBackToStandardError) {
  const TempDir dir;
  const auto lines = log_of([&dir] {
    EXPECT_FALSE(vek_init_file_logger(dir.file("no/such/folder").c_str(), VEK_LOG_INFO));
    EXPECT_EQ(current()->type, 0u);
    EXPECT_EQ(vek_log_level, 6u);
    VEK_LOGI("still seen");
    EXPECT_FALSE(vek_init_file_logger(nullptr, VEK_LOG_INFO));
    VEK_LOGI("seen again");
  });
  EXPECT_THAT(lines, ElementsAre("[info] still seen", "[info] seen again"));
}

TEST(FileLogger, IsClosedByTheNextOne) {
  const TempDir dir;
  log_of([&dir] {
    ASSERT_TRUE(vek_init_file_logger(dir.file("one").c_str(), 6));
    const int descriptor = fileno(current()->stream);
    VEK_LOGI("one");
    ASSERT_TRUE(vek_init_file_logger(dir.file("two").c_str(), 6));
    EXPECT_EQ(fileno(current()->stream), descriptor) << "the first file is still open";
    VEK_LOGI("two");
  });
  EXPECT_THAT(lines_of(read_file(dir.file("one"))), ElementsAre("[info] one"));
  EXPECT_THAT(lines_of(read_file(dir.file("two"))), ElementsAre("[info] two"));
}

TEST(SyslogLogger, HandsMessagesToSyslogAndNothingElse) {
  const auto lines = log_of([] {
    {
      std::string ident = "vek-test";
      EXPECT_TRUE(vek_init_syslog_logger(ident.c_str(), VEK_LOG_INFO));
      ident.assign(ident.size(), '?');
    }
    const Context context = current();
    EXPECT_EQ(context->type, 1u);
    EXPECT_EQ(context->stream, nullptr);
    EXPECT_EQ(context->log_func, nullptr);
    VEK_LOGW("to the %s", "system");
    VEK_LOGD("suppressed");
    _vek_log(VEK_LOG_ERROR, "direct");
    EXPECT_EQ(syslog_record().ident, "vek-test");
    EXPECT_EQ(syslog_record().option, LOG_CONS | LOG_PID);
    EXPECT_EQ(syslog_record().facility, LOG_DAEMON);
    EXPECT_THAT(syslog_record().messages, ElementsAre("4 to the system", "3 direct"));
  });
  EXPECT_THAT(lines, IsEmpty());
}

TEST(SyslogLogger, LogsItsOwnSetUpToSyslog) {
  log_of([] {
    vek_init_syslog_logger(nullptr, VEK_LOG_DEBUG);
    EXPECT_EQ(syslog_record().ident, "");
    EXPECT_THAT(
        syslog_record().messages,
        ElementsAre("7 [vek_getenv] No value for 'VEK_LOG_THREAD_SAFE' or 'LOG_THREAD_SAFE'"));
  });
}

TEST(FunctionLogger, ReceivesPriorityFormatAndArguments) {
  const auto lines = log_of([] {
    vek_set_log_func(receive, VEK_LOG_INFO);
    EXPECT_EQ(vek_get_log_func(), receive);
    const Context context = current();
    EXPECT_EQ(context->type, 3u);
    EXPECT_EQ(context->stream, nullptr);
    EXPECT_EQ(context->log_func, receive);
    VEK_LOGE("%d of %s", 3, "four");
    VEK_LOGD("suppressed");
    EXPECT_THAT(received, ElementsAre("3 3 of four"));
  });
  EXPECT_THAT(lines, IsEmpty());
}

TEST(FunctionLogger, IsReplacedByTheNextSink) {
  const auto lines = log_of([] {
    vek_set_log_func(receive, VEK_LOG_INFO);
    vek_init_stderr_logger(VEK_LOG_INFO);
    EXPECT_EQ(vek_get_log_func(), nullptr);
    VEK_LOGI("elsewhere");
    EXPECT_THAT(received, IsEmpty());
  });
  EXPECT_THAT(lines, ElementsAre("[info] elsewhere"));
}

TEST(CloseLogger, ReturnsToStandardErrorAtTheCurrentLevel) {
  const TempDir dir;
  const auto lines = log_of([&dir] {
    vek_init_file_logger(dir.file("log").c_str(), VEK_LOG_WARNING);
    VEK_LOGW("in the file");
    vek_close_logger();
    EXPECT_EQ(current()->type, 0u);
    EXPECT_EQ(vek_log_level, 4u);
    VEK_LOGW("after the file");

    vek_init_syslog_logger("x", VEK_LOG_WARNING);
    vek_close_logger();
    EXPECT_EQ(syslog_record().closed, 1);
    VEK_LOGW("after syslog");

    vek_set_log_func(receive, VEK_LOG_WARNING);
    vek_close_logger();
    VEK_LOGW("after the function");
    vek_close_logger();
    VEK_LOGW("after standard error");
    EXPECT_EQ(syslog_record().closed, 1);
  });
  EXPECT_THAT(lines, ElementsAre("[warning] after the file", "[warning] after syslog",
                                 "[warning] after the function", "[warning] after standard error"));
  EXPECT_THAT(lines_of(read_file(dir.file("log"))), ElementsAre("[warning] in the file"));
}

// ---- thread safety

struct ThreadSafetyCase {
  const char* prefixed;
  const char* plain;
  bool on;
};

TEST(LoggerMutex, FollowsTheEnvironment) {
  const ThreadSafetyCase cases[] = {
      {nullptr, nullptr, true}, {"", nullptr, true},      {"Yes", nullptr, true},
      {"y", nullptr, true},     {"true", nullptr, true},  {"TRUE", nullptr, true},
      {"1", nullptr, true},     {"10", nullptr, true},    {"No", nullptr, false},
      {"0", nullptr, false},    {"off", nullptr, false},  {"on", nullptr, false},
      {"2", nullptr, false},    {" yes", nullptr, false}, {nullptr, "No", false},
      {nullptr, "Yes", true},   {"No", "Yes", false},     {"Yes", "No", true},
      {"", "No", true},
  };
  for (const ThreadSafetyCase& c : cases) {
    SCOPED_TRACE(testing::Message() << (c.prefixed ? c.prefixed : "(unset)") << " / "
                                    << (c.plain ? c.plain : "(unset)"));
    log_of([&c] {
      set_variable("VEK_LOG_THREAD_SAFE", c.prefixed);
      set_variable("LOG_THREAD_SAFE", c.plain);
      EXPECT_TRUE(vek_init_stderr_logger(3));
      EXPECT_EQ(current()->mutex != nullptr, c.on);
    });
  }
}

TEST(LoggerMutex, SaysWhichVariableIsUsed) {
  EXPECT_THAT(log_of([] {
                setenv("LOG_THREAD_SAFE", "Yes", 1);
                vek_init_stderr_logger(7);
              }),
              ElementsAre("[debug] [vek_getenv] Using 'LOG_THREAD_SAFE'='Yes'"));
  EXPECT_THAT(log_of([] {
                setenv("VEK_LOG_THREAD_SAFE", "1", 1);
                setenv("LOG_THREAD_SAFE", "1", 1);
                vek_init_stderr_logger(7);
              }),
              ElementsAre("[debug] [vek_getenv] Using 'VEK_LOG_THREAD_SAFE'='1'"));
}

TEST(LoggerMutex, SaysThatItIsOff) {
  const char* using_no = "[debug] [vek_getenv] Using 'VEK_LOG_THREAD_SAFE'='No'";
  const char* disabled =
      "[debug] [logger] [_vek_init_logger_mutex] Thread safety is disabled by environment "
      "variable VEK_LOG_THREAD_SAFE";
  EXPECT_THAT(
      log_of([] {
        setenv("VEK_LOG_THREAD_SAFE", "No", 1);
        vek_init_stderr_logger(7);
      }),
      ElementsAre(
          using_no, disabled,
          "[debug] [logger] [vek_init_stderr_logger] Initialized logger without thread-safety"));

  const TempDir dir;
  log_of([&dir] {
    setenv("VEK_LOG_THREAD_SAFE", "No", 1);
    vek_init_stderr_logger(0);
    vek_init_file_logger(dir.file("log").c_str(), 7);
    vek_init_syslog_logger("x", 7);
    EXPECT_EQ(syslog_record().messages.back(),
              "7 [logger] [vek_init_syslog_logger] Initialized logger without thread-safety");
  });
  EXPECT_THAT(
      lines_of(read_file(dir.file("log"))),
      ElementsAre(
          using_no, disabled,
          "[debug] [logger] [vek_init_file_logger] Initialized logger without thread-safety"));
}

TEST(LoggerMutex, ConflictingVariablesGiveOneWarningAndThePrefixedOneDecides) {
  const char* conflict =
      "[warning] [vek_getenv] Environment variables conflict - VEK_LOG_THREAD_SAFE=Yes and "
      "LOG_THREAD_SAFE=No. Using VEK_LOG_THREAD_SAFE";
  for (const uint32_t level : {3u, 4u, 7u}) {
    SCOPED_TRACE(level);
    const auto lines = log_of([level] {
      setenv("VEK_LOG_THREAD_SAFE", "Yes", 1);
      setenv("LOG_THREAD_SAFE", "No", 1);
      vek_init_stderr_logger(level);
      EXPECT_NE(current()->mutex, nullptr);
    });
    std::vector<std::string> expected;
    if (level >= 4) expected.emplace_back(conflict);
    if (level >= 7) {
      expected.emplace_back("[debug] [vek_getenv] Using 'VEK_LOG_THREAD_SAFE'='Yes'");
    }
    EXPECT_EQ(lines, expected);
  }
}

TEST(LoggerMutex, IsSetUpAtTheNewLevel) {
  EXPECT_THAT(log_of([] {
                vek_set_log_level(7);
                vek_init_stderr_logger(6);
              }),
              IsEmpty());
  EXPECT_EQ(log_of([] {
              vek_set_log_level(0);
              vek_init_stderr_logger(7);
            }).size(),
            1u);
}

TEST(LoggerMutex, IsTakenAwayAndGivenBackByLaterInitialisations) {
  log_of([] {
    vek_init_stderr_logger(3);
    pthread_mutex_t* const mutex = current()->mutex;
    EXPECT_NE(mutex, nullptr);
    setenv("VEK_LOG_THREAD_SAFE", "No", 1);
    vek_init_stderr_logger(3);
    EXPECT_EQ(current()->mutex, nullptr);
    unsetenv("VEK_LOG_THREAD_SAFE");
    vek_init_stderr_logger(3);
    EXPECT_EQ(current()->mutex, mutex);
  });
}

TEST(LoggerMutex, ThatCannotBeCreatedIsAnErrorAndTheLoggerWorksWithoutIt) {
  const auto lines = log_of([] {
    mutex_creation_fails = true;
    EXPECT_TRUE(vek_init_stderr_logger(7));
    mutex_creation_fails = false;
    EXPECT_EQ(current()->mutex, nullptr);
    VEK_LOGI("works");
  });
  EXPECT_THAT(
      lines,
      ElementsAre(
          "[debug] [vek_getenv] No value for 'VEK_LOG_THREAD_SAFE' or 'LOG_THREAD_SAFE'",
          "[error] [logger] [_vek_init_logger_mutex] failed to initialize logger mutex",
          "[debug] [logger] [vek_init_stderr_logger] Initialized logger without thread-safety",
          "[info] works"));
}

TEST(LoggerMutex, IsHeldWhileALineIsWritten) {
  const TempDir dir;
  log_of([&dir] {
    vek_init_file_logger(dir.file("log").c_str(), 6);
    pthread_mutex_t* const mutex = current()->mutex;
    pthread_mutex_lock(mutex);
    std::thread writer([] { VEK_LOGI("late"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(read_file(dir.file("log")), "");
    pthread_mutex_unlock(mutex);
    writer.join();
    EXPECT_THAT(lines_of(read_file(dir.file("log"))), ElementsAre("[info] late"));
  });
}

TEST(LoggerMutex, IsDestroyedAtExitAndLinesGoOn) {
  const auto lines = log_of([] {
    vek_init_stderr_logger(6);
    vek_logger_cleanup_mutex_exit_handler();
    EXPECT_EQ(current()->mutex, nullptr);
    vek_logger_cleanup_mutex_exit_handler();
    VEK_LOGI("late words");
  });
  EXPECT_THAT(lines, ElementsAre("[info] late words"));
}

TEST(LoggerMutex, RunsItsCleanUpWhenTheProcessEnds) {
  const auto lines = log_of([] {
    // Registered before the logger's own handler, so that it runs after it.
    std::atexit([] { VEK_LOGI(current()->mutex ? "mutex left" : "mutex gone"); });
    vek_init_stderr_logger(6);
    EXPECT_NE(current()->mutex, nullptr);
  });
  EXPECT_THAT(lines, ElementsAre("[info] mutex gone"));
}

// ---- adoption of a host's logger

class HostLogger : public testing::Test {
 protected:
  vek_logger_ctx_t context() {
    vek_logger_ctx_t host{};
    host.type = 0;
    host.stream = stderr;
    host.level = 7;
    host.mutex = &mutex;
    return host;
  }
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
};

TEST_F(HostLogger, NullIsRefused) {
  log_of([] {
    EXPECT_FALSE(_vek_register_logger(nullptr));
    EXPECT_FALSE(is_registered);
  });
}

TEST_F(HostLogger, EqualToTheCurrentStateChangesNothing) {
  log_of([] {
    vek_init_stderr_logger(6);
    EXPECT_TRUE(_vek_register_logger(current().get()));
    EXPECT_FALSE(is_registered);
    vek_set_log_func(receive, 7);
    EXPECT_TRUE(_vek_register_logger(current().get()));
    EXPECT_FALSE(is_registered);
  });
}

TEST_F(HostLogger, IsAdoptedWhenAnyMemberDiffers) {
  using Change = void (*)(vek_logger_ctx_t&);
  const Change changes[] = {
      [](vek_logger_ctx_t& c) { c.type = 2; },
      [](vek_logger_ctx_t& c) { c.stream = stdout; },
      [](vek_logger_ctx_t& c) { c.log_func = receive; },
      [](vek_logger_ctx_t& c) { c.level = 5; },
      [](vek_logger_ctx_t& c) { c.mutex = nullptr; },
  };
  for (const Change change : changes) {
    log_of([change] {
      vek_init_stderr_logger(6);
      const Context changed = current();
      change(*changed);
      EXPECT_TRUE(_vek_register_logger(changed.get()));
      EXPECT_TRUE(is_registered);
      const Context now = current();
      EXPECT_EQ(now->type, changed->type);
      EXPECT_EQ(now->stream, changed->stream);
      EXPECT_EQ(now->level, changed->level);
      EXPECT_EQ(now->mutex, changed->mutex);
    });
  }
}

TEST_F(HostLogger, LendsItsStreamLevelAndMutex) {
  char* text = nullptr;
  size_t size = 0;
  const auto lines = log_of([&] {
    vek_init_stderr_logger(0);
    vek_logger_ctx_t host = context();
    host.type = 2;
    host.stream = open_memstream(&text, &size);
    EXPECT_TRUE(_vek_register_logger(&host));
    VEK_LOGD("shared");
    EXPECT_THAT(lines_of(std::string(text, size)), ElementsAre("[debug] shared"));

    pthread_mutex_lock(&mutex);
    std::thread writer([] { VEK_LOGD("late"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(lines_of(std::string(text, size)).size(), 1u);
    pthread_mutex_unlock(&mutex);
    writer.join();
    EXPECT_EQ(lines_of(std::string(text, size)).size(), 2u);

    vek_set_log_level(0);
    fclose(host.stream);
    free(text);
  });
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(HostLogger, LendsItsFunction) {
  log_of([this] {
    vek_logger_ctx_t host = context();
    host.type = 3;
    host.stream = nullptr;
    host.log_func = receive;
    EXPECT_TRUE(_vek_register_logger(&host));
    VEK_LOGD("through the host");
    EXPECT_THAT(received, ElementsAre("7 through the host"));
  });
}

TEST_F(HostLogger, LendsItsSyslog) {
  log_of([this] {
    vek_logger_ctx_t host = context();
    host.type = 1;
    host.stream = nullptr;
    EXPECT_TRUE(_vek_register_logger(&host));
    VEK_LOGD("to syslog");
    EXPECT_THAT(syslog_record().messages, ElementsAre("7 to syslog"));
  });
}

TEST_F(HostLogger, FreezesTheSink) {
  const TempDir dir;
  const auto lines = log_of([this, &dir] {
    const vek_logger_ctx_t host = context();
    EXPECT_TRUE(_vek_register_logger(&host));
    EXPECT_FALSE(vek_init_stderr_logger(3));
    EXPECT_FALSE(vek_init_file_logger(dir.file("log").c_str(), 3));
    EXPECT_FALSE(vek_init_syslog_logger("x", 3));
    vek_close_logger();
    const Context now = current();
    EXPECT_EQ(now->type, 0u);
    EXPECT_EQ(now->level, 7u);
    EXPECT_EQ(now->mutex, &mutex);
    EXPECT_EQ(syslog_record().opened, 0);
  });
  EXPECT_THAT(
      lines,
      ElementsAre(
          "[debug] [logger] [vek_init_stderr_logger] registered logger cannot initialize logger",
          "[debug] [logger] [vek_init_file_logger] registered logger cannot initialize logger",
          "[debug] [logger] [vek_init_syslog_logger] registered logger cannot initialize logger",
          "[debug] [logger] [vek_close_logger] tried closing a registered logger, skipping "
          "closure"));
  EXPECT_EQ(access(dir.file("log").c_str(), F_OK), -1) << "the file must not be touched";
}

TEST_F(HostLogger, KeepsItsMutexWhenThePluginExits) {
  log_of([this] {
    const vek_logger_ctx_t host = context();
    EXPECT_TRUE(_vek_register_logger(&host));
    vek_logger_cleanup_mutex_exit_handler();
    EXPECT_EQ(current()->mutex, &mutex);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), 0);
    pthread_mutex_unlock(&mutex);
  });
}

TEST_F(HostLogger, WithoutAMutexGetsNoneFromThePlugin) {
  log_of([this] {
    vek_logger_ctx_t host = context();
    host.mutex = nullptr;
    EXPECT_TRUE(_vek_register_logger(&host));
    logger::set_up_mutex();
    EXPECT_EQ(current()->mutex, nullptr);
  });
}

TEST_F(HostLogger, KeepsItsMutexWhateverThePluginsEnvironmentSays) {
  log_of([this] {
    const vek_logger_ctx_t host = context();
    EXPECT_TRUE(_vek_register_logger(&host));
    setenv("VEK_LOG_THREAD_SAFE", "No", 1);
    logger::set_up_mutex();
    EXPECT_EQ(current()->mutex, &mutex);
  });
}

TEST_F(HostLogger, ThatWasNeverInitialisedIsUsableAllTheSame) {
  const auto lines = log_of([] {
    vek_logger_ctx_t host{};
    host.level = VEK_LOG_LEVEL_UNSET;
    host.stream = stdout;  // differs from the state in which a process starts
    EXPECT_TRUE(_vek_register_logger(&host));
    logger::state.stream = nullptr;
    setenv("VEK_API_LOG_LEVEL", "7", 1);
    VEK_LOGI("first");
    VEK_LOGI("second");
    EXPECT_EQ(vek_log_level, 7u);
  });
  EXPECT_THAT(
      lines,
      ElementsAre(
          "[debug] [logger] [vek_init_stderr_logger] registered logger cannot initialize logger",
          "[info] first", "[info] second"));
}

TEST(LoggerContext, NullCanBeDestroyed) { vek_destroy_logger_ctx(nullptr); }

}  // namespace
}  // namespace vek::test
