#include "dict_reader/key_table.h"

#include <algorithm>
#include <cstring>

#include "utils/msgpack_encode.h"

namespace {

constexpr size_t kSlotsWithoutNames = 256;
constexpr size_t kSlotsPerName = 4;

}  // namespace

const std::string* KeyTable::Slot::long_name() const {
  if (size != 0) return nullptr;
  const std::string* name = nullptr;
  std::memcpy(&name, bytes, sizeof(void*));
  return name;
}

bool KeyTable::reserve(uint32_t key_id, size_t num_names) {
  if (key_id < slots_.size()) return true;
  const size_t most = kSlotsWithoutNames + kSlotsPerName * num_names;
  if (key_id >= most) return false;
  slots_.resize(std::min(most, std::max<size_t>(key_id + size_t{1}, 2 * slots_.size())));
  return true;
}

void KeyTable::put(uint32_t key_id, const std::string& name) noexcept {
  if (key_id >= slots_.size()) return;
  Slot& slot = slots_[key_id];
  slot = {};
  if (name.size() > kLongestShort) {
    const std::string* const place = &name;
    std::memcpy(slot.bytes, &place, sizeof(void*));
    return;
  }
  const char* const end = vek::put_str(slot.bytes, name.data(), static_cast<uint32_t>(name.size()));
  slot.size = static_cast<uint8_t>(end - slot.bytes);
}
