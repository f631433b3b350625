// A provider and its collector in one file of C++: describes two counters, writes a page with a
// sample of them, and hands it to the plug-in, which this program links.
//
//   cmake -S . -B build && cmake --build build && build/host CONFIG-DIR
#include <counters/counters_schema.h>
#include <data/page_writer.h>
#include <data/type_system.h>
#include <exporter/exporter_api.h>
#include <schema_manager/fillings.h>
#include <utils/dictionary.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

// A schema document: where each counter lies in a sample follows from their order and sizes.
constexpr char kSchema[] = R"({
  "version": "1.5.0",
  "counter_groups": [{
    "granularity": "NODE", "num_counter_sets": 1, "num_counters": 2, "counters": [
      {"name": "rx_bytes", "description": "Bytes received", "units": "bytes",
       "data_type": "UINT64", "counting_type": "RUNNING_SUM"},
      {"name": "temperature", "description": "Temperature", "units": "C",
       "data_type": "FP64", "counting_type": "ABSOLUTE"}]}]})";

struct Sample {
  uint64_t rx_bytes;
  double temperature;
};

template <auto Destroy>
struct Destroyer {
  template <typename Record>
  void operator()(Record* record) const {
    Destroy(record);
  }
};
using Params = std::unique_ptr<vek_dict_t, Destroyer<vek_dict_delete>>;
using TypeSystem = std::unique_ptr<vek_type_system_t, Destroyer<vek_destroy_type_system>>;

std::vector<uint8_t> page_with(const Sample& sample, uint64_t time_us) {
  std::vector<uint8_t> values(sizeof sample);
  std::memcpy(values.data(), &sample, sizeof sample);
  vek::PageWriter page("leaf01", "hall_a");
  page.counters_block(time_us, values);
  return page.finish();
}

bool send(const vek_exporter_api_t& api, void* exporter, const TypeSystem& type_system) {
  vek_exporter_schema_manager_t schemas;
  vek_exporter_schema_manager_from_type_system(type_system.get(), &schemas);
  const std::vector<uint8_t> page = page_with({1'000'000, 51.5}, 1'767'225'600'500'000);
  const bool connected = api.connect(exporter) == 1;
  const bool taken =
      connected &&
      api.export_data_page(exporter, reinterpret_cast<const vek_data_page_t*>(page.data()),
                           &schemas) == 1;
  api.disconnect(exporter);
  return taken;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s CONFIG-DIR\n", argv[0]);
    return 2;
  }
  const TypeSystem type_system(vek_type_system_deserialize(kSchema));
  if (!type_system) return 1;
  const Params params(vek_dict_create());
  vek_dict_add(params.get(), "fluentbit-config-dir", argv[1]);
  const vek_exporter_api_t& api = *vek_exporter_get_api();
  void* exporter = api.init(params.get());
  if (!exporter) return 1;
  const bool taken = send(api, exporter, type_system);
  api.destroy(exporter);
  std::puts(taken ? "page taken" : "page refused");
  return taken ? 0 : 1;
}
