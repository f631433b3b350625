// The two shared libraries as the loader sees them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/e2e/plugin.h"
#include "tests/support/child_process.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> lines_of(const std::string& command) {
  std::vector<std::string> lines;
  std::FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return lines;
  char line[4096];
  while (std::fgets(line, sizeof line, pipe)) {
    std::string text(line);
    if (text.ends_with('\n')) text.pop_back();
    lines.push_back(text);
  }
  pclose(pipe);
  return lines;
}

std::vector<std::string> exports_of(const std::string& library) {
  return lines_of("nm -D --defined-only --format=just-symbols '" + library + "' | LC_ALL=C sort");
}

TEST(PluginLibrary, LoadsWithEverySymbolBoundAtOnce) {
  EXPECT_NE(Plugin::instance().find("vek_exporter_get_api"), nullptr);
}

TEST(PluginLibrary, KeepsItsJsonLibraryInsideButForTheOneCallThatCallersNeed) {
  const Plugin& plugin = Plugin::instance();
  EXPECT_NE(plugin.find("json_free_serialized_string"), nullptr);
  std::vector<std::string> leaked;
  for (const std::string& name : exports_of(VEK_PLUGIN_PATH)) {
    if (name.starts_with("json_") && name != "json_free_serialized_string") leaked.push_back(name);
  }
  EXPECT_THAT(leaked, IsEmpty());
}

TEST(PluginLibrary, ExportsTheFrameworkByItsPlainNames) {
  for (const char* name :
       {"vek_dict_create", "vek_dict_add", "_vek_register_logger", "vek_set_log_func",
        "vek_log_level", "is_registered", "string_to_long", "trim_white_space", "log_hex",
        "pair_get_string", "print_si_prefixed_value", "vek_schema_to_counter_set",
        "vek_counter_block_to_msgpack_filtered", "vek_schema_manager_create",
        "vek_exporter_schema_manager_from_manager", "vek_type_system_deserialize"}) {
    EXPECT_NE(Plugin::instance().find(name), nullptr) << name;
  }
}

TEST(EngineLibrary, ExportsItsFiveFunctionsAndNothingElse) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sanitizers add symbols of their own";
#endif
  EXPECT_THAT(exports_of(VEK_ENGINE_PATH),
              ElementsAre("add_data", "finalize", "init", "raw_msgpack_api_ledger",
                          "raw_msgpack_api_stats"));
}

TEST(EngineLibrary, LoadsWithEverySymbolBoundAtOnceAndStays) {
  // In a child process: it does stay, and tests that miss the engine must be able to.
  const ChildResult child = run_in_child([] {
    void* library = dlopen(VEK_ENGINE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    void* init = dlsym(library, "init");
    dlclose(library);
    // Code that started a thread is never unloaded.
    void* again = dlopen(VEK_ENGINE_PATH, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(dlsym(again, "init"), init);
    dlclose(again);
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

}  // namespace
}  // namespace vek::test
