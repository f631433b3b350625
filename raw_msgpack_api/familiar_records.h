// FamiliarRecords: tells at once that a buffer holds one sound record, from records seen before.
//
// A source sends records of the same few layouts over and over, whose values change more often than
// their forms do. Seeing that costs about a tenth of what a walk does (record_layout.h).
#ifndef VEK_RAW_MSGPACK_API_FAMILIAR_RECORDS_H
#define VEK_RAW_MSGPACK_API_FAMILIAR_RECORDS_H

#include <array>
#include <cstdint>

#include "raw_msgpack_api/record_layout.h"

namespace vek::engine {

class FamiliarRecords {
 public:
  // Larger records are not remembered: there are few of them, and memory is kept for each.
  static constexpr size_t kLargest = 65'536;
  // Sizes share sets; so many layouts of a set are kept.
  static constexpr size_t kSets = 8;
  static constexpr size_t kWays = 4;

  // The layout that a buffer most likely has, by its size and its first bytes; null: none. Good
  // until the next learn().
  const RecordLayout* guess(Bytes buffer) const noexcept;
  // False: nothing is known about it. Otherwise `out` is the record that fills the buffer, as
  // RecordWalk would find it.
  bool find(Bytes buffer, FoundRecord& out) noexcept;
  // For a record that fills its buffer and was not found.
  void learn(const FoundRecord& record) noexcept;

 private:
  struct Set {
    std::array<RecordLayout, kWays> layouts;
    size_t oldest = 0;
    uint32_t misses = 0;           // since one was found or learnt
    uint32_t misses_to_learn = 1;  // more and more where no record is like one before
  };

  static size_t set_of(size_t size);

  std::array<Set, kSets> sets_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FAMILIAR_RECORDS_H
