// How inspected streams are told: as columns for people, or as one JSON object a line.
//
// A printer only appends to a text; who owns it writes that out.
#ifndef VEK_TOOLS_INSPECT_STREAM_PRINTER_H
#define VEK_TOOLS_INSPECT_STREAM_PRINTER_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "data/byte_reader.h"
#include "dict_reader/data_object.h"
#include "dict_reader/dict_event.h"
#include "utils/dictionary.h"

namespace vek::tools {

// Where in the recording something was found. All borrowed.
struct StreamPlace {
  std::string_view file;
  uint64_t page = 0;  // from 1
  std::string_view source_id;
  std::string_view tag;
};

// What the reader made of an event.
enum class EventFate : uint8_t {
  kTaken,
  kIgnored,  // no collection had begun
  kRefused,  // the rest of the page is not looked at
};

struct StreamEvent {
  python_event_type_t type{};
  uint32_t key_id = 0;
  const std::string* name = nullptr;  // of the key id; null when it is not known
  Bytes data;
  EventFate fate = EventFate::kTaken;
};

// An opaque event on an aggregator's page, put together where it came in chunks.
struct OpaquePayload {
  const unsigned char* app_id = nullptr;        // 16 bytes
  const vek_custom_options* options = nullptr;  // null: it came whole
  uint64_t first_word = 0;
  uint64_t second_word = 0;
  uint64_t size = 0;
  bool is_for_plugin = false;  // else of another application, and passed over
};

class StreamPrinter {
 public:
  virtual ~StreamPrinter() = default;

  virtual void begin() {}
  virtual void event(const StreamPlace& place, const StreamEvent& event) = 0;
  // A finished dictionary or list; `place` is that of its last event.
  virtual void dictionary(const StreamPlace& place, uint64_t timestamp_us,
                          const DataObject& root) = 0;
  virtual void opaque(const StreamPlace& place, const OpaquePayload& payload) = 0;
  // `error`: the page, or the file behind it, could not be read.
  virtual void problem(const StreamPlace& place, bool error, std::string_view text) = 0;

  std::string& text() { return text_; }

 protected:
  std::string text_;
};

std::unique_ptr<StreamPrinter> make_column_printer();
std::unique_ptr<StreamPrinter> make_json_printer();

// The value of an event as JSON text; empty for events without one. Numbers of the wrong size say
// so.
std::string event_value(const StreamEvent& event);
// "76b7d696-9d5a-4bc5-802f-2600d73a971b"
std::string app_id_text(const unsigned char* app_id);

}  // namespace vek::tools

#endif  // VEK_TOOLS_INSPECT_STREAM_PRINTER_H
