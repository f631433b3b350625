#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "counters/counter_set.h"
#include "tests/counters/counters_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::string_literals;

class CounterSetFile : public testing::Test {
 protected:
  Set read(const std::string& contents) { return set_from_lines(schema_.get(), contents); }
  std::vector<std::string> exported(const std::string& contents) {
    return exported_names(read(contents).get());
  }

  Schema schema_ = make_schema(named({"alpha", "beta", "gamma"}));
};

TEST_F(CounterSetFile, GivesItsPathAsTheName) {
  const TempDir dir;
  const std::string path = dir.write("my.cset", "alpha\n");
  const Set set(vek_schema_to_counter_set(schema_.get(), path.c_str()));
  EXPECT_EQ(set->name, path);
}

TEST_F(CounterSetFile, SkipsCommentsBlanksAndSections) {
  EXPECT_THAT(exported("# all\n\n   \n[section]\n  [other]\n\tbeta  # the second\n#alpha\n"),
              ElementsAre("beta"));
}

TEST_F(CounterSetFile, TakesALastLineWithoutALineBreak) {
  EXPECT_THAT(exported("alpha\ngamma"), ElementsAre("alpha", "gamma"));
}

TEST_F(CounterSetFile, TakesCarriageReturnsForWhiteSpace) {
  const Set set = read("alpha\r\n\r\nmeta_field_add:site=lab1\r\nnew=beta\r\n");
  EXPECT_THAT(exported_names(set.get()), ElementsAre("alpha", "new"));
  ASSERT_EQ(set->num_meta, 1u);
  EXPECT_STREQ(set->meta[0].constant, "lab1");
}

TEST_F(CounterSetFile, WithoutTokensExportsEveryCounter) {
  EXPECT_THAT(exported(""), ElementsAre("alpha", "beta", "gamma"));
  EXPECT_THAT(exported("# nothing\n[section]\n"), ElementsAre("alpha", "beta", "gamma"));
}

TEST_F(CounterSetFile, OfMetaFieldsOnlyExportsEveryCounterAndThem) {
  const Set set = read("meta_field_add:site=lab1\nmeta_field_alias:beta=b\n");
  EXPECT_THAT(exported_names(set.get()), ElementsAre("alpha", "beta", "gamma"));
  EXPECT_THAT(shown_meta_names(set.get()), ElementsAre("site", "b"));
}

TEST_F(CounterSetFile, ThatIsMissingExportsTheWholeSet) {
  const TempDir dir;
  const std::string path = dir.file("missing.cset");
  const LogCapture log;
  const Set set(vek_schema_to_counter_set(schema_.get(), path.c_str()));
  ASSERT_TRUE(set);
  EXPECT_THAT(exported_names(set.get()), ElementsAre("alpha", "beta", "gamma"));
  EXPECT_THAT(log.errors(), ElementsAre("Cannot open counterset file '" + path + "'"));
  EXPECT_THAT(log.at(6), ElementsAre("Cannot open '" + path + "', will export whole counter set."));
}

TEST_F(CounterSetFile, ThatIsAFolderExportsTheWholeSet) {
  const TempDir dir;
  const LogCapture log;
  const Set set(vek_schema_to_counter_set(schema_.get(), dir.path().c_str()));
  ASSERT_TRUE(set);
  EXPECT_THAT(exported_names(set.get()), SizeIs(3));
  EXPECT_THAT(log.errors(), ElementsAre("Cannot open counterset file '" + dir.path() + "'"));
}

TEST_F(CounterSetFile, ListsItsTokensAtInfoLevel) {
  const TempDir dir;
  const std::string path = dir.write("c.cset", "alpha\nx=beta # y\nmeta_field_add:k=v\n");
  const LogCapture log;
  const Set set(vek_schema_to_counter_set(schema_.get(), path.c_str()));
  EXPECT_THAT(log.at(6), ElementsAre("Tokens from file '" + path + "':", "tokens[0] = alpha",
                                     "tokens[1] = x=beta"));
}

TEST_F(CounterSetFile, TellsMetaFieldsAtDebugLevel) {
  const LogCapture log;
  read("meta_field_alias:alpha=a\nmeta_field_add:k=v\nmeta_field_add:k=\n");
  const auto lines = log.at(7);
  EXPECT_THAT(lines, Contains("[counter_set] found meta alias field: key='alpha' val='a'"));
  EXPECT_THAT(lines, Contains("[counter_set] found meta const field: key='k' val='v'"));
  EXPECT_THAT(lines, Contains("[counter_set] found meta const field: key='k' val=''"));
}

TEST_F(CounterSetFile, DropsAMetaFieldWithoutKeyOrValue) {
  const LogCapture log;
  const Set set = read("meta_field_add:=v\nmeta_field_alias:alpha=\n");
  EXPECT_EQ(set->num_meta, 0u);
  EXPECT_THAT(exported_names(set.get()), SizeIs(3)) << "neither line is a token";
}

TEST_F(CounterSetFile, TakesAMetaFieldLineWithoutEqualSignForAToken) {
  const LogCapture log;
  EXPECT_THAT(exported("meta_field_add:site\n"), IsEmpty());
  EXPECT_THAT(log.errors(), SizeIs(1));
}

TEST_F(CounterSetFile, IgnoresALineWithANulAndSaysSo) {
  const TempDir dir;
  const std::string path = dir.write("c.cset", "alpha\nbe\0ta\ngamma # a \0 in a comment\n"s);
  const LogCapture log;
  const Set set(vek_schema_to_counter_set(schema_.get(), path.c_str()));
  EXPECT_THAT(exported_names(set.get()), ElementsAre("alpha", "gamma"));
  EXPECT_THAT(log.errors(), ElementsAre("Line 2 of counterset file '" + path +
                                        "' holds a NUL character and is ignored"));
}

TEST_F(CounterSetFile, ReadsLinesOfAMegabyte) {
  const std::string megabyte(1 << 20, 'x');
  {
    const LogCapture log(VEK_LOG_ERROR);
    EXPECT_THAT(exported("alpha\n" + megabyte + "\nbeta\n"), ElementsAre("alpha", "beta"));
    EXPECT_THAT(log.errors(),
                Contains("Token of size 1048576 is too long to keep in the tokens array"));
  }
  EXPECT_THAT(exported("alpha # " + megabyte + "\ngamma\n"), ElementsAre("alpha", "gamma"));
  EXPECT_THAT(exported(megabyte + "=alpha\n"), ElementsAre(megabyte)) << "as an alias";
}

}  // namespace
}  // namespace vek::test
