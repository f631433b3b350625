// Streams as JSON, one object a line; "kind" says what it is.
#include "tools/base/json_writer.h"
#include "tools/inspect/data_object_json.h"
#include "tools/inspect/stream_printer.h"
#include "utils/json_scalars.h"

namespace vek::tools {
namespace {

const char* fate_text(EventFate fate) {
  if (fate == EventFate::kIgnored) return "ignored";
  return fate == EventFate::kRefused ? "refused" : "taken";
}

class JsonPrinter final : public StreamPrinter {
 public:
  void event(const StreamPlace& place, const StreamEvent& event) override {
    start("event", place);
    member("type", python_event_type_to_string(event.type));
    if (event.key_id != kNoKeyId && event.type != PYTHON_NEW_COLLECTION) {
      number("key_id", event.key_id);
    }
    if (event.name && event.type != PYTHON_ID) member("name", *event.name);
    const std::string value = event_value(event);
    if (!value.empty()) text_ += ",\"value\":" + value;
    member("fate", fate_text(event.fate));
    text_ += "}\n";
  }

  void dictionary(const StreamPlace& place, uint64_t timestamp_us,
                  const DataObject& root) override {
    start("dictionary", place);
    number("timestamp", timestamp_us);
    text_ += ",\"root\":";
    append_json(root, text_);
    text_ += "}\n";
  }

  void opaque(const StreamPlace& place, const OpaquePayload& payload) override {
    start("opaque", place);
    member("app_id", app_id_text(payload.app_id));
    text_ += payload.is_for_plugin ? ",\"for_plugin\":true" : ",\"for_plugin\":false";
    number("first_word", payload.first_word);
    number("second_word", payload.second_word);
    number("size", payload.size);
    text_ += ",\"options\":";
    if (payload.options) {
      Options options{text_, true};
      text_ += '{';
      vek_dict_enum(payload.options, add_option, &options);
      text_ += '}';
    } else {
      text_ += "null";
    }
    text_ += "}\n";
  }

  void problem(const StreamPlace& place, bool error, std::string_view text) override {
    start("problem", place);
    member("level", error ? "error" : "warning");
    member("text", text);
    text_ += "}\n";
  }

 private:
  struct Options {
    std::string& text;
    bool first;
  };

  static bool add_option(const char* key, const char* value, void* context) {
    Options& options = *static_cast<Options*>(context);
    if (!options.first) options.text += ',';
    options.first = false;
    append_json_string(key, options.text);
    options.text += ':';
    append_json_string(value, options.text);
    return true;
  }

  void start(std::string_view kind, const StreamPlace& place) {
    text_ += "{\"schema_version\":" + std::to_string(kJsonSchemaVersion) + ",\"kind\":";
    append_json_string(kind, text_);
    member("file", place.file);
    number("page", place.page);
    member("source", place.source_id);
    member("tag", place.tag);
  }
  void member(std::string_view key, std::string_view value) {
    text_ += ",\"";
    text_ += key;
    text_ += "\":";
    append_json_string(value, text_);
  }
  void number(std::string_view key, uint64_t value) {
    text_ += ",\"";
    text_ += key;
    text_ += "\":";
    append_json_unsigned(value, text_);
  }
};

}  // namespace

std::unique_ptr<StreamPrinter> make_json_printer() { return std::make_unique<JsonPrinter>(); }

}  // namespace vek::tools
