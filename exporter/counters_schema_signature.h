// A byte text that is the same for two counters schemas exactly when their identifiers are worked
// out from the same things.
//
// An identifier costs a whole JSON document and its MD5; a signature costs one pass over the
// schema, so it can be made for every page to find the identifier worked out before.
#ifndef VEK_EXPORTER_COUNTERS_SCHEMA_SIGNATURE_H
#define VEK_EXPORTER_COUNTERS_SCHEMA_SIGNATURE_H

#include <string>

#include "counters/counters_schema.h"

namespace vek {

// Replaces `out`, whose capacity is reused.
void makeCountersSchemaSignature(const vek_counters_schema_t& schema, std::string& out);

}  // namespace vek

#endif  // VEK_EXPORTER_COUNTERS_SCHEMA_SIGNATURE_H
