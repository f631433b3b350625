// Type systems and field-set files that an input asks for.
#ifndef VEK_FUZZ_GENERATED_H
#define VEK_FUZZ_GENERATED_H

#include <string>

#include "counters/counter_set.h"
#include "data/type_system.h"
#include "fuzz/support.h"
#include "utils/owned.h"

namespace vek::fuzz {

using CountersSchema = Owned<vek_counters_schema_t, vek_destroy_counters_schema>;
using CounterSet = Owned<vek_counter_set_t, vek_free_counter_set>;
using TypeSystem = Owned<vek_type_system_t, vek_destroy_type_system>;

// One to three groups of up to 15 counters each.
CountersSchema counters_schema(Supply& supply);
// Counters, and one events schema of one to four types that may nest; identifiers are worked out.
TypeSystem type_system(Supply& supply);
// Lines of a counter-set or field-set file out of few names, so that they meet what they name.
std::string rule_lines(Supply& supply);

}  // namespace vek::fuzz

#endif  // VEK_FUZZ_GENERATED_H
