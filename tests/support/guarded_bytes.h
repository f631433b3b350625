// GuardedBytes: a copy of bytes that ends exactly where unreadable memory begins, so that a read of
// one byte too many ends the test.
#ifndef VEK_TESTS_SUPPORT_GUARDED_BYTES_H
#define VEK_TESTS_SUPPORT_GUARDED_BYTES_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace vek::test {

class GuardedBytes {
 public:
  explicit GuardedBytes(std::span<const uint8_t> bytes);
  GuardedBytes(const void* data, size_t size)
      : GuardedBytes(std::span(static_cast<const uint8_t*>(data), size)) {}
  ~GuardedBytes();
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  uint8_t* data() { return data_; }
  const uint8_t* data() const { return data_; }
  size_t size() const { return size_; }
  std::span<const uint8_t> bytes() const { return {data_, size_}; }
  template <typename T>
  const T* as() const {
    return reinterpret_cast<const T*>(data_);
  }

 private:
  uint8_t* mapping_ = nullptr;
  size_t mapping_size_ = 0;
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace vek::test

#endif  // VEK_TESTS_SUPPORT_GUARDED_BYTES_H
