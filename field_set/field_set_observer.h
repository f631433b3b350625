// For whoever explains a field-set file to its author: what was made of each line, which types are
// of interest, and what each token did to each field. Watching changes nothing.
#ifndef VEK_FIELD_SET_FIELD_SET_OBSERVER_H
#define VEK_FIELD_SET_FIELD_SET_OBSERVER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "field_set/field_set.h"

namespace vek {

enum class FieldSetLineKind { kHeader, kMeta, kBadMeta, kToken };

struct FieldSetLine {
  size_t number = 0;      // from 1
  size_t column = 0;      // of `text`, from 1
  std::string_view text;  // without comment and outer white space; good during the call
  FieldSetLineKind kind = FieldSetLineKind::kToken;
  const std::vector<std::string>& types;  // whom the line is for; of a header, those it names
};

enum class FieldTokenEffect {
  kBadFilter,     // its filter cannot be split
  kShown,         // the field leaves because of it
  kAlreadyShown,  // it takes the field, but an earlier token did
  kExcluded,      // the field does not leave, whatever follows
};

class FieldSetObserver {
 public:
  virtual ~FieldSetObserver() = default;
  virtual void on_field_set_line(const FieldSetLine& line) = 0;
  // A type was bound; `field_set` is complete. `entry` is the name of the file that made it one of
  // interest: empty where every type is.
  virtual void on_type(const std::string& type, bool of_interest, const std::string& entry,
                       const field_set_t& field_set) = 0;
  virtual void on_field_token(const std::string& type, const std::string& token,
                              const field_t& field, FieldTokenEffect effect) = 0;
};

}  // namespace vek

#endif  // VEK_FIELD_SET_FIELD_SET_OBSERVER_H
