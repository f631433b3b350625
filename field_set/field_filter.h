// Which fields of a type leave: the tokens of a field-set file applied to its field list.
#ifndef VEK_FIELD_SET_FIELD_FILTER_H
#define VEK_FIELD_SET_FIELD_FILTER_H

#include <string>
#include <vector>

#include "field_set/field_set.h"
#include "field_set/field_set_observer.h"

namespace vek {

// Sets `skip` and `order` of every field, and the count of those included. No tokens include all.
// With `reset`, tokens start from no field; without it, from what is included already (which is not
// counted). A token whose filter cannot be split has no effect.
void Filter(field_set_t& field_set, const std::vector<std::string>& tokens, bool reset);

// The same for the fields of a type, watched.
void FilterWatched(field_set_t& field_set, const std::vector<std::string>& tokens, bool reset,
                   const std::string& type, FieldSetObserver* observer);

}  // namespace vek

#endif  // VEK_FIELD_SET_FIELD_FILTER_H
