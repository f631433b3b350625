#include "dict_reader/data_object_pool.h"

#include <cstdlib>
#include <new>
#include <utility>

// In front of every object: where its memory goes.
struct alignas(alignof(std::max_align_t)) DataObjectPool::Block {
  DataObjectPool* pool;  // null: the heap
  Block* next;           // while it is kept
};

DataObjectPool::~DataObjectPool() {
  while (blocks_) {
    Block* const block = blocks_;
    blocks_ = block->next;
    std::free(block);
  }
}

void* DataObjectPool::take(DataObjectPool* pool, size_t size) noexcept {
  if (size > kLargestObject) pool = nullptr;
  Block* block = pool ? pool->blocks_ : nullptr;
  if (block) {
    pool->blocks_ = block->next;
    --pool->num_blocks_;
  } else {
    block = static_cast<Block*>(std::malloc(sizeof(Block) + (pool ? kLargestObject : size)));
    if (!block) return nullptr;
    block->pool = pool;
  }
  return block + 1;
}

void DataObjectPool::giveBack(void* memory) noexcept {
  if (!memory) return;
  Block* const block = static_cast<Block*>(memory) - 1;
  DataObjectPool* const pool = block->pool;
  if (!pool || pool->num_blocks_ >= kMostKept) return std::free(block);
  block->next = pool->blocks_;
  pool->blocks_ = block;
  ++pool->num_blocks_;
}

std::string* DataObjectPool::takeText(DataObjectPool* pool, const void* data,
                                      uint32_t size) noexcept try {
  std::unique_ptr<std::string> text;
  if (pool && !pool->texts_.empty()) {
    text = std::move(pool->texts_.back());
    pool->texts_.pop_back();
  } else {
    text = std::make_unique<std::string>();
  }
  if (data) {
    text->assign(static_cast<const char*>(data), size);
  } else {
    text->clear();
  }
  return text.release();
} catch (const std::bad_alloc&) {
  return nullptr;
}

void DataObjectPool::giveBackText(DataObjectPool* pool, const std::string* text) noexcept try {
  std::unique_ptr<std::string> owned(const_cast<std::string*>(text));
  if (!pool || pool->texts_.size() >= kMostKept || text->capacity() > kLongestKept) return;
  pool->texts_.push_back(std::move(owned));
} catch (const std::bad_alloc&) {  // then it is not kept
}
