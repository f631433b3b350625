#include "tools/base/suggest.h"

#include <gtest/gtest.h>

namespace vek::tools {
namespace {

TEST(EditDistance, CountsInsertionsDeletionsReplacementsAndSwaps) {
  EXPECT_EQ(edit_distance("", ""), 0u);
  EXPECT_EQ(edit_distance("abc", ""), 3u);
  EXPECT_EQ(edit_distance("", "abc"), 3u);
  EXPECT_EQ(edit_distance("replay", "replay"), 0u);
  EXPECT_EQ(edit_distance("reply", "replay"), 1u);
  EXPECT_EQ(edit_distance("repplay", "replay"), 1u);
  EXPECT_EQ(edit_distance("rexlay", "replay"), 1u);
  EXPECT_EQ(edit_distance("repaly", "replay"), 1u);
  EXPECT_EQ(edit_distance("kitten", "sitting"), 3u);
}

TEST(Nearest, TakesTheCandidateWithTheFewestChanges) {
  EXPECT_EQ(nearest("--plugn", {"--config", "--plugin", "--pace"}), "--plugin");
  EXPECT_EQ(nearest("genrate", {"replay", "generate"}), "generate");
}

TEST(Nearest, TakesTheFirstOfEquallyNearOnes) { EXPECT_EQ(nearest("bat", {"cat", "rat"}), "cat"); }

TEST(Nearest, IsEmptyWhenNothingIsNearEnough) {
  EXPECT_EQ(nearest("frobnicate", {"replay", "generate"}), "");
  EXPECT_EQ(nearest("", {"replay"}), "");
  EXPECT_EQ(nearest("replay", {}), "");
}

}  // namespace
}  // namespace vek::tools
