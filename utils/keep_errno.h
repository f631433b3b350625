// KeepErrno: leaves errno as it was found. Hosts look at their own errno around calls of ours.
#ifndef VEK_UTILS_KEEP_ERRNO_H
#define VEK_UTILS_KEEP_ERRNO_H

#include <cerrno>

namespace vek {

class KeepErrno {
 public:
  KeepErrno() : value_(errno) {}
  ~KeepErrno() { errno = value_; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  int value_;
};

}  // namespace vek

#endif  // VEK_UTILS_KEEP_ERRNO_H
