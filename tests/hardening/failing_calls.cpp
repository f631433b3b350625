#include "tests/hardening/failing_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>

#include "tests/support/fail_allocation.h"

namespace vek::test {
namespace {

constexpr int kOpenErrors[] = {EACCES, EINTR,  EISDIR, ELOOP, EMFILE, ENFILE, ENOENT,
                               ENOMEM, ENOSPC, ENXIO,  EROFS, EDQUOT, EPERM,  EFBIG};
constexpr int kReadErrors[] = {EINTR, EIO, EAGAIN, EISDIR, EBADF, kShortCount};
constexpr int kWriteErrors[] = {EINTR, EIO, ENOSPC, EDQUOT, EFBIG, EPIPE, EAGAIN, kShortCount};
constexpr int kSyncErrors[] = {EIO, ENOSPC, EDQUOT, EROFS, EINTR};
constexpr int kTruncateErrors[] = {EINTR, EIO, EFBIG, EPERM};
constexpr int kRenameErrors[] = {EACCES, EBUSY, EDQUOT, ENOSPC, EROFS, ENOENT, ENOMEM};
constexpr int kUnlinkErrors[] = {EACCES, EBUSY, EIO, ENOENT, EPERM, EROFS};
constexpr int kMkdirErrors[] = {EACCES, EDQUOT, ENOSPC, ENOENT, EROFS, ENOTDIR};
constexpr int kStatErrors[] = {EIO, ENOMEM, EOVERFLOW};
constexpr int kSocketErrors[] = {EACCES, EAFNOSUPPORT, EMFILE, ENFILE, ENOBUFS, ENOMEM};
constexpr int kConnectErrors[] = {ECONNREFUSED, ENETUNREACH, ETIMEDOUT,    EADDRNOTAVAIL,
                                  EAGAIN,       EINTR,       EHOSTUNREACH, EACCES};
constexpr int kSendErrors[] = {ECONNRESET, EPIPE, ENOBUFS, EAGAIN, EINTR, ENOMEM, kShortCount};
constexpr int kRecvErrors[] = {ECONNREFUSED, ECONNRESET, EAGAIN, EINTR, ENOMEM};
constexpr int kPollErrors[] = {EINTR, ENOMEM};
constexpr int kThreadErrors[] = {EAGAIN, EPERM};

constexpr CallErrors kCalls[] = {
    {Call::kOpen, "open", kOpenErrors},           {Call::kOpenat, "openat", kOpenErrors},
    {Call::kRead, "read", kReadErrors},           {Call::kPread, "pread", kReadErrors},
    {Call::kWrite, "write", kWriteErrors},        {Call::kPwrite, "pwrite", kWriteErrors},
    {Call::kFsync, "fsync", kSyncErrors},         {Call::kFtruncate, "ftruncate", kTruncateErrors},
    {Call::kRenameat, "renameat", kRenameErrors}, {Call::kUnlinkat, "unlinkat", kUnlinkErrors},
    {Call::kMkdir, "mkdir", kMkdirErrors},        {Call::kFstat, "fstat", kStatErrors},
    {Call::kSocket, "socket", kSocketErrors},     {Call::kConnect, "connect", kConnectErrors},
    {Call::kSend, "send, sendmsg", kSendErrors},  {Call::kRecv, "recv", kRecvErrors},
    {Call::kPoll, "poll", kPollErrors},           {Call::kThread, "pthread_create", kThreadErrors}};

std::atomic<int> g_call{-1};
std::atomic<int> g_error{0};
std::atomic<int> g_countdown{0};
std::atomic<bool> g_later{false};
std::atomic<bool> g_failed{false};
std::atomic<unsigned> g_made[static_cast<size_t>(Call::kCount)];

// 0: go on.
int failure_of(Call call) {
  if (AllocationsWork::now()) return 0;  // the test's own machinery
  ++g_made[static_cast<size_t>(call)];
  if (g_call.load() != static_cast<int>(call)) return 0;
  const int left = --g_countdown;
  if (left > 0 || (left < 0 && !g_later)) return 0;
  g_failed = true;
  return g_error;
}

bool fails(Call call) {
  const int error = failure_of(call);
  if (error <= 0) return false;
  errno = error;
  return true;
}

// Less of it, or -1 for an error.
bool limit(Call call, size_t& size) {
  const int error = failure_of(call);
  if (error == kShortCount && size > 1) size /= 2;
  if (error <= 0) return true;
  errno = error;
  return false;
}

}  // namespace

std::span<const CallErrors> call_errors() { return kCalls; }

FailCall::FailCall(Call call, int error, unsigned n, bool and_all_later) {
  g_failed = false;
  g_error = error;
  g_later = and_all_later;
  g_countdown = static_cast<int>(n);
  g_call = static_cast<int>(call);
}
FailCall::~FailCall() { g_call = -1; }
bool FailCall::failed() const { return g_failed; }

std::array<unsigned, static_cast<size_t>(Call::kCount)> calls_made() {
  std::array<unsigned, static_cast<size_t>(Call::kCount)> made{};
  for (size_t i = 0; i < made.size(); ++i) made[i] = g_made[i].exchange(0);
  return made;
}

}  // namespace vek::test

using vek::test::Call;
using vek::test::fails;
using vek::test::limit;

extern "C" {

int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  if (fails(Call::kOpen)) return -1;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

int openat(int folder, const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  if (fails(Call::kOpenat)) return -1;
  return static_cast<int>(syscall(SYS_openat, folder, path, flags, mode));
}

ssize_t read(int fd, void* out, size_t size) {
  return limit(Call::kRead, size) ? syscall(SYS_read, fd, out, size) : -1;
}

ssize_t pread(int fd, void* out, size_t size, off_t offset) {
  return limit(Call::kPread, size) ? syscall(SYS_pread64, fd, out, size, offset) : -1;
}

ssize_t write(int fd, const void* bytes, size_t size) {
  return limit(Call::kWrite, size) ? syscall(SYS_write, fd, bytes, size) : -1;
}

ssize_t pwrite(int fd, const void* bytes, size_t size, off_t offset) {
  return limit(Call::kPwrite, size) ? syscall(SYS_pwrite64, fd, bytes, size, offset) : -1;
}

int fsync(int fd) { return fails(Call::kFsync) ? -1 : static_cast<int>(syscall(SYS_fsync, fd)); }

int ftruncate(int fd, off_t size) noexcept {
  return fails(Call::kFtruncate) ? -1 : static_cast<int>(syscall(SYS_ftruncate, fd, size));
}

int renameat(int from, const char* old_name, int to, const char* new_name) noexcept {
  if (fails(Call::kRenameat)) return -1;
  return static_cast<int>(syscall(SYS_renameat2, from, old_name, to, new_name, 0));
}

int unlinkat(int folder, const char* name, int flags) noexcept {
  return fails(Call::kUnlinkat) ? -1 : static_cast<int>(syscall(SYS_unlinkat, folder, name, flags));
}

int mkdir(const char* path, mode_t mode) noexcept {
  return fails(Call::kMkdir) ? -1 : static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

int fstat(int fd, struct stat* out) noexcept {
  if (fails(Call::kFstat)) return -1;
  return static_cast<int>(syscall(SYS_newfstatat, fd, "", out, AT_EMPTY_PATH));
}

int socket(int domain, int type, int protocol) noexcept {
  return fails(Call::kSocket) ? -1 : static_cast<int>(syscall(SYS_socket, domain, type, protocol));
}

int connect(int fd, const sockaddr* address, socklen_t size) {
  return fails(Call::kConnect) ? -1 : static_cast<int>(syscall(SYS_connect, fd, address, size));
}

ssize_t send(int fd, const void* bytes, size_t size, int flags) {
  if (!limit(Call::kSend, size)) return -1;
  return syscall(SYS_sendto, fd, bytes, size, flags, nullptr, 0);
}

ssize_t sendmsg(int fd, const msghdr* message, int flags) {
  const int error = vek::test::failure_of(Call::kSend);
  if (error > 0) {
    errno = error;
    return -1;
  }
  if (error == vek::test::kShortCount && message->msg_iovlen > 0) {
    const iovec& first = message->msg_iov[0];
    return syscall(SYS_sendto, fd, first.iov_base, (first.iov_len + 1) / 2, flags, nullptr, 0);
  }
  return syscall(SYS_sendmsg, fd, message, flags);
}

ssize_t recv(int fd, void* out, size_t size, int flags) {
  if (fails(Call::kRecv)) return -1;
  return syscall(SYS_recvfrom, fd, out, size, flags, nullptr, nullptr);
}

int poll(pollfd* fds, nfds_t count, int timeout) {
  return fails(Call::kPoll) ? -1 : static_cast<int>(syscall(SYS_poll, fds, count, timeout));
}

int pthread_create(pthread_t* out, const pthread_attr_t* attributes, void* (*run)(void*),
                   void* argument) noexcept {
  const int error = vek::test::failure_of(Call::kThread);
  if (error > 0) return error;
  using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const auto real = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  return real(out, attributes, run, argument);
}

}  // extern "C"
