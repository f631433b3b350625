#include "tools/bench/allocation_count.h"

#include <atomic>
#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEK_COUNT_ALLOCATIONS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VEK_COUNT_ALLOCATIONS 0
#endif
#endif
#ifndef VEK_COUNT_ALLOCATIONS
#define VEK_COUNT_ALLOCATIONS 1
#endif

namespace {

std::atomic<uint64_t> g_count{0};

}  // namespace

uint64_t vek::tools::allocation_count() noexcept { return g_count.load(std::memory_order_relaxed); }

#if VEK_COUNT_ALLOCATIONS

namespace {

// Not an atomic addition: that would cost as much as the allocation. Benchmarks allocate on one
// thread.
void count() noexcept {
  g_count.store(g_count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

}  // namespace

extern "C" {

// The C library's own, under the names that it keeps for programs with a malloc in front of it.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);

void* malloc(size_t size) {
  count();
  return __libc_malloc(size);
}

void* calloc(size_t items, size_t size) {
  count();
  return __libc_calloc(items, size);
}

void* realloc(void* memory, size_t size) {
  count();
  return __libc_realloc(memory, size);
}

}  // extern "C"

#endif  // VEK_COUNT_ALLOCATIONS
