#include "tests/e2e/e2e_fixture.h"

#include <array>
#include <bit>

#include "json/json.h"

namespace vek::test {
namespace {

std::string counter(const char* name, const char* type, int length = 0) {
  return std::string("{\"name\":\"") + name +
         "\",\"description\":\"d\",\"units\":\"u\",\"data_type\":\"" + type +
         "\",\"counting_type\":\"ABSOLUTE\",\"length\":" + std::to_string(length) + "}";
}

std::string document() {
  return "{\"version\":\"1.5.0\",\"counter_groups\":[{\"granularity\":\"NODE\",\"name\":\"ports\","
         "\"num_counter_sets\":1,\"num_counters\":4,\"counters\":[" +
         counter("rx_bytes", "UINT64") + "," + counter("temp", "FP64") + "," +
         counter("flags", "BIT64") + "," + counter("delta", "INT64") +
         "]},{\"granularity\":\"NODE\",\"name\":\"device\",\"num_counter_sets\":1,\"num_counters\":"
         "3,\"counters\":[" +
         counter("firmware", "STRING", 4) + "," + counter("port_guid", "UINT64") + "," +
         counter("tx_bytes", "UINT64") + "]}]}";
}

template <typename T>
void append(std::vector<uint8_t>& bytes, T value) {
  const auto raw = std::bit_cast<std::array<uint8_t, sizeof(T)>>(value);
  bytes.insert(bytes.end(), raw.begin(), raw.end());
}

}  // namespace

Provider::Provider(Way way) : type_system_(vek_create_type_system()) {
  vek_destroy_counters_schema(type_system_->counters_schema);
  type_system_->counters_schema = vek_counters_schema_deserialize(document().c_str());
  EXPECT_NE(type_system_->counters_schema, nullptr);
  EXPECT_TRUE(vek_calc_counters_schema_id(id_, type_system_->counters_schema));
  const Plugin& plugin = Plugin::instance();
  if (way == Way::kTypeSystem) {
    plugin.function<decltype(vek_exporter_schema_manager_from_type_system)>(
        "vek_exporter_schema_manager_from_type_system")(type_system_.get(), &schemas_);
    return;
  }
  manager_ =
      plugin.function<decltype(vek_schema_manager_create)>("vek_schema_manager_create")(nullptr);
  char* text = vek_type_system_serialize(type_system_.get(), true);
  EXPECT_TRUE(plugin.function<decltype(vek_schema_manager_append_type_system)>(
      "vek_schema_manager_append_type_system")(manager_, text));
  json_free_serialized_string(text);
  plugin.function<decltype(vek_exporter_schema_manager_from_manager)>(
      "vek_exporter_schema_manager_from_manager")(manager_, &schemas_);
}

Provider::~Provider() {
  if (!manager_) return;
  Plugin::instance().function<decltype(vek_schema_manager_destroy)>("vek_schema_manager_destroy")(
      manager_);
}

PageWriter Provider::page(std::string_view source, std::string_view tag,
                          uint64_t block_size) const {
  PageWriter writer(source, tag, block_size);
  writer.set_counters_schema_id(id_);
  return writer;
}

std::vector<uint8_t> Provider::values(uint64_t number) {
  std::vector<uint8_t> bytes;
  append<uint64_t>(bytes, number);
  append<double>(bytes, 41.5);
  append<uint64_t>(bytes, 1ull << 40);
  append<int64_t>(bytes, -33);
  append<std::array<char, 4>>(bytes, {'v', '1', '\0', 'x'});
  append<uint64_t>(bytes, 255);
  append<uint64_t>(bytes, number + 1);
  return bytes;
}

std::string Provider::record(uint64_t number, const std::string& source) {
  return "[1700000000.5,{\"timestamp\":1700000000500000,\"type\":\"counters\",\"source\":\"" +
         source + "\",\"rx_bytes\":" + std::to_string(number) +
         ",\"temp\":41.5,\"flags\":1099511627776,\"delta\":-33,\"firmware\":\"v1\","
         "\"port_guid\":\"0xff\",\"tx_bytes\":" +
         std::to_string(number + 1) + "}]";
}

}  // namespace vek::test
