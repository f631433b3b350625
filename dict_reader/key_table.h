// KeyTable: the names of a stream's keys as msgpack, found by key id without a search.
//
// A copy of what the names' owner knows, for speed alone: an id that has no slot, or none of these
// forms, is looked up there.
#ifndef VEK_DICT_READER_KEY_TABLE_H
#define VEK_DICT_READER_KEY_TABLE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class KeyTable {
 public:
  static constexpr size_t kSlotSize = 32;
  static constexpr uint32_t kLongestShort = 30;

  // A name of up to 30 bytes with its header, so that a copy of the whole slot writes the key
  // whatever its length; of a longer one, where it is. Zeros for none.
  struct alignas(kSlotSize) Slot {
    char bytes[kSlotSize - 1];
    uint8_t size;  // of name and header; 0 when the name is not in the slot

    const std::string* long_name() const;
  };

  // Makes the slot of an id that put() may then fill; false, with nothing changed, for ids that are
  // far beyond the number of names: they must not cost memory that they do not use. Throws
  // std::bad_alloc.
  bool reserve(uint32_t key_id, size_t num_names);
  // A long name is borrowed until the next put() for its id.
  void put(uint32_t key_id, const std::string& name) noexcept;

  const Slot* slots() const { return slots_.data(); }
  size_t size() const { return slots_.size(); }

 private:
  std::vector<Slot> slots_;
};

#endif  // VEK_DICT_READER_KEY_TABLE_H
