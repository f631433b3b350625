// Stream events: the small pieces in which a producer sends a dictionary.
//
// Each is the payload of one opaque event. The opaque event's second word carries the key id in its
// low and the event type in its high 32 bits. docs/formats/dictionary_streams.md shows a stream.
#ifndef VEK_DICT_READER_DICT_EVENT_H
#define VEK_DICT_READER_DICT_EVENT_H

#include <stdint.h>

#include "utils/export.h"

VEK_C_BEGIN

typedef enum python_event_type
#ifdef __cplusplus
    : uint32_t
#endif
{ PYTHON_ID = 0,
  PYTHON_STRING = 1,
  PYTHON_DOUBLE = 2,
  PYTHON_LONG = 3,
  PYTHON_DICT_START = 4,
  PYTHON_DICT_END = 5,
  PYTHON_LIST_START = 6,
  PYTHON_LIST_END = 7,
  PYTHON_BOOL_FALSE = 8,
  PYTHON_BOOL_TRUE = 9,
  PYTHON_NEW_COLLECTION = 10,
  PYTHON_NONE = 11 } python_event_type_t;

// The name of the value, "PYTHON_UNKNOWN" for any other.
VEK_API const char* python_event_type_to_string(python_event_type_t type);

VEK_C_END

#ifdef __cplusplus
namespace vek {

// The key id of events without a key; never looked up.
inline constexpr uint32_t kNoKeyId = 0xFFFFFFFFu;

constexpr uint64_t packDictEventWord(python_event_type_t type, uint32_t key_id) {
  return static_cast<uint64_t>(type) << 32 | key_id;
}
constexpr uint32_t keyIdOfDictEventWord(uint64_t word) { return static_cast<uint32_t>(word); }
constexpr python_event_type_t typeOfDictEventWord(uint64_t word) {
  return static_cast<python_event_type_t>(static_cast<uint32_t>(word >> 32));
}

}  // namespace vek
#endif

#endif  // VEK_DICT_READER_DICT_EVENT_H
