#include "dict_reader/key_table.h"

#include <algorithm>
#include <cstring>

#include "utils/msgpack_encode.h"

namespace {

constexpr size_t kSlotsWithoutNames = 256;
constexpr size_t kSlotsPerName = 4;

// In a slot with a long name: a first byte that begins no short text, then the place of the name.
constexpr char kLongName = 1;
constexpr size_t kLongNameAt = 8;

}  // namespace

const std::string* KeyTable::Slot::long_name() const {
  if (bytes[0] != kLongName) return nullptr;
  const std::string* name = nullptr;
  std::memcpy(&name, bytes + kLongNameAt, sizeof name);
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
  if (name.size() > kLongestShortText) {
    const std::string* const place = &name;
    slot.bytes[0] = kLongName;
    std::memcpy(slot.bytes + kLongNameAt, &place, sizeof place);
    return;
  }
  vek::put_str(slot.bytes, name.data(), static_cast<uint32_t>(name.size()));
}
