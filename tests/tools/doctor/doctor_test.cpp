// vektool doctor: what works, what does not, what mends it.
#include "tools/doctor/doctor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"
#include "tools/base/diagnosis.h"

namespace vek::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using tools::Diagnoses;
using tools::Health;
using Words = std::vector<std::string>;

class DoctorTest : public testing::Test {
 protected:
  ChildResult doctor(const std::string& plugin, const Words& more = {}, ToolSetting setting = {}) {
    setting.environment.emplace_back("TMPDIR", dir_.path());
    Words words{"doctor", "--plugin", plugin};
    words.insert(words.end(), more.begin(), more.end());
    return run_tool(words, setting);
  }

  TempDir dir_;
};

TEST_F(DoctorTest, AWholeInstallationIsGood) {
  const ChildResult result = doctor(VEK_PLUGIN_PATH);
  EXPECT_EQ(result.exit_code, 0) << result.standard_output;
  EXPECT_THAT(result.standard_output,
              HasSubstr("good  plug-in        fluentbit_exporter, version 1.22.1, exporter "
                        "interface 1\n"));
  EXPECT_THAT(result.standard_output,
              HasSubstr(std::string("good  engine         found at ") +
                        std::filesystem::canonical(VEK_ENGINE_PATH).string() + "\n"));
  EXPECT_THAT(result.standard_output, HasSubstr("good  engine         starts a destination\n"));
  for (const char* part :
       {"good  plug-in        built with ", "good  engine         built with "}) {
    const size_t place = result.standard_output.find(part);
    ASSERT_NE(place, std::string::npos) << part;
    EXPECT_THAT(
        result.standard_output.substr(place, result.standard_output.find('\n', place) - place),
        testing::ContainsRegex("built with [A-Za-z]+ [0-9.]+, [A-Za-z]+, JSON: (own|parson)"));
  }
  EXPECT_THAT(result.standard_output, HasSubstr("environment    FLUENT_BIT_EXPORT_API_SO="));
  EXPECT_THAT(result.standard_output, Not(HasSubstr("bad ")));
  EXPECT_TRUE(std::filesystem::is_empty(dir_.path()));
}

TEST_F(DoctorTest, AMissingPluginAndOneThatIsNoneAreExplained) {
  ChildResult result = doctor(dir_.file("none.so"));
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_THAT(result.standard_output, HasSubstr("bad   plug-in        cannot load the plug-in: "));
  result = doctor(dir_.write("text.so", std::string(4096, 'x')));
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_THAT(result.standard_output, HasSubstr("(it is no shared library)"));
}

TEST_F(DoctorTest, AnEngineThatCannotBeLoadedIsNamedWithTheLoadersReason) {
  ToolSetting setting;
  const std::string text = dir_.write("engine.so", std::string(4096, 'x'));
  setting.environment = {{"FLUENT_BIT_EXPORT_API_SO", text}};
  const ChildResult result = doctor(VEK_PLUGIN_PATH, {}, setting);
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_THAT(result.standard_output,
              HasSubstr("bad   engine         was not found, so the plug-in does not start\n"));
  EXPECT_THAT(result.standard_output,
              HasSubstr("the plug-in says: failed to open library " + text));
  EXPECT_THAT(result.standard_output, HasSubstr("mend: it is no shared library\n"));
}

TEST_F(DoctorTest, APluginThatCrashesDoesNotTakeTheToolAlong) {
  ToolSetting setting;
  setting.environment = {{"VEK_SCRIPT", "crashes"}};
  const ChildResult result = doctor(VEK_SCRIPTED_PLUGIN_PATH, {}, setting);
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_THAT(result.standard_output, HasSubstr("bad   plug-in        crashes: Aborted"));
  EXPECT_THAT(result.standard_output, HasSubstr("fluent-bit"));  // the rest is looked at
}

TEST_F(DoctorTest, AConfigurationIsListedWithoutItsSecrets) {
  dir_.write("c/a.exp",
             "name = site\nplugin_name = forward\nplugin_Shared_Key = swordfish\nnmae=x\n");
  const ChildResult result = doctor(VEK_PLUGIN_PATH, {"--config", dir_.file("c")});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_THAT(result.standard_output, HasSubstr("a.exp: 'site' to forward\n"));
  EXPECT_THAT(result.standard_output, HasSubstr("bad   configuration  1 errors and 0 warnings\n"));
  EXPECT_THAT(result.standard_output, Not(HasSubstr("swordfish")));
}

TEST_F(DoctorTest, TheProgramsVersionIsShown) {
  const std::string program = dir_.write("bin/fluent-bit", "#!/bin/sh\necho \"Fluent Bit $1\"\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  ToolSetting setting;
  setting.environment = {{"PATH", dir_.file("bin") + ":/usr/bin:/bin"}};
  EXPECT_THAT(
      doctor(VEK_PLUGIN_PATH, {}, setting).standard_output,
      HasSubstr("good  fluent-bit     the program is " + program + " (Fluent Bit --version)\n"));
}

TEST_F(DoctorTest, JsonHasTheSame) {
  const ChildResult result = doctor(VEK_PLUGIN_PATH, {"--json"});
  EXPECT_THAT(result.standard_output,
              testing::StartsWith(R"({"schema_version":1,"diagnoses":[{"health":"good",)"));
  EXPECT_THAT(result.standard_output, HasSubstr(R"("what":"starts a destination","mend":""})"));
}

TEST(DiagnoseInChild, HandsOverWhatWasFoundAndHowTheChildEnded) {
  const Diagnoses found = tools::diagnose_in_child("part", [](Diagnoses& out) {
    out.push_back({Health::kNote, "part", "what", "mend"});
  });
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].health, Health::kNote);
  EXPECT_EQ(found[0].what, "what");
  EXPECT_EQ(found[0].mend, "mend");
  const Diagnoses ended = tools::diagnose_in_child("part", [](Diagnoses&) { _exit(7); });
  ASSERT_EQ(ended.size(), 1u);
  EXPECT_EQ(ended[0].what, "ends the process with status 7");
  const Diagnoses killed =
      tools::diagnose_in_child("part", [](Diagnoses&) { std::raise(SIGKILL); });
  ASSERT_EQ(killed.size(), 1u);
  EXPECT_EQ(killed[0].what, "crashes: Killed");
}

}  // namespace
}  // namespace vek::test
