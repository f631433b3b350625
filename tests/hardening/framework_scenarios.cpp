// Scenarios of the framework: texts, dictionaries, JSON, schemas, type systems, opaque events,
// counters.
#include <array>
#include <cstring>

#include "counters/counters_msgpack.h"
#include "data/opaque_events_writer.h"
#include "data/page_writer.h"
#include "data/schema_owned.h"
#include "tests/hardening/scenario.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/msgpack_json.h"
#include "tests/support/schema_documents.h"
#include "utils/dictionary.h"
#include "utils/export_parameters.h"
#include "utils/logger.h"
#include "utils/record_packer.h"
#include "utils/string_array.h"
#include "utils/strings.h"

namespace vek::test {
namespace {

using Dict = Owned<vek_dict_t, vek_dict_delete>;
using Strings = Owned<vek_string_array_t, vek_free_string_array>;
using CounterSet = Owned<vek_counter_set_t, vek_free_counter_set>;

std::string text_of(const char* text) { return text ? text : ""; }
std::string owned(char* text) { return text_of(CString(text).get()); }
std::string printed(const JSON_Value* json) {
  return text_of(JsonText(json_serialize_to_string(json)).get());
}
std::string joined(const vek_string_array_t* array) {
  std::string text;
  for (uint64_t i = 0; array && i < array->count; ++i) text += array->strings[i] + std::string(";");
  return text;
}

// --- Inputs, made once, outside of what fails.

const std::string& counters_document() {
  static const std::string text = countersDocument({"rx", "tx", "port_guid"});
  return text;
}
const std::string& events_document() {
  static const std::string text = eventsDocument("link", "uint32_t");
  return text;
}
const std::string& type_system_document() {
  static const std::string text = typeSystemDocument({"rx", "tx"}, "link");
  return text;
}
const std::string& counter_set_file() {
  static const std::string path = scratch_file(
      "set.cset", "r\nsent=^tx$\nmeta_field_alias:timestamp=at\nmeta_field_add:site=lab\n");
  return path;
}

OwnedSchema schema_with_type() {
  OwnedSchema schema(vek_create_schema("provider", 1));
  if (!schema || !vek_schema_register_builtin_types(schema.get())) return nullptr;
  const std::array<vek_type_field_info_t, 2> fields = {
      vek_type_field_info_t{"value", "d", "uint64_t", VEK_VALUE_ABSOLUTE, 1},
      vek_type_field_info_t{"text", "d", "char", VEK_VALUE_ABSOLUTE, 8}};
  return vek_schema_add_type(schema.get(), "type", fields.data(), 2, nullptr) == 0
             ? std::move(schema)
             : nullptr;
}

// --- utils

std::string dictionary() {
  const Dict dict(vek_dict_create());
  for (const char* key : {"a", "b", "c"}) {
    if (!vek_dict_add(dict.get(), key, "value")) return {};
  }
  const Dict copy(vek_dict_dup(dict.get()));
  return copy ? text_of(vek_dict_get(copy.get(), "c")) : "";
}
std::string string_array() {
  vek_string_array_t* raw = vek_init_string_array();
  for (const char* text : {"x", "y"}) {
    if (!vek_append_string_array(&raw, text)) {
      vek_free_string_array(raw);
      return {};
    }
  }
  return joined(Strings(raw).get());
}
std::string string_array_of_list() {
  return joined(Strings(vek_string_array_from_comma_separated_string("a,b,,c", 6)).get());
}
std::string string_array_of_file() {
  static const std::string path = scratch_file("lines", "one\n# no\ntwo\n");
  vek_string_array_t* raw = vek_init_string_array();
  const bool good = vek_string_array_append_file_lines(&raw, path.c_str(), "words");
  const Strings array(raw);
  return good ? joined(array.get()) : "";
}
std::string string_array_join() {
  const Strings more(vek_string_array_from_comma_separated_string("c,d", 3));
  vek_string_array_t* raw = vek_string_array_from_comma_separated_string("a", 1);
  if (!raw || !more) {
    vek_free_string_array(raw);
    return {};
  }
  if (!vek_string_array_join(&raw, more.get())) return {};
  return joined(Strings(raw).get());
}
std::string expand() {
  return owned(vek_expand_string_template("%s-%d", "a text of some length", 7));
}
std::string concat() { return owned(string_concat("left", "right")); }
std::string concat_token() { return owned(string_concat_comma_separated_token("a,b", "c")); }
std::string basename_of() { return owned(get_allocated_basename("/a/folder/name")); }
std::string parameters() {
  const Owned<fluentbit_export_parameters_t, fluentbit_export_destroy_parameters> list(
      fluentbit_export_init_parameters());
  if (!list || !push_parameter(list.get(), "a", "1") || !push_parameter(list.get(), "b", "2")) {
    return {};
  }
  return list->params[1].value;
}
std::string logger_context() {
  const Owned<vek_logger_ctx_t, vek_destroy_logger_ctx> context(vek_get_logger_ctx());
  return context ? "made" : "";
}

// --- json

std::string json_parse() {
  return printed(
      JsonValue(json_parse_string("{\"a\":[1,2.5,\"t\",null,true],\"b\":{\"c\":[]}}")).get());
}
std::string json_many_members() {
  std::string text = "{";
  for (int i = 0; i < 40; ++i)
    text += "\"member" + std::to_string(i) + "\":" + std::to_string(i) + ',';
  text.back() = '}';
  return printed(JsonValue(json_parse_string(text.c_str())).get());
}
std::string json_file() {
  static const std::string path = scratch_file("document.json", "{\"a\":[1,2,3]}");
  return printed(parse_json_file(path.c_str()).get());
}
std::string json_copy() {
  const JsonValue value(json_parse_string("{\"a\":[1,{\"b\":\"c\"}]}"));
  return printed(JsonValue(json_value_deep_copy(value.get())).get());
}
std::string json_pretty() {
  const JsonValue value(json_parse_string("{\"a\":[1,{\"b\":\"c\"}]}"));
  return text_of(JsonText(json_serialize_to_string_pretty(value.get())).get());
}
std::string json_validation() {
  const JsonValue shape(json_parse_string("{\"a\":\"\",\"b\":[0]}"));
  const JsonValue value(json_parse_string("{\"a\":\"x\",\"b\":[1,2]}"));
  if (!shape || !value) return {};
  return json_validate(shape.get(), value.get()) == JSONSuccess ? "valid" : "";
}
std::string json_building() {
  const JsonValue value(json_value_init_object());
  JSON_Object* object = json_value_get_object(value.get());
  if (!object || json_object_set_string(object, "name", "text") != JSONSuccess ||
      json_object_set_number(object, "number", 7) != JSONSuccess) {
    return {};
  }
  return printed(value.get());
}

std::string json_array() {
  const JsonValue value(json_value_init_array());
  JSON_Array* array = json_value_get_array(value.get());
  for (int i = 0; array && i < 20; ++i) {
    JsonValue item(json_value_init_number(i));
    if (!item || json_array_append_value(array, item.get()) != JSONSuccess) return {};
    (void)item.release();
  }
  return printed(value.get());
}

// --- data

std::string page_writing() {
  PageWriter writer("source", "tag", 128);
  writer.counters_block(1, values({1, 2}));
  writer.next_block();
  writer.events_block(2, 0, 0, 1, values({3}));
  return std::to_string(writer.finish().size());
}
std::string opaque_writing() {
  OpaqueEventsWriter writer({.source_id = "s", .tag = "t", .event_size = 64});
  const std::vector<uint8_t> payload(200, 'p');
  if (!writer.extended(1, {1, 2}, {{"k", "v"}}, payload)) return {};
  return std::to_string(writer.take_pages().size());
}
std::string type_system_finding() {
  const OwnedTypeSystem types(vek_type_system_deserialize(type_system_document().c_str()));
  if (!types) return {};
  vek_type_system_update_md5_hashes(types.get());
  uint8_t index = 7;
  const bool found = vek_type_system_find_schema(types.get(), types->schemas[0]->id_string, &index);
  return found ? std::to_string(index) : "";
}
std::string schema_making() { return schema_with_type() ? "made" : ""; }
std::string schema_writing() {
  const OwnedSchema schema = schema_with_type();
  return schema ? printed(JsonValue(vek_schema_jsonify(schema.get())).get()) : "";
}
std::string schema_reading() {
  const JsonValue json(json_parse_string(events_document().c_str()));
  const OwnedSchema schema(vek_schema_from_json(json.get()));
  return schema ? schema->types[0]->name : "";
}
std::string schema_file() {
  static const std::string path = scratch_file("events.json", events_document());
  const OwnedSchema builtin(vek_create_schema("<built-in>", 1));
  if (!builtin || !vek_schema_register_builtin_types(builtin.get())) return {};
  const OwnedSchema schema(vek_schema_load_from_file(path.c_str(), builtin.get()));
  return schema ? schema->id_string : "";
}
std::string schema_indexes() {
  const OwnedSchema schema = schema_with_type();
  const char* names[] = {"text"};
  size_t count = 0;
  if (!schema || vek_schema_set_field_indexes(schema.get(), 0, names, 1) != 0) return {};
  const Malloced<const char*> indexed(vek_schema_get_indexed_fields(schema.get(), 0, &count));
  return indexed ? std::to_string(count) : "";
}
std::string schema_type_text() {
  const OwnedSchema schema = schema_with_type();
  if (!schema) return {};
  return text_of(JsonText(vek_schema_serialize_type_definition(schema.get(), "type", true)).get());
}
std::string schema_rendering() {
  const OwnedSchema schema = schema_with_type();
  const uint8_t record[16] = {7, 0, 0, 0, 0, 0, 0, 0, 'a', 'b'};
  if (!schema) return {};
  const auto last = schema->num_types - 1;
  return printed(JsonValue(vek_type_definition_jsonify_data(schema->types[last], record)).get());
}
std::string type_system_making() {
  const OwnedTypeSystem types(vek_create_type_system());
  return types && vek_type_system_add_schema(types.get(), "p", 1, nullptr) ? "made" : "";
}
std::string type_system_adding_text() {
  const OwnedTypeSystem types(vek_create_type_system());
  if (!types) return {};
  uint8_t index = 0;
  const uint32_t result = vek_type_system_add_schema_from_serialized_json(
      types.get(), events_document().c_str(), &index);
  return result == 0 ? types->schemas[0]->id_string : "";
}
std::string type_system_adding_counters() {
  const OwnedTypeSystem types(vek_create_type_system());
  if (!types) return {};
  uint8_t index = 0;
  const uint32_t result = vek_type_system_add_schema_from_serialized_json(
      types.get(), counters_document().c_str(), &index);
  return result == 0 ? std::to_string(index) : "";
}
std::string type_system_reading() {
  const OwnedTypeSystem types(vek_type_system_deserialize(type_system_document().c_str()));
  return types ? std::to_string(types->num_schemas) : "";
}
std::string type_system_writing() {
  const OwnedTypeSystem types(vek_type_system_deserialize(type_system_document().c_str()));
  return types ? text_of(JsonText(vek_type_system_serialize(types.get(), true)).get()) : "";
}
std::string type_system_file() {
  static const std::string path = scratch_file("events.json", events_document());
  const OwnedTypeSystem types(vek_create_type_system());
  return types && vek_type_system_load_schema(types.get(), path.c_str()) ? "loaded" : "";
}
std::string type_system_clone() {
  const OwnedTypeSystem source(vek_type_system_deserialize(type_system_document().c_str()));
  const OwnedTypeSystem types(vek_create_type_system());
  if (!source || !types) return {};
  uint8_t index = 0;
  const bool cloned = vek_type_system_clone_schemas(types.get(), source.get(), &index) == 0;
  // The same objects are in both now; one of the two gives them up.
  const std::string text = std::to_string(types->num_schemas);
  types->num_schemas = 0;
  std::memset(types->schemas, 0, sizeof types->schemas);
  return cloned ? text : "";
}
std::string counters_identifier() {
  const OwnedCounters schema(vek_counters_schema_deserialize(counters_document().c_str()));
  uint8_t id[VEK_SCHEMA_ID_SIZE];
  if (!schema || !vek_calc_counters_schema_id(id, schema.get())) return {};
  return to_hex(id, sizeof id);
}

// --- opaque events

struct Delivered {
  std::string text;
};
Delivered& delivered(vek_opaque_events_extractor_recipient_ctx* context) {
  return *reinterpret_cast<Delivered*>(context);
}
bool on_event(vek_opaque_events_extractor_recipient_ctx* context, const char*, const char*,
              const vek_custom_options* options, const unsigned char*, unsigned long, unsigned long,
              const void* data, unsigned int size) {
  const AllocationsWork own;
  delivered(context).text.append(static_cast<const char*>(data), size);
  if (const char* value = vek_dict_get(options, "k")) delivered(context).text += value;
  return true;
}
bool on_chunks(vek_opaque_events_extractor_recipient_ctx* context, const char*, const char*,
               const vek_custom_options*, const unsigned char*, unsigned long, unsigned long,
               uint32_t total, const vek_opaque_event_chunk_t*) {
  const AllocationsWork own;
  delivered(context).text += std::to_string(total);
  return true;
}

struct OpaquePages {
  OpaqueEventsWriter writer{{.source_id = "s", .tag = "fluent_aggr", .event_size = 64}};
  std::vector<std::vector<uint8_t>> pages;
  OpaquePages() {
    const std::vector<uint8_t> payload(100, 'p');
    EXPECT_TRUE(writer.whole({1, 2}, std::vector<uint8_t>{'w'}));
    EXPECT_TRUE(writer.extended(1, {1, 2}, {{"k", "v"}}, payload));
    pages = writer.take_pages();
  }
};
const vek_type_definition_t* find_type(void* type, const vek_schema_block_t*,
                                       const vek_event_header_t*) {
  return static_cast<const vek_type_definition_t*>(type);
}
std::string extracted(bool assembled) {
  static const OpaquePages* const input = [] {
    const AllocationsWork own;
    return new OpaquePages;
  }();
  Delivered out;
  const vek_opaque_events_extractor_recipient_t recipient = {
      on_event, assembled ? nullptr : on_chunks,
      reinterpret_cast<vek_opaque_events_extractor_recipient_ctx*>(&out)};
  const unsigned char any[VEK_APP_ID_SIZE] = {};
  const Owned<vek_opaque_events_extractor_t, vek_opaque_events_extractor_delete> extractor(
      vek_opaque_events_extractor_create(any, &recipient));
  if (!extractor) return {};
  const vek_opaque_type_lookup_t lookup = {
      find_type, const_cast<vek_type_definition_t*>(input->writer.schema().type())};
  for (const auto& page : input->pages) {
    if (!vek_opaque_events_extractor_process_data_page(
            extractor.get(), reinterpret_cast<const vek_data_page_t*>(page.data()), &lookup)) {
      return {};
    }
  }
  return out.text;
}
std::string opaque_assembled() { return extracted(true); }
std::string opaque_chunks() { return extracted(false); }

// --- counters

std::string counters_reading() {
  const OwnedCounters schema(vek_counters_schema_deserialize(counters_document().c_str()));
  return schema ? std::to_string(schema->size_of_counters) : "";
}
std::string counters_writing() {
  const OwnedCounters schema(vek_counters_schema_deserialize(counters_document().c_str()));
  return schema ? text_of(JsonText(vek_counters_schema_serialize(schema.get())).get()) : "";
}
std::string counters_file() {
  static const std::string path = scratch_file("counters.json", counters_document());
  const OwnedCounters schema(vek_counters_schema_load(path.c_str()));
  return schema ? "loaded" : "";
}
std::string counters_directory() {
  static const std::string path =
      scratch_file("schemas/schema_01000000000000000000000000000000.json", counters_document());
  const uint8_t id[VEK_SCHEMA_ID_SIZE] = {1};
  const OwnedCounters schema(
      vek_counters_load_schema_from_dir(id, (scratch() + "/schemas").c_str()));
  return schema ? "loaded" : "";
}
std::string record_of(const char* file, const char* layout) {
  const OwnedCounters schema(vek_counters_schema_deserialize(counters_document().c_str()));
  if (!schema) return {};
  const CounterSet set(vek_schema_to_counter_set(schema.get(), file));
  if (!set) return {};
  const uint8_t block[16 + 24] = {'V', 'E', 'K', 'D'};
  msgpack_sbuffer record;
  vek_counter_block_to_msgpack_filtered(&record, block, set.get(), "source", layout);
  const AllocationsWork own;
  const std::string text = record.size > 0 ? msgpack_to_text(record.data, record.size) : "";
  msgpack_sbuffer_destroy(&record);
  return text;
}
std::string counters_record() { return record_of(nullptr, "flb_std"); }
std::string counters_custom_record() { return record_of(nullptr, "custom"); }
std::string counters_record_by_file() { return record_of(counter_set_file().c_str(), "flb_std"); }
std::string counter_set_of_tokens() {
  const OwnedCounters schema(vek_counters_schema_deserialize(counters_document().c_str()));
  const Strings tokens(vek_string_array_from_comma_separated_string("rx,tx", 5));
  if (!schema || !tokens) return {};
  const CounterSet set(vek_schema_and_tokens_to_counter_set(schema.get(), "tokens", tokens.get()));
  return set ? std::to_string(set->num_exported) : "";
}
std::string counter_set_renamed() {
  const OwnedCounters schema(vek_counters_schema_deserialize(counters_document().c_str()));
  if (!schema) return {};
  const CounterSet set(vek_schema_to_counter_set(schema.get(), nullptr));
  if (!set) return {};
  vek_counter_set_set_name(set.get(), "another name");
  return set->name ? "named" : "";
}
std::string counters_packer() {
  const OwnedCounters schema(vek_counters_schema_deserialize(counters_document().c_str()));
  if (!schema) return {};
  const CounterSet set(vek_schema_to_counter_set(schema.get(), nullptr));
  if (!set) return {};
  RecordPacker packer;
  const uint8_t block[16 + 24] = {'V', 'E', 'K', 'D'};
  std::string text;
  for (int i = 0; i < 3; ++i) {
    const auto record = pack_counters_block(packer, block, set.get(), "s", RecordLayout::kFlbStd);
    if (record.empty()) return {};
    text += msgpack_to_text(record.data(), record.size());
  }
  return text;
}

}  // namespace

std::vector<Scenario> framework_scenarios() {
  return {{"dictionary", dictionary},
          {"string_array", string_array},
          {"string_array_of_list", string_array_of_list},
          {"string_array_of_file", string_array_of_file},
          {"string_array_join", string_array_join},
          {"expand", expand},
          {"concat", concat},
          {"concat_token", concat_token},
          {"basename", basename_of},
          {"parameters", parameters},
          {"logger_context", logger_context},
          {"json_parse", json_parse},
          {"json_many_members", json_many_members},
          {"json_file", json_file},
          {"json_copy", json_copy},
          {"json_pretty", json_pretty},
          {"json_validation", json_validation},
          {"json_building", json_building},
          {"json_array", json_array},
          {"page_writing", page_writing},
          {"opaque_writing", opaque_writing},
          {"type_system_finding", type_system_finding},
          {"schema_making", schema_making},
          {"schema_writing", schema_writing},
          {"schema_reading", schema_reading},
          {"schema_file", schema_file},
          {"schema_indexes", schema_indexes},
          {"schema_type_text", schema_type_text},
          {"schema_rendering", schema_rendering},
          {"type_system_making", type_system_making},
          {"type_system_adding_text", type_system_adding_text},
          {"type_system_adding_counters", type_system_adding_counters},
          {"type_system_reading", type_system_reading},
          {"type_system_writing", type_system_writing},
          {"type_system_file", type_system_file},
          {"type_system_clone", type_system_clone},
          {"counters_identifier", counters_identifier},
          {"opaque_assembled", opaque_assembled},
          {"opaque_chunks", opaque_chunks},
          {"counters_reading", counters_reading},
          {"counters_writing", counters_writing},
          {"counters_file", counters_file},
          {"counters_directory", counters_directory},
          {"counters_record", counters_record},
          {"counters_custom_record", counters_custom_record},
          {"counters_record_by_file", counters_record_by_file},
          {"counter_set_of_tokens", counter_set_of_tokens},
          {"counter_set_renamed", counter_set_renamed},
          {"counters_packer", counters_packer}};
}

}  // namespace vek::test
