#include "tests/hardening/clock_shift.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <ctime>

namespace vek::test {
namespace {

std::atomic<long> g_shift{0};

}  // namespace

void shift_clock(long seconds) { g_shift += seconds; }

}  // namespace vek::test

// Stands in for the C library's.
extern "C" int clock_gettime(clockid_t clock, timespec* out) noexcept {
  const long result = syscall(SYS_clock_gettime, clock, out);
  if (result == 0 && clock == CLOCK_REALTIME) out->tv_sec += vek::test::g_shift;
  return static_cast<int>(result);
}
