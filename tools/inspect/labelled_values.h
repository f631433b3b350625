// The values of a counters block and of an event, by the fields of their schemas.
#ifndef VEK_TOOLS_INSPECT_LABELLED_VALUES_H
#define VEK_TOOLS_INSPECT_LABELLED_VALUES_H

#include <string>
#include <vector>

#include "counters/counters_schema.h"
#include "data/byte_reader.h"
#include "data/schema.h"
#include "tools/inspect/labelled_bytes.h"

namespace vek::tools {

// In the order of their places. `page` is a whole image; the values lie in [start, end).
std::vector<LabelledBytes> label_counters(const vek_counters_schema_t& schema, ByteReader page,
                                          size_t start, size_t end);
// One event, at `start`. Schemas may lie about places: fields outside the event are left out.
std::vector<LabelledBytes> label_event(const vek_type_definition_t& type, const std::string& name,
                                       ByteReader page, size_t start);

}  // namespace vek::tools

#endif  // VEK_TOOLS_INSPECT_LABELLED_VALUES_H
