#include "tests/support/guarded_bytes.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace vek::test {

GuardedBytes::GuardedBytes(std::span<const uint8_t> bytes) : size_(bytes.size()) {
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t readable = (size_ + page - 1) / page * page;
  mapping_size_ = readable + page;
  void* mapping =
      mmap(nullptr, mapping_size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED) throw std::runtime_error("mmap failed");
  mapping_ = static_cast<uint8_t*>(mapping);
  if (mprotect(mapping_ + readable, page, PROT_NONE) != 0) {
    throw std::runtime_error("mprotect failed");
  }
  data_ = mapping_ + readable - size_;
  if (size_ != 0) std::memcpy(data_, bytes.data(), size_);
}

GuardedBytes::~GuardedBytes() { munmap(mapping_, mapping_size_); }

}  // namespace vek::test
