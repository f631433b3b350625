#include "utils/release_memory.h"

#include <gtest/gtest.h>

namespace vek {
namespace {

TEST(ReleaseMemory, LeavesNoCapacity) {
  std::vector<int> elements(1000, 7);
  release_memory(elements);
  EXPECT_TRUE(elements.empty());
  EXPECT_EQ(elements.capacity(), 0u);
}

}  // namespace
}  // namespace vek
