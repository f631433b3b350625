// A cached collection and its items.
#include <cinttypes>
#include <cstring>

#include "dict_reader/cache_context.h"
#include "utils/logger.h"

CacheContext::EventItem::EventItem(python_event_type_t event_type, uint32_t event_key_id,
                                   uint32_t size, const void* event_data)
    : type(event_type), key_id(event_key_id) {
  updateData(size, event_data);
}

void CacheContext::EventItem::updateData(uint32_t size, const void* event_data) {
  if (size > capacity) {
    data.reset(new uint8_t[size]);
    capacity = size;
  }
  if (size > 0) std::memcpy(data.get(), event_data, size);
  data_size = size;
}

void CacheContext::EventItem::log() const {
  VEK_LOGD("%s key_id:%u name:%s data_size:%u data:%p", python_event_type_to_string(type), key_id,
           name ? name->c_str() : "(null)", data_size, static_cast<const void*>(data.get()));
}

void CacheContext::CachedEvent::log() const {
  VEK_LOGD("ts:%" PRIu64 " index:%s\nItems:", timestamp, index.c_str());
  for (const EventItem* item : items) item->log();
}

void CacheContext::CachedEvent::Deleter::operator()(CachedEvent* event) const noexcept {
  if (event) event->pool.deleteEvent(event);
}
