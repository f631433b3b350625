// Finds the position of an object's member by the hash of its name: a hash table with linear
// probing that holds positions only. The names stay with the members; the caller compares them.
#ifndef VEK_JSON_NAME_INDEX_H
#define VEK_JSON_NAME_INDEX_H

#include <cstddef>
#include <vector>

namespace vek::json {

class NameIndex {
 public:
  static constexpr size_t kNone = static_cast<size_t>(-1);

  // Room for `count` entries in all; may throw std::bad_alloc and leaves the entries as they are.
  void reserve(size_t count);

  // There must be room for it.
  void add(size_t hash, size_t position) noexcept;
  void remove(size_t hash, size_t position) noexcept;
  // A member has moved; its name has not changed.
  void move(size_t hash, size_t from, size_t to) noexcept;

  // The first position with this hash that `matches` accepts, else kNone.
  template <typename Matches>
  size_t find(size_t hash, Matches&& matches) const {
    if (slots_.empty()) return kNone;
    for (size_t at = home(hash); slots_[at].position != kNone; at = next(at)) {
      if (slots_[at].hash == hash && matches(slots_[at].position)) return slots_[at].position;
    }
    return kNone;
  }

 private:
  struct Slot {
    size_t hash = 0;
    size_t position = kNone;
  };

  // The number of slots is a power of two.
  size_t home(size_t hash) const noexcept { return hash & (slots_.size() - 1); }
  size_t next(size_t at) const noexcept { return (at + 1) & (slots_.size() - 1); }
  size_t slot_of(size_t hash, size_t position) const noexcept;

  std::vector<Slot> slots_;
};

}  // namespace vek::json

#endif  // VEK_JSON_NAME_INDEX_H
