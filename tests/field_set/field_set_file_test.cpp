#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "field_set/field_set.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;
using Lines = std::vector<std::string>;

class FieldSetFile : public ::testing::Test {
 protected:
  bool load(std::string_view contents) {
    return set_.LoadFromFile(dir_.write("events.fset", contents));
  }
  void parse(const Lines& lines) {
    set_.loadFromLines(lines);
    set_.UpdateTypesOfInterest();
  }
  Lines tokens(const std::string& type) const {
    const auto found = set_.tokens_by_type().find(type);
    return found == set_.tokens_by_type().end() ? Lines{"(no key)"} : found->second;
  }
  FieldSet::NameMap aliases(const std::string& type) const {
    const auto found = set_.meta_fields_aliases_by_type().find(type);
    return found == set_.meta_fields_aliases_by_type().end() ? FieldSet::NameMap{} : found->second;
  }
  FieldSet::NameMap constants(const std::string& type) const {
    const auto found = set_.meta_fields_constants_by_type().find(type);
    return found == set_.meta_fields_constants_by_type().end() ? FieldSet::NameMap{}
                                                               : found->second;
  }
  Lines types() const {
    Lines names;
    for (const auto& entry : set_.tokens_by_type()) names.push_back(entry.first);
    return names;
  }

  TempDir dir_;
  FieldSet set_;
};

TEST_F(FieldSetFile, KnowsTheDefaultNamesOfMetaFields) {
  EXPECT_THAT(FieldSet::meta_field_names(), ElementsAre(Pair(0, "timestamp"), Pair(1, "type"),
                                                        Pair(2, "type_name"), Pair(3, "source")));
}

TEST_F(FieldSetFile, ThatCannotBeOpenedIsRefusedAndChangesNothing) {
  parse({"kept"});
  const LogCapture log;
  EXPECT_FALSE(set_.LoadFromFile("/no/such/file.fset"));
  EXPECT_THAT(log.warnings(), ElementsAre("Cannot open field set file /no/such/file.fset"));
  EXPECT_THAT(tokens("default"), ElementsAre("kept"));
}

TEST_F(FieldSetFile, OfCommentsAndBlanksYieldsEmptyTables) {
  ASSERT_TRUE(load("# only\n\n   \n\t# a comment\n"));
  EXPECT_THAT(set_.tokens_by_type(), IsEmpty());
  EXPECT_THAT(set_.types_of_interest(), IsEmpty());
}

TEST_F(FieldSetFile, IsCleanedLineByLine) {
  struct Case {
    const char* line;
    Lines tokens;
  };
  const Case cases[] = {
      {"port\n", {"port"}},
      {"port", {"port"}},  // a last line without a line break
      {"  port\t\r\n", {"port"}},
      {"# port\n", {"(no key)"}},
      {"   # port\n", {"(no key)"}},
      {"port#x\n", {"port"}},
      // Trimming comes before the comment is cut: these blanks are part of the token.
      {"ports   # x\n", {"ports   "}},
      {"a\n\nb\n", {"a", "b"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    FieldSet set;
    ASSERT_TRUE(set.LoadFromFile(dir_.write("case.fset", c.line)));
    const auto found = set.tokens_by_type().find("default");
    EXPECT_EQ(found == set.tokens_by_type().end() ? Lines{"(no key)"} : found->second, c.tokens);
  }
}

TEST_F(FieldSetFile, LinesHandedInAreTakenAsTheyAre) {
  parse({"  a # b "});
  EXPECT_THAT(tokens("default"), ElementsAre("  a # b "));
}

TEST_F(FieldSetFile, HeadersSelectTypes) {
  struct Case {
    const char* header;
    Lines types;
  };
  const Case cases[] = {
      {"[x,y]", {"x", "y"}},
      {"[a, b]", {" b", "a"}},
      {"[  a  ]", {"a"}},
      {"[a,,b]", {"", "a", "b"}},
      {"[a,]", {"a"}},
      {"[,]", {""}},
      {"[default]", {"default"}},
      {"[]", {}},
      {"[ ]", {}},
      {"[a]b]", {"default"}},  // not a header: a token of "default"
      {"[a", {"default"}},
      {"[", {"default"}},
      {"[a]x", {"default"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.header);
    FieldSet set;
    set.loadFromLines({c.header});
    Lines types;
    for (const auto& entry : set.tokens_by_type()) types.push_back(entry.first);
    EXPECT_EQ(types, c.types);
  }
}

TEST_F(FieldSetFile, LineThatIsNoHeaderIsAToken) {
  parse({"[a]b]"});
  EXPECT_THAT(tokens("default"), ElementsAre("[a]b]"));
}

TEST_F(FieldSetFile, EmptyHeaderSilencesLinesUpToTheNext) {
  parse({"a", "[]", "lost", "meta_field_add:k=v", "[t]", "b"});
  EXPECT_THAT(types(), ElementsAre("default", "t"));
  EXPECT_THAT(tokens("default"), ElementsAre("a"));
  EXPECT_THAT(tokens("t"), ElementsAre("b"));
  EXPECT_THAT(set_.meta_fields_constants_by_type(), IsEmpty());
}

TEST_F(FieldSetFile, LinesBeforeTheFirstHeaderBelongToDefault) {
  parse({"a", "[default]", "b"});
  EXPECT_THAT(tokens("default"), ElementsAre("a", "b"));
}

TEST_F(FieldSetFile, TokensOfSeveralTypesGoToEach) {
  parse({"[x,y]", "a=b"});
  for (const char* type : {"x", "y"}) {
    EXPECT_THAT(tokens(type), ElementsAre("b"));
    EXPECT_THAT(aliases(type), ElementsAre(Pair("b", "a")));
  }
}

TEST_F(FieldSetFile, TokensKeepAnchorsAliasesLoseThem) {
  parse({"^port$", "ts_ms=^timestamp_ms$", "a = b", "x=y=z", "=empty", "none="});
  EXPECT_THAT(tokens("default"), ElementsAre("^port$", "^timestamp_ms$", " b", "y=z", "empty", ""));
  EXPECT_THAT(aliases("default"),
              UnorderedElementsAre(Pair("timestamp_ms", "ts_ms"), Pair(" b", "a "),
                                   Pair("y=z", "x"), Pair("empty", ""), Pair("", "none")));
}

TEST_F(FieldSetFile, DuplicateTokensAreKeptAndLaterAliasesWin) {
  parse({"a=b", "c=b", "b"});
  EXPECT_THAT(tokens("default"), ElementsAre("b", "b", "b"));
  EXPECT_THAT(aliases("default"), ElementsAre(Pair("b", "c")));
}

TEST_F(FieldSetFile, MetaFieldLinesFillTheirTables) {
  parse({"meta_field_alias:timestamp=time", "meta_field_add:site=lab1", "[t]",
         "meta_field_alias:source=host", "meta_field_alias:source=node", "meta_field_add:a=1",
         "meta_field_add:a=b=c"});
  EXPECT_THAT(aliases("default"), ElementsAre(Pair("timestamp", "time")));
  EXPECT_THAT(constants("default"), ElementsAre(Pair("site", "lab1")));
  EXPECT_THAT(aliases("t"), ElementsAre(Pair("source", "node")));
  EXPECT_THAT(constants("t"), ElementsAre(Pair("a", "b=c")));
  EXPECT_THAT(tokens("default"), IsEmpty());
  EXPECT_THAT(tokens("t"), IsEmpty());
}

TEST_F(FieldSetFile, MetaFieldLineWithoutKeyOrValueIsDropped) {
  const LogCapture log;
  parse({"meta_field_alias:=x", "meta_field_add:k="});
  EXPECT_THAT(tokens("default"), IsEmpty());
  EXPECT_THAT(aliases("default"), IsEmpty());
  EXPECT_THAT(constants("default"), IsEmpty());
  EXPECT_EQ(log.warnings().size(), 2u);
}

TEST_F(FieldSetFile, MetaFieldLineWithoutEqualsIsAToken) {
  const LogCapture log;
  parse({"meta_field_add:k"});
  EXPECT_THAT(tokens("default"), ElementsAre("meta_field_add:k"));
  EXPECT_EQ(log.errors().size(), 1u);
}

// Headers go through the parser of meta fields as every line does.
TEST_F(FieldSetFile, HeaderCanCarryAMetaField) {
  parse({"[meta_field_add:k=v]"});
  EXPECT_THAT(types(), ElementsAre("meta_field_add:k=v"));
  EXPECT_THAT(constants("meta_field_add:k=v"), ElementsAre(Pair(":k", "v]")));
}

TEST_F(FieldSetFile, LoadingAgainMergesAndStartsAtDefault) {
  parse({"[t]", "a"});
  parse({"b", "[t]", "c"});
  EXPECT_THAT(tokens("default"), ElementsAre("b"));
  EXPECT_THAT(tokens("t"), ElementsAre("a", "c"));
}

// Only the first name in order decides: the asymmetry is how files list types.
TEST_F(FieldSetFile, TypesOfInterestLookAtTheFirstNameOnly) {
  struct Case {
    Lines lines;
    Lines types;
  };
  const Case cases[] = {
      {{}, {}},
      {{"a"}, {}},
      {{"[default]"}, {}},
      {{"a", "[port]"}, {}},                 // "default" sorts first
      {{"a", "[abc]"}, {"abc", "default"}},  // "abc" sorts first
      {{"[port]"}, {"port"}},
      {{"[b,a*]"}, {"a*", "b"}},
      {{"[a,,b]"}, {"", "a", "b"}},
  };
  for (const Case& c : cases) {
    FieldSet set;
    set.loadFromLines(c.lines);
    set.UpdateTypesOfInterest();
    EXPECT_EQ(set.types_of_interest(), c.types) << ::testing::PrintToString(c.lines);
  }
}

TEST_F(FieldSetFile, IsDumpedAtDebugLevel) {
  const LogCapture log;
  const std::string path = dir_.write("d.fset", "x=y\n[t]\nmeta_field_add:k=v\n");
  ASSERT_TRUE(set_.LoadFromFile(path));
  const auto lines = log.at(7);
  const std::vector<std::string> start{"fset file " + path, "x=y", "[t]", "meta_field_add:k=v",
                                       "-----------------------"};
  const std::vector<std::string> end{"tokens_by_type_:",
                                     "\ttype = default:",
                                     "\t\ty",
                                     "\ttype = t:",
                                     "meta_fields_aliases_by_type_:",
                                     "\ttype = default:",
                                     "\t\t key : y -> val : x",
                                     "meta_fields_constants_by_type_:",
                                     "\ttype = t:",
                                     "\t\t key : k -> val : v"};
  ASSERT_GE(lines.size(), start.size() + end.size());
  EXPECT_EQ(std::vector(lines.begin(), lines.begin() + 5), start);
  EXPECT_EQ(std::vector(lines.end() - 10, lines.end()), end);
}

TEST_F(FieldSetFile, TrimsBothEndsOfAText) {
  EXPECT_EQ(FieldSet::trim_white_space_cpp_string(" \t a b \r\n"), "a b");
  EXPECT_EQ(FieldSet::trim_white_space_cpp_string("  "), "");
  EXPECT_EQ(FieldSet::trim_white_space_cpp_string(""), "");
}

TEST_F(FieldSetFile, InitialisesFromAFileOrFails) {
  const vek_type_system_t* const no_types = nullptr;
  const vek_schema_t* const no_schema = nullptr;
  const std::string path = dir_.write("i.fset", "a\n");
  EXPECT_FALSE(set_.initializeFromFile(no_types, "/no/such/file.fset"));
  EXPECT_FALSE(set_.initializeFromFile(no_schema, "/no/such/file.fset"));
  EXPECT_TRUE(set_.initializeFromFile(no_types, nullptr));
  EXPECT_TRUE(set_.initializeFromFile(no_schema, nullptr));
  EXPECT_THAT(set_.tokens_by_type(), IsEmpty());
  EXPECT_TRUE(set_.initializeFromFile(no_types, path.c_str()));
  EXPECT_TRUE(set_.initializeFromFile(no_schema, path.c_str()));
  EXPECT_THAT(tokens("default"), ElementsAre("a", "a"));
}

TEST_F(FieldSetFile, InitialisesFromLines) {
  set_.initializeFromLines(static_cast<const vek_type_system_t*>(nullptr), {"[t]", "a"});
  set_.initializeFromLines(static_cast<const vek_schema_t*>(nullptr), {"b"});
  EXPECT_THAT(types(), ElementsAre("default", "t"));
  EXPECT_THAT(set_.types_of_interest(), IsEmpty());
}

}  // namespace
}  // namespace vek::test
