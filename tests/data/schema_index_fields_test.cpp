#include <gtest/gtest.h>

#include <array>

#include "tests/data/schema_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"

namespace {

using vek::Malloced;
using vek::test::add_type;
using vek::test::FailAllocation;
using vek::test::field;
using vek::test::LogCapture;
using vek::test::SchemaWithBuiltins;

using Lines = std::vector<std::string>;
using Names = std::vector<std::string>;

class SchemaIndexFields : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(
        add_type(schema_.get(), "t",
                 {field("a", "int"), field("m", "int"), field("z", "int"), field("a", "int")}),
        0);
  }

  int set(const std::vector<const char*>& names) {
    const char* const none = nullptr;
    return vek_schema_set_field_indexes(schema_.get(), 0, names.empty() ? &none : names.data(),
                                        names.size());
  }

  std::array<int, 4> indexes() {
    std::array<int, 4> all{};
    for (size_t i = 0; i < 4; ++i) all[i] = schema_->types[0]->fields[i]->index;
    return all;
  }

  Names indexed() {
    size_t count = 99;
    const Malloced<const char*> names(vek_schema_get_indexed_fields(schema_.get(), 0, &count));
    EXPECT_NE(names, nullptr);
    return names ? Names(names.get(), names.get() + count) : Names{};
  }

  SchemaWithBuiltins schema_;
};

TEST_F(SchemaIndexFields, AreNumberedInTheOrderOfTheList) {
  EXPECT_EQ(set({"z", "a"}), 0);
  EXPECT_EQ(indexes(), (std::array{2, 0, 1, 0})) << "the first field of a name gets the number";
}

TEST_F(SchemaIndexFields, AreGivenBackInFieldOrder) {
  EXPECT_EQ(set({"z", "a"}), 0);
  EXPECT_EQ(indexed(), (Names{"a", "z"}));
}

TEST_F(SchemaIndexFields, ANewListReplacesTheOldOne) {
  EXPECT_EQ(set({"z", "a"}), 0);
  EXPECT_EQ(set({"m"}), 0);
  EXPECT_EQ(indexes(), (std::array{0, 1, 0, 0}));
}

TEST_F(SchemaIndexFields, AnEmptyListClearsThem) {
  EXPECT_EQ(set({"z", "a"}), 0);
  LogCapture log;
  EXPECT_EQ(set({}), 0);
  EXPECT_EQ(indexes(), (std::array{0, 0, 0, 0}));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(indexed(), Names{});
}

TEST_F(SchemaIndexFields, UnknownNamesUseNoNumber) {
  LogCapture log;
  EXPECT_EQ(set({"who", "z"}), 0);
  EXPECT_EQ(indexes(), (std::array{0, 0, 1, 0}));
  EXPECT_TRUE(log.has(7, "Mismatch in assigned indices: expected 2, but assigned 1 (t)."));
  EXPECT_TRUE(log.errors().empty());
}

TEST_F(SchemaIndexFields, ANameListedTwiceKeepsTheLaterNumber) {
  LogCapture log;
  EXPECT_EQ(set({"m", "a", "m"}), 0);
  EXPECT_EQ(indexes(), (std::array{2, 3, 0, 0}));
  EXPECT_TRUE(log.lines().empty()) << "three numbers were given out";
}

TEST_F(SchemaIndexFields, RefusesNullArguments) {
  LogCapture log;
  ASSERT_EQ(set({"a"}), 0);
  const char* const names[] = {"m"};
  EXPECT_EQ(vek_schema_set_field_indexes(nullptr, 0, names, 1), 3);
  EXPECT_EQ(vek_schema_set_field_indexes(schema_.get(), 0, nullptr, 1), 3);
  EXPECT_EQ(vek_schema_set_field_indexes(schema_.get(), 0, nullptr, 0), 3);
  EXPECT_EQ(vek_schema_set_field_indexes(schema_.get(), 1, names, 1), 3);
  EXPECT_EQ(log.errors(),
            (Lines{"[vek_schema_set_field_indexes] Schema pointer is NULL!",
                   "[vek_schema_set_field_indexes] Index names array is NULL!",
                   "[vek_schema_set_field_indexes] Index names array is NULL!",
                   "[vek_schema_set_field_indexes] Invalid type_index: 1 (out of range, max: 0)"}));
  EXPECT_EQ(indexes(), (std::array{1, 0, 0, 0})) << "nothing changed";
}

// "[data/schema <line>] <rest>": the line is the check's own.
void expect_complaint(const LogCapture& log, const std::string& rest) {
  ASSERT_EQ(log.errors().size(), 1u);
  const std::string line = log.errors()[0];
  EXPECT_EQ(line.rfind("[data/schema ", 0), 0u) << line;
  const size_t end = line.find("] ");
  ASSERT_NE(end, std::string::npos) << line;
  EXPECT_GT(std::stoi(line.substr(13, end - 13)), 0) << line;
  EXPECT_EQ(line.substr(end + 2), rest);
}

TEST_F(SchemaIndexFields, GettingThemNeedsSomewhereToPutTheCount) {
  LogCapture log;
  EXPECT_EQ(vek_schema_get_indexed_fields(schema_.get(), 0, nullptr), nullptr);
  expect_complaint(log, "out_count is NULL");
}

TEST_F(SchemaIndexFields, GettingThemNeedsASchema) {
  LogCapture log;
  size_t count = 99;
  EXPECT_EQ(vek_schema_get_indexed_fields(nullptr, 0, &count), nullptr);
  expect_complaint(log, "schema is NULL");
  EXPECT_EQ(count, 0u);
}

TEST_F(SchemaIndexFields, GettingThemNeedsAType) {
  size_t count = 99;
  {
    LogCapture log;
    EXPECT_EQ(vek_schema_get_indexed_fields(schema_.get(), 4, &count), nullptr);
    expect_complaint(log, "type_index 4 out of bounds (max: 0)");
    EXPECT_EQ(count, 0u);
  }
  LogCapture log;
  schema_->num_types = 2;
  EXPECT_EQ(vek_schema_get_indexed_fields(schema_.get(), 1, &count), nullptr);
  expect_complaint(log, "schema->types[1] is NULL");
  schema_->num_types = 1;
}

TEST_F(SchemaIndexFields, GettingThemNeedsMemory) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  ASSERT_EQ(set({"a", "m"}), 0);
  LogCapture log;
  size_t count = 99;
  FailAllocation failing(1);
  EXPECT_EQ(vek_schema_get_indexed_fields(schema_.get(), 0, &count), nullptr);
  EXPECT_TRUE(failing.disarm());
  expect_complaint(log, "malloc failed for 2 fields");
  EXPECT_EQ(count, 0u);
}

}  // namespace
