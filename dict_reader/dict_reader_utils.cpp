#include "dict_reader/dict_reader_utils.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

#include "dict_reader/dict_event.h"
#include "dict_reader/refusals.h"
#include "utils/limits.h"
#include "utils/logger.h"

namespace dict_reader_utils {

std::string bufferToString(const void* data, uint32_t size) {
  return data ? std::string(static_cast<const char*>(data), size) : std::string();
}

bool hasRoomForKey(const IdToKeyMap& map, uint32_t key_id) {
  if (map.size() < vek::limits::kKeysOfStream || map.contains(key_id)) return true;
  return refuseKeyBeyondLimit(key_id);
}

const std::string* findKey(const IdToKeyMap& map, uint32_t key_id) {
  if (key_id == vek::kNoKeyId) return nullptr;
  const auto found = map.find(key_id);
  if (found != map.end()) return found->second.get();
  refuseUnknownKey(key_id);
  return nullptr;
}

std::unique_ptr<std::string> upsertIdToKey(IdToKeyMap& map, uint32_t key_id, const void* data,
                                           uint32_t size) {
  const char* const name = data ? static_cast<const char*>(data) : "";
  const auto found = map.find(key_id);
  if (found == map.end()) {
    auto added = std::make_unique<std::string>(bufferToString(data, size));
    const auto at = map.emplace(key_id, std::move(added)).first;
    VEK_LOGD("[%s] insert key_id %u : %s", "upsertIdToKey", key_id, at->second->c_str());
    return nullptr;
  }
  // Producers rely on it: a name is kept when the new one is its beginning.
  if (std::strncmp(found->second->c_str(), name, size) == 0) return nullptr;
  auto replacement = std::make_unique<std::string>(bufferToString(data, size));
  VEK_LOGD("[%s] update key_id %u : %s -> %.*s", "upsertIdToKey", key_id, found->second->c_str(),
           static_cast<int>(std::min<uint32_t>(size, INT_MAX)), name);
  return std::exchange(found->second, std::move(replacement));
}

}  // namespace dict_reader_utils
