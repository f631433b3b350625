// For whoever explains a counter-set file to its author: what was made of each line, and what each
// token did to each counter. Watching changes nothing.
#ifndef VEK_COUNTERS_COUNTER_SET_OBSERVER_H
#define VEK_COUNTERS_COUNTER_SET_OBSERVER_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "counters/counter_set.h"

namespace vek {

enum class CounterSetLineKind {
  kEmpty,
  kIgnored,  // it begins with "["
  kNul,      // it holds a NUL character, and is ignored
  kMeta,     // a meta field
  kBadMeta,  // a meta field that could not be kept
  kToken,
};

struct CounterSetLine {
  size_t number = 0;      // from 1
  size_t column = 0;      // of `text`, from 1
  std::string_view text;  // without comment and outer white space; good during the call
  CounterSetLineKind kind = CounterSetLineKind::kEmpty;
};

enum class CounterTokenEffect {
  kMalformed,     // it is neither "filter" nor "alias=filter"
  kBadFilter,     // its filter cannot be split
  kShown,         // the counter leaves because of it, under its alias where it has one
  kAlreadyShown,  // it takes the counter, but an earlier token did
  kExcluded,      // the counter does not leave, whatever follows
};

class CounterSetObserver {
 public:
  virtual ~CounterSetObserver() = default;
  virtual void on_counter_set_line(const CounterSetLine& line) = 0;
  // `token`: its position among the lines that are tokens; `counter`: its position in the set.
  virtual void on_counter_token(uint64_t token, uint64_t counter, CounterTokenEffect effect) = 0;
};

// vek_schema_to_counter_set for a file, watched.
vek_counter_set_t* make_counter_set(const vek_counters_schema_t* schema, const char* file_name,
                                    CounterSetObserver* observer);

}  // namespace vek

#endif  // VEK_COUNTERS_COUNTER_SET_OBSERVER_H
