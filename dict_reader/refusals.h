// What the contexts that put dictionaries together say of events that they refuse.
//
// Operators match these lines, so a stream is refused in the same words whatever becomes of it.
// Each answers false.
#ifndef VEK_DICT_READER_REFUSALS_H
#define VEK_DICT_READER_REFUSALS_H

#include <cstdint>

namespace dict_reader_utils {

bool refuseItem(const char* word);
bool refuseUnknownKey(uint32_t key_id);
bool refuseEmptyKey(uint32_t key_id);
bool refuseKeyBeyondLimit(uint32_t key_id);
bool refuseNullItem();
bool refuseItemWithoutParent();
bool refuseListWithoutKey();
bool refuseDictEnd();
bool refuseListEnd();
bool refuseOpenCollection();
bool refuseCollectionSize();

}  // namespace dict_reader_utils

#endif  // VEK_DICT_READER_REFUSALS_H
