// JSON text of decoded dictionaries.
#ifndef VEK_TOOLS_INSPECT_DATA_OBJECT_JSON_H
#define VEK_TOOLS_INSPECT_DATA_OBJECT_JSON_H

#include <string>

#include "dict_reader/data_object.h"

namespace vek::tools {

// Appends the value with everything below it, members in their order, a child without a name under
// the empty one. Not recursive: depth costs no stack.
void append_json(const DataObject& root, std::string& out);

}  // namespace vek::tools

#endif  // VEK_TOOLS_INSPECT_DATA_OBJECT_JSON_H
