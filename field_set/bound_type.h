// What binding makes of one type of one schema, and the tables that a field set keeps.
//
// Internal to field_set/: hosts see vek::FieldSet.
#ifndef VEK_FIELD_SET_BOUND_TYPE_H
#define VEK_FIELD_SET_BOUND_TYPE_H

#include <array>
#include <cstdint>
#include <forward_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "field_set/event_plan.h"
#include "field_set/field_set.h"
#include "field_set/field_set_observer.h"

namespace vek {

using SchemaIdBytes = std::array<uint8_t, VEK_SCHEMA_ID_SIZE>;

struct BoundType {
  field_set_t field_set{};
  std::string name;
  uint64_t record_size = 0;
  std::forward_list<std::string> texts;  // what the fields' names and type names point into
  size_t name_bytes = 0;                 // of the fields' names together

  // Positions in field_set.fields, and meta-field indexes, that have an alias.
  std::vector<size_t> aliased_fields;
  std::vector<int32_t> aliased_meta_fields;

  // Made at binding; made afresh on first use after the field set's tables changed.
  std::unique_ptr<EventPlan> plan;
  uint64_t plan_tables_version = 0;
};

// By the types' positions; null where none was bound.
struct BoundSchema {
  std::vector<std::unique_ptr<BoundType>> types;
};

// What a field-set file says, by event type name.
struct FieldSetTables {
  std::map<std::string, std::vector<std::string>> tokens_by_type;
  std::map<std::string, FieldSet::NameMap> meta_fields_aliases_by_type;
  std::map<std::string, FieldSet::NameMap> meta_fields_constants_by_type;
  std::vector<std::string> types_of_interest;
};

// A type that events named lately. Blocks repeat few types, so that a small direct-mapped table
// answers nearly always, after sixteen bytes and an index were compared.
struct RecentType {
  SchemaIdBytes schema_id{};
  uint16_t type_index = 0;
  BoundType* type = nullptr;
};

// Where in its file a line stands, from 1.
struct LinePlace {
  size_t number;
  size_t column;
};

struct FieldSetState {
  FieldSetObserver* observer = nullptr;  // while files are read and schemas are bound
  const std::vector<LinePlace>* line_places = nullptr;  // of the lines being loaded from a file
  FieldSetTables tables;
  uint64_t tables_version = 0;  // grows with every change of what plans are made from

  std::map<std::string, uint8_t> cache_ids;  // by identifier text
  std::vector<BoundSchema> schemas;          // by cache id
  const vek_schema_block_t* last_schema_block = nullptr;
  size_t bound_fields = 0;               // of all types
  size_t bound_name_bytes = 0;           // likewise
  const field_set_t* current = nullptr;  // the set built last
  std::vector<field_t> prepared_fields;

  static constexpr size_t kRecentTypes = 64;
  std::array<RecentType, kRecentTypes> recent{};

  // Of the schemas of the type system that was asked last, when each of them was known.
  struct SchemaIdentity {
    SchemaIdBytes digest;
    std::array<char, VEK_SCHEMA_ID_TEXT_SIZE> text;
    bool operator==(const SchemaIdentity&) const = default;
  };
  std::vector<SchemaIdentity> known_identities;

  // The schema manager asked last, and how many schemas it held: it only ever gains some.
  const SchemaManager* known_manager = nullptr;
  size_t known_manager_schemas = 0;

  // Called when tables or bindings change: recent types may be gone or out of date.
  void forget_recent() { recent.fill({}); }
  void tables_changed() {
    ++tables_version;
    forget_recent();
  }

  // -1 when the identifier is unknown.
  int32_t cache_id(const std::string& id_text) const;
  // -1, with the reason logged, when the header's schema is unknown or its index corrupted.
  int32_t cache_id(const vek_event_header_t& header, const vek_schema_block_t* block) const;
  BoundType* find_type(int32_t cache_id, uint64_t type_index) const;
  // Through the last schemas block; null, with the reason logged, when schema or type is unknown.
  BoundType* find_type(const vek_event_header_t& header);
  // The type's plan, made afresh when the tables changed since.
  EventPlan& plan_of(BoundType& type) const;
};

// A schema that came in a type system document carries its identifier as bytes only.
std::string schemaIdText(const vek_schema_t& schema);

}  // namespace vek

#endif  // VEK_FIELD_SET_BOUND_TYPE_H
