// The pool of a cache context. Free places are reserved when an object is made, so that releasing
// takes no memory and cannot fail.
#include <algorithm>

#include "dict_reader/cache_context.h"

namespace {

template <typename T>
void make_room(std::vector<T>& places, size_t needed) {
  if (places.capacity() < needed) places.reserve(std::max(needed, 2 * places.capacity()));
}

}  // namespace

// The free items of one event type and key id, in the order of their release. Like collections ask
// for their items in the order in which they released them, so items mostly leave at the front.
class CacheContext::EventPool::Shelf {
 public:
  // Before an item is made that will lie here. Room for twice as many makes forgetting rare.
  void expect_one_more() {
    make_room(items_, 2 * (made_ + 1));
    ++made_;
  }
  void put(EventItem* item) noexcept {
    if (items_.size() == items_.capacity()) forget_taken();
    items_.push_back(item);
    largest_ = std::max(largest_, item->capacity);
  }
  // The first that is large enough, else the last; null when there is none.
  EventItem* take(uint32_t size) noexcept {
    const auto first = items_.begin() + static_cast<std::ptrdiff_t>(taken_);
    if (first == items_.end()) return nullptr;
    auto found = items_.end();
    if (size <= largest_) {
      found = std::find_if(first, items_.end(),
                           [size](const EventItem* item) { return item->capacity >= size; });
    }
    if (found == items_.end()) {
      if (size <= largest_) largest_ = size - 1;  // as the search has shown
      found = items_.end() - 1;
    }
    EventItem* const item = *found;
    if (found == first) {
      ++taken_;
    } else {
      items_.erase(found);
    }
    if (taken_ == items_.size()) forget_taken();
    return item;
  }

 private:
  void forget_taken() noexcept {
    items_.erase(items_.begin(), items_.begin() + static_cast<std::ptrdiff_t>(taken_));
    taken_ = 0;
  }

  std::vector<EventItem*> items_;  // the first `taken_` have left
  size_t taken_ = 0;
  size_t made_ = 0;
  uint32_t largest_ = 0;  // no item here has a larger capacity
};

CacheContext::EventPool::EventPool() = default;
CacheContext::EventPool::~EventPool() = default;

CacheContext::CachedEvent* CacheContext::EventPool::getNewEvent(uint64_t timestamp) {
  if (free_events_.empty()) {
    make_room(free_events_, events_.size() + 1);
    events_.push_back(std::make_unique<CachedEvent>(*this, timestamp));
    return events_.back().get();
  }
  CachedEvent* const event = free_events_.back();
  free_events_.pop_back();
  event->timestamp = timestamp;
  return event;
}

CacheContext::EventItem* CacheContext::EventPool::getNewEventItem(python_event_type_t type,
                                                                  uint32_t key_id, uint32_t size,
                                                                  const void* data) {
  Shelf& shelf = shelves_[vek::packDictEventWord(type, key_id)];
  EventItem* const item = shelf.take(size);
  if (!item) {
    auto made = std::make_unique<EventItem>(type, key_id, size, data);
    make_room(items_, items_.size() + 1);
    shelf.expect_one_more();
    items_.push_back(std::move(made));
    return items_.back().get();
  }
  try {
    item->updateData(size, data);
  } catch (...) {
    shelf.put(item);
    throw;
  }
  return item;
}

void CacheContext::EventPool::deleteEvent(CachedEvent* event) noexcept {
  if (!event) return;
  for (EventItem* item : event->items) deleteEventItem(item);
  event->items.clear();
  event->index.clear();
  free_events_.push_back(event);
}

void CacheContext::EventPool::deleteEventItem(EventItem* item) noexcept {
  if (!item) return;
  item->name = nullptr;
  const auto shelf = shelves_.find(vek::packDictEventWord(item->type, item->key_id));
  if (shelf != shelves_.end()) shelf->second.put(item);
}

std::unordered_set<const std::string*> CacheContext::EventPool::namesInUse() const {
  std::unordered_set<const std::string*> names;
  for (const auto& item : items_) names.insert(item->name);
  return names;
}
