// What leaves for a destination, by schema: names and kinds of values.
#ifndef VEK_TOOLS_CONFIG_EXPORTED_NAMES_H
#define VEK_TOOLS_CONFIG_EXPORTED_NAMES_H

#include <string>
#include <string_view>
#include <vector>

#include "counters/counter_set.h"
#include "field_set/field_set.h"

namespace vek::tools {

enum class ValueKind { kInteger, kReal, kText, kBoolean };

inline constexpr std::string_view kFromCounters = "counters";

struct ExportedName {
  std::string name;
  ValueKind kind;
  std::string from;  // kFromCounters, or the type of event
};

using ExportedNames = std::vector<ExportedName>;

const char* value_kind_text(ValueKind kind);
void append_exported(const vek_counter_set_t& set, ExportedNames& out);
void append_exported(const std::string& type, const field_set_t& field_set, ExportedNames& out);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CONFIG_EXPORTED_NAMES_H
