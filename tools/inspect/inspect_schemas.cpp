// The schemas that a recording names: whether they are known, and what uses them.
#include <map>
#include <tuple>

#include "data/printable.h"
#include "data/type_system.h"
#include "schema_manager/schema_manager.h"
#include "tools/base/harmless_text.h"
#include "tools/inspect/inspect_view.h"

namespace vek::tools {
namespace {

class SchemasView final : public InspectView {
 public:
  SchemasView(bool json, const vek_exporter_schema_manager_t& schemas)
      : json_(json), schemas_(schemas) {}

  void page(const InspectedPage& page) override {
    std::map<Key, bool> on_page;
    if (!vek_schema_id_is_unset(page.view.schema_id.data())) {
      const Key key{schema_id_text(page.view.schema_id.data()), false};
      on_page[key] = true;
      uses_[key];
    }
    for (const SeenBlock& block : page.blocks) {
      if (block.type == VEK_SCHEMAS_BLOCK) announce(page, block, on_page);
      const bool is_events = block.type == VEK_EVENTS_BLOCK;
      if ((!is_events && block.type != VEK_COUNTERS_BLOCK) || !block.schema_id) continue;
      Use& use = uses_[{schema_id_text(block.schema_id), is_events}];
      ++use.blocks;
      if (block.counters) use.counters = block.counters;
      if (!is_events) continue;
      use.events += block.count;
      Type& type = use.types[block.type_index];
      type.events += block.count;
      if (block.event_type) type.name = printable(block.event_type->name);
    }
    for (const auto& [key, unused] : on_page) ++uses_[key].pages;
  }

  void lost(std::string_view file, const LostBytes& lost) override {
    if (json_) append_lost(text_, file, lost);
  }

  void end_file(std::string_view file, const std::string&) override {
    if (!json_) heading(file);
    for (const auto& [key, use] : uses_) json_ ? object(file, key, use) : lines(key, use);
    uses_.clear();
  }

 private:
  struct Type {
    std::string name;  // empty: not known
    uint64_t events = 0;
  };
  struct Use {
    uint64_t pages = 0;
    uint64_t blocks = 0;
    uint64_t events = 0;
    const vek_counters_schema_t* counters = nullptr;
    std::map<uint16_t, Type> types;
  };
  struct Key {
    std::string id;
    bool is_events;
    bool operator<(const Key& other) const {
      return std::tie(id, is_events) < std::tie(other.id, other.is_events);
    }
  };
  // What is known of a schema.
  struct Known {
    bool is_known = false;
    std::string what;
  };

  void announce(const InspectedPage& page, const SeenBlock& block, std::map<Key, bool>& on_page) {
    const ByteReader bytes(page.image.subspan(block.offset, block.length));
    Bytes id;
    for (size_t at = VEK_BLOCK_HEADER_SIZE; bytes.slice(at, VEK_SCHEMA_ID_SIZE, id);
         at += VEK_SCHEMA_ID_SIZE) {
      on_page[{schema_id_text(id.data()), true}] = true;
    }
  }

  Known look_up(const Key& key, const Use& use) const {
    if (!key.is_events) {
      if (!use.counters) return {};
      const uint32_t count = vek_counters_schema_number_of_counters(use.counters);
      return {true, std::to_string(count) + " counters in " +
                        std::to_string(use.counters->num_groups) + " groups, " +
                        std::to_string(use.counters->size_of_counters) + " bytes"};
    }
    uint8_t index = 0;
    if (schemas_.has_schema_manager && schemas_.schema_manager) {
      uint8_t id[VEK_SCHEMA_ID_SIZE] = {};
      vek_schema_from_id_string(key.id.c_str(), id);
      const auto schema = schemas_.schema_manager->getEventsSchema(data::SchemaId(id));
      return schema ? describe(*schema) : Known{};
    }
    if (!schemas_.type_system ||
        !vek_type_system_find_schema(schemas_.type_system, key.id.c_str(), &index)) {
      return {};
    }
    return describe(*schemas_.type_system->schemas[index]);
  }

  static Known describe(const vek_schema_t& schema) {
    return {true, harmless(printable(schema.provider_name)) + ", " +
                      std::to_string(schema.num_types) + " types"};
  }

  void heading(std::string_view file) {
    text_ += std::string(file) + "\n";
    append_cell(text_, "", 0);
    append_cell(text_, "pages", 8, true);
    append_cell(text_, "blocks", 8, true);
    append_cell(text_, "events", 8, true);
    append_cell(text_, "schema", 32);
    append_cell(text_, "of", 8);
    text_ += "what\n";
  }

  void lines(const Key& key, const Use& use) {
    const Known known = look_up(key, use);
    append_cell(text_, "", 0);
    append_cell(text_, std::to_string(use.pages), 8, true);
    append_cell(text_, std::to_string(use.blocks), 8, true);
    append_cell(text_, key.is_events ? std::to_string(use.events) : "-", 8, true);
    append_cell(text_, key.id, 32);
    append_cell(text_, key.is_events ? "events" : "counters", 8);
    text_ += !schemas_.find_event_type ? "" : known.is_known ? known.what : "not known";
    end_line(text_);
    for (const auto& [index, type] : use.types) {
      append_cell(text_, "", 20);
      append_cell(text_, std::to_string(type.events), 8, true);
      text_ += "type " + std::to_string(index) + "  " + harmless(type.name);
      end_line(text_);
    }
  }

  void object(std::string_view file, const Key& key, const Use& use) {
    const Known known = look_up(key, use);
    JsonWriter json;
    begin_line(json, "schema", file)
        .member("schema_id", key.id)
        .member("of", key.is_events ? "events" : "counters")
        .member("known", known.is_known)
        .member("what", known.what)
        .member("pages", use.pages)
        .member("blocks", use.blocks)
        .member("events", use.events)
        .key("types")
        .begin_array();
    for (const auto& [index, type] : use.types) {
      json.begin_object().member("index", uint64_t{index}).key("name");
      type.name.empty() ? json.null() : json.text(type.name);
      json.member("events", type.events).end_object();
    }
    text_ += json.end_array().end_object().out() + "\n";
  }

  bool json_;
  const vek_exporter_schema_manager_t& schemas_;
  std::map<Key, Use> uses_;
};

}  // namespace

std::unique_ptr<InspectView> make_schemas_view(bool json,
                                               const vek_exporter_schema_manager_t& schemas) {
  return std::make_unique<SchemasView>(json, schemas);
}

}  // namespace vek::tools
