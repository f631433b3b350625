// FailCall: makes a system call of this program fail, as its manual says that it may.
//
// The calls stand in for the C library's where the product calls them; what the C library does
// itself (its streams, its allocator) goes on.
#ifndef VEK_TESTS_HARDENING_FAILING_CALLS_H
#define VEK_TESTS_HARDENING_FAILING_CALLS_H

#include <array>
#include <cstddef>
#include <span>

namespace vek::test {

enum class Call {
  kOpen,
  kOpenat,
  kRead,
  kPread,
  kWrite,
  kPwrite,
  kFsync,
  kFtruncate,
  kRenameat,
  kUnlinkat,
  kMkdir,
  kFstat,
  kSocket,
  kConnect,
  kSend,
  kRecv,
  kPoll,
  kThread,
  kCount
};

inline constexpr int kShortCount = -1;  // not an error number: half of what was asked for is done

struct CallErrors {
  Call call;
  const char* name;
  std::span<const int> errors;
};
// What each call's manual lists, with short counts where there are any.
std::span<const CallErrors> call_errors();

class FailCall {
 public:
  // The n-th of these calls from here on fails (the first is 1); later ones too, if
  // `and_all_later`.
  FailCall(Call call, int error, unsigned n, bool and_all_later);
  ~FailCall();
  FailCall(const FailCall&) = delete;
  FailCall& operator=(const FailCall&) = delete;
  // Whether it came to that.
  bool failed() const;
};

// Calls of each kind since the last time this was asked.
std::array<unsigned, static_cast<size_t>(Call::kCount)> calls_made();

}  // namespace vek::test

#endif  // VEK_TESTS_HARDENING_FAILING_CALLS_H
