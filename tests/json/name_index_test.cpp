#ifndef VEK_HAVE_PARSON

#include "json/name_index.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace vek::json {
namespace {

size_t find(const NameIndex& index, size_t hash, size_t position) {
  return index.find(hash, [&](size_t candidate) { return candidate == position; });
}

TEST(NameIndex, FindsNothingWhenEmpty) {
  NameIndex index;
  EXPECT_EQ(find(index, 1, 0), NameIndex::kNone);
  index.reserve(1);
  EXPECT_EQ(find(index, 1, 0), NameIndex::kNone);
}

TEST(NameIndex, TellsEqualHashesApartByTheCallersCheck) {
  NameIndex index;
  index.reserve(3);
  for (const size_t position : {0, 1, 2}) index.add(77, position);
  for (const size_t position : {0, 1, 2}) EXPECT_EQ(find(index, 77, position), position);
  EXPECT_EQ(find(index, 77, 3), NameIndex::kNone);
  EXPECT_EQ(find(index, 78, 0), NameIndex::kNone);
}

TEST(NameIndex, KeepsCollidingEntriesReachableAfterRemovals) {
  // Hashes that share slots, the last slots of the table among them, so that probes wrap around.
  std::mt19937 random(11);
  NameIndex index;
  std::map<size_t, size_t> hash_of;  // by position
  for (int step = 0; step < 20'000; step++) {
    const size_t position = random() % 24;
    if (const auto found = hash_of.find(position); found != hash_of.end()) {
      index.remove(found->second, position);
      hash_of.erase(found);
    } else {
      const size_t hash = random() % 8 + 60 * (random() % 2);
      index.reserve(hash_of.size() + 1);
      index.add(hash, position);
      hash_of[position] = hash;
    }
    for (const auto& [at, hash] : hash_of) ASSERT_EQ(find(index, hash, at), at);
  }
}

TEST(NameIndex, FollowsAMemberThatMoves) {
  NameIndex index;
  index.reserve(2);
  index.add(5, 0);
  index.add(5, 9);
  index.move(5, 9, 1);
  EXPECT_EQ(find(index, 5, 9), NameIndex::kNone);
  EXPECT_EQ(find(index, 5, 1), 1u);
  EXPECT_EQ(find(index, 5, 0), 0u);
}

}  // namespace
}  // namespace vek::json

#endif  // VEK_HAVE_PARSON
