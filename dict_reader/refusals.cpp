#include "dict_reader/refusals.h"

#include "utils/clock.h"
#include "utils/limits.h"
#include "utils/logger.h"

namespace dict_reader_utils {

bool refuseItem(const char* word) {
  VEK_LOGE("[vek_dictionary_reader] could not add %s item", word);
  return false;
}

bool refuseUnknownKey(uint32_t key_id) {
  VEK_LOGE("[vek_dictionary_reader] could not find key_id %u", key_id);
  return false;
}

bool refuseEmptyKey(uint32_t key_id) {
  VEK_LOGE("[vek_dictionary_reader] no data in key ID event for ID %u", key_id);
  return false;
}

bool refuseKeyBeyondLimit(uint32_t key_id) {
  static vek::LogRateLimit limit;
  if (limit.due_at_level(VEK_LOG_ERROR)) {
    VEK_LOGE("[vek_dictionary_reader] key ID %u is refused: a stream has %zu keys at most", key_id,
             vek::limits::kKeysOfStream);
  }
  return false;
}

bool refuseNullItem() {
  VEK_LOGE("[vek_dictionary_reader] [%s] got a null item", "Append");
  return false;
}

bool refuseItemWithoutParent() {
  VEK_LOGE("[vek_dictionary_reader] cannot add item - no parent container");
  return false;
}

bool refuseListWithoutKey() {
  VEK_LOGE("[vek_dictionary_reader] got an inner list without a key");
  return false;
}

bool refuseDictEnd() {
  VEK_LOGE("[vek_dictionary_reader] 'dict end' event does not fit collected data");
  return false;
}

bool refuseListEnd() {
  VEK_LOGE("[vek_dictionary_reader] 'list end' event does not fit collected data");
  return false;
}

bool refuseOpenCollection() {
  VEK_LOGE("[vek_dictionary_reader] 'new collection' event does not fit collected data");
  return false;
}

bool refuseCollectionSize() {
  VEK_LOGE("[vek_dictionary_reader] 'new collection' invalid size");
  return false;
}

}  // namespace dict_reader_utils
