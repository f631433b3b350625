// A cache context that keeps to its memory, or has none.
#include <cstring>
#include <utility>

#include "tests/dict_reader/cache_context_fixture.h"
#include "tests/support/fail_allocation.h"

namespace vek::test {
namespace {

using CacheContextMemory = CacheContextTest;

// One more of a stream of like collections: values vary, lengths stay below what was seen.
void likeCollection(CacheContext& context, int64_t turn, const std::string& text) {
  const auto time = static_cast<uint64_t>(turn);
  ASSERT_TRUE(context.OnNewCollection(&time, 8));
  ASSERT_TRUE(context.OnNewDict(kNoKeyId, nullptr, 0));
  ASSERT_TRUE(context.OnString(1, text.data(), static_cast<uint32_t>(text.size())));
  ASSERT_TRUE(context.OnNewList(3, nullptr, 0));
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(context.OnLong(3, &turn, 8));
  ASSERT_TRUE(context.OnEndList(nullptr, 0));
  const double real = 1.5;
  ASSERT_TRUE(context.OnDouble(2, &real, 8));
  ASSERT_TRUE(context.OnEndDict(nullptr, 0));
}

TEST_F(CacheContextMemory, AStreamOfLikeCollectionsAllocatesNothing) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the allocator belongs to a sanitizer";
  announce();
  KeptEvent last;
  std::function<bool(CachedEvent*)> keep_last = [&last](CachedEvent* event) {
    last.reset(event);  // two events are alive at a time
    return true;
  };
  CacheContext context(index_keys_, keep_last, start_);
  for (const auto& [key_id, name] :
       {std::pair(1u, "one"), std::pair(2u, "two"), std::pair(3u, "three")}) {
    ASSERT_TRUE(context.OnID(key_id, name, static_cast<uint32_t>(std::strlen(name))));
  }
  const std::string text(1000, 'x');
  for (int64_t i = 0; i < 3; ++i) likeCollection(context, i, text);
  const std::string shorter(900, 'y');
  log_.clear();
  FailAllocation failing(1);
  for (int64_t i = 3; i < 50; ++i) likeCollection(context, i, shorter);
  EXPECT_FALSE(failing.disarm());
  EXPECT_EQ(last->index, shorter + "_1.500000");
  last.reset();
}

TEST_F(CacheContextMemory, AFailedAllocationLosesNothingThatWasThere) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the allocator belongs to a sanitizer";
  for (unsigned n = 1;; ++n) {
    CacheContext context(index_keys_, send_, start_);
    const unsigned before = sent_;
    const std::string text(100, 'x');
    const uint64_t time = 1;
    FailAllocation failing(n);
    try {
      context.OnID(1, "one", 3);
      context.OnNewCollection(&time, 8);
      context.OnNewDict(kNoKeyId, nullptr, 0);
      context.OnString(1, text.data(), 100);
    } catch (const std::bad_alloc&) {
    }
    const bool failed = failing.disarm();
    ASSERT_TRUE(context.OnNewCollection(&time, 8));
    ASSERT_TRUE(context.OnNewDict(kNoKeyId, nullptr, 0));
    ASSERT_TRUE(context.OnString(1, text.data(), 100));
    ASSERT_TRUE(context.OnEndDict(nullptr, 0));
    EXPECT_EQ(sent_, before + 1);
    EXPECT_EQ(items_.size(), 4u);
    if (!failed) break;
  }
}

}  // namespace
}  // namespace vek::test
