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

// One to three groups of fewer than so many counters each.
CountersSchema counters_schema(Supply& supply, uint32_t counters = 16);
// How much there is in a made-up type system: each stays below.
struct Extent {
  uint32_t counters = 16;  // of a group
  uint32_t types = 5;
  uint32_t fields = 9;  // of a type
};
// Counters, and one events schema of types that may nest. Its identifiers are digests of nothing:
// making the real ones takes longer than all else, and the targets of schema documents do it.
TypeSystem type_system(Supply& supply, const Extent& extent = {});
// Microseconds, three times of four of these years: those of less than five bytes are packed anew
// each time. Within what a double's seconds can say.
uint64_t time_of(Supply& supply);
// Lines of a counter-set or field-set file out of few names, so that they meet what they name.
std::string rule_lines(Supply& supply);

}  // namespace vek::fuzz

#endif  // VEK_FUZZ_GENERATED_H
