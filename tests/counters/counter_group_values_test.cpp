#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "counters/counter_group.h"
#include "json/json_owned.h"
#include "tests/counters/counters_fixture.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

std::string text_of(JSON_Value* value) {
  const JsonValue json(value);
  const JsonText text(json_serialize_to_string(json.get()));
  return text ? text.get() : "";
}

std::string set_values(const Schema& schema, const Block& block) {
  // Ends at an unreadable page, so that no value is read past the block.
  const GuardedBytes values(block.bytes().subspan(16));
  return text_of(vek_counter_set_values_jsonify(schema->groups[0], values.data()));
}

TEST(CounterSetValues, ReadsEachTypeItsWay) {
  const Schema schema = make_schema({{"u", VEK_DATA_TYPE_UINT64},
                                     {"text", VEK_DATA_TYPE_STRING, 5},
                                     {"b", VEK_DATA_TYPE_BIT64},
                                     {"f", VEK_DATA_TYPE_FP64},
                                     {"i", VEK_DATA_TYPE_INT64},
                                     {"any", VEK_DATA_TYPE_UNDEFINED}});
  Block block(schema.get(), 0);
  const auto* s = schema.get();
  block.put(s, "u", uint64_t{1} << 53).put_text(s, "text", "ab").put(s, "b", uint64_t{255});
  block.put(s, "f", -0.25).put(s, "i", int64_t{-9}).put(s, "any", int64_t{-1});
  EXPECT_EQ(set_values(schema, block),
            R"({"u":9007199254740992,"text":"ab","b":255,"f":-0.25,"i":-9,"any":-1})");
}

TEST(CounterSetValues, EndsATextAtItsLength) {
  const Schema schema =
      make_schema({{"full", VEK_DATA_TYPE_STRING, 3}, {"last", VEK_DATA_TYPE_STRING, 2}});
  Block block(schema.get(), 0);
  block.put_text(schema.get(), "full", "abc").put_text(schema.get(), "last", "de");
  EXPECT_EQ(set_values(schema, block), R"({"full":"abc","last":"de"})");
}

TEST(CounterSetValues, GivesAnEmptyTextForALengthOfZero) {
  const Group group = make_group("g", {{"t", VEK_DATA_TYPE_STRING, 0}});
  EXPECT_EQ(text_of(vek_counter_set_values_jsonify(group.get(), "abc")), R"({"t":""})");
}

TEST(CounterSetValues, DumpsTheBytesOfTexts) {
  const Group group = make_group("g", {{"t", VEK_DATA_TYPE_STRING, 3}});
  const LogCapture log;
  EXPECT_EQ(text_of(vek_counter_set_values_jsonify(group.get(), "AB\0C")), R"({"t":"AB"})");
  const auto lines = log.at(7);
  EXPECT_TRUE(std::ranges::any_of(
      lines, [](const std::string& line) { return line.starts_with("41 42 00 "); }));
}

TEST(CounterSetValues, HasAMemberEvenForWhatJsonCannotSay) {
  const Schema schema =
      make_schema({{"nan", VEK_DATA_TYPE_FP64}, {"bad", VEK_DATA_TYPE_STRING, 2}});
  Block block(schema.get(), 0);
  block.put(schema.get(), "nan", std::nan("")).put_text(schema.get(), "bad", "\xff\xfe");
  EXPECT_EQ(set_values(schema, block), R"({"nan":null,"bad":null})");
}

TEST(CounterGroupValues, RepeatsTheSameValuesForEverySet) {
  const Group group = make_group("g", named({"a"}), 2);
  const uint64_t values[] = {7, 8};
  EXPECT_EQ(text_of(vek_counter_group_values_jsonify(group.get(), values)),
            R"({"granularity":"NODE","name":"g","counter_sets":[{"a":7},{"a":7}]})");
}

TEST(CounterGroupValues, TakesTheProvidersNameOrUnset) {
  const uint64_t values[] = {0};
  vek_counter_provider_t provider = {};
  provider.name = "prov";
  vek_counter_group_t group = {};
  group.provider = &provider;
  EXPECT_EQ(text_of(vek_counter_group_values_jsonify(&group, values)),
            R"({"granularity":"NODE","name":"prov","counter_sets":[]})");
  group.provider = nullptr;
  EXPECT_EQ(text_of(vek_counter_group_values_jsonify(&group, values)),
            R"({"granularity":"NODE","name":"unset","counter_sets":[]})");
}

TEST(CounterValues, OfNullAreNull) {
  const Group group = make_group("g", {});
  EXPECT_EQ(vek_counter_set_values_jsonify(nullptr, "x"), nullptr);
  EXPECT_EQ(vek_counter_set_values_jsonify(group.get(), nullptr), nullptr);
  EXPECT_EQ(vek_counter_group_values_jsonify(nullptr, "x"), nullptr);
  EXPECT_EQ(vek_counter_group_values_jsonify(group.get(), nullptr), nullptr);
}

TEST(ResetCounterGroupValues, ZeroesASlotForEveryCounterOfEverySet) {
  const Group group = make_group("g", {{"a"}, {"s", VEK_DATA_TYPE_STRING, 40}}, 3);
  std::vector<uint64_t> values(7, UINT64_MAX);
  vek_reset_counter_group_values(group.get(), values.data());
  EXPECT_EQ(values, (std::vector<uint64_t>{0, 0, 0, 0, 0, 0, UINT64_MAX}));
  vek_reset_counter_group_values(nullptr, values.data());
  vek_reset_counter_group_values(group.get(), nullptr);
}

}  // namespace
}  // namespace vek::test
