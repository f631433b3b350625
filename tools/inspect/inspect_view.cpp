#include "tools/inspect/inspect_view.h"

#include "tools/base/readable_time.h"

namespace vek::tools {

JsonWriter& begin_line(JsonWriter& json, std::string_view kind, std::string_view file) {
  return json.begin_object()
      .member("schema_version", kJsonSchemaVersion)
      .member("kind", kind)
      .member("file", file);
}

void write_fault(JsonWriter& json, const PageFault* fault) {
  json.key("fault");
  if (!fault) {
    json.null();
    return;
  }
  json.begin_object()
      .member("kind", fault->kind == PageFault::Kind::kBroken ? "broken" : "unknown")
      .member("offset", uint64_t{fault->offset})
      .member("text", fault->what)
      .end_object();
}

void append_lost(std::string& out, std::string_view file, const LostBytes& lost) {
  JsonWriter json;
  begin_line(json, "lost", file)
      .member("offset", lost.offset)
      .member("bytes", lost.bytes)
      .member("cut_page", lost.is_cut_page)
      .member("text", lost.why)
      .end_object();
  out += json.out() + "\n";
}

std::string time_text(const std::optional<uint64_t>& time_us) {
  return time_us ? readable_time(*time_us) : "-";
}

void write_time(JsonWriter& json, std::string_view name, const std::optional<uint64_t>& time_us) {
  json.key(name);
  if (time_us) {
    json.number(*time_us);
  } else {
    json.null();
  }
}

void write_schema_id(JsonWriter& json, const uint8_t* id) {
  json.key("schema_id");
  if (id && !vek_schema_id_is_unset(id)) {
    json.text(schema_id_text(id));
  } else {
    json.null();
  }
}

}  // namespace vek::tools
