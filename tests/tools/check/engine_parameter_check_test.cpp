#include "tools/check/engine_parameter_check.h"

#include <gmock/gmock.h>

#include "tests/tools/check/configuration_fixture.h"

namespace vek::tools {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class EngineParameterCheckTest : public test::ConfigurationFixture {
 protected:
  std::vector<std::string> check(const std::string& lines) {
    destination("a", lines);
    Findings findings;
    const auto destinations = read();
    check_engine_parameters(destinations, findings);
    return texts(findings);
  }
  std::vector<std::string> check_files(const std::string& lines) {
    destination("a", lines);
    Findings findings;
    const auto destinations = read();
    check_parameter_files(destinations.front(), findings);
    return texts(findings);
  }
};

TEST_F(EngineParameterCheckTest, SaysWhatTheEngineWouldSayAtItsStart) {
  const struct {
    const char* lines;
    const char* finding;
  } kCases[] = {
      {"plugin_name = forward\nplugin_tls.verfy = off\n",
       "a.exp:2: unknown-parameter: output 'forward' has no parameter 'tls.verfy'. hint: did you "
       "mean "
       "'tls.verify'?"},
      {"plugin_name = forward\nplugin_tls = maybe\n",
       "a.exp:2: bad-parameter: tls = 'maybe' cannot be used. hint: it takes on or off"},
      {"plugin_name = forward\nplugin_COMPRESS = zip\n",
       "a.exp:2: bad-parameter: Compress = 'zip' cannot be used. hint: it takes gzip or off"},
      {"plugin_name = forward\nplugin_Mem_Buf_Limit = much\n",
       "a.exp:2: bad-parameter: Mem_Buf_Limit = 'much' is no size. hint: write it as 64M"},
      {"plugin_name = forward\nplugin_vek.fsync = now\n",
       "a.exp:2: bad-parameter: vek.fsync = 'now' is neither always, never nor a number of "
       "milliseconds from 1 to 3600000"},
      {"plugin_name = file\nplugin_path = /tmp\nplugin_format = xml\n",
       "a.exp:3: bad-parameter: output 'file' has no format 'xml'. hint: use 'json' or 'msgpack'"},
      {"plugin_name = file\n",
       "a.exp:1: bad-parameter: output 'file' needs plugin_path or plugin_file"},
      {"plugin_name = stdout\nplugin_path = /tmp\n",
       "a.exp:2: unknown-parameter: output 'stdout' has no parameter 'path'"},
      {"plugin_name = http\nplugin_vek.engine = builtin\n",
       "a.exp:1: bad-parameter: there is no output 'http'. hint: these work: stdout_raw, stdout, "
       "file, forward, null"},
      {"plugin_name = http\nplugin_vek.engine = libary\n",
       "a.exp:2: bad-parameter: vek.engine = 'libary' cannot be used. hint: it takes auto, "
       "builtin, "
       "library or process"},
      {"plugin_name = http\nplugin_vek.dept = 5\n",
       "a.exp:2: unknown-parameter: output 'http' has no parameter 'vek.dept'. hint: did you mean "
       "'vek.depth'?"},
      {"plugin_name = http\nplugin_vek.depth = 500\n",
       "a.exp:2: bad-parameter: vek.depth = '500' cannot be used. hint: it takes a number from 1 "
       "to "
       "60"},
  };
  for (const auto& one : kCases) EXPECT_THAT(check(one.lines), ElementsAre(one.finding));
}

TEST_F(EngineParameterCheckTest, SaysAllOfADestinationAtOnce) {
  EXPECT_THAT(
      check("plugin_name = forward\nplugin_vek.grace = long\nplugin_Retry_Limit = 0\n"
            "plugin_hots = x\nplugin_hots = y\nplugin_tls = ja\n"),
      ElementsAre("a.exp:2: bad-parameter: vek.grace = 'long' is no number of seconds from "
                  "0 to 3600",
                  "a.exp:3: bad-parameter: Retry_Limit = '0' cannot be used. hint: it takes "
                  "no_limits, no_retries or a number from 1",
                  "a.exp:5: unknown-parameter: output 'forward' has no parameter 'hots'. hint: "
                  "did you mean 'Host'?",
                  "a.exp:6: bad-parameter: tls = 'ja' cannot be used. hint: it takes on or "
                  "off"));
}

TEST_F(EngineParameterCheckTest, HasNothingAgainstWhatTheEngineTakes) {
  EXPECT_THAT(check("plugin_name = forward\nplugin_TLS = on\nplugin_vek.frame_size = 64K\n"
                    "plugin_Retry_Limit = no_retries\nplugin_Match = *\n"),
              IsEmpty());
  EXPECT_THAT(check("plugin_name = Stdout_Raw\nplugin_tls.whatever = x\nplugin_Workers = 2\n"),
              IsEmpty());
  EXPECT_THAT(check("plugin_name = http\nplugin_uri = /\nplugin_vek.expand_env = on\n"), IsEmpty());
  EXPECT_THAT(check("enable = 0\nplugin_name = forward\nplugin_hots = x\n"), IsEmpty());
}

TEST_F(EngineParameterCheckTest, FilesThatParametersNameHaveToBeThere) {
  const std::string here = dir_.path();
  const std::string file = dir_.write("ca.pem", "");
  EXPECT_THAT(check_files("plugin_name = forward\nplugin_tls.ca_file = " + file +
                          "\nplugin_storage.path = " + here + "/spool/\n"),
              IsEmpty());
  EXPECT_THAT(check_files("plugin_name = file\nplugin_path = " + here + "\n"), IsEmpty());
  EXPECT_THAT(check_files("plugin_name = http\nplugin_path = /nowhere\n"), IsEmpty());
  EXPECT_THAT(
      check_files("plugin_name = forward\nplugin_tls.ca_file = " + here + "/none.pem\n" +
                  "plugin_tls.key_file = " + file + "\nplugin_storage.path = " + here + "/a/b\n"),
      ElementsAre(
          "a.exp:2: cannot-open: '" + here + "/none.pem' cannot be used: No such file or directory",
          "a.exp:4: cannot-open: '" + here +
              "/a/b' cannot be used: No such file or directory. hint: the folder is made, "
              "but not the one that it is in"));
  EXPECT_THAT(check_files("plugin_name = file\nplugin_path = " + file + "\n"),
              ElementsAre("a.exp:2: cannot-open: '" + file +
                          "' cannot be used: Not a directory. hint: the folder has to be there; it "
                          "is not made"));
}

}  // namespace
}  // namespace vek::tools
