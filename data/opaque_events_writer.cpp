#include "data/opaque_events_writer.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace vek {

namespace {

constexpr uint8_t kMostEventsOfBlock = 255;

std::vector<uint8_t> bytes_of(const OpaqueMeta& meta) {
  std::vector<uint8_t> bytes;
  for (const auto& [key, value] : meta) {
    bytes.insert(bytes.end(), key.begin(), key.end());
    bytes.push_back('=');
    bytes.insert(bytes.end(), value.begin(), value.end());
    bytes.push_back('\0');
  }
  return bytes;
}

}  // namespace

OpaqueEventsWriter::OpaqueEventsWriter(OpaqueEventsSource source)
    : source_(std::move(source)), schema_(source_.event_size) {}

void OpaqueEventsWriter::set_timestamp(uint64_t timestamp_us) {
  if (timestamp_us == source_.timestamp_us) return;
  flush_block();
  source_.timestamp_us = timestamp_us;
}

bool OpaqueEventsWriter::whole(const OpaqueWords& words, Bytes data) {
  vek_opaque_event_t header{};
  header.kind = VEK_OPAQUE_WHOLE;
  header.first_word = words.first;
  header.second_word = words.second;
  return add(header, data);
}

bool OpaqueEventsWriter::start(uint32_t id, const OpaqueWords& words, const OpaqueMeta& meta,
                               uint32_t total) {
  vek_opaque_event_t header{};
  header.kind = VEK_OPAQUE_START;
  header.offset_or_total = total;
  header.id = id;
  header.first_word = words.first;
  header.second_word = words.second;
  return add(header, bytes_of(meta));
}

bool OpaqueEventsWriter::chunk(uint32_t id, uint32_t offset, Bytes data) {
  vek_opaque_event_t header{};
  header.kind = VEK_OPAQUE_CHUNK;
  header.offset_or_total = offset;
  header.id = id;
  return add(header, data);
}

bool OpaqueEventsWriter::extended(uint32_t id, const OpaqueWords& words, const OpaqueMeta& meta,
                                  Bytes payload) {
  if (payload.size() > std::numeric_limits<uint32_t>::max()) return false;
  if (!start(id, words, meta, static_cast<uint32_t>(payload.size()))) return false;
  size_t offset = 0;
  do {
    const size_t size = std::min<size_t>(payload.size() - offset, capacity());
    if (!chunk(id, static_cast<uint32_t>(offset), payload.subspan(offset, size))) return false;
    offset += size;
  } while (offset < payload.size());
  return true;
}

bool OpaqueEventsWriter::add(vek_opaque_event_t header, Bytes data) {
  if (data.size() > capacity()) return false;
  std::memcpy(header.app_id, source_.app_id.data(), VEK_APP_ID_SIZE);
  header.data_size = static_cast<uint32_t>(data.size());
  event(header, data);
  return true;
}

void OpaqueEventsWriter::event(const vek_opaque_event_t& header, Bytes data) {
  const size_t event_size = schema_.event_size();
  if (page_ &&
      page_->size() + VEK_BLOCK_HEADER_SIZE + events_.size() + event_size > source_.page_size) {
    next_page();
  }
  if (!page_) begin_page();

  const size_t at = events_.size();
  events_.resize(at + event_size);
  std::memcpy(events_.data() + at, &header, sizeof header);
  const Bytes kept = data.first(std::min<size_t>(data.size(), capacity()));
  std::copy(kept.begin(), kept.end(),
            events_.begin() + static_cast<std::ptrdiff_t>(at) + VEK_OPAQUE_EVENT_HEADER_SIZE);
  if (++event_count_ == kMostEventsOfBlock) flush_block();
}

void OpaqueEventsWriter::begin_page() {
  const std::vector<uint8_t> id(schema_.id().begin(), schema_.id().end());
  page_.emplace(source_.source_id, source_.tag);
  page_->schemas_block(std::span(&id, 1));
}

void OpaqueEventsWriter::flush_block() {
  if (event_count_ == 0) return;
  page_->events_block(source_.timestamp_us, 0, 0, event_count_, events_);
  events_.clear();
  event_count_ = 0;
}

void OpaqueEventsWriter::next_page() {
  if (!page_) return;
  flush_block();
  pages_.push_back(page_->finish());
  page_.reset();
}

std::vector<std::vector<uint8_t>> OpaqueEventsWriter::take_pages() {
  next_page();
  return std::exchange(pages_, {});
}

}  // namespace vek
