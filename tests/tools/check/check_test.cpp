// vektool check: what it says of files, and in which forms.
#include "tools/check/check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Words = std::vector<std::string>;

// Two counters and a type of event, as one type system document.
constexpr char kTypeSystem[] =
    R"({"version":"1.5.0","counter_groups":[{"granularity":"NODE","name":"g","num_counter_sets":1,)"
    R"("num_counters":0,"counters":[)"
    R"({"name":"rx_bytes","description":"","units":"","data_type":"UINT64","counting_type":"ABSOLUTE"},)"
    R"({"name":"tx_bytes","description":"","units":"","data_type":"FP64","counting_type":"ABSOLUTE"},)"
    R"({"name":"code","description":"","units":"","data_type":"FP64","counting_type":"ABSOLUTE"}]}]})";

class CheckTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    demo_ = new TempDir;
    ASSERT_EQ(run_tool({"generate", "--output", demo_->file("d"), "--pages", "20"}).exit_code, 0);
  }
  static void TearDownTestSuite() { delete demo_; }
  static std::string demo(const std::string& name) { return demo_->file("d/" + name); }

  ChildResult check(const Words& more = {}, const ToolSetting& setting = {}) {
    Words words{"check", dir_.file("c")};
    words.insert(words.end(), more.begin(), more.end());
    return run_tool(words, setting);
  }

  // The findings of a run, without the directory in front and without the summary.
  Words lines(const ChildResult& result) {
    std::istringstream text(result.standard_output);
    Words found;
    for (std::string line; std::getline(text, line);) {
      const std::string prefix = dir_.file("c/");
      if (line.starts_with(prefix)) line.erase(0, prefix.size());
      found.push_back(line);
    }
    if (!found.empty()) found.pop_back();
    return found;
  }

  Words findings_of_exp(const std::string& contents) {
    dir_.write("c/a.exp", contents);
    return lines(check());
  }

  // With the file beside a destination that names it, and the small type system.
  Words findings_of_set(const std::string& key, const std::string& contents) {
    dir_.write("c/a.exp", key + " = " + dir_.file("c/f") + "\n");
    dir_.write("c/f", contents);
    return lines(check({"--type-system", dir_.write("ts.json", kTypeSystem)}));
  }

  static TempDir* demo_;
  TempDir dir_;
};

TempDir* CheckTest::demo_ = nullptr;

TEST_F(CheckTest, TheDemonstrationIsClean) {
  ChildResult result = run_tool({"check", demo("config"), "--schema-dir", demo("schemas"),
                                 "--pages", demo("pages.bin"), "--strict"});
  EXPECT_EQ(result.exit_code, 0) << result.standard_output;
  EXPECT_THAT(result.standard_output, testing::EndsWith(" files, 0 errors, 0 warnings\n"));
  EXPECT_EQ(result.standard_error, "");
  result =
      run_tool({"check", demo("streams"), "--type-system", demo("type_system.json"), "--strict"});
  EXPECT_EQ(result.exit_code, 0) << result.standard_output;
}

TEST_F(CheckTest, AParameterThatIsNearlyAKeyIsBoth) {
  EXPECT_THAT(findings_of_exp("plugin_nmae = x\n"),
              ElementsAre("a.exp:1:1: warning[near-key]: this is a parameter 'nmae' of the output. "
                          "hint: did you mean 'plugin_name'?",
                          "a.exp:1:15: error[unknown-parameter]: output 'forward' has no parameter "
                          "'nmae'."));
}

struct ExpCase {
  const char* line;
  const char* finding;  // behind "a.exp:"; empty: none
};

class CheckExpLine : public CheckTest, public testing::WithParamInterface<ExpCase> {};

TEST_P(CheckExpLine, GetsItsFinding) {
  const Words found = findings_of_exp(std::string("\n  ") + GetParam().line + "  # comment\n");
  if (*GetParam().finding == '\0') {
    EXPECT_THAT(found, ElementsAre());
  } else {
    EXPECT_THAT(found, ElementsAre(std::string("a.exp:") + GetParam().finding));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Lines, CheckExpLine,
    testing::Values(
        ExpCase{"name = x", ""}, ExpCase{"host:10.0.0.1", ""}, ExpCase{"host=x", ""},
        ExpCase{"plugin_Retry_Limit", ""}, ExpCase{"plugin_tls.verify = off", ""},
        ExpCase{"source_tag = a,b,counters", ""}, ExpCase{"port = 65535", ""},
        ExpCase{"enable = 0", ""}, ExpCase{"plugin_tag = /tmp", ""},
        ExpCase{"conterset = x",
                "2:3: error[unknown-key]: 'conterset' is no key; the line has no effect. hint: did "
                "you mean 'counterset'?"},
        ExpCase{"zzzzzzzzzz",
                "2:3: error[unknown-key]: 'zzzzzzzzzz' is no key; the line has no effect. hint: "
                "keys are msgpack_data_layout, plugin_name, name, counterset, fieldset, host, "
                "enable, port, batch_mode, source_tag and plugin_NAME"},
        ExpCase{"hostname=x",
                "2:3: warning[prefix-key]: 'hostname' begins with the key 'host', which takes the "
                "line with the value 'ame=x'. hint: write 'host = ...'"},
        ExpCase{"source_tags = a",
                "2:3: warning[prefix-key]: 'source_tags' begins with the key 'source_tag', which "
                "takes the line with the value '= a'. hint: write 'source_tag = ...'"},
        ExpCase{"host 10.0.0.1",
                "2:3: error[no-separator]: there is no '=' behind 'host', so the value loses its "
                "first character and is '0.0.0.1'. hint: write 'host = ...'"},
        ExpCase{"name =",
                "2:3: warning[empty-value]: 'name' has no value; what it was before stays."},
        ExpCase{"enable = yes",
                "2:12: error[not-a-number]: 'yes' is no number, so 'enable' becomes 0 and switches "
                "the destination off. hint: write 'enable = 1' or 'enable = 0'"},
        ExpCase{"port = 80x",
                "2:10: error[not-a-number]: '80x' is no number, so 'port' becomes 80."},
        ExpCase{"port = 65537",
                "2:10: error[port-range]: 65537 is no port; its low 16 bits are 1."},
        ExpCase{"source_tag = a, b",
                "2:18: error[tag-blank]: the blank belongs to the tag ' b', which no page has. "
                "hint: write tags without blanks around the comma"},
        ExpCase{"source_tag = a,,b",
                "2:18: warning[empty-tag]: an empty tag is listed; no page matches it. hint: "
                "'counters' lets pages without a tag pass"},
        ExpCase{"source_tag = abcdefghijklmnopq",
                "2:16: error[tag-too-long]: tags of pages have at most 16 characters, so no page "
                "matches 'abcdefghijklmnopq'."},
        ExpCase{"plugin_=x",
                "2:3: error[empty-parameter]: the parameter has no name; it is left out. hint: "
                "write 'plugin_NAME = value'"},
        ExpCase{"plugin_ = x",
                "2:3: error[empty-parameter]: the parameter has no name; the destination will not "
                "start. hint: write 'plugin_NAME = value'"},
        ExpCase{"plugin_Match = a=b",
                "2:18: error[cut-value]: the value ends at the second '=' and is 'a'."},
        ExpCase{"plugin_name = kafak",
                "2:17: warning[unknown-output]: 'kafak' is no output that is known here. hint: did "
                "you mean 'kafka'?"},
        ExpCase{"msgpack_data_layout = flb_sdt",
                "2:25: error[unknown-layout]: 'flb_sdt' is no layout; 'flb_std' is used. hint: did "
                "you mean 'flb_std'?"}));

TEST_F(CheckTest, LaterLinesOfAKeyAreSaidOnceEach) {
  EXPECT_THAT(findings_of_exp("host = a\nplugin_Tag = x\nhost = b\nplugin_tag = y\n"),
              ElementsAre("a.exp:3:1: warning[repeated-key]: 'host' was given in line 1 already; "
                          "the last one counts.",
                          "a.exp:4:1: warning[repeated-key]: 'plugin_tag' was given in line 2 "
                          "already; the last one counts."));
}

TEST_F(CheckTest, TheLayoutCustomIsSaidWhereItIsIgnored) {
  EXPECT_THAT(findings_of_exp("msgpack_data_layout = custom\nplugin_name = es\n"),
              ElementsAre(HasSubstr("a.exp:1:23: warning[layout-ignored]: the output 'es' takes")));
  EXPECT_THAT(findings_of_exp("msgpack_data_layout = custom\nplugin_name = stdout_raw\n"),
              ElementsAre());
}

TEST_F(CheckTest, FilesThatCannotBeOpenedAreErrorsWithTheirEffect) {
  EXPECT_THAT(
      findings_of_exp("counterset = /nowhere\nfieldset = rel.fset\n"),
      ElementsAre("a.exp:1:14: error[cannot-open]: '/nowhere' cannot be opened: No such file or "
                  "directory; every counter will leave.",
                  "a.exp:2:12: error[cannot-open]: 'rel.fset' cannot be opened: No such file or "
                  "directory; no event will leave. hint: the path counts from the collector's "
                  "working directory"));
}

TEST_F(CheckTest, APathThatThePluginWouldCutIsAnError) {
  const std::string name(120, 'n');
  dir_.write("c/" + name + ".exp", "name = x\n");
  EXPECT_THAT(check().standard_output,
              HasSubstr("error[path-too-long]: the path has more than 127"));
}

TEST_F(CheckTest, DestinationsThatShareANameOrAFileAreSaid) {
  const std::string file = "name = x\nplugin_name = file\nplugin_path = /tmp\nplugin_file = out\n";
  dir_.write("c/a.exp", file);
  dir_.write("c/b.exp", file);
  dir_.write("c/off.exp", file + "enable = 0\n");
  EXPECT_THAT(lines(check()),
              ElementsAre(HasSubstr("b.exp:1:8: warning[same-name]: the name 'x' is also that of "),
                          HasSubstr("b.exp:4:15: error[same-file]: the file '/tmp/out' is also")));
}

TEST_F(CheckTest, CounterSetSyntaxNeedsNoSchema) {
  dir_.write("c/a.exp", "counterset = " + dir_.file("c/f") + "\n");
  dir_.write("c/f", "a=b=c\n+\nmeta_field_add:site\nmeta_field_add:=x\n[heading]\nany\n");
  EXPECT_THAT(
      lines(check()),
      ElementsAre("f:1:1: error[bad-rule]: 'a=b=c' is neither a rule nor 'alias=rule', and has no "
                  "effect. hint: one '=' stands between alias and rule",
                  HasSubstr("f:2:1: error[bad-filter]: '+' cannot be split"),
                  HasSubstr("f:3:1: error[bad-meta]: 'meta_field_add:site' is taken for a rule"),
                  HasSubstr("f:4:1: error[bad-meta]: the meta field 'meta_field_add:=x' lacks")));
}

TEST_F(CheckTest, CounterRulesThatTakeNothingAreSaidWithTheNearestName) {
  EXPECT_THAT(findings_of_set("counterset", "rx_byts\ntx\n+rx_+err\nalias=^code$\n"),
              ElementsAre("f:1:1: warning[matches-nothing]: 'rx_byts' takes no counter of the "
                          "schemas. hint: did you mean 'rx_bytes'?",
                          "f:3:1: warning[matches-nothing]: '+rx_+err' takes no counter of the "
                          "schemas."));
}

TEST_F(CheckTest, AnExclusionThatTakesTheRestIsSaidBesideOtherRules) {
  EXPECT_THAT(
      findings_of_set("counterset", "rx\n-code\n"),
      ElementsAre("f:2:1: warning[takes-the-rest]: '-code' also takes every counter that it "
                  "does not exclude and no earlier line took. hint: write it as a part of "
                  "the other rules, as in '+rx-code'"));
  EXPECT_THAT(findings_of_set("counterset", "-code\n"), ElementsAre());
}

TEST_F(CheckTest, ARuleBehindAWiderOneIsShadowed) {
  EXPECT_THAT(
      findings_of_set("counterset", "_bytes\nmine=^rx_bytes$\n"),
      ElementsAre("f:2:1: warning[shadowed]: every counter that 'mine=^rx_bytes$' takes was "
                  "taken before, by line 1. hint: put the narrower rule first"));
}

TEST_F(CheckTest, OnlyRuleThatTakesNothingIsHowNoneIsSaid) {
  EXPECT_THAT(findings_of_set("counterset", "^(none)$\n"), ElementsAre());
}

TEST_F(CheckTest, CountersThatLeaveUnderOneNameAreAnError) {
  EXPECT_THAT(findings_of_set("counterset", "same=_bytes\n"),
              ElementsAre(HasSubstr("f:1:1: error[same-name]: two counters leave as 'same'")));
}

TEST_F(CheckTest, MetaFieldsWithoutTheirCounterOrHiddenAreSaid) {
  EXPECT_THAT(
      findings_of_set("counterset",
                      "_bytes\nmeta_field_alias:rx_byts=y\n"
                      "meta_field_add:type=x\nmeta_field_alias:rx_bytes=z\n"),
      ElementsAre("f:2:1: warning[unknown-counter]: no schema has a counter 'rx_byts'. "
                  "hint: did you mean 'rx_bytes'?",
                  HasSubstr("f:3:1: warning[hidden-meta]: the meta field 'type' does not")));
}

TEST_F(CheckTest, FieldSetFindingsComeWithTheirLines) {
  dir_.write("c/a.exp", "fieldset = " + dir_.file("c/f") + "\n");
  dir_.write("c/f",
             "[alarm, port]\n[alram]\nanything\n\n[alarm]\ncode\n  ^code$\nmesage\n[x\n"
             "meta_field_add:=\n");
  EXPECT_THAT(
      lines(check({"--schema-dir", demo("schemas")})),
      ElementsAre("f:1:1: error[section-blank]: the blank belongs to the name ' port', which no "
                  "type has. hint: write names without blanks around the comma",
                  "f:2:1: warning[unknown-type]: no schema has a type 'alram'. hint: did you mean "
                  "'alarm'?",
                  "f:7:3: warning[shadowed]: every field that '^code$' takes was taken before, by "
                  "line 6. hint: put the narrower rule first",
                  "f:8:1: warning[matches-nothing]: 'mesage' takes no field of the schemas. hint: "
                  "did you mean 'message'?",
                  HasSubstr("f:9:1: error[bad-section]: '[x' is taken for a rule"),
                  HasSubstr("f:10:1: error[bad-meta]: the meta field")));
}

TEST_F(CheckTest, ReceiversThatRejectTwoKindsOfOneNameAreKnown) {
  dir_.write("c/a.exp", "plugin_name = influxdb\ncounterset = " + dir_.file("c/f") + "\n");
  dir_.write("c/f", "rx_bytes\nmeta_field_alias:tx_bytes=v\nmeta_field_add:v=text\n");
  const std::string types = dir_.write("ts.json", kTypeSystem);
  EXPECT_THAT(
      lines(check({"--type-system", types})),
      ElementsAre("a.exp:1:15: error[two-kinds]: 'v' is fraction in counters and text in "
                  "counters; influxdb rejects the second. hint: give one of them an alias"));
  dir_.write("c/a.exp", "plugin_name = stdout\ncounterset = " + dir_.file("c/f") + "\n");
  EXPECT_THAT(lines(check({"--type-system", types})), ElementsAre());
}

TEST_F(CheckTest, SearchEnginesAndDotsAreKnown) {
  dir_.write("c/a.exp", "plugin_name = es\nfieldset = " + dir_.file("c/f") +
                            "\ncounterset = " + dir_.file("c/none") + "\n");
  dir_.write("c/none", "^(none)$\n");
  dir_.write("c/f", "[link_state_change]\nport.guid\n");
  const Words with_schemas{"--schema-dir", demo("schemas")};
  EXPECT_THAT(lines(check(with_schemas)),
              ElementsAre(HasSubstr("a.exp:1:15: warning[dotted-name]: 'port.guid' in "
                                    "link_state_change becomes an object 'port' at the receiver")));
  dir_.write("c/a.exp", "plugin_name = es\nplugin_Replace_Dots = on\nfieldset = " +
                            dir_.file("c/f") + "\ncounterset = " + dir_.file("c/none") + "\n");
  EXPECT_THAT(lines(check(with_schemas)), ElementsAre());
}

// An array of 75 elements is one thing to mend.
TEST_F(CheckTest, DottedNamesOfOneObjectAreOneFinding) {
  dir_.write("c/a.exp", "plugin_name = es\nfieldset = " + dir_.file("c/f") +
                            "\ncounterset = " + dir_.file("c/none") + "\n");
  dir_.write("c/none", "^(none)$\n");
  dir_.write("c/f", "[alarm]\nports\n[link_state_change]\nport\n");
  EXPECT_THAT(lines(check({"--schema-dir", demo("schemas")})),
              ElementsAre("a.exp:1:15: warning[dotted-name]: 'port.guid' and 1 more in "
                          "link_state_change become an object 'port' at the receiver. hint: "
                          "plugin_Replace_Dots = on keeps them flat",
                          "a.exp:1:15: warning[dotted-name]: 'ports.0' and 3 more in alarm become "
                          "an object 'ports' at the receiver. hint: plugin_Replace_Dots = on keeps "
                          "them flat"));
}

TEST_F(CheckTest, NamesThatARecordHasOfItsOwnAreSaid) {
  const std::string types = dir_.write("ts.json", kTypeSystem);
  dir_.write("c/f", "timestamp=^rx_bytes$\ntype=^tx_bytes$\n");
  const std::string rest =
      "counterset = " + dir_.file("c/f") + "\nfieldset = " + dir_.file("c/none") + "\n";
  dir_.write("c/none", "[]\n-a\n");
  dir_.write("c/a.exp", "plugin_name = stdout\n" + rest);
  const std::string time =
      "[reserved-name]: the counter 'timestamp' takes the place of the record's own 'timestamp'";
  const std::string type =
      "a.exp:2:14: warning[reserved-name]: the counter 'type' takes the place of the record's own "
      "'type'. hint: give the counter an alias";
  EXPECT_THAT(
      lines(check({"--type-system", types})),
      ElementsAre("a.exp:2:14: warning" + time + ". hint: give the counter an alias", type));
  dir_.write("c/a.exp", "plugin_name = opensearch\n" + rest);
  EXPECT_THAT(
      lines(check({"--type-system", types})),
      ElementsAre("a.exp:2:14: error" + time + ", which is a time. hint: give the counter an alias",
                  type));
}

TEST_F(CheckTest, TagsAreComparedWithARecording) {
  dir_.write("c/a.exp", "source_tag = hall_b,hall_z\n");
  EXPECT_THAT(
      lines(check({"--pages", demo("pages.bin")})),
      ElementsAre(HasSubstr("a.exp:1:14: warning[unknown-tag]: no page of the recording has "
                            "the tag 'hall_z'")));
}

TEST_F(CheckTest, ADestinationThatGetsNothingOfTheRecordingIsSaid) {
  dir_.write("c/a.exp", "source_tag = dict_x\n");
  EXPECT_THAT(
      check({"--pages", demo("pages.bin"), "--schema-dir", demo("schemas")}).standard_output,
      HasSubstr("a.exp: warning[no-record]: no record of the recording leaves for this"));
}

TEST_F(CheckTest, SchemaFilesThatAreNoneAreErrors) {
  dir_.write("c/a.exp", "name = x\n");
  const std::string id(32, 'a');
  dir_.write("s/schema_" + id + ".json", "{");
  dir_.write("s/schema_zz.json", "{}");
  const ChildResult result = check({"--schema-dir", dir_.file("s")});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.standard_output,
              HasSubstr("schema_" + id + ".json: error[bad-schema]: is neither a counters schema"));
  EXPECT_THAT(result.standard_output, HasSubstr("schema_zz.json: warning[schema-name]: 'zz'"));
}

TEST_F(CheckTest, TheStatusFollowsTheWorstFinding) {
  dir_.write("c/a.exp", "name = x\n");
  EXPECT_EQ(check().exit_code, 0);
  dir_.write("c/a.exp", "hostname = x\n");
  EXPECT_EQ(check().exit_code, 0);
  EXPECT_EQ(check({"--strict"}).exit_code, 3);
  dir_.write("c/a.exp", "hostname = x\nnmae = y\n");
  EXPECT_EQ(check({"--strict"}).exit_code, 1);
  EXPECT_EQ(run_tool({"check", dir_.file("none")}).exit_code, 4);
  EXPECT_EQ(check({"--schema-dir", dir_.file("none")}).exit_code, 4);
  EXPECT_EQ(check({"--type-system", dir_.write("bad.json", "{")}).exit_code, 1);
  EXPECT_EQ(check({"--pages", dir_.file("none")}).exit_code, 4);
}

TEST_F(CheckTest, ADirectoryWithoutDestinationsIsWarnedOf) {
  dir_.write("c/readme", "");
  EXPECT_THAT(check().standard_output,
              HasSubstr("/c: warning[no-destination]: holds no .exp file that can be read"));
}

TEST_F(CheckTest, NothingOfTheLogReachesStandardError) {
  dir_.write("c/a.exp", "plugin_=x\ncounterset = " + dir_.file("c/f") + "\n");
  dir_.write("c/f", "a=b=c\n+\nmeta_field_add:site\n");
  EXPECT_EQ(check().standard_error, "");
}

TEST_F(CheckTest, JsonHoldsEveryFinding) {
  dir_.write("c/a.exp", "nmae = \"x\"\n");
  const std::string expected =
      R"({"schema_version":1,"files":1,"errors":1,"warnings":0,"findings":[{"path":")" +
      dir_.file("c/a.exp") +
      R"(","line":1,"column":1,"severity":"error","code":"unknown-key","what":"'nmae' is no key; )"
      R"(the line has no effect","hint":"did you mean 'name'?"}]})"
      "\n";
  EXPECT_EQ(check({"--json"}).standard_output, expected);
  EXPECT_EQ(check({"--format", "json"}).standard_output, expected);
  EXPECT_THAT(check({"--json", "--int64", "string"}).standard_output, HasSubstr(R"("line":"1")"));
}

TEST_F(CheckTest, JunitAndGithubHoldEveryFinding) {
  dir_.write("c/a.exp", "nmae = <x>\nsource_tag = 50%, b\n");
  dir_.write("c/b.exp", "name = b\n");
  const std::string junit = check({"--format", "junit"}).standard_output;
  EXPECT_THAT(junit,
              testing::StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>"));
  EXPECT_THAT(junit, HasSubstr("tests=\"2\" failures=\"2\">"));
  EXPECT_THAT(junit, HasSubstr("<failure type=\"error\" message=\"'nmae' is no key"));
  EXPECT_THAT(junit, HasSubstr("tests=\"1\" failures=\"0\">"));
  const std::string github = check({"--format", "github"}).standard_output;
  EXPECT_THAT(github, HasSubstr("::error file=" + dir_.file("c/a.exp") +
                                ",line=1,col=1,title=unknown-key::'nmae' is no key"));
  EXPECT_THAT(github, HasSubstr("line=2,col=18,title=tag-blank::"));
}

TEST_F(CheckTest, TextIsColouredWhenAsked) {
  dir_.write("c/a.exp", "nmae = x\n");
  EXPECT_THAT(check({"--color", "always"}).standard_output,
              HasSubstr("a.exp:1:1: \033[1;31merror[unknown-key]\033[0m: "));
}

}  // namespace
}  // namespace vek::test
