#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "counters/counter_set.h"
#include "tests/counters/counters_fixture.h"
#include "tests/support/log_capture.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string clash(const std::string& name) {
  return "[counter_set] meta_field '" + name +
         "' will not be shown during export. A counter with the same name already exists!";
}

class CounterSetMeta : public testing::Test {
 protected:
  Set read(const std::string& lines) { return set_from_lines(schema_.get(), lines); }

  Schema schema_ = make_schema({{"port_guid"}, {"name", VEK_DATA_TYPE_STRING, 12}, {"rx"}});
};

TEST_F(CounterSetMeta, AliasOfACounterCopiesItsEntryUnderTheOutputName) {
  const Set set = read("rx\nmeta_field_alias:name=title\n");
  ASSERT_EQ(set->num_meta, 1u);
  const vek_counter_set_meta_element_t& meta = set->meta[0];
  EXPECT_EQ(meta.kind, VEK_META_COUNTER_ALIAS);
  EXPECT_STREQ(meta.name, "title");
  EXPECT_EQ(meta.name_len, 5u);
  EXPECT_EQ(meta.skip, 0);
  EXPECT_STREQ(meta.source_name, "name");
  EXPECT_STREQ(meta.element.name, "title");
  EXPECT_EQ(meta.element.name_len, 5u);
  EXPECT_EQ(meta.element.data_type, 5u);
  EXPECT_EQ(meta.element.length, 12u);
  EXPECT_EQ(meta.element.offset, 16u + 8);
  EXPECT_THAT(exported_names(set.get()), ElementsAre("rx")) << "the counter itself stays out";
  EXPECT_THAT(shown_meta_names(set.get()), ElementsAre("title"));
}

TEST_F(CounterSetMeta, AliasLooksUpTheCurrentNameOfACounter) {
  EXPECT_THAT(shown_meta_names(read("in=rx\nmeta_field_alias:in=x\n").get()), ElementsAre("x"));
  EXPECT_THAT(shown_meta_names(read("in=rx\nmeta_field_alias:rx=x\n").get()), IsEmpty());
}

TEST_F(CounterSetMeta, AliasOfAnUnknownCounterIsNotShown) {
  const LogCapture log(VEK_LOG_WARNING);
  const Set set = read("meta_field_alias:nowhere=x\n");
  EXPECT_EQ(set->num_meta, 1u);
  EXPECT_THAT(shown_meta_names(set.get()), IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CounterSetMeta, AliasOfARecordKeyIsKnownByIndex) {
  const Set set =
      read("meta_field_alias:timestamp=t\nmeta_field_alias:source=s\nmeta_field_alias:type=k\n");
  EXPECT_THAT(shown_meta_names(set.get()), ElementsAre("t", "s", "k"));
  for (uint32_t i = 0; i < 3; ++i) {
    EXPECT_EQ(set->meta[i].kind, VEK_META_BUILTIN_ALIAS);
    EXPECT_EQ(set->meta[i].builtin, i + 1);
  }
}

TEST_F(CounterSetMeta, ConstantKeepsKeyAndValue) {
  const Set set = read("meta_field_add:site=lab1\n");
  ASSERT_EQ(set->num_meta, 1u);
  EXPECT_EQ(set->meta[0].kind, VEK_META_CONSTANT);
  EXPECT_STREQ(set->meta[0].constant, "lab1");
  EXPECT_EQ(set->meta[0].constant_len, 4u);
  EXPECT_THAT(shown_meta_names(set.get()), ElementsAre("site"));
}

TEST_F(CounterSetMeta, KeepsTheOrderOfTheFile) {
  const Set set = read("meta_field_add:b=1\nmeta_field_alias:rx=c\nmeta_field_add:a=2\n");
  EXPECT_THAT(shown_meta_names(set.get()), ElementsAre("b", "c", "a"));
}

TEST_F(CounterSetMeta, GivesWayToAnExportedCounterOfTheSameName) {
  const LogCapture log;
  const Set set =
      read("rx\nmeta_field_add:rx=1\nmeta_field_alias:name=rx\nmeta_field_alias:source=rx\n");
  EXPECT_THAT(shown_meta_names(set.get()), IsEmpty());
  EXPECT_THAT(log.warnings(), ElementsAre(clash("rx"), clash("rx"), clash("rx")));
}

TEST_F(CounterSetMeta, MayTakeTheNameOfACounterThatIsNotExported) {
  const LogCapture log;
  EXPECT_THAT(shown_meta_names(read("port_guid\nmeta_field_add:rx=1\n").get()), ElementsAre("rx"));
  EXPECT_THAT(log.warnings(), IsEmpty());
}

// The record's own keys are never given away, not even to an alias of themselves.
TEST_F(CounterSetMeta, NeverTakesARecordKey) {
  for (const std::string key : {"timestamp", "source", "type"}) {
    for (const std::string& line : {"meta_field_alias:" + key + "=" + key,
                                    "meta_field_add:" + key + "=x", "meta_field_alias:rx=" + key}) {
      const LogCapture log;
      EXPECT_THAT(shown_meta_names(read(line).get()), IsEmpty()) << line;
      EXPECT_THAT(log.warnings(), ElementsAre(clash(key))) << line;
    }
  }
}

TEST_F(CounterSetMeta, OneLineMayGiveAnAliasAndAConstant) {
  const Set set = read("meta_field_alias:meta_field_add:k=v\n");
  ASSERT_EQ(set->num_meta, 2u);
  EXPECT_STREQ(set->meta[0].source_name, "meta_field_add:k");
  EXPECT_STREQ(set->meta[1].name, "s:meta_field_add:k");
}

}  // namespace
}  // namespace vek::test
