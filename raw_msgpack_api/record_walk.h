// Finds the records in a buffer of one or several, back to back, and tells sound ones from others.
//
// Iterative, without allocation, and never beyond the buffer: each length is compared with what
// remains, and maps hold exactly the pairs that they announce, with one exception: a record whose
// map announces more pairs than the buffer holds, where the buffer ends right behind a pair, is
// mended. The plug-in writes such records for pages without a source name (the source is counted
// and not written), and receivers choke on them.
//
// A record of another shape, or nested too deep, is passed over by its length and the walk goes on
// behind it. Where the msgpack itself is broken or cut, nothing says where the next record begins,
// so that ends the walk.
#ifndef VEK_RAW_MSGPACK_API_RECORD_WALK_H
#define VEK_RAW_MSGPACK_API_RECORD_WALK_H

#include <cstddef>
#include <cstdint>

#include "raw_msgpack_api/drop_reason.h"
#include "raw_msgpack_api/msgpack_token.h"

namespace vek::engine {

// Containers that may be open at once, the record's own included. Receivers lose deeper ones.
inline constexpr size_t kMaxRecordDepth = 64;

enum class RecordShape : uint8_t {
  kTimedMap,   // [seconds, map]
  kTimedList,  // [seconds, array]
  kBareMap     // map
};

// One record in borrowed bytes.
struct RecordView {
  Bytes bytes;
  RecordShape shape = RecordShape::kBareMap;
  uint8_t time_offset = 0;  // of the seconds inside `bytes`; unused for a bare map
  uint8_t body_offset = 0;  // of the map or array inside `bytes`; 0 for a bare map
  uint8_t depth = 0;        // containers open at once in the body, itself included

  Bytes time() const { return bytes.subspan(time_offset, size_t{body_offset} - time_offset); }
  Bytes body() const { return bytes.subspan(body_offset); }
};

// A record as it was found in a buffer.
struct FoundRecord {
  RecordView view;
  bool mended = false;
  uint64_t pairs = 0;  // that a mended record's map really holds: for set_map_count on a copy
};

class RecordWalk {
 public:
  enum class Step : uint8_t { kEnd, kRecord, kDropped };

  explicit RecordWalk(Bytes buffer) noexcept : rest_(buffer) {}

  // kRecord fills found(); kDropped fills reason().
  Step next() noexcept;

  const FoundRecord& found() const { return found_; }
  const RecordView& record() const { return found_.view; }
  bool mended() const { return found_.mended; }
  uint64_t pairs() const { return found_.pairs; }
  DropReason reason() const { return reason_; }

 private:
  enum class Body : uint8_t { kSound, kShort, kTooDeep, kCut, kBroken };

  bool read_head(Token& body_head, size_t& base_depth) noexcept;
  Body walk_body(const Token& head, size_t base_depth, size_t& size) noexcept;
  Step pass_over(DropReason reason) noexcept;
  Step give_up(DropReason reason) noexcept;
  Step deliver(size_t size, bool mended) noexcept;

  Bytes rest_;
  FoundRecord found_;
  DropReason reason_ = DropReason::kBroken;
};

// Overwrites the count in a map's header, in the form that the header already has.
void set_map_count(std::span<uint8_t> map, uint64_t pairs) noexcept;

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_RECORD_WALK_H
