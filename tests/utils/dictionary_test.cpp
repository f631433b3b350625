#include "utils/dictionary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"
#include "utils/owned.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Dict = Owned<vek_dict_t, vek_dict_delete>;
using Entries = std::vector<std::pair<std::string, std::string>>;

bool collect(const char* key, const char* value, void* context) {
  static_cast<Entries*>(context)->emplace_back(key, value);
  return true;
}

Entries entries_of(const vek_dict_t* dict) {
  Entries entries;
  EXPECT_TRUE(vek_dict_enum(dict, collect, &entries));
  return entries;
}

Dict dict_of(const Entries& entries) {
  Dict dict(vek_dict_create());
  for (const auto& [key, value] : entries) {
    EXPECT_TRUE(vek_dict_add(dict.get(), key.c_str(), value.c_str()));
  }
  return dict;
}

uint32_t flags_of(const vek_dict_table_t& table, uint32_t bucket) {
  return (table.slot_flags[bucket / 16] >> (2 * (bucket % 16))) & 3u;
}

// What the table is, put down a second time and as simply as can be: a list of slots.
class TableModel {
 public:
  static uint32_t hash(const std::string& key) {
    uint32_t h = 0;
    for (const char c : key) h = h * 31 + static_cast<unsigned char>(c);
    return h;
  }
  // Where the key lies, or the first empty bucket on its way.
  static uint32_t place(const vek_dict_table_t& table, const std::string& key) {
    uint32_t bucket = hash(key) % table.bucket_count;
    for (uint32_t i = 1; i <= 2 * table.bucket_count; ++i) {
      if (flags_of(table, bucket) == 2 || table.keys[bucket] == key) return bucket;
      bucket = (bucket + i) % table.bucket_count;
    }
    return 0xFFFFFFFFu;
  }
};

// Everything that has to hold for a table at any time.
void expect_sound(const vek_dict_table_t& table) {
  const uint32_t count = table.bucket_count;
  EXPECT_EQ(count & (count - 1), 0u);
  EXPECT_EQ(table.grow_threshold, static_cast<uint32_t>(std::floor(count * 0.77 + 0.5)));
  EXPECT_LE(table.live_count, table.used_count);
  EXPECT_LE(table.used_count, table.grow_threshold);
  uint32_t live = 0;
  for (uint32_t bucket = 0; bucket < count; ++bucket) {
    if (flags_of(table, bucket) != 0) continue;
    ++live;
    EXPECT_EQ(TableModel::place(table, table.keys[bucket]), bucket) << table.keys[bucket];
  }
  EXPECT_EQ(live, table.live_count);
}

TEST(Dictionary, StartsEmptyWithoutBuckets) {
  const Dict dict(vek_dict_create());
  ASSERT_TRUE(dict);
  EXPECT_EQ(dict->table->bucket_count, 0u);
  EXPECT_EQ(vek_dict_get(dict.get(), "key"), nullptr);
  EXPECT_THAT(entries_of(dict.get()), IsEmpty());
}

TEST(Dictionary, AddingAKeyTwiceKeepsOneEntryWithTheSecondValue) {
  const Dict dict = dict_of({{"key", "first"}, {"key", "second"}});
  EXPECT_STREQ(vek_dict_get(dict.get(), "key"), "second");
  EXPECT_THAT(entries_of(dict.get()), ElementsAre(Pair("key", "second")));
  EXPECT_EQ(dict->table->live_count, 1u);
}

TEST(Dictionary, KeysDifferByCase) {
  const Dict dict = dict_of({{"Key", "value"}});
  EXPECT_EQ(vek_dict_get(dict.get(), "key"), nullptr);
  EXPECT_EQ(vek_dict_get(dict.get(), "Ke"), nullptr);
  EXPECT_EQ(vek_dict_get(dict.get(), "Keys"), nullptr);
  EXPECT_STREQ(vek_dict_get(dict.get(), "Key"), "value");
}

TEST(Dictionary, OwnsCopiesOfKeyAndValue) {
  const Dict dict(vek_dict_create());
  char key[] = "key";
  char value[] = "value";
  ASSERT_TRUE(vek_dict_add(dict.get(), key, value));
  key[0] = value[0] = '?';
  EXPECT_STREQ(vek_dict_get(dict.get(), "key"), "value");
}

TEST(Dictionary, TakesEmptyKeysAndValues) {
  const Dict dict = dict_of({{"", "of nothing"}, {"nothing", ""}});
  EXPECT_STREQ(vek_dict_get(dict.get(), ""), "of nothing");
  EXPECT_STREQ(vek_dict_get(dict.get(), "nothing"), "");
}

TEST(Dictionary, RefusesNullArguments) {
  const Dict dict(vek_dict_create());
  EXPECT_FALSE(vek_dict_add(nullptr, "key", "value"));
  EXPECT_FALSE(vek_dict_add(dict.get(), nullptr, "value"));
  EXPECT_FALSE(vek_dict_add(dict.get(), "key", nullptr));
  EXPECT_EQ(vek_dict_get(nullptr, "key"), nullptr);
  EXPECT_EQ(vek_dict_get(dict.get(), nullptr), nullptr);
  EXPECT_EQ(vek_dict_dup(nullptr), nullptr);
  EXPECT_TRUE(vek_dict_enum(nullptr, collect, nullptr));
  vek_dict_delete(nullptr);
}

TEST(Dictionary, AnyValueCanBeAddedAgainFromItself) {
  const Dict dict = dict_of({{"key", "value"}});
  EXPECT_TRUE(vek_dict_add(dict.get(), "key", vek_dict_get(dict.get(), "key")));
  EXPECT_STREQ(vek_dict_get(dict.get(), "key"), "value");
}

TEST(DictionaryOrder, IsThatOfTheHashInTheBuckets) {
  // 'a' is 97: bucket 1 of 4; 'b' bucket 2; the empty key bucket 0.
  EXPECT_THAT(entries_of(dict_of({{"b", "2"}, {"a", "1"}, {"", "0"}}).get()),
              ElementsAre(Pair("", "0"), Pair("a", "1"), Pair("b", "2")));
}

TEST(DictionaryOrder, RetriesMoveOneThenTwoFurther) {
  // 97, 101 and 105 all fall on bucket 1 of 4: they come to lie on 1, 2 and 0 (that is 4).
  const Dict dict = dict_of({{"a", "1"}, {"e", "2"}, {"i", "3"}});
  ASSERT_EQ(dict->table->bucket_count, 4u);
  EXPECT_THAT(entries_of(dict.get()), ElementsAre(Pair("i", "3"), Pair("a", "1"), Pair("e", "2")));
}

TEST(DictionaryOrder, HashMultipliesByThirtyOneInUnsignedBytes) {
  // Buckets of 8: "aa" 97*31+97=3104 -> 0; "b" 98 -> 2; "\xE9" 233 -> 1; "ab" 3105 -> 1, then 2,
  // then 4; "g" 103 -> 7.
  const Dict dict = dict_of({{"b", "1"}, {"\xE9", "2"}, {"g", "3"}, {"aa", "4"}, {"ab", "5"}});
  ASSERT_EQ(dict->table->bucket_count, 8u);
  EXPECT_THAT(entries_of(dict.get()), ElementsAre(Pair("aa", "4"), Pair("\xE9", "2"),
                                                  Pair("b", "1"), Pair("ab", "5"), Pair("g", "3")));
}

TEST(DictionaryGrowth, HappensWhenTheThresholdIsReached) {
  const Dict dict(vek_dict_create());
  uint32_t previous = 0;
  for (uint32_t i = 0; i < 5000; ++i) {
    const uint32_t used = dict->table->used_count;
    const bool full = used >= dict->table->grow_threshold;
    ASSERT_TRUE(vek_dict_add(dict.get(), ("key" + std::to_string(i)).c_str(), "v"));
    EXPECT_EQ(dict->table->bucket_count != previous, full) << i;
    previous = dict->table->bucket_count;
  }
  expect_sound(*dict->table);
}

TEST(DictionaryGrowth, ReplacingAValueNeverGrowsTheTable) {
  const Dict dict = dict_of({{"a", "1"}, {"b", "2"}, {"c", "3"}});
  ASSERT_EQ(dict->table->used_count, dict->table->grow_threshold);
  ASSERT_TRUE(vek_dict_add(dict.get(), "a", "again"));
  EXPECT_EQ(dict->table->bucket_count, 4u);
}

// Turns a live entry into a deleted slot, as the table format knows them.
void delete_entry(vek_dict_t* dict, const char* key) {
  vek_dict_table_t& table = *dict->table;
  for (uint32_t i = 0; i < table.bucket_count; ++i) {
    if (flags_of(table, i) != 0 || std::strcmp(table.keys[i], key) != 0) continue;
    std::free(table.keys[i]);
    std::free(table.values[i]);
    table.keys[i] = table.values[i] = nullptr;
    table.slot_flags[i / 16] |= 1u << (2 * (i % 16));
    --table.live_count;
    return;
  }
  FAIL() << "no such entry: " << key;
}

TEST(DictionaryDeletedSlots, ArePassedOverReusedAndDropped) {
  const Dict dict = dict_of({{"a", "1"}, {"e", "2"}, {"i", "3"}});  // one chain
  delete_entry(dict.get(), "a");
  EXPECT_STREQ(vek_dict_get(dict.get(), "i"), "3") << "the chain must not end at a deleted slot";
  EXPECT_EQ(vek_dict_get(dict.get(), "a"), nullptr);
  EXPECT_EQ(entries_of(dict.get()).size(), 2u);
  const Dict copy(vek_dict_dup(dict.get()));
  EXPECT_EQ(entries_of(copy.get()).size(), 2u);
  // The threshold counts deleted slots; the rebuild drops them.
  ASSERT_TRUE(vek_dict_add(dict.get(), "m", "4"));
  EXPECT_EQ(dict->table->used_count, 3u);
  EXPECT_EQ(dict->table->live_count, 3u);
  for (const char* key : {"e", "i", "m"}) EXPECT_NE(vek_dict_get(dict.get(), key), nullptr) << key;
}

TEST(DictionaryDeletedSlots, AreTakenByNewKeysOfTheirChain) {
  const Dict dict = dict_of({{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}});
  ASSERT_EQ(dict->table->bucket_count, 8u);
  delete_entry(dict.get(), "a");
  ASSERT_TRUE(vek_dict_add(dict.get(), "i", "5"));  // 105 falls on the bucket of 97
  EXPECT_EQ(dict->table->used_count, 4u);
  EXPECT_EQ(dict->table->live_count, 4u);
  EXPECT_STREQ(vek_dict_get(dict.get(), "i"), "5");
}

TEST(DictionaryDup, CopiesEveryEntryInBucketOrder) {
  Entries entries;
  for (int i = 0; i < 100; ++i)
    entries.emplace_back("key" + std::to_string(i), "v" + std::to_string(i));
  Dict dict = dict_of(entries);
  const Dict copy(vek_dict_dup(dict.get()));
  ASSERT_TRUE(copy);
  const Dict expected = dict_of(entries_of(dict.get()));
  EXPECT_EQ(entries_of(copy.get()), entries_of(expected.get()));
  dict.reset();
  EXPECT_STREQ(vek_dict_get(copy.get(), "key42"), "v42");
  EXPECT_EQ(copy->table->live_count, 100u);
}

TEST(DictionaryDup, OfAnEmptyDictionaryIsEmpty) {
  const Dict dict(vek_dict_create());
  const Dict copy(vek_dict_dup(dict.get()));
  ASSERT_TRUE(copy);
  EXPECT_THAT(entries_of(copy.get()), IsEmpty());
}

TEST(DictionaryEnum, StopsAtTheFirstCallbackThatAnswersFalse) {
  const Dict dict = dict_of({{"a", "1"}, {"b", "2"}, {"c", "3"}});
  int calls = 0;
  const auto stop_at_second = [](const char*, const char*, void* context) {
    return ++*static_cast<int*>(context) < 2;
  };
  EXPECT_FALSE(vek_dict_enum(dict.get(), stop_at_second, &calls));
  EXPECT_EQ(calls, 2);
}

TEST(DictionaryDump, ListsTheEntriesAtDebugLevel) {
  const Dict dict = dict_of({{"b", "2"}, {"a", "1"}});
  {
    const LogCapture log;
    vek_dict_dump(dict.get(), "options");
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{7, "options map values: "},
                                         LogLine{7, "key=a  val=1"}, LogLine{7, "key=b  val=2"}));
  }
  const LogCapture log(6);
  vek_dict_dump(dict.get(), "options");
  EXPECT_THAT(log.lines(), IsEmpty());
}

// Keys of few letters, so that they meet often, in chains as long as the table allows.
std::string random_key(std::mt19937& random) {
  std::string key(random() % 4, '\0');
  for (char& c : key) c = static_cast<char>("aei\xE9"[random() % 4]);
  return key + std::to_string(random() % 40);
}

TEST(DictionaryModel, BehavesAsAMapUnderRandomOperations) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Dict dict(vek_dict_create());
    std::map<std::string, std::string> model;
    for (int step = 0; step < 4000; ++step) {
      const std::string key = random_key(random);
      switch (random() % 8) {
        case 0:
        case 1:
        case 2: {
          const std::string value = std::to_string(random());
          ASSERT_TRUE(vek_dict_add(dict.get(), key.c_str(), value.c_str()));
          model[key] = value;
          break;
        }
        case 3:
          if (step % 97 == 0) dict.reset(vek_dict_dup(dict.get()));
          break;
        case 4:
          if (model.erase(key) > 0) delete_entry(dict.get(), key.c_str());
          break;
        default: {
          const auto found = model.find(key);
          const char* value = vek_dict_get(dict.get(), key.c_str());
          ASSERT_EQ(value != nullptr, found != model.end());
          if (value) {
            ASSERT_EQ(found->second, value);
          }
        }
      }
      ASSERT_EQ(dict->table->live_count, model.size());
    }
    Entries entries = entries_of(dict.get());
    std::sort(entries.begin(), entries.end());
    EXPECT_EQ(entries, Entries(model.begin(), model.end()));
  }
}

TEST(DictionaryModel, EveryEntryLiesWhereItsProbeEnds) {
  std::mt19937 random(7);
  const Dict dict(vek_dict_create());
  for (int step = 0; step < 3000; ++step) {
    ASSERT_TRUE(vek_dict_add(dict.get(), random_key(random).c_str(), "v"));
    if (step % 50 == 0) expect_sound(*dict->table);
  }
  expect_sound(*dict->table);
}

TEST(DictionaryMemory, ThatRunsOutLeavesTheDictionaryAsItWas) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer has its own allocator";
  // Three entries fill the first table, so that the fourth has to grow it.
  for (const char* key : {"d", "a"}) {
    bool added = false;
    for (unsigned n = 1; !added; ++n) {
      const Dict dict = dict_of({{"a", "1"}, {"b", "2"}, {"c", "3"}});
      FailAllocation failing(n);
      added = vek_dict_add(dict.get(), key, "new");
      const bool failed = failing.disarm();
      EXPECT_EQ(added, !failed) << n;
      if (failed) {
        EXPECT_EQ(entries_of(dict.get()), (Entries{{"a", "1"}, {"b", "2"}, {"c", "3"}}));
        EXPECT_TRUE(vek_dict_add(dict.get(), key, "new")) << "a later attempt must work";
      }
      EXPECT_STREQ(vek_dict_get(dict.get(), key), "new");
      EXPECT_STREQ(vek_dict_get(dict.get(), "b"), "2");
    }
  }
}

TEST(DictionaryMemory, ThatRunsOutGivesNoDictionary) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer has its own allocator";
  const Dict source = dict_of({{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}});
  unsigned failures = 0;
  for (unsigned n = 1;; ++n) {
    FailAllocation failing(n);
    const Dict copy(vek_dict_dup(source.get()));
    if (!failing.disarm()) {
      EXPECT_TRUE(copy);
      break;
    }
    ++failures;
    EXPECT_FALSE(copy);
  }
  EXPECT_GE(failures, 2u + 4u * 2u);  // handle and table, two strings an entry
}

}  // namespace
}  // namespace vek::test
