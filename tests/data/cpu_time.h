// Time bounds that hold on a busy machine and under sanitizers: processor time, not wall-clock
// time.
#ifndef VEK_TESTS_DATA_CPU_TIME_H
#define VEK_TESTS_DATA_CPU_TIME_H

#include <ctime>

namespace vek::test {

class CpuTime {
 public:
  double seconds() const {
    return static_cast<double>(std::clock() - start_) / static_cast<double>(CLOCKS_PER_SEC);
  }

 private:
  std::clock_t start_ = std::clock();
};

// Work in proportion to the input takes seconds at most; work in proportion to its square, hours.
constexpr double kLinearSeconds = 100;

}  // namespace vek::test

#endif  // VEK_TESTS_DATA_CPU_TIME_H
