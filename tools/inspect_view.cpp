#include "tools/inspect_view.h"

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

}  // namespace vek::tools
