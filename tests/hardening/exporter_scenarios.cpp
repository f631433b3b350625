// Scenarios of the plug-in: schemas by their manager, field sets, dictionary streams, and the API
// record from "init" to "destroy".
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "data/opaque_events_writer.h"
#include "data/page_writer.h"
#include "dict_reader/cache_context.h"
#include "dict_reader/dict_msgpack.h"
#include "dict_reader/dictionary_stream_writer.h"
#include "exporter/exp_file_reader.h"
#include "exporter/exporter_api.h"
#include "exporter/exporters_array.h"
#include "exporter/fluent_aggr.h"
#include "schema_manager/fillings.h"
#include "schema_manager/schema_manager.h"
#include "tests/hardening/record_sink.h"
#include "tests/hardening/scenario.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/msgpack_json.h"
#include "tests/support/schema_documents.h"

namespace vek::test {
namespace {

using Image = std::vector<uint8_t>;
using Images = std::vector<Image>;
using Api = vek_exporter_api_t;

// --- What a provider has: made once, outside of what fails.

struct Provider {
  std::shared_ptr<vek_type_system_t> types = typeSystem({"rx", "tx"});
  std::string document;
  std::string counters_id;
  std::string events_id;
  Image counters_page;
  Image events_page;
  DictionaryStreamWriter stream{{.source_id = "s", .tag = "dict_x", .event_size = 80}};
  Images stream_pages;
  OpaqueEventsWriter opaque{
      {.source_id = "s", .tag = kFluentAggrTag, .app_id = kFluentAggrAppId, .event_size = 100}};
  Images opaque_pages;

  Provider() {
    const vek_schema_t* schema = addEvents(*types, "link", "uint32_t");
    document = JsonText(vek_type_system_serialize(types.get(), true)).get();
    counters_id = countersIdOf(*types->counters_schema);
    events_id = schema->id_string;
    PageWriter counters("source", "");
    uint8_t id[VEK_SCHEMA_ID_SIZE];
    EXPECT_TRUE(vek_calc_counters_schema_id(id, types->counters_schema));
    counters.set_counters_schema_id(id);
    counters.counters_block(1'500'000, values({7, 300}));
    counters_page = counters.finish();
    PageWriter events("source", "");
    events.schemas_block(Images{Image(schema->digest, schema->digest + VEK_SCHEMA_ID_SIZE)});
    const uint8_t two[8] = {1, 0, 0, 0, 2, 0, 0, 0};
    events.events_block(1'500'000, 0, 0, 2, two);
    events_page = events.finish();
    write_stream();
    EXPECT_TRUE(opaque.extended(1, {1, 2}, {{kFluentAggrTagOption, "t"}},
                                Image{0x92, 0x01, 0x81, 0xa1, 'a', 0x05}));
    opaque_pages = opaque.take_pages();
  }

  void write_stream() {
    bool good = stream.new_collection(1'500'000) && stream.dict_start();
    good = good && stream.add_string("name", std::string(150, 'x')) && stream.add_long("n", 7);
    good = good && stream.list_start("list") && stream.add_double("", 2.5) && stream.list_end();
    good = good && stream.add_bool("b", true) && stream.add_none("nil") && stream.dict_end();
    EXPECT_TRUE(good);
    stream_pages = stream.take_pages();
  }
};

const Provider& provider() {
  static const Provider* const made = [] {
    const AllocationsWork own;
    return new Provider;
  }();
  return *made;
}

const std::string& schema_folder() {
  static const std::string folder = [] {
    const AllocationsWork own;
    const Provider& from = provider();
    scratch_file("dir/schema_" + from.counters_id + ".json",
                 JsonText(vek_counters_schema_serialize(from.types->counters_schema)).get());
    const JsonValue events(vek_schema_jsonify(from.types->schemas[0]));
    scratch_file("dir/schema_" + from.events_id + ".json",
                 JsonText(json_serialize_to_string_pretty(events.get())).get());
    return scratch() + "/dir";
  }();
  return folder;
}

data::SchemaId id_of(const std::string& text) { return data::SchemaId(text.c_str()); }

// --- schema manager

std::string manager_making() {
  try {
    const SchemaManager manager;
    return manager.getBuiltinSchema() ? "made" : "";
  } catch (const std::runtime_error&) {
    return {};
  }
}
std::string manager_appending() {
  try {
    SchemaManager manager;
    manager.appendTypeSystem(provider().document);
    return std::to_string(manager.countEventsSchemas());
  } catch (const std::runtime_error&) {
    return {};
  }
}
std::string manager_loading_counters() {
  try {
    SchemaManager manager;
    manager.setSchemaDir(schema_folder());
    return manager.getCountersSchema(id_of(provider().counters_id)) ? "loaded" : "";
  } catch (const std::runtime_error&) {
    return {};
  }
}
std::string manager_loading_events() {
  try {
    SchemaManager manager;
    manager.setSchemaDir(schema_folder());
    return manager.getEventsSchema(id_of(provider().events_id)) ? "loaded" : "";
  } catch (const std::runtime_error&) {
    return {};
  }
}
std::string manager_for_c() {
  const Owned<vek_schema_manager_t, vek_schema_manager_destroy> manager(
      vek_schema_manager_create(schema_folder().c_str()));
  if (!manager) return {};
  return vek_schema_manager_append_type_system(manager.get(), provider().document.c_str())
             ? "appended"
             : "";
}

// --- field sets

const std::string& field_set_file() {
  static const std::string path = scratch_file(
      "set.fset", "[link]\nvalue\nmeta_field_alias:timestamp=at\nmeta_field_add:site=lab\n");
  return path;
}
std::string record_by(FieldSet& set) {
  set.updateWithNewSchemas(provider().types.get(), false);
  vek_schema_block_t block{};
  block.length = VEK_BLOCK_HEADER_SIZE + VEK_SCHEMA_ID_SIZE;
  std::memcpy(block.schema_ids[0], provider().types->schemas[0]->digest, VEK_SCHEMA_ID_SIZE);
  set.SaveLastSchemaBlock(&block);
  vek_event_header_t header{};
  const uint8_t event[4] = {9, 0, 0, 0};
  msgpack_sbuffer record;
  set.MsgPackToSimpleBuffer(&record, event, &header, "s", "flb_std");
  const Malloced<char> owner(record.data);
  return record.size > 0 ? msgpack_to_text(record.data, record.size) : "";
}
std::string field_set_of_file() {
  FieldSet set;
  return set.LoadFromFile(field_set_file()) ? record_by(set) : "";
}
std::string field_set_of_lines() {
  FieldSet set;
  set.loadFromLines({"value", "meta_field_add:a=b"});
  set.UpdateTypesOfInterest();
  return record_by(set);
}
std::string field_set_of_manager() {
  try {
    SchemaManager manager;
    manager.appendTypeSystem(provider().types);
    FieldSet set;
    set.updateWithNewSchemas_kix(&manager);
    return record_by(set);
  } catch (const std::runtime_error&) {
    return {};
  }
}
std::string field_set_lookups() {
  FieldSet set;
  const vek_schema_t* schema = provider().types->schemas[0];
  set.updateWithNewSchema(schema);
  set.PrepareAccess(0, 0);
  return std::to_string(set.getFields(schema, 0).size() + set.prepared_fields().size());
}

// --- dictionary streams

vek_exporter_schema_manager_t stream_lookup() {
  vek_exporter_schema_manager_t lookup{};
  lookup.find_event_type = [](void* type, const vek_schema_block_t*, const vek_event_header_t*) {
    return static_cast<const vek_type_definition_t*>(type);
  };
  lookup.context = const_cast<vek_type_definition_t*>(provider().stream.schema().type());
  return lookup;
}
bool on_dictionary(dict_reader_user_ctx* context, const data_dict_message_t* message) {
  msgpack_sbuffer buffer;
  msgpack_sbuffer_init(&buffer);
  const bool packed = data_dict_pack_and_delete(message, &buffer) != 0;
  {
    const AllocationsWork own;
    if (packed) {
      *reinterpret_cast<std::string*>(context) += msgpack_to_text(buffer.data, buffer.size);
    }
  }
  msgpack_sbuffer_destroy(&buffer);
  return packed;
}
bool on_record(dict_reader_user_ctx* context, const void* record, size_t size) {
  const AllocationsWork own;
  if (!record) return false;
  *reinterpret_cast<std::string*>(context) += msgpack_to_text(record, size);
  return true;
}
bool read_stream(DataDictionaryReader& reader) {
  const auto lookup = stream_lookup();
  bool good = reader.IsReady();
  for (const Image& page : provider().stream_pages) {
    good = reader.IsReady() &&
           reader.ReadPage(reinterpret_cast<const vek_data_page_t*>(page.data()), &lookup) && good;
  }
  return good;
}
std::string stream_trees() {
  std::string text;
  data_dict_reader_user_t user = {on_dictionary, reinterpret_cast<dict_reader_user_ctx*>(&text),
                                  true, true};
  unsigned char any[VEK_APP_ID_SIZE] = {};
  DataDictionaryReader reader(&user, any, DataDictionaryReader::kTreeDecoder);
  return read_stream(reader) ? text : "";
}
std::string stream_records() {
  std::string text;
  data_dict_reader_user_t user = {nullptr, reinterpret_cast<dict_reader_user_ctx*>(&text), true,
                                  true};
  unsigned char any[VEK_APP_ID_SIZE] = {};
  DataDictionaryReader reader(&user, any, DataDictionaryReader::kTreeDecoder);
  if (!reader.IsReady()) return {};
  reader.PackRecords(on_record);
  return read_stream(reader) ? text : "";
}
std::string stream_cache() {
  size_t items = 0;
  std::function<bool(CacheContext::CachedEvent*)> send = [&](CacheContext::CachedEvent* event) {
    items = event->items.size();
    return false;
  };
  std::function<void()> start;
  unsigned char any[VEK_APP_ID_SIZE] = {};
  CacheContext context({"name"}, send, start);
  DataDictionaryReader reader(any, &context);
  return read_stream(reader) && items > 0 ? std::to_string(items) : "";
}
std::string stream_writing() {
  DictionaryStreamWriter writer({.source_id = "s", .tag = "dict_y", .event_size = 80});
  const bool good = writer.new_collection(1) && writer.dict_start() &&
                    writer.add_string("name", std::string(150, 'x')) && writer.dict_end();
  return good ? std::to_string(writer.take_pages().size()) : "";
}
std::string stream_user() {
  const Owned<data_dict_reader_user_t, data_dict_reader_user_destroy> user(
      data_dict_reader_user_init());
  const Owned<data_dict_message_t, data_dict_message_destroy> message(
      data_dict_message_init("s", "t"));
  return user && message ? "made" : "";
}

// --- one exporter

// All pages of the provider, by one of the two ways.
class Exporting {
 public:
  Exporting() : exporter_(sink_.api()) {}

  std::string records_of(const Image& image, bool by_manager, const char* layout = "flb_std") {
    exporter_.setPluginWithDefaultHostAndPort("forward");
    exporter_.setMsgpackDataLayout(layout);
    exporter_.createFieldSet(nullptr, field_set_file().c_str());
    if (!exporter_.connectToFlb()) return {};
    vek_exporter_schema_manager_t schemas{};
    if (by_manager) {
      try {
        manager_ = std::make_unique<SchemaManager>();
        manager_->appendTypeSystem(provider().types);
      } catch (const std::runtime_error&) {
        return {};
      }
      vek_exporter_schema_manager_from_manager(manager_.get(), &schemas);
    } else {
      vek_exporter_schema_manager_from_type_system(provider().types.get(), &schemas);
    }
    const auto* page = reinterpret_cast<const vek_data_page_t*>(image.data());
    return exporter_.exportDataPage(page, &schemas) ? sink_.text() : "";
  }
  std::string stream_records(const Images& images, const vek_exporter_schema_manager_t& lookup) {
    if (!exporter_.connectToFlb()) return {};
    for (const Image& image : images) {
      const auto* page = reinterpret_cast<const vek_data_page_t*>(image.data());
      if (!exporter_.exportDataPage(page, &lookup)) return {};
    }
    return sink_.text();
  }

 private:
  RecordSink sink_;
  std::unique_ptr<SchemaManager> manager_;
  FluentBitExporter exporter_;
};

std::string counters_by_type_system() {
  return Exporting().records_of(provider().counters_page, false);
}
std::string counters_by_manager() { return Exporting().records_of(provider().counters_page, true); }
std::string counters_custom() {
  return Exporting().records_of(provider().counters_page, false, "custom");
}
std::string events_by_type_system() {
  return Exporting().records_of(provider().events_page, false);
}
std::string events_by_manager() { return Exporting().records_of(provider().events_page, true); }
std::string events_custom() {
  return Exporting().records_of(provider().events_page, true, "custom");
}
std::string dictionary_page() {
  return Exporting().stream_records(provider().stream_pages, stream_lookup());
}
std::string opaque_page() {
  vek_exporter_schema_manager_t lookup = stream_lookup();
  lookup.context = const_cast<vek_type_definition_t*>(provider().opaque.schema().type());
  return Exporting().stream_records(provider().opaque_pages, lookup);
}
std::string exporter_settings() {
  RecordSink sink;
  FluentBitExporter exporter(sink.api());
  exporter.setPluginWithDefaultHostAndPort("es");
  exporter.setHostAndPort("a host", 1);
  const Owned<vek_string_array_t, vek_free_string_array> tags(
      vek_string_array_from_comma_separated_string("a,counters", 10));
  exporter.setSourceTagList(tags.get());
  exporter.updateSetsWithTypeSystem(provider().types.get());
  return exporter.connectToFlb() && exporter.closeConnection() ? "connected" : "";
}

std::string dump_file() {
  static const std::string stem = scratch() + "/dump";
  {
    const AllocationsWork own;
    setenv("FLUENTBIT_EXPORT_DUMP_FILE", stem.c_str(), 1);
  }
  RecordSink sink;
  FluentBitExporter exporter(sink.api());
  exporter.OpenDumpFile();
  const AllocationsWork own;
  unsetenv("FLUENTBIT_EXPORT_DUMP_FILE");
  return std::filesystem::remove(stem + "_forward") ? "made" : "";
}

// --- the API record

const std::string& config_folder() {
  static const std::string folder = [] {
    const AllocationsWork own;
    const std::string counter_set = scratch_file("api.cset", "rx\nsent=^tx$\n");
    scratch_file("config/a.exp",
                 "name = a\nplugin_name = forward\nsource_tag = x,counters\n"
                 "plugin_Tag = t\ncounterset = " +
                     counter_set + "\nfieldset = " + field_set_file() + "\n");
    scratch_file("config/b.exp",
                 "name = b\nplugin_name = stdout_raw\nmsgpack_data_layout=custom\n");
    scratch_file("config/c.exp", "name = c\nenable = 0\n");
    return scratch() + "/config";
  }();
  return folder;
}
Dict params() {
  Dict dict(vek_dict_create());
  const bool good = vek_dict_add(dict.get(), "fluentbit-config-dir", config_folder().c_str()) &&
                    vek_dict_add(dict.get(), "fluentbit-export-interval", "7");
  return good ? std::move(dict) : nullptr;
}
std::string api_life(int pages) {
  const Api& api = *vek_exporter_get_api();
  const ScriptedSink sink;
  const Dict dict = params();
  void* handle = dict ? api.init(dict.get()) : nullptr;
  if (!handle) return {};
  const Owned<void, destroy_handle> owner(handle);
  if (api.connect(handle) == 0) return {};
  vek_exporter_schema_manager_t schemas{};
  vek_exporter_schema_manager_from_type_system(provider().types.get(), &schemas);
  for (int i = 0; i < pages; ++i) {
    const Image& image = i % 2 == 0 ? provider().counters_page : provider().events_page;
    const auto* page = reinterpret_cast<const vek_data_page_t*>(image.data());
    if (api.export_data_page(handle, page, &schemas) == 0) return {};
  }
  api.disconnect(handle);
  return sink.text() + std::to_string(api.get_export_interval(handle));
}
std::string api_start() { return api_life(0); }
std::string api_pages() { return api_life(4); }
std::string api_options() {
  const Api& api = *vek_exporter_get_api();
  const ScriptedSink sink;
  const Dict dict = params();
  void* handle = dict ? api.init(dict.get()) : nullptr;
  if (!handle) return {};
  const Owned<void, destroy_handle> owner(handle);
  const char* folder = vek_dict_get(api.get_custom_options(handle), "fluentbit-config-dir");
  return folder ? folder : "";
}
std::string exp_file() {
  const Owned<fluentbit_exporter_config_t, destroy_config> config(vek_create_exporter_config());
  if (!config || !read_exp_file(config_folder() + "/a.exp", *config)) return {};
  if (!config->name || !config->counterset || !config->source_tag_list || !config->params)
    return {};
  return config->name + std::string(config->counterset) +
         std::to_string(config->source_tag_list->count) + std::to_string(config->params->count);
}

}  // namespace

std::vector<Scenario> exporter_scenarios() {
  return {{"manager_making", manager_making},
          {"manager_appending", manager_appending},
          {"manager_loading_counters", manager_loading_counters},
          {"manager_loading_events", manager_loading_events},
          {"manager_for_c", manager_for_c},
          {"field_set_of_file", field_set_of_file},
          {"field_set_of_lines", field_set_of_lines},
          {"field_set_of_manager", field_set_of_manager},
          {"field_set_lookups", field_set_lookups},
          {"stream_trees", stream_trees},
          {"stream_records", stream_records},
          {"stream_cache", stream_cache},
          {"stream_writing", stream_writing},
          {"stream_user", stream_user},
          {"counters_by_type_system", counters_by_type_system},
          {"counters_by_manager", counters_by_manager},
          {"counters_custom", counters_custom},
          {"events_by_type_system", events_by_type_system},
          {"events_by_manager", events_by_manager},
          {"events_custom", events_custom},
          {"dictionary_page", dictionary_page},
          {"opaque_page", opaque_page},
          {"exporter_settings", exporter_settings},
          {"dump_file", dump_file},
          {"api_start", api_start},
          {"api_pages", api_pages},
          {"api_options", api_options},
          {"exp_file", exp_file}};
}

}  // namespace vek::test
