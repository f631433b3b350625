#include "exporter/raw_msgpack_api.h"

#include <dlfcn.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/exporter/exporter_fixture.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr const char* kPrefix = "[Fluent Bit Exporter] ";

class RawMsgpackApiSearch : public NoEngineTest {
 protected:
  // Opens and closes; the lines stay.
  RawMsgpackApi load() {
    RawMsgpackApi api = loadRawMsgpackApi();
    if (api.handle) dlclose(api.handle);
    return api;
  }
  // An installation with an engine below the temporary folder.
  std::string install(const std::string& root) {
    dir_.write(root + "/lib/keep", "");
    std::filesystem::copy_file(VEK_SCRIPTED_ENGINE_PATH,
                               dir_.file(root + "/lib/libraw_msgpack_api.so"));
    return dir_.file(root);
  }
};

TEST_F(RawMsgpackApiSearch, TakesTheFileThatTheVariableNames) {
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", VEK_SCRIPTED_ENGINE_PATH);
  const RawMsgpackApi api = load();
  EXPECT_NE(api.handle, nullptr);
  EXPECT_NE(api.init, nullptr);
  EXPECT_NE(api.add_data, nullptr);
  EXPECT_NE(api.finalize, nullptr);
  EXPECT_THAT(log_.at(6),
              ElementsAre("deploy_path = /nonexistent (VEK_ROOT)",
                          "[Fluent Bit Exporter] Looking for libraw_msgpack_api.so in:",
                          "[Fluent Bit Exporter] \t\t\t\t 'FLUENT_BIT_EXPORT_API_SO'",
                          MatchesRegex("opened API lib: handle=0x[0-9a-f]+ from path=" +
                                       std::string(VEK_SCRIPTED_ENGINE_PATH)),
                          kPrefix + std::string("Loaded 'libraw_msgpack_api.so' from ") +
                              VEK_SCRIPTED_ENGINE_PATH));
  EXPECT_THAT(log_.warnings(), IsEmpty());
  EXPECT_THAT(log_.errors(), IsEmpty());
}

TEST_F(RawMsgpackApiSearch, LooksInThreePlacesAndSaysWhatItFound) {
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", "/nonexistent/engine.so");
  const EnvGuard loader("LD_LIBRARY_PATH", "/nowhere");
  EXPECT_EQ(load().handle, nullptr);
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(
          LogLine{6, "deploy_path = /nonexistent (VEK_ROOT)"},
          LogLine{6, "[Fluent Bit Exporter] Looking for libraw_msgpack_api.so in:"},
          LogLine{6, "[Fluent Bit Exporter] \t\t\t\t 'FLUENT_BIT_EXPORT_API_SO'"},
          LogLine{4,
                  "failed to open library /nonexistent/engine.so: /nonexistent/engine.so: cannot "
                  "open shared object file: No such file or directory"},
          LogLine{6, "[Fluent Bit Exporter] \t\t\t\t LD_LIBRARY_PATH=/nowhere"},
          LogLine{4,
                  "failed to open library libraw_msgpack_api.so: libraw_msgpack_api.so: cannot "
                  "open shared object file: No such file or directory"},
          LogLine{6, "[Fluent Bit Exporter] \t\t\t\t '/nonexistent/lib/'"},
          LogLine{4,
                  "failed to open library /nonexistent/lib/libraw_msgpack_api.so: "
                  "/nonexistent/lib/libraw_msgpack_api.so: cannot open shared object file: No such "
                  "file or directory"},
          LogLine{6,
                  "[Fluent Bit Exporter] Cannot find 'libraw_msgpack_api.so'. Dumping env "
                  "variables."},
          LogLine{6, "\tFLUENT_BIT_EXPORT_API_SO=/nonexistent/engine.so"},
          LogLine{6, "\tLD_LIBRARY_PATH=/nowhere"},
          LogLine{3, "[Fluent Bit Exporter] cannot find 'libraw_msgpack_api.so'"}));
}

TEST_F(RawMsgpackApiSearch, PrintsUnsetVariablesAsEmpty) {
  load();
  EXPECT_TRUE(log_.has(6, "[Fluent Bit Exporter] \t\t\t\t LD_LIBRARY_PATH="));
  EXPECT_TRUE(log_.has(6, "\tFLUENT_BIT_EXPORT_API_SO="));
  EXPECT_TRUE(log_.has(6, "\tLD_LIBRARY_PATH="));
}

TEST_F(RawMsgpackApiSearch, TreatsAnEmptyPathAsUnset) {
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", "");
  load();
  EXPECT_EQ(log_.warnings().size(), 2u);
  EXPECT_THAT(log_.warnings()[0], StartsWith("failed to open library libraw_msgpack_api.so: "));
}

TEST_F(RawMsgpackApiSearch, GoesOnBehindAPathThatDoesNotOpen) {
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", "/nonexistent/engine.so");
  const std::string root = install("root");
  const EnvGuard root_variable("VEK_ROOT", root.c_str());
  EXPECT_NE(load().handle, nullptr);
  EXPECT_EQ(log_.warnings().size(), 2u);
  EXPECT_TRUE(
      log_.has(6, "[Fluent Bit Exporter] Loaded 'libraw_msgpack_api.so' from " + root + "/lib/"));
  EXPECT_THAT(log_.at(6),
              ::testing::Contains(HasSubstr("from path=" + root + "/lib/libraw_msgpack_api.so")));
}

TEST_F(RawMsgpackApiSearch, FallsBackToTheDefaultInstallation) {
  const EnvGuard root("VEK_ROOT", nullptr);
  load();
  EXPECT_THAT(log_.at(6)[0], StartsWith("[Fluent Bit Exporter] Looking for"));
  EXPECT_TRUE(log_.has(6, "[Fluent Bit Exporter] \t\t\t\t '/opt/brisline/vekora/lib/'"));
  EXPECT_THAT(
      log_.warnings().back(),
      StartsWith("failed to open library /opt/brisline/vekora/lib/libraw_msgpack_api.so: "));
}

TEST_F(RawMsgpackApiSearch, PutsLibBehindTheRoot) {
  const EnvGuard root("VEK_ROOT", "/x");
  load();
  EXPECT_THAT(log_.warnings().back(),
              StartsWith("failed to open library /x/lib/libraw_msgpack_api.so: "));
}

TEST_F(RawMsgpackApiSearch, TakesALibraryWithoutEntryPoints) {
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", VEK_BARE_ENGINE_PATH);
  const RawMsgpackApi api = load();
  EXPECT_NE(api.handle, nullptr);
  EXPECT_EQ(api.init, nullptr);
  EXPECT_EQ(api.add_data, nullptr);
  EXPECT_EQ(api.finalize, nullptr);
}

}  // namespace
}  // namespace vek::test
