#include "tools/base/json_writer.h"

#include <algorithm>

#include "utils/json_scalars.h"

namespace vek::tools {

void JsonWriter::separate() {
  if (out_.empty()) return;
  const char last = out_.back();
  if (last != '{' && last != '[' && last != ':' && last != '\n') out_ += ',';
}

JsonWriter& JsonWriter::begin_object() {
  separate();
  out_ += '{';
  return *this;
}

JsonWriter& JsonWriter::end_object() {
  out_ += '}';
  return *this;
}

JsonWriter& JsonWriter::begin_array() {
  separate();
  out_ += '[';
  return *this;
}

JsonWriter& JsonWriter::end_array() {
  out_ += ']';
  return *this;
}

JsonWriter& JsonWriter::key(std::string_view name) {
  separate();
  append_json_string(name, out_);
  out_ += ':';
  return *this;
}

JsonWriter& JsonWriter::text(std::string_view value) {
  separate();
  append_json_string(value, out_);
  return *this;
}

JsonWriter& JsonWriter::number(uint64_t value) {
  separate();
  append_json_unsigned(value, out_);
  return *this;
}

JsonWriter& JsonWriter::real(double value) {
  separate();
  append_json_double(value, out_);
  return *this;
}

JsonWriter& JsonWriter::boolean(bool value) { return raw(value ? "true" : "false"); }

JsonWriter& JsonWriter::null() { return raw("null"); }

JsonWriter& JsonWriter::raw(std::string_view json) {
  separate();
  out_ += json;
  return *this;
}

std::string quote_integers(std::string_view json) {
  std::string out;
  bool inside_text = false;
  for (size_t at = 0; at < json.size(); ++at) {
    const char c = json[at];
    if (inside_text || (c != '-' && (c < '0' || c > '9'))) {
      out += c;
      if (c == '"') inside_text = !inside_text;
      if (c == '\\' && inside_text && at + 1 < json.size()) out += json[++at];
      continue;
    }
    const size_t end = std::min(json.find_first_not_of("0123456789+-.eE", at), json.size());
    const std::string_view number = json.substr(at, end - at);
    const bool is_integer = number.find_first_of(".eE") == std::string_view::npos;
    if (is_integer) out += '"';
    out += number;
    if (is_integer) out += '"';
    at = end - 1;
  }
  return out;
}

}  // namespace vek::tools
