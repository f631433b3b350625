// A value tree to JSON text. Providers hash pretty-printed text: every byte counts.
#ifndef VEK_JSON_PRINTER_H
#define VEK_JSON_PRINTER_H

#include <string>

#include "json/value.h"

namespace vek::json {

enum class Layout {
  kCompact,  // no white space at all
  kPretty,   // four spaces a level, one member or element a line, no line break at the end
};

std::string print(const json_value_t& value, Layout layout);

}  // namespace vek::json

#endif  // VEK_JSON_PRINTER_H
