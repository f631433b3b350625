// JsonWriter: JSON text, member by member, with exact 64-bit integers.
#ifndef VEK_TOOLS_BASE_JSON_WRITER_H
#define VEK_TOOLS_BASE_JSON_WRITER_H

#include <cstdint>
#include <string>
#include <string_view>

namespace vek::tools {

// The version of what every verb prints with --json. It grows when a member changes its meaning or
// goes away, not when one is added.
inline constexpr uint64_t kJsonSchemaVersion = 1;

class JsonWriter {
 public:
  JsonWriter& begin_object();
  JsonWriter& end_object();
  JsonWriter& begin_array();
  JsonWriter& end_array();
  JsonWriter& key(std::string_view name);
  JsonWriter& text(std::string_view value);
  JsonWriter& number(uint64_t value);
  JsonWriter& real(double value);
  JsonWriter& boolean(bool value);
  JsonWriter& null();
  // A value that is JSON already.
  JsonWriter& raw(std::string_view json);

  JsonWriter& member(std::string_view name, std::string_view value) {
    return key(name).text(value);
  }
  JsonWriter& member(std::string_view name, const char* value) { return key(name).text(value); }
  JsonWriter& member(std::string_view name, uint64_t value) { return key(name).number(value); }
  JsonWriter& member(std::string_view name, bool value) { return key(name).boolean(value); }

  const std::string& out() const { return out_; }

 private:
  void separate();

  std::string out_;
};

// The same JSON with its integers quoted, for readers that keep numbers as doubles and round.
std::string quote_integers(std::string_view json);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_JSON_WRITER_H
