// vek::SchemaManager: the one place from which schemas are had by identifier.
//
// It holds the schemas of the type systems appended to it, and loads others from a directory of
// "schema_<identifier>.json" files. Thread-safe: one mutex is held for the whole of every public
// operation, file loading included. Pointers handed out stay valid after the manager is gone; those
// from a type system keep that whole type system alive.
#ifndef VEK_SCHEMA_MANAGER_SCHEMA_MANAGER_H
#define VEK_SCHEMA_MANAGER_SCHEMA_MANAGER_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "counters/counters_schema.h"
#include "data/schema.h"
#include "data/schema_id.h"
#include "data/type_system.h"

namespace vek {

class VEK_API SchemaManager {
 public:
  // Throws std::runtime_error when the built-in schema cannot be made.
  SchemaManager();

  // No other manager of this process has it, or had it.
  uint64_t serial() const { return serial_; }

  void setSchemaDir(const std::string& dir);
  const vek_schema_t* getBuiltinSchema() const;

  // Empty, with a line at most every ten seconds, when nothing is found. What was found once stays.
  std::shared_ptr<vek_counters_schema_t> getCountersSchema(const data::SchemaId& id);
  std::shared_ptr<vek_schema_t> getEventsSchema(const data::SchemaId& id);

  // The events schemas held now, in the order of their identifiers' texts. Schemas are never given
  // up, so an unchanged count means that there is nothing new.
  using EventsSchemas = std::vector<std::pair<data::SchemaId, std::shared_ptr<vek_schema_t>>>;
  EventsSchemas getEventsSchemas();
  size_t countEventsSchemas();

  // Schemas whose identifier is known already are not replaced. Throws std::runtime_error when an
  // identifier cannot be worked out, or the text is no type system.
  void appendTypeSystem(const std::shared_ptr<const vek_type_system_t>& type_system);
  void appendTypeSystem(const std::string& text);

  // Called with the mutex held.
  std::shared_ptr<vek_counters_schema_t> tryLoadCountersSchema(const data::SchemaId& id);
  std::shared_ptr<vek_schema_t> tryLoadEventsSchema(const data::SchemaId& id);

 private:
  const uint64_t serial_;
  std::string schema_dir_;
  std::mutex mutex_;                       // guards everything below, and schema_dir_
  std::shared_ptr<vek_schema_t> builtin_;  // parent of every schema loaded from a file
  std::vector<std::shared_ptr<const vek_type_system_t>> type_systems_;
  std::unordered_map<data::SchemaId, std::shared_ptr<vek_counters_schema_t>> counters_schemas_;
  std::unordered_map<data::SchemaId, std::shared_ptr<vek_schema_t>> events_schemas_;
};

}  // namespace vek

#endif  // VEK_SCHEMA_MANAGER_SCHEMA_MANAGER_H
