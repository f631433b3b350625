// FamiliarRecords: tells at once that a buffer holds one sound record, from records seen before.
//
// Whether a record is sound is decided by the headers of its objects alone: kinds, lengths, counts.
// A source sends records of the same few layouts over and over, whose values change more often than
// their forms do. A record that has the size of an earlier one and the same headers at the same
// places is as sound as that one was, or wants the same mending, which is seen sixteen bytes at a
// time, with no branch for each object: about a tenth of what a walk costs.
#ifndef VEK_RAW_MSGPACK_API_FAMILIAR_RECORDS_H
#define VEK_RAW_MSGPACK_API_FAMILIAR_RECORDS_H

#include <array>
#include <cstdint>
#include <vector>

#include "raw_msgpack_api/record_walk.h"

namespace vek::engine {

class FamiliarRecords {
 public:
  // Larger records are not remembered: there are few of them, and memory is kept for each.
  static constexpr size_t kLargest = 65'536;
  // Sizes share sets; so many layouts of a set are kept.
  static constexpr size_t kSets = 8;
  static constexpr size_t kWays = 4;

  // False: nothing is known about it. Otherwise `out` is the record that fills the buffer, as
  // RecordWalk would find it.
  bool find(Bytes buffer, FoundRecord& out) noexcept;
  // For a record that fills its buffer and was not found.
  void learn(const FoundRecord& record) noexcept;

 private:
  struct Layout {
    FoundRecord record;  // without bytes
    size_t size = 0;     // 0: none
    std::vector<uint8_t> headers;
    std::vector<uint8_t> mask;  // of the bits that must be the same
  };
  struct Set {
    std::array<Layout, kWays> layouts;
    size_t oldest = 0;
    uint32_t misses = 0;           // since one was found or learnt
    uint32_t misses_to_learn = 1;  // more and more where no record is like one before
  };

  static size_t set_of(size_t size);

  std::array<Set, kSets> sets_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FAMILIAR_RECORDS_H
