#include "tests/support/fail_allocation.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

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
std::atomic<bool> g_fails_all{false};  // from the first failure on
std::atomic<long> g_live{0};
thread_local bool g_works = false;

}  // namespace

#if VEK_OWN_ALLOCATOR
namespace {

bool fails_now() noexcept {
  if (g_works || g_countdown.load(std::memory_order_relaxed) == 0) return false;
  if (g_countdown.fetch_sub(1) != 1) return false;
  if (g_fails_all) g_countdown = 1;
  g_failed = true;
  errno = ENOMEM;
  return true;
}

void* counted(void* block) noexcept {
  if (block) g_live.fetch_add(1, std::memory_order_relaxed);
  return block;
}

}  // namespace
#endif

bool FailAllocation::available() { return VEK_OWN_ALLOCATOR != 0; }

long live_allocations() { return g_live; }

FailAllocation::FailAllocation(unsigned n, Mode mode) {
  g_failed = false;
  g_fails_all = mode == kFromThereOn;
  g_countdown = n;
}

AllocationsWork::AllocationsWork() : previous_(g_works) { g_works = true; }

AllocationsWork::~AllocationsWork() { g_works = previous_; }

bool AllocationsWork::now() { return g_works; }

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
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);

void* malloc(size_t size) noexcept {
  return vek::test::fails_now() ? nullptr : vek::test::counted(__libc_malloc(size));
}

void* calloc(size_t count, size_t size) noexcept {
  return vek::test::fails_now() ? nullptr : vek::test::counted(__libc_calloc(count, size));
}

void* realloc(void* block, size_t size) noexcept {
  if (!block) return malloc(size);
  if (size == 0) {
    free(block);
    return nullptr;
  }
  return vek::test::fails_now() ? nullptr : __libc_realloc(block, size);
}

void* memalign(size_t alignment, size_t size) noexcept {
  return vek::test::fails_now() ? nullptr : vek::test::counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(size_t alignment, size_t size) noexcept { return memalign(alignment, size); }

int posix_memalign(void** out, size_t alignment, size_t size) noexcept {
  void* const block = memalign(alignment, size);
  if (!block) return ENOMEM;
  *out = block;
  return 0;
}

void free(void* block) noexcept {
  if (block) vek::test::g_live.fetch_sub(1, std::memory_order_relaxed);
  __libc_free(block);
}

}  // extern "C"
#endif
