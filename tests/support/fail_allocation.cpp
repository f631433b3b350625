#include "tests/support/fail_allocation.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEK_OWN_ALLOCATOR 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define VEK_OWN_ALLOCATOR 0
#endif
#endif
#ifndef VEK_OWN_ALLOCATOR
#define VEK_OWN_ALLOCATOR 1
#endif

namespace vek::test {
namespace {

std::atomic<unsigned> g_countdown{0};  // 0: nothing fails
std::atomic<bool> g_failed{false};
thread_local bool g_works = false;

}  // namespace

#if VEK_OWN_ALLOCATOR
namespace {

bool fails_now() noexcept {
  if (g_works || g_countdown.load(std::memory_order_relaxed) == 0) return false;
  if (g_countdown.fetch_sub(1) != 1) return false;
  g_failed = true;
  errno = ENOMEM;
  return true;
}

}  // namespace
#endif

bool FailAllocation::available() { return VEK_OWN_ALLOCATOR != 0; }

FailAllocation::FailAllocation(unsigned n) {
  g_failed = false;
  g_countdown = n;
}

AllocationsWork::AllocationsWork() : previous_(g_works) { g_works = true; }

AllocationsWork::~AllocationsWork() { g_works = previous_; }

bool FailAllocation::disarm() {
  if (armed_) {
    g_countdown = 0;
    failed_ = g_failed;
    armed_ = false;
  }
  return failed_;
}

}  // namespace vek::test

#if VEK_OWN_ALLOCATOR
extern "C" {

// The C library's allocator under the names that stay its own.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size) noexcept {
  return vek::test::fails_now() ? nullptr : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) noexcept {
  return vek::test::fails_now() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) noexcept {
  return vek::test::fails_now() ? nullptr : __libc_realloc(block, size);
}

}  // extern "C"
#endif
