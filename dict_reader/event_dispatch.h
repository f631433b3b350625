// What a stream event is for a context: which of its handlers is called.
#ifndef VEK_DICT_READER_EVENT_DISPATCH_H
#define VEK_DICT_READER_EVENT_DISPATCH_H

#include <cstdint>

#include "dict_reader/dict_event.h"
#include "utils/logger.h"

namespace dict_reader_utils {

// `Context` is DecoderContextInterface, or a final class of it, whose handlers are then called
// directly.
template <typename Context>
bool dispatchStarted(Context& context, python_event_type_t type, uint32_t key_id, const void* data,
                     uint32_t size) {
  switch (type) {
    case PYTHON_ID:
      return context.OnID(key_id, data, size);
    case PYTHON_STRING:
      return context.OnString(key_id, data, size);
    case PYTHON_DOUBLE:
      return context.OnDouble(key_id, data, size);
    case PYTHON_LONG:
      return context.OnLong(key_id, data, size);
    case PYTHON_DICT_START:
      return context.OnNewDict(key_id, data, size);
    case PYTHON_DICT_END:
      return context.OnEndDict(data, size);
    case PYTHON_LIST_START:
      return context.OnNewList(key_id, data, size);
    case PYTHON_LIST_END:
      return context.OnEndList(data, size);
    case PYTHON_BOOL_FALSE:
      return context.OnBoolFalse(key_id, data, size);
    case PYTHON_BOOL_TRUE:
      return context.OnBoolTrue(key_id, data, size);
    case PYTHON_NEW_COLLECTION:
      return context.OnNewCollection(data, size);
    case PYTHON_NONE:
      return context.OnNone(key_id, data, size);
  }
  VEK_LOGE("[vek_dictionary_reader] got an event of unknown type %u", static_cast<uint32_t>(type));
  return false;
}

// `word` is the opaque event's second.
template <typename Context>
bool dispatchStreamEvent(Context& context, uint64_t word, const void* data, uint32_t size) {
  const python_event_type_t type = vek::typeOfDictEventWord(word);
  if (!context.wasStarted() && type != PYTHON_NEW_COLLECTION) {
    VEK_LOGW("[vek_dictionary_reader] ignoring an event - waiting to a 'start collection' event");
    return true;
  }
  return dispatchStarted(context, type, vek::keyIdOfDictEventWord(word), data, size);
}

}  // namespace dict_reader_utils

#endif  // VEK_DICT_READER_EVENT_DISPATCH_H
