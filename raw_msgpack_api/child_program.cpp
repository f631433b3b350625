#include "raw_msgpack_api/child_program.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <thread>

#include "raw_msgpack_api/all_signals_blocked.h"
#include "raw_msgpack_api/sanitizers.h"

// ThreadSanitizer takes every clone for a fork, and its books, which this child shares with the
// host, for those of the child from then on; the C library's other name for it is not watched.
#if VEK_THREAD_SANITIZER
extern "C" int __clone(int (*function)(void*), void* stack, int flags, void* argument, ...);
#define VEK_CLONE __clone
#else
#define VEK_CLONE clone
#endif

namespace vek::engine {
namespace {

constexpr size_t kStackSize = 65'536;
constexpr int kFirstFree = 3;

// What the child needs; made before it is, as it may not allocate.
struct ChildPlan {
  const char* path;
  char* const* arguments;
  int input;
  int output;
  int error;
  int kept;
  pid_t parent;
  int failure;  // errno, written by the child into the memory that it shares
};

// It runs in the host's memory while the thread that made it waits: only system calls, past every
// wrapper that keeps books about the host.
#if defined(__clang__)
#define VEK_UNWATCHED __attribute__((no_sanitize("address", "thread", "undefined")))
#else
#define VEK_UNWATCHED \
  __attribute__((no_sanitize_address, no_sanitize_thread, no_sanitize_undefined))
#endif

VEK_UNWATCHED int fail(ChildPlan* plan) {
  plan->failure = errno;
  syscall(SYS_exit, 127);
  return 127;
}

VEK_UNWATCHED void make_signals_fresh() {
  struct KernelAction {
    unsigned long words[8];  // of zeros: the default handler, no flags, nothing masked
  };
  const KernelAction fresh = {};
  for (int number = 1; number < _NSIG; ++number) {
    syscall(SYS_rt_sigaction, number, &fresh, nullptr, _NSIG / 8);
  }
  const unsigned long none = 0;
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &none, nullptr, _NSIG / 8);
}

// Sources lie above the standard ones, so that none is overwritten before it is used.
VEK_UNWATCHED bool place(int from, int to) {
  return from < 0 || syscall(SYS_dup3, from, to, 0) >= 0;
}

VEK_UNWATCHED int run_child(void* argument) {
  auto* plan = static_cast<ChildPlan*>(argument);
  make_signals_fresh();
  if (syscall(SYS_prctl, PR_SET_PDEATHSIG, SIGTERM, 0, 0, 0) != 0) return fail(plan);
  if (syscall(SYS_getppid) != plan->parent) return fail(plan);
  if (!place(plan->input, STDIN_FILENO) || !place(plan->output, STDOUT_FILENO) ||
      !place(plan->error, STDERR_FILENO) || !place(plan->kept, kFirstFree)) {
    return fail(plan);
  }
  const int first_closed = plan->kept < 0 ? kFirstFree : kFirstFree + 1;
  syscall(SYS_close_range, first_closed, ~0U, 0);  // kernels before 5.9 have close-on-exec only
  syscall(SYS_execve, plan->path, plan->arguments, environ);
  return fail(plan);
}

// A copy above the standard descriptors and the kept one, closed with its owner.
Socket lifted(int fd) { return Socket(fd < 0 ? -1 : fcntl(fd, F_DUPFD_CLOEXEC, kFirstFree + 1)); }

pid_t clone_child(ChildPlan& plan, int& pidfd) {
  void* stack = mmap(nullptr, kStackSize, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
  if (stack == MAP_FAILED) return -1;
  // Handlers of the host must not run in the child, which has its memory.
  const AllSignalsBlocked blocked;
  const pid_t pid = VEK_CLONE(run_child, static_cast<char*>(stack) + kStackSize,
                              CLONE_VM | CLONE_VFORK | CLONE_PIDFD | SIGCHLD, &plan, &pidfd);
  const int error = errno;
  munmap(stack, kStackSize);
  errno = error;
  return pid;
}

}  // namespace

std::optional<ChildProgram> ChildProgram::start(const ProgramStart& start) {
  std::vector<std::string> arguments = {start.path};
  arguments.insert(arguments.end(), start.arguments.begin(), start.arguments.end());
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const Socket nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
  const Socket input = lifted(nothing.fd());
  // A host that runs without a standard output has none to share.
  const bool has_output = start.output >= 0 || fcntl(STDOUT_FILENO, F_GETFD) >= 0;
  const Socket output = lifted(has_output ? start.output : nothing.fd());
  const Socket error = lifted(start.error);
  const Socket kept = lifted(start.kept);
  ChildPlan plan = {start.path.c_str(), pointers.data(), input.fd(), output.fd(),
                    error.fd(),         kept.fd(),       getpid(),   0};
  int pidfd = -1;
  const pid_t pid = clone_child(plan, pidfd);
  if (pid < 0) return std::nullopt;
  ChildProgram child(pid, Socket(pidfd));
  if (plan.failure == 0) return child;
  child.reap();
  errno = plan.failure;
  return std::nullopt;
}

void ChildProgram::signal(int number) const noexcept {
  syscall(SYS_pidfd_send_signal, pidfd_.fd(), number, nullptr, 0);
}

void ChildProgram::reap() {
  siginfo_t info{};
  int result;
  do {
    result = waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(pidfd_.fd()), &info, WEXITED);
  } while (result != 0 && errno == EINTR);
  if (result != 0) {  // a host that waits for any child was faster
    how_ = "it ended";
  } else if (info.si_code == CLD_EXITED) {
    how_ = "it ended with status " + std::to_string(info.si_status);
    ended_well_ = info.si_status == 0;
  } else {
    how_ = "it was ended by signal " + std::to_string(info.si_status);
  }
}

bool ChildProgram::has_ended() const {
  siginfo_t info{};
  const int result = waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(pidfd_.fd()), &info,
                            WEXITED | WNOHANG | WNOWAIT);
  return result == 0 ? info.si_pid != 0 : errno != EINTR;
}

bool ChildProgram::wait_until(Clock::time_point deadline) {
  constexpr std::chrono::milliseconds kLongest{60'000};
  constexpr std::chrono::milliseconds kBetweenLooks{10};
  while (how_.empty()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd request{pidfd_.fd(), POLLIN, 0};
    const auto pause = std::clamp(left, std::chrono::milliseconds(0), kLongest);
    const int ready = poll(&request, 1, static_cast<int>(pause.count()));
    // Where the system cannot wait for it, as without memory, it is looked after now and then.
    if (ready < 0 && errno != EINTR) std::this_thread::sleep_for(std::min(pause, kBetweenLooks));
    if (ready > 0 || (ready < 0 && has_ended())) {
      reap();
    } else if (left.count() <= 0) {
      return false;
    }
  }
  return true;
}

}  // namespace vek::engine
