// Stream events of one source and tag, in data pages.
#ifndef VEK_TESTS_DICT_READER_STREAM_PAGES_H
#define VEK_TESTS_DICT_READER_STREAM_PAGES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "data/exporter_schema_manager.h"
#include "data/opaque_events_writer.h"
#include "dict_reader/dict_event.h"

namespace vek::test {

using Image = std::vector<uint8_t>;

inline Bytes as_bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// The record of a host that knows nothing but opaque events of one size. The schema is lent.
inline vek_exporter_schema_manager_t lookup_of(const OpaqueEventSchema& schema) {
  vek_exporter_schema_manager_t record{};
  record.find_event_type = [](void* context, const vek_schema_block_t*, const vek_event_header_t*) {
    return static_cast<const vek_type_definition_t*>(context);
  };
  record.context = const_cast<vek_type_definition_t*>(schema.type());
  return record;
}

// Events whose data fits travel whole, others in chunks.
class StreamPages {
 public:
  explicit StreamPages(OpaqueEventsSource source) : writer(std::move(source)) {}
  StreamPages(std::string source_id, std::string tag, uint32_t event_size = 128)
      : writer(
            {.source_id = std::move(source_id), .tag = std::move(tag), .event_size = event_size}) {}

  void event(python_event_type_t type, uint32_t key_id, std::string_view data = {}) {
    const OpaqueWords words = {0, packDictEventWord(type, key_id)};
    if (!writer.whole(words, as_bytes(data))) {
      EXPECT_TRUE(writer.extended(next_id_++, words, {}, as_bytes(data)));
    }
  }
  // In chunks of these sizes, the last repeated.
  void chunked(python_event_type_t type, uint32_t key_id, std::string_view data,
               const std::vector<uint32_t>& sizes) {
    const auto total = static_cast<uint32_t>(data.size());
    EXPECT_TRUE(writer.start(next_id_, {0, packDictEventWord(type, key_id)}, {}, total));
    uint32_t at = 0;
    for (size_t i = 0; i == 0 || at < total; ++i) {
      const uint32_t size = std::min(sizes[std::min(i, sizes.size() - 1)], total - at);
      EXPECT_TRUE(writer.chunk(next_id_, at, as_bytes(data).subspan(at, size)));
      at += size;
    }
    ++next_id_;
  }

  void id(uint32_t key_id, std::string_view name) { event(PYTHON_ID, key_id, name); }
  void string(uint32_t key_id, std::string_view text) { event(PYTHON_STRING, key_id, text); }
  void real(uint32_t key_id, double value) { number(PYTHON_DOUBLE, key_id, value); }
  void integer(uint32_t key_id, int64_t value) { number(PYTHON_LONG, key_id, value); }
  void boolean(uint32_t key_id, bool value) {
    event(value ? PYTHON_BOOL_TRUE : PYTHON_BOOL_FALSE, key_id);
  }
  void none(uint32_t key_id) { event(PYTHON_NONE, key_id); }
  void dict(uint32_t key_id = kNoKeyId) { event(PYTHON_DICT_START, key_id); }
  void list(uint32_t key_id = kNoKeyId) { event(PYTHON_LIST_START, key_id); }
  void end_dict() { event(PYTHON_DICT_END, kNoKeyId); }
  void end_list() { event(PYTHON_LIST_END, kNoKeyId); }
  void collection(uint64_t timestamp) { number(PYTHON_NEW_COLLECTION, kNoKeyId, timestamp); }

  OpaqueEventsWriter writer;

 private:
  template <typename T>
  void number(python_event_type_t type, uint32_t key_id, T value) {
    event(type, key_id, {reinterpret_cast<const char*>(&value), sizeof value});
  }

  uint32_t next_id_ = 1;
};

}  // namespace vek::test

#endif  // VEK_TESTS_DICT_READER_STREAM_PAGES_H
