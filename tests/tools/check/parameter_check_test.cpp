#include "tools/check/parameter_check.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/support/env_guard.h"
#include "tests/tools/check/configuration_fixture.h"

namespace vek::tools {
namespace {

using test::EnvGuard;
using testing::ElementsAre;
using testing::IsEmpty;

// What "fluent-bit -J" prints, as far as it matters here.
constexpr const char* kOutputs = R"({"fluent-bit":{"version":"5.1.1"},"inputs":[],"outputs":[
  {"type":"output","name":"http","properties":{
    "global_options":[{"name":"alias","type":"string"}],
    "options":[{"name":"uri","type":"string"},{"name":"format","type":"string"}],
    "networking":[{"name":"net.dns.mode","type":"string"}]}},
  {"type":"output","name":"kafka","properties":{
    "options":[{"name":"brokers","type":"string"},{"name":"rdkafka.","type":"prefixed string"}]}},
  {"type":"output","name":"own","properties":{"global_options":[]}}]})";

class ParameterCheckTest : public test::ConfigurationFixture {
 protected:
  // A program that runs this script of the shell.
  void program(const std::string& script) {
    chmod(dir_.write("root/bin/fluent-bit", "#!/bin/sh\n" + script).c_str(), 0755);
  }
  void program_that_lists(const std::string& outputs) {
    dir_.write("outputs.json", outputs);
    program("[ \"$*\" = -J ] && echo run >>" + dir_.file("runs") + " && cat " +
            dir_.file("outputs.json"));
  }
  // A destination whose Fluent Bit is looked for in this folder alone.
  void destination_there(const std::string& name, const std::string& lines) {
    destination(name, lines + "plugin_vek.engine_path = " + dir_.file("root") + "\n");
  }
  std::vector<std::string> check() {
    Findings findings;
    const auto destinations = read();
    check_parameters(destinations, findings);
    return texts(findings);
  }
};

TEST_F(ParameterCheckTest, ParametersAreThoseThatTheInstalledLibraryKnows) {
  const EnvGuard library("FLUENT_BIT_LIBRARY", VEK_FAKE_FLUENT_BIT_LIBRARY);
  destination("a",
              "plugin_name = fake\nplugin_tls.verify = on\nplugin_vek.depth = 5\n"
              "plugin_say = x\nplugin_Sya = x\n");
  destination("b", "plugin_name = fame\n");
  destination("c", "plugin_name = forward\nplugin_sya = x\n");
  destination("d", "plugin_name = forward\nplugin_vek.engine = library\n");
  destination("e", "enable = 0\nplugin_name = fame\n");
  EXPECT_THAT(check(),
              ElementsAre("a.exp:5: unknown-parameter: the output 'fake' of the installed "
                          "Fluent Bit has no parameter 'Sya'. hint: the destination will "
                          "not start",
                          "b.exp:1: no-such-output: the installed Fluent Bit has no output "
                          "'fame'",
                          "d.exp:1: no-such-output: the installed Fluent Bit has no output "
                          "'forward'"));
}

TEST_F(ParameterCheckTest, WithoutALibraryTheyAreThoseThatTheProgramLists) {
  program_that_lists(kOutputs);
  destination_there("a",
                    "plugin_name = http\nplugin_URI = /v1\nplugin_formt = json\n"
                    "plugin_net.keepalive = on\nplugin_vek.depth = 5\nplugin_Alias = a\n");
  destination_there("b", "plugin_name = htpt\n");
  destination_there("c",
                    "plugin_name = Kafka\nplugin_rdkafka.debug = all\nplugin_rdkafkaxdebug = 1\n");
  destination_there("d", "plugin_name = own\nplugin_whatever = 1\n");
  destination_there("e", "plugin_name = stdout\nplugin_whatever = 1\n");
  EXPECT_THAT(check(),
              ElementsAre("a.exp:3: unknown-parameter: the output 'http' of the installed Fluent "
                          "Bit has no parameter 'formt'. hint: did you mean 'format'?",
                          "b.exp:1: no-such-output: the installed Fluent Bit has no output 'htpt'. "
                          "hint: did you mean 'http'?",
                          "c.exp:3: unknown-parameter: the output 'Kafka' of the installed Fluent "
                          "Bit has no parameter 'rdkafkaxdebug'. hint: the destination will not "
                          "start"));
  EXPECT_EQ(test::read_file(dir_.file("runs")), "run\n") << "once for all destinations";
}

TEST_F(ParameterCheckTest, TheOneIsAskedThatTheDestinationNames) {
  const EnvGuard library("FLUENT_BIT_LIBRARY", VEK_FAKE_FLUENT_BIT_LIBRARY);
  program_that_lists(kOutputs);
  const EnvGuard path("PATH", (dir_.file("root/bin") + ":/usr/bin:/bin").c_str());
  destination("a", "plugin_name = fake\nplugin_vek.engine = process\n");
  destination("b", "plugin_name = http\nplugin_vek.engine = library\n");
  EXPECT_THAT(check(), ElementsAre("a.exp:1: no-such-output: the installed Fluent Bit has no "
                                   "output 'fake'",
                                   "b.exp:1: no-such-output: the installed Fluent Bit has no "
                                   "output 'http'"));
}

TEST_F(ParameterCheckTest, AProgramThatDoesNotAnswerIsAWarning) {
  const struct {
    const char* script;
    const char* problem;
  } kCases[] = {
      {"exit 3", "ends with status 3"},
      {"kill -SEGV $$", "crashes: Segmentation fault"},
      {"echo 'Fluent Bit v9'", "does not list its outputs"},
      {"echo '{\"outputs\":7}'", "does not list its outputs"},
      {"", "does not list its outputs"},
  };
  for (const auto& one : kCases) {
    program(one.script);
    destination_there("a", "plugin_name = http\nplugin_uri = /\n");
    EXPECT_THAT(check(), ElementsAre("a.exp:1: not-asked: Fluent Bit could not be asked for the "
                                     "parameters of 'http': '" +
                                     dir_.file("root/bin/fluent-bit") + " -J' " + one.problem));
  }
}

TEST_F(ParameterCheckTest, WithoutAFluentBitNothingIsSaid) {
  destination_there("a", "plugin_name = fame\n");
  EXPECT_THAT(check(), IsEmpty());
}

}  // namespace
}  // namespace vek::tools
