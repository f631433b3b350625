#ifndef VEK_HAVE_PARSON

#include "json/name_index.h"

#include <bit>

namespace vek::json {

void NameIndex::reserve(size_t count) {
  // At least half of the slots stay empty: probes are short and always meet an empty slot.
  if (count <= slots_.size() / 2) return;
  NameIndex larger;
  larger.slots_.resize(std::bit_ceil(count * 2));
  for (const Slot& slot : slots_) {
    if (slot.position != kNone) larger.add(slot.hash, slot.position);
  }
  slots_.swap(larger.slots_);
}

void NameIndex::add(size_t hash, size_t position) noexcept {
  size_t at = home(hash);
  while (slots_[at].position != kNone) at = next(at);
  slots_[at] = {hash, position};
}

size_t NameIndex::slot_of(size_t hash, size_t position) const noexcept {
  size_t at = home(hash);
  while (slots_[at].position != position) at = next(at);
  return at;
}

void NameIndex::remove(size_t hash, size_t position) noexcept {
  size_t hole = slot_of(hash, position);
  // Entries behind the hole that were pushed past it move back, so that no probe ends too early.
  for (size_t at = next(hole); slots_[at].position != kNone; at = next(at)) {
    const size_t mask = slots_.size() - 1;
    const size_t distance_home = (at - home(slots_[at].hash)) & mask;
    const size_t distance_hole = (at - hole) & mask;
    if (distance_home < distance_hole) continue;
    slots_[hole] = slots_[at];
    hole = at;
  }
  slots_[hole] = Slot{};
}

void NameIndex::move(size_t hash, size_t from, size_t to) noexcept {
  slots_[slot_of(hash, from)].position = to;
}

}  // namespace vek::json

#endif  // VEK_HAVE_PARSON
