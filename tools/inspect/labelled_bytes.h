// The bytes of a page, field by field.
#ifndef VEK_TOOLS_INSPECT_LABELLED_BYTES_H
#define VEK_TOOLS_INSPECT_LABELLED_BYTES_H

#include <cstddef>
#include <string>
#include <vector>

#include "tools/pages/inspected_page.h"

namespace vek::tools {

struct LabelledBytes {
  enum class Look { kMagic, kStructure, kTime, kIdentity, kValue, kUnused };

  size_t offset = 0;  // in the page
  size_t length = 0;
  Look look = Look::kUnused;
  std::string label;
  std::string value;  // as JSON; empty where there is none
};

// Every byte of the page, once, in order. Values of counters and events are told apart where their
// schemas are known.
std::vector<LabelledBytes> label_bytes(const InspectedPage& page);

}  // namespace vek::tools

#endif  // VEK_TOOLS_INSPECT_LABELLED_BYTES_H
