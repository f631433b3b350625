// Counts memory: by the sanitizers' hooks where those bring an allocator of their own, otherwise by
// standing in for the C library's.
#include <malloc.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "fuzz/support.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEK_OWN_ALLOCATOR 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VEK_OWN_ALLOCATOR 0
#endif
#endif
#ifndef VEK_OWN_ALLOCATOR
#define VEK_OWN_ALLOCATOR 1
#endif

#if !VEK_OWN_ALLOCATOR
// As in sanitizer/allocator_interface.h, which g++ comes without.
extern "C" {
size_t __sanitizer_get_allocated_size(const volatile void* block);
int __sanitizer_install_malloc_and_free_hooks(void (*on_malloc)(const volatile void*, size_t),
                                              void (*on_free)(const volatile void*));
}
#endif

namespace {

constexpr int64_t kMostMicroseconds = VEK_OWN_ALLOCATOR ? 100'000 : 1'000'000;

// Of the thread that has a budget.
thread_local bool counts = false;
thread_local int64_t current = 0;
thread_local int64_t peak = 0;
// Of the thread whose allocations fail.
[[maybe_unused]] thread_local unsigned countdown = 0;  // 0: none does
thread_local bool fails_all = false;
thread_local bool failed = false;

void took(size_t size) {
  if (!counts) return;
  current += static_cast<int64_t>(size);
  if (current > peak) peak = current;
}

// Blocks from before the budget are released in it too; those never make room for more than it has.
void gave(size_t size) {
  if (counts) current -= static_cast<int64_t>(size);
}

[[maybe_unused]] bool fails_now() {
  if (countdown == 0 || --countdown > 0) return false;
  if (fails_all) countdown = 1;
  failed = true;
  errno = ENOMEM;
  return true;
}

int64_t cpu_us() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return now.tv_sec * 1'000'000 + now.tv_nsec / 1000;
}

#if !VEK_OWN_ALLOCATOR
void on_malloc(const volatile void* block, size_t size) {
  if (block) took(size);
}
void on_free(const volatile void* block) {
  if (block) gave(__sanitizer_get_allocated_size(block));
}
[[maybe_unused]] const int hooked = __sanitizer_install_malloc_and_free_hooks(on_malloc, on_free);
#endif

}  // namespace

namespace vek::fuzz {

Budget::Budget(size_t input_size, size_t factor)
    : allowed_(input_size * factor + kMemory), began_us_(cpu_us()) {
  current = peak = 0;
  counts = true;
}

Budget::~Budget() {
  counts = false;
  const int64_t spent_us = cpu_us() - began_us_;
  if (peak <= static_cast<int64_t>(allowed_) && spent_us <= kMostMicroseconds) return;
  std::fprintf(stderr, "took %lld bytes where %zu are allowed, and %lld us of %lld\n",
               static_cast<long long>(peak), allowed_, static_cast<long long>(spent_us),
               static_cast<long long>(kMostMicroseconds));
  std::abort();
}

const bool allocations_can_fail = VEK_OWN_ALLOCATOR;

FailAllocation::FailAllocation(unsigned n, bool and_all_behind) {
  countdown = n;
  fails_all = and_all_behind;
  failed = false;
}

FailAllocation::~FailAllocation() { countdown = 0; }

bool FailAllocation::has_failed() { return failed; }

OffTheBooks::OffTheBooks() : before_(counts) { counts = false; }
OffTheBooks::~OffTheBooks() { counts = before_; }

}  // namespace vek::fuzz

#if VEK_OWN_ALLOCATOR
extern "C" {

// The C library's allocator under the names that stay its own.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);

void* malloc(size_t size) noexcept {
  if (fails_now()) return nullptr;
  void* block = __libc_malloc(size);
  if (block) took(malloc_usable_size(block));
  return block;
}

void* calloc(size_t count, size_t size) noexcept {
  if (fails_now()) return nullptr;
  void* block = __libc_calloc(count, size);
  if (block) took(malloc_usable_size(block));
  return block;
}

void* realloc(void* block, size_t size) noexcept {
  const size_t before = block ? malloc_usable_size(block) : 0;
  if (fails_now()) return nullptr;
  void* moved = __libc_realloc(block, size);
  if (!moved) return moved;
  gave(before);
  took(malloc_usable_size(moved));
  return moved;
}

void free(void* block) noexcept {
  if (block) gave(malloc_usable_size(block));
  __libc_free(block);
}

}  // extern "C"
#endif
