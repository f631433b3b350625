// FrameWriter: records to frames of the Forward protocol.
//
//   [tag, [[EventTime, map], ...], {"chunk": id, "size": events}]                         plain
//   [tag, bin of the same entries back to back, gzip, {..., "compressed": "gzip"}]        packed
//
// "chunk" asks the receiver to acknowledge; it is left out where no acknowledgement is wanted.
// Only sound records come here: a receiver stores what is packed unread, where one bad entry would
// destroy every good one behind it.
#ifndef VEK_RAW_MSGPACK_API_FRAME_WRITER_H
#define VEK_RAW_MSGPACK_API_FRAME_WRITER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "raw_msgpack_api/chunk_id.h"
#include "raw_msgpack_api/event_time.h"
#include "raw_msgpack_api/gzip.h"
#include "raw_msgpack_api/record_walk.h"

namespace vek::engine {

class FrameWriter {
 public:
  FrameWriter(std::string_view tag, bool compress);

  // The events of one more record. False when its time lies behind the last one that the wire can
  // say, and became that. `arrival` is the time of records that have none. Throws std::bad_alloc;
  // take_back() then takes back what there is of the record.
  bool add(const RecordView& record, EventTime arrival);
  // Undoes the last add(), once.
  void take_back();
  // Bytes of the entries so far, before compression.
  size_t size() const { return bytes_.size() - head_size_; }

  // Moves the frame to `out`, whose memory is taken in exchange, and begins another one.
  void finish(const std::optional<ChunkId>& chunk, std::vector<uint8_t>& out);
  // What stands around `events` entries that are somewhere else: makes `out` of it, and returns how
  // much of that comes in front of them. Not where frames are packed.
  size_t write_around(uint32_t events, const std::optional<ChunkId>& chunk,
                      std::vector<uint8_t>& out) const;
  // Begins another frame, without those entries.
  void clear();

 private:
  void append_entry(EventTime time, bool is_list, Bytes body);
  void append_options(const std::optional<ChunkId>& chunk, uint32_t events,
                      std::vector<uint8_t>& out) const;
  void append_packed(std::vector<uint8_t>& out);

  std::vector<uint8_t> head_;  // [tag, ...
  size_t head_size_;           // with the header of the entries
  std::optional<Gzip> gzip_;
  std::vector<uint8_t> bytes_;
  uint32_t events_ = 0;
  size_t last_size_ = 0;  // of bytes_ before the last add()
  uint32_t last_events_ = 0;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FRAME_WRITER_H
