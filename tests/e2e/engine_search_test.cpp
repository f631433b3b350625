// Where the plug-in looks for its engine library, and what it says about it.
#include <unistd.h>

#include <cstdlib>

#include "tests/e2e/e2e_fixture.h"

namespace vek::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class EngineSearch : public E2eTest {
 protected:
  EngineSearch() { write_exp("a", "name = lab\n"); }

  // What was logged above debug level, as "level text".
  std::vector<std::string> said() const {
    std::vector<std::string> texts;
    for (const LogLine& line : log_.lines()) {
      if (line.priority < 7) texts.push_back(std::to_string(line.priority) + " " + line.text);
    }
    return texts;
  }
};

constexpr const char* kLooking = "6 [Fluent Bit Exporter] Looking for libraw_msgpack_api.so in:";
constexpr const char* kFirst = "6 [Fluent Bit Exporter] \t\t\t\t 'FLUENT_BIT_EXPORT_API_SO'";
constexpr const char* kSecond = "6 [Fluent Bit Exporter] \t\t\t\t LD_LIBRARY_PATH=";

TEST_F(EngineSearch, SaysEveryPlaceWhenTheLibraryIsNowhere) {
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", "/nonexistent/engine.so");
  const EnvGuard loader("LD_LIBRARY_PATH", "/nonexistent/ld");
  const EnvGuard root("VEK_ROOT", "/nonexistent/vek");
  EXPECT_EQ(Exporters(config_.path()).handle(), nullptr);
  EXPECT_THAT(
      said(),
      ElementsAre(
          "6 deploy_path = /nonexistent/vek (VEK_ROOT)", kLooking, kFirst,
          StartsWith("4 failed to open library /nonexistent/engine.so: /nonexistent/engine.so: "),
          "6 [Fluent Bit Exporter] \t\t\t\t LD_LIBRARY_PATH=/nonexistent/ld",
          StartsWith("4 failed to open library libraw_msgpack_api.so: libraw_msgpack_api.so: "),
          "6 [Fluent Bit Exporter] \t\t\t\t '/nonexistent/vek/lib/'",
          StartsWith("4 failed to open library /nonexistent/vek/lib/libraw_msgpack_api.so: "),
          "6 [Fluent Bit Exporter] Cannot find 'libraw_msgpack_api.so'. Dumping env variables.",
          "6 \tFLUENT_BIT_EXPORT_API_SO=/nonexistent/engine.so",
          "6 \tLD_LIBRARY_PATH=/nonexistent/ld",
          "3 [Fluent Bit Exporter] cannot find 'libraw_msgpack_api.so'",
          "3 [FluentBitExportersArray] Cannot initialize Fluent Bit exporter for config: 'lab'",
          "3 [FluentBitExportersArray] Failed to init enabled exporters"));
}

TEST_F(EngineSearch, LooksInTheDefaultInstallationAndPassesOverAnEmptyVariable) {
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", "");
  EXPECT_EQ(Exporters(config_.path()).handle(), nullptr);
  EXPECT_THAT(said(), ElementsAre(kLooking, kFirst, kSecond,
                                  StartsWith("4 failed to open library libraw_msgpack_api.so: "),
                                  "6 [Fluent Bit Exporter] \t\t\t\t '/opt/brisline/vekora/lib/'",
                                  StartsWith("4 failed to open library "
                                             "/opt/brisline/vekora/lib/libraw_msgpack_api.so: "),
                                  HasSubstr("Dumping env variables."),
                                  "6 \tFLUENT_BIT_EXPORT_API_SO=", "6 \tLD_LIBRARY_PATH=",
                                  StartsWith("3 "), StartsWith("3 "), StartsWith("3 ")));
}

TEST_F(EngineSearch, TakesTheVariableFirst) {
  ASSERT_NE(Exporters(config_.path()).handle(), nullptr);
  EXPECT_THAT(said(),
              ElementsAre(kLooking, kFirst,
                          AllOf(StartsWith("6 opened API lib: handle=0x"),
                                HasSubstr(" from path=" VEK_SCRIPTED_ENGINE_PATH)),
                          "6 [Fluent Bit Exporter] Loaded 'libraw_msgpack_api.so' "
                          "from " VEK_SCRIPTED_ENGINE_PATH,
                          "6 [Fluent Bit Exporter] Setting 'flb_std' msgpack data layout."));
  EXPECT_THAT(log_.at(3), IsEmpty());
}

TEST_F(EngineSearch, FallsBackToTheDeploymentDirectory) {
  const TempDir root;
  root.write("lib/placeholder", "");
  ASSERT_EQ(symlink(VEK_SCRIPTED_ENGINE_PATH, root.file("lib/libraw_msgpack_api.so").c_str()), 0);
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", nullptr);
  const EnvGuard root_variable("VEK_ROOT", root.path().c_str());
  Exporters exporters(config_.path());
  ASSERT_NE(exporters.handle(), nullptr);
  EXPECT_THAT(log_.at(6),
              ::testing::Contains("[Fluent Bit Exporter] Loaded 'libraw_msgpack_api.so' from " +
                                  root.path() + "/lib/"));
  exporters.connect();
  EXPECT_EQ(engine().inits.size(), 1u);
}

// The loader reads its path when a process starts, so this test starts itself again.
TEST_F(EngineSearch, FindsTheLibraryOnTheLoadersPath) {
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", nullptr);
  if (!std::getenv("VEK_E2E_STARTED_AGAIN")) {
    const TempDir folder;
    ASSERT_EQ(symlink(VEK_SCRIPTED_ENGINE_PATH, folder.file("libraw_msgpack_api.so").c_str()), 0);
    const std::string command =
        "LD_LIBRARY_PATH=" + folder.path() + " VEK_E2E_STARTED_AGAIN=1 /proc/" +
        std::to_string(getpid()) +
        "/exe --gtest_brief=1 --gtest_filter=EngineSearch.FindsTheLibraryOnTheLoadersPath";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return;
  }
  ASSERT_NE(Exporters(config_.path()).handle(), nullptr);
  EXPECT_THAT(said(), ::testing::Contains("6 [Fluent Bit Exporter] Loaded 'libraw_msgpack_api.so' "
                                          "from LD_LIBRARY_PATH"));
}

TEST_F(EngineSearch, IsNotMadeForFilesThatAreDisabled) {
  write_exp("a", "enable = no\n");
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", "/nonexistent/engine.so");
  EXPECT_NE(Exporters(config_.path()).handle(), nullptr);
  EXPECT_THAT(said(), IsEmpty());
}

}  // namespace
}  // namespace vek::test
