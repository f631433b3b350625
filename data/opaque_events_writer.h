// OpaqueEventsWriter: puts payloads into data pages as opaque events, for providers, tools and
// tests.
//
// A payload that fits one event can travel whole; any other one travels as an extended event, a
// start with meta data and then chunks. The writer packs events into blocks of up to 255 and blocks
// into pages, and begins a new page when one is full. Readers find the type of the events through
// schema(), which a provider announces with its other schemas.
//
//   vek::OpaqueEventsWriter writer({.source_id = "agent-7", .tag = "dict_power"});
//   writer.extended(1, {first, second}, {{"format", "json"}}, payload);
//   for (const auto& page : writer.take_pages()) send(page);
//
// The reassembly knows one unfinished extended event per source id and tag: finish one before the
// next is started. Not locked. Functions throw std::bad_alloc when memory runs out.
#ifndef VEK_DATA_OPAQUE_EVENTS_WRITER_H
#define VEK_DATA_OPAQUE_EVENTS_WRITER_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "data/byte_reader.h"
#include "data/opaque_event_schema.h"
#include "data/opaque_events_extractor.h"
#include "data/page_writer.h"

namespace vek {

// Passed through to the recipient unchanged.
struct OpaqueWords {
  uint64_t first = 0;
  uint64_t second = 0;
};

// In the order in which it is written. Keys are not empty and hold no '='; neither holds a NUL.
using OpaqueMeta = std::vector<std::pair<std::string, std::string>>;

struct OpaqueEventsSource {
  std::string source_id;
  std::string tag;
  std::array<uint8_t, VEK_APP_ID_SIZE> app_id{};
  uint32_t event_size = 512;      // bytes of one event, its header of 53 included
  uint64_t page_size = 64 << 10;  // bytes of a page image at most, unless one event needs more
  uint64_t timestamp_us = 0;      // of the events blocks, microseconds since the Unix epoch
};

class VEK_API OpaqueEventsWriter {
 public:
  explicit OpaqueEventsWriter(OpaqueEventsSource source);

  const OpaqueEventSchema& schema() const { return schema_; }
  // Most bytes of data in one event.
  uint32_t capacity() const { return schema_.event_size() - VEK_OPAQUE_EVENT_HEADER_SIZE; }
  // Of the events that follow: another time begins another block.
  void set_timestamp(uint64_t timestamp_us);

  // These answer false, and write nothing, when the data or the meta data does not fit one event.
  [[nodiscard]] bool whole(const OpaqueWords& words, Bytes data);
  [[nodiscard]] bool start(uint32_t id, const OpaqueWords& words, const OpaqueMeta& meta,
                           uint32_t total);
  [[nodiscard]] bool chunk(uint32_t id, uint32_t offset, Bytes data);
  // A start, then the payload in chunks as large as an event allows; an empty payload takes one
  // empty chunk, without which it would never be delivered. False too for 4 GiB and more.
  [[nodiscard]] bool extended(uint32_t id, const OpaqueWords& words, const OpaqueMeta& meta,
                              Bytes payload);
  // An event as it stands, lies included: `data` is cut or padded with zeros to the event's size.
  void event(const vek_opaque_event_t& header, Bytes data);

  // Closes the current page, even if it is not full; nothing when no event was written to it.
  void next_page();
  // The pages so far, the current one included; the writer goes on with a new page.
  std::vector<std::vector<uint8_t>> take_pages();

 private:
  bool add(vek_opaque_event_t header, Bytes data);
  void begin_page();
  void flush_block();

  OpaqueEventsSource source_;
  OpaqueEventSchema schema_;
  std::optional<PageWriter> page_;
  std::vector<uint8_t> events_;  // of the block that is being filled
  uint8_t event_count_ = 0;
  std::vector<std::vector<uint8_t>> pages_;
};

}  // namespace vek

#endif  // VEK_DATA_OPAQUE_EVENTS_WRITER_H
