// Flattening: a type of nested types and arrays becomes one list of leaf values.
//
// Schema documents are written by others, so that a type may say anything: fields outside its
// records, types inside themselves, arrays of arrays without end. Flattening refuses what a record
// of the type's size could not hold.
#ifndef VEK_FIELD_SET_FLATTENING_H
#define VEK_FIELD_SET_FLATTENING_H

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "data/schema.h"
#include "field_set/bound_type.h"

namespace vek {

// Far above what providers send; a type beyond any of these is refused instead of exhausting memory
// or time.
struct FlatteningLimits {
  size_t fields = 1'000'000;
  size_t name_bytes = 64u << 20;  // of all path names together
  size_t steps = 2'000'000;       // fields and array elements looked at, empty types included
  size_t depth = 512;             // nested types
};
// What all types of a field set may have together, and the steps that one schema may take.
inline constexpr FlatteningLimits kFieldSetLimits{
    .fields = 2'000'000, .name_bytes = 128u << 20, .steps = 4'000'000};

class Flattener {
 public:
  explicit Flattener(BoundType& out, const FlatteningLimits& limits = {})
      : out_(out), limits_(limits) {}

  // Empties the field set being built and fills it with the leaves of `type`, depth first in
  // declaration order; `names` gains the name of every type used anywhere inside. False when the
  // type is refused; error() then says why, and the field set is empty.
  bool GetAllTypeNames(const vek_type_definition_t& type, std::set<std::string>& names);
  const std::string& error() const { return error_; }
  // Used up so far, also by a type that was refused.
  size_t steps() const { return steps_; }

 private:
  using Field = vek_type_field_definition_t;
  using Names = std::set<std::string>;

  bool ProcessEventType(const vek_type_definition_t& type, const std::string& prefix, uint64_t base,
                        Names& names);
  bool ProcessEventFields(const vek_type_definition_t& type, const std::string& prefix,
                          uint64_t base, Names& names);
  bool ProcessEventField(const Field& field, const std::string& prefix, uint64_t base,
                         Names& names);
  bool ProcessEventFieldScalar(const Field& field, const std::string& path, uint64_t base,
                               Names& names);
  bool ProcessEventFieldArray(const Field& field, const std::string& path, uint64_t base,
                              Names& names);
  bool AppendField(const Field& field, const std::string& name, uint64_t base);

  bool take_step();
  bool refuse(std::string reason);

  BoundType& out_;
  FlatteningLimits limits_;
  std::vector<const vek_type_definition_t*> open_types_;  // from the outermost in
  uint64_t record_size_ = 0;
  size_t steps_ = 0;
  std::string error_;
};

}  // namespace vek

#endif  // VEK_FIELD_SET_FLATTENING_H
