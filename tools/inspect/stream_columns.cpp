// Streams as columns.
#include <cinttypes>
#include <cstdio>
#include <vector>

#include "tools/base/harmless_text.h"
#include "tools/base/readable_time.h"
#include "tools/inspect/data_object_json.h"
#include "tools/inspect/stream_printer.h"
#include "utils/json_scalars.h"

namespace vek::tools {
namespace {

constexpr size_t kSourceWidth = 16;
constexpr size_t kTagWidth = 12;
constexpr size_t kKindWidth = 21;
constexpr size_t kKeyWidth = 6;
constexpr size_t kNameWidth = 14;

class ColumnPrinter final : public StreamPrinter {
 public:
  void begin() override {
    cell("page", 6, true);
    cell("source", kSourceWidth);
    cell("tag", kTagWidth);
    cell("event", kKindWidth);
    cell("key", kKeyWidth, true);
    cell("name", kNameWidth);
    text_ += "value\n";
  }

  void event(const StreamPlace& place, const StreamEvent& event) override {
    const char* type = python_event_type_to_string(event.type);
    const bool has_key = event.key_id != kNoKeyId && event.type != PYTHON_NEW_COLLECTION;
    const bool announces = event.type == PYTHON_ID;
    start(place, type);
    cell(has_key ? std::to_string(event.key_id) : "-", kKeyWidth, true);
    cell(!announces && event.name ? harmless(*event.name) : "-", kNameWidth);
    text_ += event.type == PYTHON_NEW_COLLECTION ? collection_value(event) : event_value(event);
    if (event.fate == EventFate::kIgnored) text_ += "  (ignored: no collection has begun)";
    if (event.fate == EventFate::kRefused) text_ += "  (refused)";
    end();
  }

  void dictionary(const StreamPlace& place, uint64_t timestamp_us,
                  const DataObject& root) override {
    start(place, root.type() == DATA_ITEM_LIST ? "= list" : "= dictionary");
    text_ += readable_time(timestamp_us) + "  ";
    append_json(root, text_);
    end();
  }

  void opaque(const StreamPlace& place, const OpaquePayload& payload) override {
    start(place, "opaque event");
    text_ += std::to_string(payload.size) + " bytes, app " + app_id_text(payload.app_id) +
             ", words " + std::to_string(payload.first_word) + " " +
             std::to_string(payload.second_word);
    text_ += payload.options ? ", options" : ", no options";
    if (payload.options) vek_dict_enum(payload.options, add_option, &text_);
    if (!payload.is_for_plugin) text_ += "  (of another application: passed over)";
    end();
  }

  // People find these on standard error.
  void problem(const StreamPlace&, bool, std::string_view) override {}

 private:
  static bool add_option(const char* key, const char* value, void* text) {
    *static_cast<std::string*>(text) += " " + harmless(key) + "=" + harmless(value);
    return true;
  }

  static std::string collection_value(const StreamEvent& event) {
    uint64_t time_us = 0;
    if (event.data.size() != sizeof(time_us) || !ByteReader(event.data).read(0, time_us)) {
      return event_value(event);
    }
    return readable_time(time_us);
  }

  void start(const StreamPlace& place, std::string_view kind) {
    cell(std::to_string(place.page), 6, true);
    cell(harmless(place.source_id), kSourceWidth);
    cell(harmless(place.tag), kTagWidth);
    cell(kind, kKindWidth);
  }

  void cell(std::string_view value, size_t width, bool right = false) {
    append_cell(text_, value, width, right);
  }
  void end() { end_line(text_); }
};

}  // namespace

std::unique_ptr<StreamPrinter> make_column_printer() { return std::make_unique<ColumnPrinter>(); }

std::string event_value(const StreamEvent& event) {
  std::string out;
  const ByteReader data(event.data);
  double real = 0;
  int64_t whole = 0;
  uint64_t time_us = 0;
  bool fits = true;
  switch (event.type) {
    case PYTHON_ID:
    case PYTHON_STRING:
      append_json_string({reinterpret_cast<const char*>(event.data.data()), event.data.size()},
                         out);
      break;
    case PYTHON_DOUBLE:
      fits = data.read(0, real);
      append_json_double(real, out);
      break;
    case PYTHON_LONG:
      fits = data.read(0, whole);
      append_json_signed(whole, out);
      break;
    case PYTHON_NEW_COLLECTION:
      fits = data.size() == sizeof(time_us) && data.read(0, time_us);
      append_json_unsigned(time_us, out);
      break;
    case PYTHON_BOOL_FALSE:
    case PYTHON_BOOL_TRUE:
      out = event.type == PYTHON_BOOL_TRUE ? "true" : "false";
      break;
    case PYTHON_NONE:
      out = "null";
      break;
    default:
      break;
  }
  if (!fits) out = "\"" + std::to_string(data.size()) + " bytes instead of 8\"";
  return out;
}

std::string app_id_text(const unsigned char* app_id) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (size_t i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kDigits[app_id[i] >> 4];
    text += kDigits[app_id[i] & 0x0f];
  }
  return text;
}

}  // namespace vek::tools
