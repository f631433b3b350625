// Whole pages through the plug-in, into an engine that counts and returns. Here the floor is the
// conversion alone: what is above it is spent on finding schemas, sets and blocks.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/counter_samples.h"
#include "bench/workload.h"
#include "counters/counters_msgpack.h"
#include "data/page_writer.h"
#include "exporter/exporter_api.h"
#include "schema_manager/fillings.h"
#include "schema_manager/schema_manager.h"
#include "tests/support/temp_dir.h"
#include "utils/owned.h"
#include "utils/record_packer.h"

namespace vek::bench {
namespace {

constexpr char kSource[] = "node-0017.rack-4";

// One destination without any choice, driven as a collector does it.
class Plugin {
 public:
  Plugin() {
    setenv("FLUENT_BIT_EXPORT_API_SO", VEK_COUNTING_ENGINE_PATH, 1);
    const test::TempDir folder;
    folder.write("bench.exp", "name = bench\nplugin_name = forward\n");
    const Owned<vek_dict_t, vek_dict_delete> params(vek_dict_create());
    vek_dict_add(params.get(), "fluentbit-config-dir", folder.path().c_str());
    handle_ = api_->init(params.get());
    if (!handle_ || !api_->connect(handle_)) fail("pages", "the plug-in does not start");
  }
  ~Plugin() { api_->destroy(handle_); }
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  void send(const std::vector<uint8_t>& image, const vek_exporter_schema_manager_t& schemas) {
    if (!api_->export_data_page(handle_, reinterpret_cast<const vek_data_page_t*>(image.data()),
                                &schemas)) {
      fail("pages", "a page is refused");
    }
  }

 private:
  const vek_exporter_api_t* api_ = vek_exporter_get_api();
  void* handle_ = nullptr;
};

// Pages of one counters block each.
struct Pages {
  CounterSamples samples;
  SchemaManager manager;
  vek_exporter_schema_manager_t by_type_system{};
  vek_exporter_schema_manager_t by_manager{};
  Plugin plugin;
  std::vector<std::vector<uint8_t>> images;
  size_t current = 0;

  explicit Pages(const CounterSampleOptions& options) : samples(options) {
    vek_exporter_schema_manager_from_type_system(samples.type_system(), &by_type_system);
    vek_exporter_schema_manager_from_manager(&manager, &by_manager);
    manager.appendTypeSystem(
        std::shared_ptr<const vek_type_system_t>(samples.type_system(), [](const void*) {}));
    uint8_t id[VEK_SCHEMA_ID_SIZE];
    vek_calc_counters_schema_id(id, samples.type_system()->counters_schema);
    for (const auto& block : samples.blocks()) {
      PageWriter page(kSource, "");
      page.set_counters_schema_id(id);
      page.raw(block);
      images.push_back(page.finish());
    }
  }

  const std::vector<uint8_t>& next() {
    if (++current == images.size()) current = 0;
    return images[current];
  }
};

constexpr size_t kCounters = 100;

Prepared prepare_pages(bool with_manager) {
  const auto pages = std::make_shared<Pages>(CounterSampleOptions{kCounters, Values::kSteady});
  return {[=](size_t count) {
            const auto& schemas = with_manager ? pages->by_manager : pages->by_type_system;
            for (size_t i = 0; i < count; ++i) pages->plugin.send(pages->next(), schemas);
          },
          static_cast<double>(pages->images[0].size())};
}

Prepared prepare_conversion() {
  const auto pages = std::make_shared<Pages>(CounterSampleOptions{kCounters, Values::kSteady});
  const auto packer = std::make_shared<RecordPacker>();
  return {[=](size_t count) {
            for (size_t i = 0; i < count; ++i) {
              const uint8_t* block = pages->next().data() + sizeof(vek_data_page_t);
              const auto record = pack_counters_block(*packer, block, pages->samples.set(), kSource,
                                                      RecordLayout::kFlbStd);
              benchmark::DoNotOptimize(record.size());
              benchmark::ClobberMemory();
            }
          },
          static_cast<double>(pages->images[0].size())};
}

bool add_all() {
  for (const bool with_manager : {false, true}) {
    const std::string name = with_manager ? "pages/schema-manager/100" : "pages/type-system/100";
    add_workload(name, "ours", [=] { return prepare_pages(with_manager); });
    add_workload(name, "floor", prepare_conversion);
  }
  return true;
}

const bool g_added = add_all();

}  // namespace
}  // namespace vek::bench
