// The steps in which a counter set is built. Internal to the folder; counter_set.cpp puts them in
// order.
#ifndef VEK_COUNTERS_COUNTER_SET_BUILD_H
#define VEK_COUNTERS_COUNTER_SET_BUILD_H

#include "counters/counter_set.h"
#include "counters/counter_set_observer.h"
#include "utils/owned.h"
#include "utils/string_array.h"

namespace vek {

using CounterSet = Owned<vek_counter_set_t, vek_free_counter_set>;
using StringArray = Owned<vek_string_array_t, vek_free_string_array>;

// Reads a counter-set file: its meta fields are appended to the set, its tokens to `tokens`.
// 1 when the file was read, -1 when it could not be.
int read_cset_file(const char* path, vek_counter_set_t* set, StringArray& tokens,
                   CounterSetObserver* observer = nullptr);

// Each appends one meta element with copies of its texts; false leaves the set unchanged.
// An alias of "timestamp", "source" or "type" is that of a built-in record field, any other one
// that of a counter; it stays unseen until bind_meta_fields finds what it stands for.
bool append_meta_alias(vek_counter_set_t* set, const char* source_name, const char* output_name);
bool append_meta_constant(vek_counter_set_t* set, const char* output_name, const char* constant);

// Skips every counter, then shows those that a token selects, under the token's alias. False when
// memory ran out on the way, which leaves the set unfit for use.
[[nodiscard]] bool apply_tokens(vek_counter_set_t* set, const vek_string_array_t* tokens,
                                CounterSetObserver* observer = nullptr);

// Finds the counters that aliases stand for, hides what would clash, and counts what is shown.
// Runs after the tokens: clashes are with the names under which counters go out.
void bind_meta_fields(vek_counter_set_t* set);

}  // namespace vek

#endif  // VEK_COUNTERS_COUNTER_SET_BUILD_H
