// CacheContext: a decoder context that keeps a collection as the events it arrived in, for
// receivers that pass streams on, compare them or look into them later.
//
// One collection becomes one CachedEvent: its events in order, and an index text made of the values
// of chosen keys. The send function gets it when the outermost container closes, and may keep it.
// Events and their items come from a pool and go back to it, so that a stream of like collections
// takes no memory once it has seen the first ones.
//
//   std::set<std::string> keys{"host"};
//   std::function<bool(CacheContext::CachedEvent*)> send = [](CacheContext::CachedEvent* event) {
//     kept.emplace_back(event);  // a std::unique_ptr<CachedEvent, CachedEvent::Deleter>
//     return true;
//   };
//   std::function<void()> start;
//   CacheContext context(keys, send, start);
//   DataDictionaryReader reader(app_id, &context);
//
// Everything is used on the thread that reads pages, the release of kept events included. The
// context owns the pool: kept events are released before it is destroyed.
#ifndef VEK_DICT_READER_CACHE_CONTEXT_H
#define VEK_DICT_READER_CACHE_CONTEXT_H

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "dict_reader/dict_event.h"
#include "dict_reader/dict_reader.h"
#include "dict_reader/dict_reader_utils.h"
#include "utils/export.h"

class VEK_API CacheContext final : public DataDictionaryReader::DecoderContextInterface {
 public:
  class EventPool;

  // One stream event.
  struct VEK_API EventItem {
    // Holds a copy of the data; null data is good for size 0. Throws std::bad_alloc.
    EventItem(python_event_type_t event_type, uint32_t event_key_id, uint32_t size,
              const void* event_data);
    // The buffer is kept where it is large enough. Throws std::bad_alloc with nothing changed.
    void updateData(uint32_t size, const void* event_data);
    void log() const;

    python_event_type_t type;
    uint32_t key_id;  // 0 in beginnings of collections and in ends
    uint32_t data_size = 0;
    uint32_t capacity = 0;  // of `data`
    std::unique_ptr<uint8_t[]> data;
    // Of values whose key id is known, otherwise null; as it was when the event arrived.
    const std::string* name = nullptr;
  };

  // One collection.
  struct VEK_API CachedEvent {
    struct VEK_API Deleter {
      // Back to the pool it came from. Accepts null.
      void operator()(CachedEvent* event) const noexcept;
    };

    CachedEvent(EventPool& from, uint64_t event_timestamp)
        : timestamp(event_timestamp), pool(from) {}
    void log() const;

    uint64_t timestamp;             // of the collection, microseconds since the Unix epoch
    std::string index;              // values of the index keys, joined by "_"; empty when none came
    std::vector<EventItem*> items;  // in the order of arrival; owned by the pool
    EventPool& pool;
  };

  // Owns all events and items that it has handed out or keeps free.
  class VEK_API EventPool {
   public:
    EventPool();
    ~EventPool();
    EventPool(const EventPool&) = delete;
    EventPool& operator=(const EventPool&) = delete;

    // Both throw std::bad_alloc, with nothing changed but what is free.
    CachedEvent* getNewEvent(uint64_t timestamp);
    EventItem* getNewEventItem(python_event_type_t type, uint32_t key_id, uint32_t size,
                               const void* data);
    // They accept null. An event takes its items along.
    void deleteEvent(CachedEvent* event) noexcept;
    void deleteEventItem(EventItem* item) noexcept;

    // The names that items bear which were handed out, and null.
    std::unordered_set<const std::string*> namesInUse() const;

   private:
    class Shelf;

    std::vector<std::unique_ptr<CachedEvent>> events_;
    std::vector<CachedEvent*> free_events_;
    std::vector<std::unique_ptr<EventItem>> items_;
    std::unordered_map<uint64_t, Shelf> shelves_;  // free items by event type and key id
  };

  // All three are copied; either function may be empty. `send` gets each finished collection: true
  // = taken over, to be released with CachedEvent::Deleter; false = it goes back to the pool.
  // `start` is called when the first collection begins.
  CacheContext(const std::set<std::string>& index_keys, std::function<bool(CachedEvent*)>& send,
               std::function<void()>& start);
  ~CacheContext() override;
  CacheContext(const CacheContext&) = delete;
  CacheContext& operator=(const CacheContext&) = delete;

  // Handlers throw std::bad_alloc and what the functions throw.
  bool OnID(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnString(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnDouble(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnLong(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnBoolFalse(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnBoolTrue(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnNone(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnNewDict(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnEndDict(const void* data, uint32_t size) override;
  bool OnNewList(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnEndList(const void* data, uint32_t size) override;
  bool OnNewCollection(const void* data, uint32_t size) override;
  bool wasStarted() const override { return started_; }

 private:
  enum class RootKind : uint8_t { kNone, kDict, kList };

  EventItem* append(python_event_type_t type, uint32_t key_id, const void* data, uint32_t size);
  bool addValue(const char* handler, python_event_type_t type, uint32_t key_id, const void* data,
                uint32_t size);
  bool openContainer(const char* handler, python_event_type_t type, uint32_t key_id,
                     const void* data, uint32_t size);
  bool closeContainer(const char* handler, python_event_type_t type, const void* data,
                      uint32_t size);
  const std::string* findName(const char* handler, uint32_t key_id) const;
  void addIndexValue(python_event_type_t type, const void* data, uint32_t size);
  void joinIndexValues();
  bool sendData();
  void dropEvent() noexcept;
  void keepReplacedName(std::unique_ptr<std::string> name);

  dict_reader_utils::IdToKeyMap id_to_key_;
  EventPool pool_;
  CachedEvent* event_ = nullptr;  // null: no collection is open
  uint32_t depth_ = 0;            // open containers
  RootKind root_kind_ = RootKind::kNone;
  bool started_ = false;
  std::function<bool(CachedEvent*)> send_;
  std::function<void()> start_;
  std::set<std::string> index_keys_;
  // The first index_count_ are of the current event; those behind them keep their memory.
  std::vector<std::string> index_values_;
  size_t index_count_ = 0;
  // Names that were replaced; those that no event bears any more are dropped now and then.
  std::vector<std::unique_ptr<std::string>> replaced_names_;
  size_t replaced_names_limit_ = 0;
};

#endif  // VEK_DICT_READER_CACHE_CONTEXT_H
