// Level, sink and the writing of one line. Sinks are set up in logger_sinks.cpp.
#include "utils/logger.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdlib>

#include "utils/logger_state.h"

uint32_t vek_log_level = VEK_LOG_LEVEL_UNSET;
bool is_registered = false;

namespace vek::logger {

State state;

namespace {

// The level asked for by the environment. Nothing but emergencies where nothing valid is asked for.
uint32_t level_from_environment() noexcept {
  const char* text = std::getenv("VEK_API_LOG_LEVEL");
  if (!text) text = std::getenv("API_LOG_LEVEL");
  int level = 0;
  // NOLINTNEXTLINE(bugprone-unchecked-string-to-number-conversion): trailing text is accepted
  if (!text || std::sscanf(text, "%d", &level) != 1) return 0;
  // -1 is the mark of a logger that is not initialised: with it, every message would start over.
  // As every negative number it asks for all there is.
  const auto wanted = static_cast<uint32_t>(level);
  return wanted == VEK_LOG_LEVEL_UNSET ? wanted - 1 : wanted;
}

// Holds the mutex that was current when the line began.
class LineLock {
 public:
  explicit LineLock(pthread_mutex_t* mutex) : mutex_(mutex) {
    if (mutex_) pthread_mutex_lock(mutex_);
  }
  ~LineLock() {
    if (mutex_) pthread_mutex_unlock(mutex_);
  }
  LineLock(const LineLock&) = delete;
  LineLock& operator=(const LineLock&) = delete;

 private:
  pthread_mutex_t* mutex_;
};

// A sink to write to. An adopted logger may come without a stream, and refuses initialisation.
void ensure_stream() noexcept {
  if (state.stream) return;
  if (is_registered) {
    state.stream = stderr;
  } else {
    vek_init_stderr_logger(vek_log_level);
  }
}

}  // namespace

std::size_t format_timestamp(const timespec& time, char* out, std::size_t size) noexcept {
  time_t seconds = time.tv_sec;
  long milliseconds = time.tv_nsec / 1'000'000;
  if (milliseconds >= 1000) {
    milliseconds -= 1000;
    ++seconds;
  }
  tm local{};
  localtime_r(&seconds, &local);
  char date[32];
  if (std::strftime(date, sizeof date, "[%Y-%m-%d %H:%M:%S", &local) == 0) return 0;
  const int length = std::snprintf(out, size, "%s.%03d] ", date, static_cast<int>(milliseconds));
  return length < 0 || static_cast<std::size_t>(length) >= size ? 0
                                                                : static_cast<std::size_t>(length);
}

}  // namespace vek::logger

using vek::logger::state;

void _vek_log(int priority, const char* format, ...) {
  va_list args;
  va_start(args, format);
  if (state.type == VEK_LOGGER_SYSLOG) {
    vsyslog(priority, format, args);
  } else {
    vek::logger::ensure_stream();
    std::FILE* stream = state.stream;
    const vek::logger::LineLock lock(state.mutex);
    vek_dump_timestamp_logger(stream);
    (void)std::fputs(vek_priority_level_string_logger(priority), stream);
    (void)std::vfprintf(stream, format, args);
    (void)std::fputc('\n', stream);
    (void)std::fflush(stream);
  }
  va_end(args);
}

void vek_dump_timestamp_logger(FILE* stream) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  char text[64];
  if (vek::logger::format_timestamp(now, text, sizeof text) > 0) (void)std::fputs(text, stream);
}

const char* vek_priority_level_string_logger(int priority) {
  switch (priority) {
    case VEK_LOG_ERROR:
      return "[error] ";
    case VEK_LOG_WARNING:
      return "[warning] ";
    case VEK_LOG_INFO:
      return "[info] ";
    case VEK_LOG_DEBUG:
      return "[debug] ";
    default:
      return "";
  }
}

uint32_t vek_set_log_level(uint32_t level) {
  const uint32_t previous = vek_log_level;
  vek_log_level = level;
  return previous;
}

void vek_set_log_func(vek_log_func_t function, uint32_t level) {
  state.function = function;
  state.type = VEK_LOGGER_FUNCTION;
  vek_log_level = level;
}

vek_log_func_t vek_get_log_func(void) {
  // A function that another sink has replaced is not called any more.
  return state.type == VEK_LOGGER_FUNCTION ? state.function : nullptr;
}

void __vek_init_logger_default(void) {
  const uint32_t level = vek::logger::level_from_environment();
  // An adopted logger whose host had not been initialised refuses the sink below; without a level
  // of its own, each message that says so would come back here.
  if (is_registered) vek_log_level = level;
  vek_init_stderr_logger(level);
}
