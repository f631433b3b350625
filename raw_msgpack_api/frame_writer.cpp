#include "raw_msgpack_api/frame_writer.h"

#include <array>
#include <bit>
#include <cstring>
#include <utility>

#include "raw_msgpack_api/record_events.h"
#include "utils/msgpack_encode.h"

namespace vek::engine {
namespace {

constexpr size_t kEntriesHeader = 5;  // array 32: the count is known only at the end
constexpr uint8_t kArray32 = 0xdd;

void append(std::string_view text, std::vector<uint8_t>& out) {
  out.insert(out.end(), text.begin(), text.end());
}

void append_str(std::string_view text, std::vector<uint8_t>& out) {
  std::array<char, kMsgpackMaxHeader> header;
  const char* end = put_str_header(header.data(), static_cast<uint32_t>(text.size()));
  append({header.data(), end}, out);
  append(text, out);
}

void append_uint(uint64_t number, std::vector<uint8_t>& out) {
  std::array<char, kMsgpackMaxNumber> bytes;
  append({bytes.data(), put_uint(bytes.data(), number)}, out);
}

// A header of one byte, then 32 bits.
void put_wide_header(uint8_t* at, uint8_t type, size_t count) {
  const uint32_t number = __builtin_bswap32(static_cast<uint32_t>(count));
  *at = type;
  std::memcpy(at + 1, &number, sizeof(number));
}

}  // namespace

FrameWriter::FrameWriter(std::string_view tag, bool compress) {
  constexpr uint8_t kArrayOfThree = 0x93;
  head_.push_back(kArrayOfThree);
  append_str(tag, head_);
  head_size_ = head_.size() + kEntriesHeader;
  if (compress) gzip_.emplace();
  clear();
}

void FrameWriter::clear() {
  bytes_.assign(head_.begin(), head_.end());
  bytes_.resize(head_size_);
  events_ = last_events_ = 0;
  last_size_ = bytes_.size();
}

void FrameWriter::append_entry(EventTime time, bool is_list, Bytes body) {
  const EventHead head = event_head(time);
  bytes_.insert(bytes_.end(), head.begin(), head.end());
  if (is_list) append("\x81\xa6values", bytes_);  // the map that carries it
  bytes_.insert(bytes_.end(), body.begin(), body.end());
  ++events_;
}

bool FrameWriter::add(const RecordView& record, EventTime arrival) {
  last_size_ = bytes_.size();
  last_events_ = events_;
  EventTime time = time_of(record, arrival);
  const bool fits = fits_on_wire(time);
  if (!fits) time = kLatestOnWire;
  RecordEvents events(record);
  Bytes body;
  while (events.next(body)) append_entry(time, events.is_list(), body);
  return fits;
}

void FrameWriter::take_back() {
  bytes_.resize(last_size_);
  events_ = last_events_;
}

void FrameWriter::append_options(const std::optional<ChunkId>& chunk, uint32_t events,
                                 std::vector<uint8_t>& out) const {
  const int options = 1 + (chunk ? 1 : 0) + (gzip_ ? 1 : 0);
  out.push_back(static_cast<uint8_t>(0x80 | options));
  if (chunk) {
    append_str("chunk", out);
    append_str(chunk_text(*chunk), out);
  }
  append_str("size", out);
  append_uint(events, out);
  if (gzip_) {
    append_str("compressed", out);
    append_str("gzip", out);
  }
}

void FrameWriter::append_packed(std::vector<uint8_t>& out) {
  constexpr uint8_t kBin32 = 0xc6;
  const size_t head = out.size();
  out.resize(head + kEntriesHeader);
  gzip_->append(Bytes(bytes_).subspan(head_size_), out);
  put_wide_header(&out[head], kBin32, out.size() - head - kEntriesHeader);
}

size_t FrameWriter::write_around(uint32_t events, const std::optional<ChunkId>& chunk,
                                 std::vector<uint8_t>& out) const {
  out.assign(head_.begin(), head_.end());
  out.resize(head_size_);
  put_wide_header(&out[head_.size()], kArray32, events);
  append_options(chunk, events, out);
  return head_size_;
}

void FrameWriter::finish(const std::optional<ChunkId>& chunk, std::vector<uint8_t>& out) {
  if (gzip_) {
    out.assign(head_.begin(), head_.end());
    append_packed(out);
    append_options(chunk, events_, out);
  } else {
    put_wide_header(&bytes_[head_.size()], kArray32, events_);
    append_options(chunk, events_, bytes_);
    std::swap(bytes_, out);
  }
  clear();
}

}  // namespace vek::engine
