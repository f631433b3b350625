// What the end-to-end tests share: an environment of their own, a configuration directory, the
// captured log, and one provider's schema with its pages.
#ifndef VEK_TESTS_E2E_E2E_FIXTURE_H
#define VEK_TESTS_E2E_E2E_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/page_writer.h"
#include "data/type_system.h"
#include "schema_manager/fillings.h"
#include "tests/e2e/plugin.h"
#include "tests/support/env_guard.h"
#include "tests/support/msgpack_json.h"
#include "tests/support/temp_dir.h"
#include "utils/owned.h"

namespace vek::test {

// The plug-in finds the scripted engine; nothing of the machine's own environment leaks in.
class E2eTest : public ::testing::Test {
 protected:
  E2eTest() { engine() = {}; }

  void write_exp(const std::string& name, const std::string& lines) {
    config_.write(name + ".exp", lines);
  }
  static std::vector<std::string> records() {
    std::vector<std::string> texts;
    for (const auto& bytes : engine().records) texts.push_back(msgpack_to_text(bytes));
    return texts;
  }

  EnvGuard engine_path_{"FLUENT_BIT_EXPORT_API_SO", VEK_SCRIPTED_ENGINE_PATH};
  EnvGuard loader_path_{"LD_LIBRARY_PATH", nullptr};
  EnvGuard root_{"VEK_ROOT", nullptr};
  EnvGuard dump_{"FLUENTBIT_EXPORT_DUMP_FILE", nullptr};
  EnvGuard checks_{"FLUENT_BIT_CHECKS", nullptr};
  TempDir config_;
  PluginLog log_;
};

// A provider whose counters are of every data type, known to the plug-in on one of two ways.
class Provider {
 public:
  enum class Way { kTypeSystem, kSchemaManager };

  explicit Provider(Way way);
  ~Provider();
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  const vek_exporter_schema_manager_t& schemas() const { return schemas_; }
  // A writer whose pages name this provider's counters schema.
  PageWriter page(std::string_view source, std::string_view tag, uint64_t block_size = 0) const;
  // The values of one sample, told apart by `number`.
  static std::vector<uint8_t> values(uint64_t number);
  // The whole record of such a sample at 1700000000.5 s as msgpack_to_text shows it.
  static std::string record(uint64_t number, const std::string& source);

  static constexpr uint64_t kTime = 1'700'000'000'500'000;
  static constexpr size_t kValuesSize = 6 * 8 + 4;

 private:
  Owned<vek_type_system_t, vek_destroy_type_system> type_system_;
  uint8_t id_[VEK_SCHEMA_ID_SIZE] = {};
  vek_schema_manager_t* manager_ = nullptr;  // the plug-in's, through its C functions
  vek_exporter_schema_manager_t schemas_{};
};

}  // namespace vek::test

#endif  // VEK_TESTS_E2E_E2E_FIXTURE_H
