// DataObjectPool: memory of values that comes back for the next ones, so that a steady stream of
// like dictionaries asks for none.
//
// For one thread. Objects that came from a pool are deleted before it is, on its thread.
#ifndef VEK_DICT_READER_DATA_OBJECT_POOL_H
#define VEK_DICT_READER_DATA_OBJECT_POOL_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "utils/export.h"

class VEK_API DataObjectPool {
 public:
  // One unusual dictionary must not bind memory for ever: what is kept beyond its use is bounded.
  static constexpr size_t kMostKept = 4096;      // objects, and as many texts
  static constexpr size_t kLongestKept = 4096;   // bytes of one text
  static constexpr size_t kLargestObject = 112;  // larger ones are not kept

  DataObjectPool() = default;
  ~DataObjectPool();
  DataObjectPool(const DataObjectPool&) = delete;
  DataObjectPool& operator=(const DataObjectPool&) = delete;

  // Memory for an object of `size` bytes, aligned as malloc aligns; from the heap alone for a null
  // pool, null when there is none. It goes back where it came from.
  static void* take(DataObjectPool* pool, size_t size) noexcept;
  static void giveBack(void* memory) noexcept;

  // A string of exactly these bytes, likewise; it is given back to the same pool.
  static std::string* takeText(DataObjectPool* pool, const void* data, uint32_t size) noexcept;
  static void giveBackText(DataObjectPool* pool, const std::string* text) noexcept;

 private:
  struct Block;

  Block* blocks_ = nullptr;  // kept
  size_t num_blocks_ = 0;
  std::vector<std::unique_ptr<std::string>> texts_;  // kept
};

#endif  // VEK_DICT_READER_DATA_OBJECT_POOL_H
