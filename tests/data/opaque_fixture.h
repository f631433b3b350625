// Pages of opaque events made by hand, a lookup that knows one type, and a recipient that notes
// down what it is given.
#ifndef VEK_TESTS_DATA_OPAQUE_FIXTURE_H
#define VEK_TESTS_DATA_OPAQUE_FIXTURE_H

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "data/opaque_events_extractor.h"
#include "data/page_writer.h"
#include "tests/support/log_capture.h"
#include "utils/owned.h"

namespace vek::test {

using AppId = std::array<uint8_t, VEK_APP_ID_SIZE>;
using Options = std::map<std::string, std::string>;
using Image = std::vector<uint8_t>;

inline const AppId kAnyApp{};
inline const std::string kPrefix = "[opaque events extractor] ";

inline Bytes as_bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// One event; `data` follows its header.
struct Event {
  uint8_t kind = VEK_OPAQUE_WHOLE;
  uint32_t offset_or_total = 0;
  uint32_t id = 0;
  std::string data;
  AppId app_id = {1, 2, 3};
  uint64_t first = 0;
  uint64_t second = 0;
  int64_t data_size = -1;  // what the event says; -1 tells the truth
};

inline Event whole(std::string data) { return {.data = std::move(data)}; }
inline Event start(uint32_t id, uint32_t total, std::string meta = {}) {
  return {.kind = VEK_OPAQUE_START, .offset_or_total = total, .id = id, .data = std::move(meta)};
}
inline Event chunk(uint32_t id, uint32_t offset, std::string data) {
  return {.kind = VEK_OPAQUE_CHUNK, .offset_or_total = offset, .id = id, .data = std::move(data)};
}

inline std::vector<uint8_t> bytes_of(const Event& event, size_t event_size) {
  vek_opaque_event_t header{};
  std::memset(header.reserved, 0xEE, sizeof header.reserved);
  header.kind = event.kind;
  header.offset_or_total = event.offset_or_total;
  header.id = event.id;
  std::memcpy(header.app_id, event.app_id.data(), VEK_APP_ID_SIZE);
  header.first_word = event.first;
  header.second_word = event.second;
  header.data_size = static_cast<uint32_t>(
      event.data_size < 0 ? static_cast<int64_t>(event.data.size()) : event.data_size);
  std::vector<uint8_t> bytes(sizeof header + event.data.size());
  std::memcpy(bytes.data(), &header, sizeof header);
  std::memcpy(bytes.data() + sizeof header, event.data.data(), event.data.size());
  bytes.resize(event_size);
  return bytes;
}

struct Delivery {
  std::string source_id;
  std::string tag;
  bool has_options = false;
  Options options;
  AppId app_id{};
  uint64_t first = 0;
  uint64_t second = 0;
  std::string data;
  std::vector<std::string> chunks;  // chunks callback only
  bool operator==(const Delivery&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Delivery& delivery) {
  return out << delivery.source_id << ":" << delivery.tag << " '" << delivery.data << "' in "
             << delivery.chunks.size() << " chunks";
}

struct Recorder {
  std::vector<Delivery> deliveries;
  bool answer = true;

  vek_opaque_events_extractor_recipient_ctx* context() {
    return reinterpret_cast<vek_opaque_events_extractor_recipient_ctx*>(this);
  }
  std::vector<std::string> payloads() const {
    std::vector<std::string> all;
    for (const Delivery& delivery : deliveries) all.push_back(delivery.data);
    return all;
  }

  static bool add_option(const char* key, const char* value, void* options) {
    (*static_cast<Options*>(options))[key] = value;
    return true;
  }
  static Delivery delivery_of(const char* source_id, const char* tag,
                              const vek_custom_options* options, const unsigned char* app_id,
                              unsigned long first, unsigned long second) {
    Delivery delivery;
    delivery.source_id = source_id;
    delivery.tag = tag;
    delivery.has_options = options != nullptr;
    if (options) vek_dict_enum(options, add_option, &delivery.options);
    std::memcpy(delivery.app_id.data(), app_id, VEK_APP_ID_SIZE);
    delivery.first = first;
    delivery.second = second;
    return delivery;
  }
  static bool on_event(vek_opaque_events_extractor_recipient_ctx* recipient, const char* source_id,
                       const char* tag, const vek_custom_options* options,
                       const unsigned char* app_id, unsigned long first, unsigned long second,
                       const void* data, unsigned int size) {
    auto& self = *reinterpret_cast<Recorder*>(recipient);
    Delivery delivery = delivery_of(source_id, tag, options, app_id, first, second);
    EXPECT_NE(data, nullptr);
    delivery.data.assign(static_cast<const char*>(data), size);
    self.deliveries.push_back(std::move(delivery));
    return self.answer;
  }
  static bool on_chunks(vek_opaque_events_extractor_recipient_ctx* recipient, const char* source_id,
                        const char* tag, const vek_custom_options* options,
                        const unsigned char* app_id, unsigned long first, unsigned long second,
                        uint32_t total, const vek_opaque_event_chunk_t* chunks) {
    auto& self = *reinterpret_cast<Recorder*>(recipient);
    Delivery delivery = delivery_of(source_id, tag, options, app_id, first, second);
    for (const auto* at = chunks; at; at = at->next) {
      EXPECT_NE(at->data, nullptr);
      delivery.chunks.emplace_back(reinterpret_cast<const char*>(at->data), at->size);
      delivery.data += delivery.chunks.back();
    }
    EXPECT_EQ(delivery.data.size(), total);
    self.deliveries.push_back(std::move(delivery));
    return self.answer;
  }
};

// Knows one type, and notes what it was asked.
struct Lookup {
  explicit Lookup(uint64_t event_size, std::string type_name = "opaque_event_test")
      : name(std::move(type_name)) {
    type.name = name.data();
    type.size = event_size;
  }
  Lookup(const Lookup&) = delete;
  Lookup& operator=(const Lookup&) = delete;

  static const vek_type_definition_t* find(void* context, const vek_schema_block_t* schemas,
                                           const vek_event_header_t* block) {
    auto& self = *static_cast<Lookup*>(context);
    self.asked.push_back({schemas, block});
    const auto special = self.others.find(block->type_index);
    if (special != self.others.end()) return special->second;
    return &self.type;
  }
  vek_opaque_type_lookup_t record() { return {find, this}; }

  std::string name;
  vek_type_definition_t type{};
  std::map<unsigned, const vek_type_definition_t*> others;  // by type index; may be null
  std::vector<std::pair<const vek_schema_block_t*, const vek_event_header_t*>> asked;
};

enum class Mode { kAssembling, kChunkList };

// An extractor with its recipient and lookup. Events are 128 bytes unless said otherwise.
class Extraction {
 public:
  explicit Extraction(Mode mode = Mode::kAssembling, const AppId& app_id = kAnyApp,
                      uint64_t event_size = 128)
      : lookup(event_size) {
    const vek_opaque_events_extractor_recipient_t recipient = {
        Recorder::on_event, mode == Mode::kChunkList ? Recorder::on_chunks : nullptr,
        recorder.context()};
    extractor.reset(vek_opaque_events_extractor_create(app_id.data(), &recipient));
  }

  bool process(const vek_data_page_t* page) {
    const vek_opaque_type_lookup_t record = lookup.record();
    return vek_opaque_events_extractor_process_data_page(extractor.get(), page, &record);
  }
  bool process(const Image& image) {
    return process(reinterpret_cast<const vek_data_page_t*>(image.data()));
  }
  // A page of one events block.
  bool send(const std::vector<Event>& events, std::string_view source = "source",
            std::string_view tag = "tag") {
    PageWriter writer(source, tag);
    add_block(writer, events);
    return process(writer.finish());
  }
  void add_block(PageWriter& writer, const std::vector<Event>& events) const {
    std::vector<uint8_t> bytes;
    for (const Event& event : events) {
      const std::vector<uint8_t> one = bytes_of(event, lookup.type.size);
      bytes.insert(bytes.end(), one.begin(), one.end());
    }
    writer.events_block(7, 0, 0, static_cast<uint8_t>(events.size()), bytes);
  }

  Recorder recorder;
  Lookup lookup;
  Owned<vek_opaque_events_extractor_t, vek_opaque_events_extractor_delete> extractor;
};

inline std::vector<std::string> prefixed(std::vector<std::string> texts) {
  for (std::string& text : texts) text = kPrefix + text;
  return texts;
}

}  // namespace vek::test

#endif  // VEK_TESTS_DATA_OPAQUE_FIXTURE_H
