#include "counters/counter_set.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/counters/counters_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(CounterSet, ExportsEveryCounterWithoutAFile) {
  const Schema schema = make_schema({{{"a"}, {"t", VEK_DATA_TYPE_STRING, 5}}, {{"b"}}});
  const Set set(vek_schema_to_counter_set(schema.get(), nullptr));
  ASSERT_TRUE(set);
  EXPECT_STREQ(set->name, "default");
  EXPECT_THAT(exported_names(set.get()), ElementsAre("a", "t", "b"));
  EXPECT_EQ(set->num_counters, 3u);
  EXPECT_EQ(set->num_meta, 0u);
  EXPECT_EQ(set->num_shown_meta, 0u);
}

TEST(CounterSet, EntriesTellNameTypeLengthAndPlaceInTheBlock) {
  const Schema schema = make_schema({{{"a"}, {"t", VEK_DATA_TYPE_STRING, 5}}, {{"b"}}});
  const Set set(vek_schema_to_counter_set(schema.get(), nullptr));
  const vek_counter_set_element_t& text = set->counters[1];
  EXPECT_STREQ(text.name, "t");
  EXPECT_NE(text.name, schema->groups[0]->counters[1]->name) << "a copy";
  EXPECT_EQ(text.name_len, 1u);
  EXPECT_EQ(text.data_type, 5u);
  EXPECT_EQ(text.length, 5u);
  EXPECT_EQ(text.offset, 16u + 8);
  EXPECT_EQ(set->counters[2].offset, 16u + 13);
}

TEST(CounterSet, IsEmptyWhenAGroupCarriesSeveralSets) {
  const Schema schema = make_schema({named({"a"}), named({"b"})});
  schema->groups[1]->num_counter_sets = 2;
  const LogCapture log;
  const Set set(vek_schema_to_counter_set(schema.get(), nullptr));
  ASSERT_TRUE(set);
  EXPECT_EQ(set->num_counters, 0u);
  EXPECT_EQ(set->num_exported, 0u);
}

TEST(CounterSetFromTokens, AppliesThem) {
  const Schema schema = make_schema(named({"rx_bytes", "tx_bytes", "errors"}));
  const Strings tokens = strings_of({"out=^tx", "errors"});
  const Set set(vek_schema_and_tokens_to_counter_set(schema.get(), "mine", tokens.get()));
  EXPECT_STREQ(set->name, "mine");
  EXPECT_THAT(exported_names(set.get()), ElementsAre("out", "errors"));
  EXPECT_EQ(set->num_meta, 0u);
}

// Hosts build sets without tokens and switch counters on by themselves.
TEST(CounterSetFromTokens, WithoutTokensSkipsAllButKeepsTheCount) {
  const Schema schema = make_schema(named({"a", "b", "c"}));
  const Set set(vek_schema_and_tokens_to_counter_set(schema.get(), "n", nullptr));
  ASSERT_TRUE(set);
  EXPECT_EQ(set->num_exported, 3u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(set->skip[i], 1);
}

TEST(CounterSetFromTokens, ExportsNothingForAnEmptyArray) {
  const Schema schema = make_schema(named({"a"}));
  const Strings tokens = strings_of({});
  const Set set(vek_schema_and_tokens_to_counter_set(schema.get(), "n", tokens.get()));
  EXPECT_EQ(set->num_exported, 0u);
  EXPECT_EQ(set->skip[0], 1);
}

TEST(CounterSet, AcceptsNull) {
  const Schema schema = make_schema(named({"a"}));
  EXPECT_EQ(vek_schema_to_counter_set(nullptr, nullptr), nullptr);
  EXPECT_EQ(vek_schema_and_tokens_to_counter_set(nullptr, "n", nullptr), nullptr);
  EXPECT_EQ(vek_schema_and_tokens_to_counter_set(schema.get(), nullptr, nullptr), nullptr);
  vek_free_counter_set(nullptr);
  vek_counter_set_set_name(nullptr, "n");
  print_counter_set(nullptr);
}

TEST(CounterSet, TakesAnotherName) {
  const Schema schema = make_schema(named({"a"}));
  const Set set(vek_schema_to_counter_set(schema.get(), nullptr));
  vek_counter_set_set_name(set.get(), "other");
  EXPECT_STREQ(set->name, "other");
  vek_counter_set_set_name(set.get(), nullptr);
  EXPECT_STREQ(set->name, "other");
}

TEST(CounterSet, PrintsItsElements) {
  const Schema schema = make_schema({{"a"}, {"bb", VEK_DATA_TYPE_STRING, 4}});
  const Strings tokens = strings_of({"bb"});
  const Set set(vek_schema_and_tokens_to_counter_set(schema.get(), "n", tokens.get()));
  testing::internal::CaptureStdout();
  print_counter_set(set.get());
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "[PRINT COUNTER SET]\n"
            "name: n\n"
            "filtered_size = 1\n"
            "    elem: 0\n"
            "        name: a\n"
            "        caption: a\n"
            "        skip: 1\n"
            "        name_len: 1\n"
            "        offset: 16\n"
            "        field_type: 1 (UINT64)\n"
            "    elem: 1\n"
            "        name: bb\n"
            "        caption: bb\n"
            "        skip: 0\n"
            "        name_len: 2\n"
            "        offset: 24\n"
            "        field_type: 5 (STRING)\n");
}

TEST(CounterSet, SurvivesEveryFailingAllocation) {
  if (!FailAllocation::available()) GTEST_SKIP();
  const Schema schema = make_schema(named({"a", "b"}));
  const TempDir dir;
  const std::string path = dir.write(
      "c.cset", "x=a\nb\nmeta_field_add:k=v\nmeta_field_alias:b=c\nmeta_field_alias:source=s\n");
  const Set usual(vek_schema_to_counter_set(schema.get(), path.c_str()));
  std::vector<std::string> messages;
  unsigned failures = 0;
  for (unsigned n = 1;; ++n) {
    const LogCapture log(VEK_LOG_ERROR);
    FailAllocation failing(n);
    const Set set(vek_schema_to_counter_set(schema.get(), path.c_str()));
    if (!failing.disarm()) {
      EXPECT_TRUE(set);
      break;
    }
    if (set && exported_names(set.get()) != exported_names(usual.get())) {
      EXPECT_FALSE(log.errors().empty()) << "counters are lost silently with " << n;
    }
    ++failures;
    for (std::string& line : log.errors()) messages.push_back(std::move(line));
  }
  EXPECT_GT(failures, 10u);
  using testing::Contains;
  EXPECT_THAT(messages, Contains("[counter_set] allocation of meta_fields failed!"));
  EXPECT_THAT(messages, Contains("[counter_set] reallocation of meta_fields failed!"));
  EXPECT_THAT(messages, Contains("Meta constant field 'meta_field_add:k=v' will be ignored"));
  EXPECT_THAT(messages, Contains("Meta field alias 'meta_field_alias:b=c' will be ignored"));
  EXPECT_THAT(messages,
              Contains("[read_cset_file] Cannot append token 'b' to tokens_ string array."));
}

}  // namespace
}  // namespace vek::test
