#include "utils/pair_table.h"

#include <gtest/gtest.h>

namespace {

constexpr vek_pair_t kTable[] = {
    {1, "one"}, {2, "two"}, {1, "uno"}, {5, "two"}, {0, ""}, {VEK_NOT_FOUND, nullptr},
};

TEST(PairGetString, GivesTheFirstRowWithThatValue) {
  EXPECT_STREQ(pair_get_string(kTable, 1), "one");
  EXPECT_STREQ(pair_get_string(kTable, 5), "two");
  EXPECT_STREQ(pair_get_string(kTable, 0), "");
}

TEST(PairGetString, IsNullWhenNoRowHasTheValue) {
  EXPECT_EQ(pair_get_string(kTable, 3), nullptr);
  EXPECT_EQ(pair_get_string(kTable, VEK_NOT_FOUND), nullptr);
  EXPECT_EQ(pair_get_string(nullptr, 1), nullptr);
}

TEST(PairGetNumber, GivesTheFirstRowWithThatName) {
  EXPECT_EQ(pair_get_number(kTable, "two"), 2u);
  EXPECT_EQ(pair_get_number(kTable, "uno"), 1u);
  EXPECT_EQ(pair_get_number(kTable, ""), 0u);
}

TEST(PairGetNumber, IsNotFoundUnlessTheNameIsExact) {
  for (const char* name : {"Two", "tw", "twoo", "three"}) {
    EXPECT_EQ(pair_get_number(kTable, name), 4294967295u) << name;
  }
  EXPECT_EQ(pair_get_number(kTable, nullptr), 4294967295u);
  EXPECT_EQ(pair_get_number(nullptr, "two"), 4294967295u);
}

TEST(PairTable, OfNothingButItsEndHasNoRows) {
  constexpr vek_pair_t kEmpty[] = {{VEK_NOT_FOUND, nullptr}};
  EXPECT_EQ(pair_get_string(kEmpty, VEK_NOT_FOUND), nullptr);
  EXPECT_EQ(pair_get_number(kEmpty, "x"), VEK_NOT_FOUND);
}

}  // namespace
