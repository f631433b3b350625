#include "dict_reader/key_table.h"

#include <gtest/gtest.h>

namespace {

TEST(KeyTable, HasShortNamesReadyMade) {
  KeyTable keys;
  ASSERT_TRUE(keys.reserve(3, 1));
  const std::string name = "load";
  keys.put(3, name);
  const KeyTable::Slot& slot = keys.slots()[3];
  EXPECT_EQ(slot.size, 5u);
  EXPECT_EQ(std::string(slot.bytes, slot.size), "\xa4load");
  EXPECT_EQ(slot.long_name(), nullptr);
}

TEST(KeyTable, RefersToLongNames) {
  KeyTable keys;
  ASSERT_TRUE(keys.reserve(0, 1));
  const std::string longest(KeyTable::kLongestShort, 'n');
  const std::string longer = longest + "n";
  keys.put(0, longest);
  EXPECT_EQ(keys.slots()[0].size, 31u);
  keys.put(0, longer);
  EXPECT_EQ(keys.slots()[0].size, 0u);
  EXPECT_EQ(keys.slots()[0].long_name(), &longer);
  keys.put(0, longest);
  EXPECT_EQ(keys.slots()[0].long_name(), nullptr);
}

TEST(KeyTable, KnowsNothingOfIdsThatWereNotPut) {
  KeyTable keys;
  EXPECT_EQ(keys.size(), 0u);
  ASSERT_TRUE(keys.reserve(7, 1));
  ASSERT_EQ(keys.size(), 8u);
  EXPECT_EQ(keys.slots()[6].size, 0u);
  EXPECT_EQ(keys.slots()[6].long_name(), nullptr);
}

TEST(KeyTable, FarIdsCostNoMemory) {
  KeyTable keys;
  EXPECT_FALSE(keys.reserve(0xFFFFFFFE, 1));
  EXPECT_FALSE(keys.reserve(260, 1));
  EXPECT_EQ(keys.size(), 0u);
  keys.put(260, "x");  // nowhere
  EXPECT_TRUE(keys.reserve(259, 1));
  EXPECT_TRUE(keys.reserve(260, 2));
  EXPECT_LE(keys.size(), 264u);
}

}  // namespace
