// FailAllocation: makes one allocation fail, or all from one on, to see what becomes of it.
//
//   for (unsigned n = 1;; ++n) {
//     FailAllocation failing(n);
//     const bool done = operation();
//     if (!failing.disarm()) break;  // the operation needs fewer than n allocations
//     ...what has to hold after a failure...
//   }
#ifndef VEK_TESTS_SUPPORT_FAIL_ALLOCATION_H
#define VEK_TESTS_SUPPORT_FAIL_ALLOCATION_H

namespace vek::test {

class FailAllocation {
 public:
  enum Mode { kOnce, kFromThereOn };

  // False under sanitizers, which bring an allocator of their own.
  static bool available();

  // The n-th allocation from here on fails (the first is 1), of whichever thread; later ones work,
  // or fail too, until disarm().
  explicit FailAllocation(unsigned n, Mode mode = kOnce);
  ~FailAllocation() { disarm(); }
  FailAllocation(const FailAllocation&) = delete;
  FailAllocation& operator=(const FailAllocation&) = delete;

  // From here on all work; true when the one to fail has failed.
  bool disarm();

 private:
  bool failed_ = false;
  bool armed_ = true;
};

// Blocks that were allocated and not released yet, of all threads; 0 where available() is false.
long live_allocations();

// While it lives, no allocation of this thread fails or counts: for the tests' own machinery inside
// the operation, such as the capture of log lines.
class AllocationsWork {
 public:
  AllocationsWork();
  ~AllocationsWork();
  AllocationsWork(const AllocationsWork&) = delete;
  AllocationsWork& operator=(const AllocationsWork&) = delete;
  // Whether one lives on this thread.
  static bool now();

 private:
  bool previous_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_SUPPORT_FAIL_ALLOCATION_H
