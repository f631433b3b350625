// A cache context whose events are noted down.
#ifndef VEK_TESTS_DICT_READER_CACHE_CONTEXT_FIXTURE_H
#define VEK_TESTS_DICT_READER_CACHE_CONTEXT_FIXTURE_H

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dict_reader/cache_context.h"
#include "tests/support/log_capture.h"

namespace vek::test {

using CachedEvent = CacheContext::CachedEvent;
using EventItem = CacheContext::EventItem;
using KeptEvent = std::unique_ptr<CachedEvent, CachedEvent::Deleter>;
using Texts = std::vector<std::string>;

// "<type> <key id> <name> <data size>"
inline std::string text_of(const EventItem& item) {
  return std::string(python_event_type_to_string(item.type)).substr(7) + " " +
         std::to_string(item.key_id) + " " + (item.name ? *item.name : "-") + " " +
         std::to_string(item.data_size);
}

inline Texts texts_of(const CachedEvent& event) {
  Texts texts;
  for (const EventItem* item : event.items) texts.push_back(text_of(*item));
  return texts;
}

class CacheContextTest : public testing::Test {
 protected:
  // Events are noted down; kept ones stay with the test.
  bool receive(CachedEvent* event) {
    ++sent_;
    timestamp_ = event->timestamp;
    index_ = event->index;
    items_ = texts_of(*event);
    address_ = event;
    if (!answer_) return false;
    if (keep_) {
      kept_.emplace_back(event);
    } else {
      CachedEvent::Deleter()(event);
    }
    return true;
  }

  bool id(uint32_t key_id, const std::string& name) {
    return context_.OnID(key_id, name.data(), static_cast<uint32_t>(name.size()));
  }
  bool begin(uint64_t timestamp = 7) { return context_.OnNewCollection(&timestamp, 8); }
  bool string(uint32_t key_id, const std::string& value) {
    return context_.OnString(key_id, value.data(), static_cast<uint32_t>(value.size()));
  }
  bool real(uint32_t key_id, double value) { return context_.OnDouble(key_id, &value, 8); }
  bool whole(uint32_t key_id, int64_t value) { return context_.OnLong(key_id, &value, 8); }
  bool dict(uint32_t key_id = kNoKeyId) { return context_.OnNewDict(key_id, nullptr, 0); }
  bool list(uint32_t key_id = kNoKeyId) { return context_.OnNewList(key_id, nullptr, 0); }
  bool end_dict() { return context_.OnEndDict(nullptr, 0); }
  bool end_list() { return context_.OnEndList(nullptr, 0); }
  // The keys of the index are 1 ("one") and 2 ("two"); 3 ("three") is not among them.
  void announce() { ASSERT_TRUE(id(1, "one") && id(2, "two") && id(3, "three")); }
  Texts errors() {
    Texts texts = log_.errors();
    log_.clear();
    return texts;
  }

  LogCapture log_;
  unsigned sent_ = 0;
  unsigned started_ = 0;
  bool answer_ = true;
  bool keep_ = false;
  uint64_t timestamp_ = 0;
  std::string index_;
  Texts items_;
  const CachedEvent* address_ = nullptr;
  std::set<std::string> index_keys_{"one", "two"};
  std::function<bool(CachedEvent*)> send_ = [this](CachedEvent* event) { return receive(event); };
  std::function<void()> start_ = [this] { ++started_; };
  CacheContext context_{index_keys_, send_, start_};
  std::vector<KeptEvent> kept_;  // goes before the context
};

}  // namespace vek::test

#endif  // VEK_TESTS_DICT_READER_CACHE_CONTEXT_FIXTURE_H
