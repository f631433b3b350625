#include "counters/meta_field_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Result {
  bool taken;
  bool found;
  std::string key;
  std::string val;
  bool operator==(const Result&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Result& r) {
  return out << r.taken << ' ' << r.found << " '" << r.key << "' '" << r.val << "'";
}

Result parse(const std::string& line, const char* prefix = "meta_field_add:") {
  set_file_parser_key_val_pair_t pair = {};
  bool found = false;
  const bool taken =
      vek_set_file_parser_check_custom_meta_field(line.c_str(), prefix, pair, &found);
  return {taken, found, pair.key, pair.val};
}

TEST(MetaFieldLine, GivesKeyAndValueUntrimmed) {
  EXPECT_EQ(parse("meta_field_add:site=lab1"), (Result{true, true, "site", "lab1"}));
  EXPECT_EQ(parse("meta_field_add: site = lab 1"), (Result{true, true, " site ", " lab 1"}));
  EXPECT_EQ(parse("meta_field_add:a=b=c"), (Result{true, true, "a", "b=c"}));
}

TEST(MetaFieldLine, IsNotTakenWithoutThePrefix) {
  const LogCapture log;
  EXPECT_EQ(parse("meta_field_alias:a=b"), (Result{false, false, "", ""}));
  EXPECT_EQ(parse(""), (Result{false, false, "", ""}));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(MetaFieldLine, IsNotTakenWithoutAnEqualSign) {
  const LogCapture log;
  EXPECT_EQ(parse("meta_field_add:site"), (Result{false, false, "", ""}));
  EXPECT_THAT(log.errors(), ElementsAre("[vek_set_file_parser_check_custom_meta_field] meta field "
                                        "line should include '=' character"));
}

TEST(MetaFieldLine, IsTakenButNotFoundWhenKeyOrValueIsEmpty) {
  for (const char* line : {"meta_field_add:=v", "meta_field_add:k=", "meta_field_add:="}) {
    const LogCapture log;
    const Result result = parse(line);
    EXPECT_TRUE(result.taken) << line;
    EXPECT_FALSE(result.found) << line;
    EXPECT_THAT(log.warnings(),
                ElementsAre("[vek_set_file_parser_check_custom_meta_field] error parsing line '" +
                            std::string(line) + "'"));
  }
}

// The key is cut by the prefix's length from the start of the line, wherever the prefix stands.
TEST(MetaFieldLine, CutsTheKeyFromTheStartOfTheLine) {
  EXPECT_EQ(parse("xymeta_field_add:a=b"), (Result{true, true, "d:a", "b"}));
  EXPECT_EQ(parse("                  meta_field_add:a=b"),
            (Result{true, true, "   meta_field_add:a", "b"}));
}

TEST(MetaFieldLine, HasAnEmptyKeyWhenTheEqualSignComesBeforeItsPlace) {
  const LogCapture log;
  EXPECT_EQ(parse("a=meta_field_add:b"), (Result{true, false, "", "meta_field_add:b"}));
  EXPECT_EQ(log.warnings().size(), 1u);
}

TEST(MetaFieldLine, CutsTextsToTheirBuffers) {
  const std::string longest(255, 'k');
  const std::string longer(1'000'000, 'k');
  EXPECT_EQ(parse("meta_field_add:" + longest + "=" + longest),
            (Result{true, true, longest, longest}));
  EXPECT_EQ(parse("meta_field_add:" + longer + "=" + longer),
            (Result{true, true, longest, longest}));
}

TEST(MetaFieldLine, TellsItsPartsAtDebugLevel) {
  const LogCapture log;
  parse("meta_field_add:site=lab1");
  const std::string head = "[vek_set_file_parser_check_custom_meta_field] ";
  EXPECT_THAT(log.at(7),
              ElementsAre(head + "---------------------",
                          head + "original line = 'meta_field_add:site=lab1'",
                          head + "prefix        = 'meta_field_add:'", head + "prefix size   = 15",
                          head + "pos_equal     = 19", head + "key           = 'site'",
                          head + "val           = 'lab1'", head + "---------------------"));
}

TEST(MetaFieldLine, AcceptsNull) {
  set_file_parser_key_val_pair_t pair = {};
  bool found = false;
  EXPECT_FALSE(vek_set_file_parser_check_custom_meta_field(nullptr, "p", pair, &found));
  EXPECT_FALSE(vek_set_file_parser_check_custom_meta_field("p=", nullptr, pair, &found));
  EXPECT_FALSE(vek_set_file_parser_check_custom_meta_field("p=", "p", pair, nullptr));
}

}  // namespace
}  // namespace vek::test
