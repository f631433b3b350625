#include "dict_reader/dict_reader_utils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

#include "tests/support/fail_allocation.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

using dict_reader_utils::bufferToString;
using dict_reader_utils::IdToKeyMap;
using dict_reader_utils::upsertIdToKey;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class UpsertIdToKey : public ::testing::Test {
 protected:
  // The replaced name, "(none)" without one.
  std::string upsert(uint32_t key_id, std::string_view name) {
    // Ends at unreadable memory: no byte behind the name may be looked at.
    const GuardedBytes bytes(name.data(), name.size());
    const auto replaced =
        upsertIdToKey(map_, key_id, bytes.data(), static_cast<uint32_t>(name.size()));
    return replaced ? *replaced : "(none)";
  }

  LogCapture log_;
  IdToKeyMap map_;
};

TEST_F(UpsertIdToKey, InsertsANewName) {
  EXPECT_EQ(upsert(7, "power"), "(none)");
  EXPECT_EQ(*map_.at(7), "power");
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{7, "[upsertIdToKey] insert key_id 7 : power"}));
}

TEST_F(UpsertIdToKey, ReplacesADifferentNameAndHandsTheOldOneBack) {
  upsert(0xFFFFFFFE, "power");
  log_.clear();
  EXPECT_EQ(upsert(0xFFFFFFFE, "fan"), "power");
  EXPECT_EQ(*map_.at(0xFFFFFFFE), "fan");
  EXPECT_THAT(log_.lines(),
              ElementsAre(LogLine{7, "[upsertIdToKey] update key_id 4294967294 : power -> fan"}));
}

TEST_F(UpsertIdToKey, KeepsAnEqualName) {
  upsert(1, "power");
  const std::string* const name = map_.at(1).get();
  log_.clear();
  EXPECT_EQ(upsert(1, "power"), "(none)");
  EXPECT_EQ(map_.at(1).get(), name);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UpsertIdToKey, ALongerNameReplacesItsOwnBeginning) {
  upsert(1, "power");
  EXPECT_EQ(upsert(1, "power_supply"), "power");
  EXPECT_EQ(*map_.at(1), "power_supply");
}

TEST_F(UpsertIdToKey, ANameThatTheOldOneBeginsWithChangesNothing) {
  upsert(1, "power_supply");
  log_.clear();
  EXPECT_EQ(upsert(1, "power"), "(none)");
  EXPECT_EQ(*map_.at(1), "power_supply");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UpsertIdToKey, NothingIsComparedBehindANul) {
  upsert(1, std::string_view("a\0one", 5));
  EXPECT_EQ(map_.at(1)->size(), 5u) << "a name is stored whole";
  EXPECT_EQ(upsert(1, std::string_view("a\0two", 5)), "(none)");
  EXPECT_EQ(*map_.at(1), std::string_view("a\0one", 5));
}

TEST_F(UpsertIdToKey, KeyIdsAreApart) {
  upsert(1, "one");
  upsert(2, "one");
  upsert(1, "uno");
  EXPECT_EQ(*map_.at(1), "uno");
  EXPECT_EQ(*map_.at(2), "one");
}

TEST_F(UpsertIdToKey, WithoutMemoryTheTableStaysAsItIs) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  upsert(1, "one");
  const std::string name(100, 'n');
  const auto size = static_cast<uint32_t>(name.size());
  unsigned failures = 0;
  for (const uint32_t key_id : {1u, 2u}) {
    for (unsigned n = 1;; ++n) {
      FailAllocation failing(n);
      bool thrown = false;
      try {
        upsertIdToKey(map_, key_id, name.data(), size);
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
      if (!failing.disarm()) break;
      ASSERT_TRUE(thrown);
      ++failures;
      EXPECT_EQ(*map_.at(1), key_id == 1 ? "one" : name);
      EXPECT_EQ(map_.count(2), 0u);
    }
  }
  EXPECT_GE(failures, 5u);  // text and string, twice, and the table's own
  EXPECT_EQ(*map_.at(2), name);
}

TEST(BufferToString, TakesExactlyTheBytes) {
  EXPECT_EQ(bufferToString("a\0bcd", 3), std::string("a\0b", 3));
  EXPECT_EQ(bufferToString("abc", 0), "");
  EXPECT_EQ(bufferToString(nullptr, 0), "");
}

}  // namespace
}  // namespace vek::test
