// Binds schemas: each of their types is flattened, filtered, and given its aliases and its plan.
#ifndef VEK_FIELD_SET_SCHEMA_BINDER_H
#define VEK_FIELD_SET_SCHEMA_BINDER_H

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "field_set/bound_type.h"
#include "field_set/flattening.h"

namespace vek {

class SchemaBinder {
 public:
  // What the schemas come from decides the words of one message, and whether some types skip empty
  // texts.
  enum class Origin { kSchema, kTypeSystem, kManager };

  struct Candidate {
    std::string id_text;
    const vek_schema_t* schema;
    unsigned index;  // in its type system
  };

  SchemaBinder(FieldSetState& state, Origin origin,
               const FlatteningLimits& limits = kFieldSetLimits)
      : state_(state), origin_(origin), limits_(limits) {}

  // Binds the schemas in order, each under the cache id that it has or gets.
  void bind(const std::vector<Candidate>& candidates);

 private:
  using Names = std::set<std::string>;

  uint8_t cache_id_for(const std::string& id_text);
  void bind_schema(const Candidate& candidate);
  void put_in_place(std::unique_ptr<BoundType>& place, std::unique_ptr<BoundType> bound);
  void bind_type(BoundType& bound, const vek_type_definition_t& type);
  // False, with an error, when the type is refused.
  bool flatten(BoundType& bound, const vek_type_definition_t& type, Names& names);
  void log_missing_type(const Candidate& candidate, unsigned type_index) const;

  // `entry`: the name in the file that made it one; empty where every type is of interest.
  bool isTypeOfInterest(const std::string& type_name, const Names& names, std::string& entry);
  void copyTables(const std::string& from, const std::string& to);
  std::vector<std::string> tokensOf(const std::string& type_name);
  void FillAliases(BoundType& bound) const;

  FieldSetState& state_;
  Origin origin_;
  FlatteningLimits limits_;
  size_t steps_left_ = 0;  // of the schema being bound
};

}  // namespace vek

#endif  // VEK_FIELD_SET_SCHEMA_BINDER_H
