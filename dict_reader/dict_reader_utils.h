// What decoder contexts share: the table of key names and texts of event data.
#ifndef VEK_DICT_READER_DICT_READER_UTILS_H
#define VEK_DICT_READER_DICT_READER_UTILS_H

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "utils/export.h"

namespace dict_reader_utils {

// Names by key id. Each name has a place of its own in memory, so that values can borrow it.
using IdToKeyMap = std::unordered_map<uint32_t, std::unique_ptr<std::string>>;

// Stores the `size` bytes of `data` as the name of `key_id`. Nothing changes when the name that is
// there agrees with those bytes as strncmp() over `size` bytes sees it: a longer name that begins
// with them counts as equal. Throws std::bad_alloc with the map unchanged.
//
// Returns the name that was replaced, null when there was none: whoever still refers to it decides
// how long it lives.
VEK_API std::unique_ptr<std::string> upsertIdToKey(IdToKeyMap& map, uint32_t key_id,
                                                   const void* data, uint32_t size);

// False, with an error, for a new id beyond limits::kKeysOfStream: the event that brings it is
// refused.
bool hasRoomForKey(const IdToKeyMap& map, uint32_t key_id);

// The name of a key id; null when there is none, after a message unless the id is kNoKeyId.
// Borrowed.
const std::string* findKey(const IdToKeyMap& map, uint32_t key_id);

// Exactly `size` bytes, NULs included; empty for null data.
VEK_API std::string bufferToString(const void* data, uint32_t size);

}  // namespace dict_reader_utils

#endif  // VEK_DICT_READER_DICT_READER_UTILS_H
