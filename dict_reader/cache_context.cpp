#include "dict_reader/cache_context.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

#include "utils/logger.h"

namespace {

constexpr char kEventIsNull[] = "[vek_dictionary_reader] [%s] event_ is NULL";
constexpr uint32_t kNumberSize = 8;

template <typename T>
T number_in(const void* data) {
  static_assert(sizeof(T) == kNumberSize);
  T value{};
  std::memcpy(&value, data, sizeof(value));
  return value;
}

// The word of messages for values that are numbers of eight bytes, null for other values.
const char* number_word(python_event_type_t type) {
  if (type == PYTHON_DOUBLE) return "double";
  return type == PYTHON_LONG ? "long" : nullptr;
}

}  // namespace

CacheContext::CacheContext(const std::set<std::string>& index_keys,
                           std::function<bool(CachedEvent*)>& send, std::function<void()>& start)
    : send_(send), start_(start), index_keys_(index_keys) {}

CacheContext::~CacheContext() = default;

bool CacheContext::OnID(uint32_t key_id, const void* data, uint32_t size) {
  if (!data || size == 0) {
    VEK_LOGE("[vek_dictionary_reader] no data in key ID event for ID %u", key_id);
    return false;
  }
  if (!dict_reader_utils::hasRoomForKey(id_to_key_, key_id)) return false;
  keepReplacedName(dict_reader_utils::upsertIdToKey(id_to_key_, key_id, data, size));
  return true;
}

// Cached events keep the names that they arrived with, however long their receiver keeps them.
void CacheContext::keepReplacedName(std::unique_ptr<std::string> name) {
  constexpr size_t kFewNames = 64;
  if (!name) return;
  replaced_names_.push_back(std::move(name));
  if (replaced_names_.size() < std::max(replaced_names_limit_, kFewNames)) return;
  const auto in_use = pool_.namesInUse();
  std::erase_if(replaced_names_, [&](const auto& old) { return !in_use.contains(old.get()); });
  replaced_names_limit_ = 2 * replaced_names_.size();
}

bool CacheContext::OnNewCollection(const void* data, uint32_t size) {
  if (event_) {
    VEK_LOGE("Error: PYTHON_NEW_COLLECTION when previous event was not sent");
    dropEvent();
  }
  if (size != kNumberSize) {
    VEK_LOGE("[vek_dictionary_reader] 'new collection' invalid size");
    return false;
  }
  event_ = pool_.getNewEvent(number_in<uint64_t>(data));
  append(PYTHON_NEW_COLLECTION, 0, data, size);
  depth_ = 0;
  root_kind_ = RootKind::kNone;
  index_count_ = 0;
  if (!started_ && start_) start_();
  started_ = true;
  return true;
}

bool CacheContext::OnString(uint32_t key_id, const void* data, uint32_t size) {
  return addValue("OnString", PYTHON_STRING, key_id, data, size);
}
bool CacheContext::OnDouble(uint32_t key_id, const void* data, uint32_t size) {
  return addValue("OnDouble", PYTHON_DOUBLE, key_id, data, size);
}
bool CacheContext::OnLong(uint32_t key_id, const void* data, uint32_t size) {
  return addValue("OnLong", PYTHON_LONG, key_id, data, size);
}
bool CacheContext::OnBoolFalse(uint32_t key_id, const void* data, uint32_t size) {
  return addValue("OnBoolFalse", PYTHON_BOOL_FALSE, key_id, data, size);
}
bool CacheContext::OnBoolTrue(uint32_t key_id, const void* data, uint32_t size) {
  return addValue("OnBoolTrue", PYTHON_BOOL_TRUE, key_id, data, size);
}
bool CacheContext::OnNone(uint32_t key_id, const void* data, uint32_t size) {
  return addValue("OnNone", PYTHON_NONE, key_id, data, size);
}
bool CacheContext::OnNewDict(uint32_t key_id, const void* data, uint32_t size) {
  return openContainer("OnNewDict", PYTHON_DICT_START, key_id, data, size);
}
bool CacheContext::OnNewList(uint32_t key_id, const void* data, uint32_t size) {
  return openContainer("OnNewList", PYTHON_LIST_START, key_id, data, size);
}
bool CacheContext::OnEndDict(const void* data, uint32_t size) {
  return closeContainer("OnEndDict", PYTHON_DICT_END, data, size);
}
bool CacheContext::OnEndList(const void* data, uint32_t size) {
  // A root list that was sent may be closed once more.
  if (root_kind_ == RootKind::kList && depth_ == 0) return true;
  return closeContainer("OnEndList", PYTHON_LIST_END, data, size);
}

bool CacheContext::addValue(const char* handler, python_event_type_t type, uint32_t key_id,
                            const void* data, uint32_t size) {
  if (!event_) {
    VEK_LOGE(kEventIsNull, handler);
    return false;
  }
  const char* const number = number_word(type);
  if (number && size < kNumberSize) {
    VEK_LOGE("[vek_dictionary_reader] could not add %s item", number);
    return false;
  }
  EventItem* const item = append(type, key_id, data, size);
  item->name = findName(handler, key_id);
  if (item->name && index_keys_.count(*item->name) != 0) addIndexValue(type, data, size);
  return true;
}

bool CacheContext::openContainer(const char* handler, python_event_type_t type, uint32_t key_id,
                                 const void* data, uint32_t size) {
  if (!event_) {
    VEK_LOGE(kEventIsNull, handler);
    return false;
  }
  append(type, key_id, data, size);
  ++depth_;
  if (root_kind_ == RootKind::kNone) {
    root_kind_ = type == PYTHON_DICT_START ? RootKind::kDict : RootKind::kList;
  }
  return true;
}

// An end without a start takes the depth below zero, where it wraps: such a collection is not sent,
// but dropped by the next one.
bool CacheContext::closeContainer(const char* handler, python_event_type_t type, const void* data,
                                  uint32_t size) {
  if (!event_) {
    VEK_LOGE(kEventIsNull, handler);
    return false;
  }
  append(type, 0, data, size);
  const bool outermost = depth_-- == 1;
  if (outermost && started_ && !sendData()) dropEvent();
  return true;
}

CacheContext::EventItem* CacheContext::append(python_event_type_t type, uint32_t key_id,
                                              const void* data, uint32_t size) {
  EventItem* const item = pool_.getNewEventItem(type, key_id, size, data);
  try {
    event_->items.push_back(item);
  } catch (...) {
    pool_.deleteEventItem(item);
    throw;
  }
  return item;
}

const std::string* CacheContext::findName(const char* handler, uint32_t key_id) const {
  const auto found = key_id == vek::kNoKeyId ? id_to_key_.end() : id_to_key_.find(key_id);
  if (found != id_to_key_.end()) return found->second.get();
  VEK_LOGE("%s: Unable to find field name for key_id %u", handler, key_id);
  return nullptr;
}

void CacheContext::addIndexValue(python_event_type_t type, const void* data, uint32_t size) {
  if (index_count_ == index_values_.size()) index_values_.emplace_back();
  std::string& value = index_values_[index_count_];
  std::array<char, 320> number{};  // the largest double has 309 digits before its point
  switch (type) {
    case PYTHON_STRING:
      value.assign(static_cast<const char*>(data), size);
      break;
    case PYTHON_DOUBLE:
      std::snprintf(number.data(), number.size(), "%f", number_in<double>(data));
      value = number.data();
      break;
    case PYTHON_LONG:
      std::snprintf(number.data(), number.size(), "%" PRId64, number_in<int64_t>(data));
      value = number.data();
      break;
    case PYTHON_BOOL_FALSE:
      value = "false";
      break;
    case PYTHON_BOOL_TRUE:
      value = "true";
      break;
    default:
      value = "null";
      break;
  }
  ++index_count_;
}

void CacheContext::joinIndexValues() {
  if (index_count_ == 0) return;
  event_->index = index_values_[0];
  for (size_t i = 1; i < index_count_; ++i) event_->index.append("_").append(index_values_[i]);
  index_count_ = 0;
}

bool CacheContext::sendData() {
  if (!event_ || !send_) return false;
  joinIndexValues();
  std::unique_ptr<CachedEvent, CachedEvent::Deleter> event(std::exchange(event_, nullptr));
  if (!send_(event.get())) return false;
  static_cast<void>(event.release());  // the receiver's now
  return true;
}

void CacheContext::dropEvent() noexcept { pool_.deleteEvent(std::exchange(event_, nullptr)); }
