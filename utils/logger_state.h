// What the parts of the logger share; nothing else includes this.
#ifndef VEK_UTILS_LOGGER_STATE_H
#define VEK_UTILS_LOGGER_STATE_H

#include <cstddef>
#include <cstdio>
#include <ctime>

#include "utils/logger.h"

namespace vek::logger {

struct State {
  uint32_t type = VEK_LOGGER_STDERR;  // as a host hands it over: any number
  std::FILE* stream = nullptr;        // types 0 and 2
  vek_log_func_t function = nullptr;  // type 3
  pthread_mutex_t* mutex = nullptr;   // null: no thread safety, or not set up yet
  std::FILE* opened_file = nullptr;   // the file that this module opened and has to close
};

extern State state;

// Reads LOG_THREAD_SAFE and gives the state a mutex or takes it away. The level has to be set
// before, since this logs what it found.
void set_up_mutex() noexcept;

// "[2026-01-31 12:00:00.123] " in local time; milliseconds that reach 1000 carry into the seconds.
// Returns the length, 0 when the text does not fit.
std::size_t format_timestamp(const timespec& time, char* out, std::size_t size) noexcept;

}  // namespace vek::logger

#endif  // VEK_UTILS_LOGGER_STATE_H
