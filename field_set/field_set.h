// vek::FieldSet: which fields of which event types leave, under which names; and the conversion of
// event records to msgpack by that choice.
//
// Life: created empty, loaded once from a field-set file or from lines (field_set_file.cpp), bound
// to event schemas now and whenever a page names a new one (schema_binding.cpp), then asked to pack
// events (event_msgpack.cpp). Binding works out everything that does not change from event to
// event.
//
// One field set serves one exporter and is used from the thread that exports pages. Not copyable.
#ifndef VEK_FIELD_SET_FIELD_SET_H
#define VEK_FIELD_SET_FIELD_SET_H

#include <msgpack.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_page.h"
#include "data/schema.h"
#include "data/type_system.h"
#include "schema_manager/schema_manager.h"
#include "utils/export.h"
#include "utils/record_layout.h"

namespace vek {

// One exported leaf value of an event type. Copies share the texts, which are good until the type
// is bound again or the field set goes.
struct field_t {
  uint64_t name_len;
  char* name;             // owned by the field set: the flattened path, such as "b.d" or "ports.0"
  char* type_name;        // owned by the field set
  uint64_t data_str_len;  // length of the text when a character array is packed
  uint32_t array_length;
  int32_t field_type;  // vek_builtin_type_t
  uint64_t offset;     // bytes from the start of the record
  bool skip;           // not exported
  uint32_t counting_mode;
  uint64_t order;  // 1-based position among included fields; 0 when never included. Not withdrawn
                   // when a later token excludes the field: consumers keep earlier numbers.
};

// The fields of one event type of one schema, in flattening order.
struct field_set_t {
  std::vector<field_t> fields;
  uint64_t num_included;
  bool skip_empty_strings;
};

class EventPlan;
class FieldSetObserver;
class MsgpackBuffer;
struct FieldSetState;

class VEK_API FieldSet {
 public:
  using NameMap = std::map<std::string, std::string>;

  FieldSet();
  ~FieldSet();
  FieldSet(const FieldSet&) = delete;
  FieldSet& operator=(const FieldSet&) = delete;

  // --- Loading. False only when a file cannot be opened; the tables then stay as they were.
  bool LoadFromFile(const std::string& path);
  // Merges already-cleaned lines into the tables.
  void loadFromLines(std::vector<std::string> lines);
  void UpdateTypesOfInterest();
  bool initializeFromFile(const vek_schema_t* schema, const char* path);
  bool initializeFromFile(const vek_type_system_t* type_system, const char* path);
  void initializeFromLines(const vek_schema_t* schema, std::vector<std::string> lines);
  void initializeFromLines(const vek_type_system_t* type_system, std::vector<std::string> lines);
  static std::string trim_white_space_cpp_string(const std::string& text);

  // The tables, by event type name.
  const std::map<std::string, std::vector<std::string>>& tokens_by_type() const;
  const std::map<std::string, NameMap>& meta_fields_aliases_by_type() const;
  const std::map<std::string, NameMap>& meta_fields_constants_by_type() const;
  // Patterns in the order of the map; empty means that every type is of interest.
  const std::vector<std::string>& types_of_interest() const;
  // Default output names of the meta fields, by index: 0 "timestamp", 1 "type", 2 "type_name",
  // 3 "source".
  static const std::map<int32_t, std::string>& meta_field_names();

  // Told of what is read and bound from now on (field_set_observer.h); null for nobody. Not owned.
  void setObserver(FieldSetObserver* observer);

  // --- Binding.
  void updateWithNewSchema(const vek_schema_t* schema);
  // With `force`, known schemas are bound again under the cache id that they have.
  void updateWithNewSchemas(const vek_type_system_t* type_system, bool force);
  // Also asks the manager for the schemas that the saved schemas block names.
  void updateWithNewSchemas_kix(SchemaManager* schema_manager);
  // Remembers the block (not owned) until the next call; null forgets it. The caller has checked
  // that the block lies whole inside its page.
  void SaveLastSchemaBlock(const vek_schema_block_t* block);

  // --- Look-ups. Cache ids are 0 to 255; -1 when the schema is unknown or the block corrupted.
  int32_t GetSchemaId(const vek_schema_t* schema) const;
  int32_t GetSchemaId(const char (&id)[VEK_SCHEMA_ID_TEXT_SIZE]) const;
  int32_t GetSchemaId(const vek_event_header_t* header, const vek_schema_block_t* block) const;
  int32_t GetSchemaId(const vek_event_header_t* header) const;
  // Bytes of one record of the block's type; 0 when schema or type is unknown.
  uint64_t GetTypeSize(const vek_event_header_t* header) const;
  uint64_t GetTypeSize(const vek_event_header_t* header, const vek_schema_block_t* block) const;
  std::vector<field_t> getFields(const vek_event_header_t* header,
                                 const vek_schema_block_t* block) const;
  std::vector<field_t> getFields(const vek_schema_t* schema, uint8_t type_id) const;
  // Copies the fields of a cached type into the working vector; empties it for an unknown one.
  void PrepareAccess(uint8_t schema_id, uint16_t type_id);
  const std::vector<field_t>& prepared_fields() const;
  // The type bound last; see below for others.
  void PrintFieldSet() const;
  static void PrintFieldSet(const field_set_t* field_set);

  // --- Packing. Empties `buffer` (without freeing what it held), then packs one event of at least
  // GetTypeSize(header) bytes; the buffer stays empty when nothing is to be sent. The caller frees
  // buffer->data.
  void MsgPackToSimpleBuffer(msgpack_sbuffer* buffer, const uint8_t* event,
                             const vek_event_header_t* header, const char* source,
                             const char* layout);
  // Packs one meta field of a "flb_std" record, unless `used_keys` says that a field of the event
  // has taken its key. A null alias stands for the default name.
  static void msgpackMetaField(msgpack_packer* packer, int index, const char* alias,
                               const std::map<std::string, bool>& used_keys,
                               const std::string& type_name, uint64_t timestamp,
                               const char* source);

  // --- Packing whole blocks: find the plan once a block, pack one event after the other by it.
  // The plan of the block's type, good until the next load or binding; null, with the reason
  // logged, when schema or type is unknown.
  EventPlan* findPlan(const vek_event_header_t* header);
  // The record of an event of at least plan.record_size() bytes, valid until the next call with the
  // same plan; empty when nothing is to be sent or memory ran out. A source at null: there is none.
  static std::string_view packNextEvent(EventPlan& plan, const uint8_t* event,
                                        uint64_t timestamp_us, std::string_view source,
                                        RecordLayout layout);
  // The same from the start of a buffer, with nothing taken from the event before; its size, or 0.
  static size_t packEvent(MsgpackBuffer& buffer, const EventPlan& plan, const uint8_t* event,
                          uint64_t timestamp_us, const char* source, const char* layout);

 private:
  std::unique_ptr<FieldSetState> state_;
};

}  // namespace vek

#endif  // VEK_FIELD_SET_FIELD_SET_H
