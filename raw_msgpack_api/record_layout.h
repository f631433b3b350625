// RecordLayout: the headers of a record's objects, kinds, lengths and counts, and where they are.
//
// They alone decide whether a record is sound. A record of the same size with the same headers at
// the same places is as sound as the first one was, or wants the same mending; that is seen many
// bytes at a time, with no branch for each object, and costs next to nothing while the record is
// copied.
#ifndef VEK_RAW_MSGPACK_API_RECORD_LAYOUT_H
#define VEK_RAW_MSGPACK_API_RECORD_LAYOUT_H

#include <cstdint>
#include <vector>

#include "raw_msgpack_api/record_walk.h"

namespace vek::engine {

class RecordLayout {
 public:
  // Of a sound record. Without memory for it, of none.
  void learn(const FoundRecord& record) noexcept;

  // Size and first bytes are as they should be: most likely the others are, too.
  bool begins(Bytes bytes) const noexcept;
  bool fits(Bytes bytes) const noexcept;
  // Copies what comes behind the first `from` bytes of a record that begins() so. False when the
  // record does not fit; `out` holds nothing of use then.
  bool copy(Bytes bytes, size_t from, uint8_t* out) const noexcept;
  // The record that fits, as RecordWalk would find it.
  FoundRecord found(Bytes bytes) const noexcept;

 private:
  FoundRecord record_;  // without bytes
  size_t size_ = 0;     // 0: of none
  std::vector<uint8_t> headers_;
  std::vector<uint8_t> mask_;  // of the bits that must be the same
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_RECORD_LAYOUT_H
