// threads_come_down_to: whether this process has no more threads than it had.
#ifndef VEK_TESTS_SUPPORT_PROCESS_THREADS_H
#define VEK_TESTS_SUPPORT_PROCESS_THREADS_H

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <thread>

namespace vek::test {

// The system lists a thread for a moment after it was joined; a second is more than that.
inline bool threads_come_down_to(size_t count) {
  for (int i = 0; i < 1000; ++i) {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    if (static_cast<size_t>(std::distance(begin(threads), end(threads))) <= count) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

}  // namespace vek::test

#endif  // VEK_TESTS_SUPPORT_PROCESS_THREADS_H
