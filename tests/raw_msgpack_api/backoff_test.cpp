#include "raw_msgpack_api/backoff.h"

#include <gtest/gtest.h>

namespace vek::engine {
namespace {

using std::chrono::milliseconds;

TEST(Backoff, DoublesItsBoundUpToTheCap) {
  // The longest of many delays stands for the bound.
  const auto longest = [](int failures) {
    milliseconds most{0};
    for (uint32_t seed = 1; seed <= 2000; ++seed) {
      Backoff backoff(milliseconds(1000), milliseconds(30'000), seed * 7919);
      for (int i = 1; i < failures; ++i) backoff.next();
      most = std::max(most, backoff.next());
    }
    return most;
  };
  const milliseconds bounds[] = {milliseconds(1000),  milliseconds(2000),   milliseconds(4000),
                                 milliseconds(8000),  milliseconds(16'000), milliseconds(30'000),
                                 milliseconds(30'000)};
  int failures = 0;
  for (const milliseconds bound : bounds) {
    const milliseconds most = longest(++failures);
    EXPECT_LE(most, bound);
    EXPECT_GT(most, bound * 9 / 10);
  }
}

TEST(Backoff, BeginsAgainAfterASuccess) {
  Backoff backoff(milliseconds(10), milliseconds(1'000'000), 1);
  for (int i = 0; i < 15; ++i) backoff.next();
  backoff.reset();
  EXPECT_LE(backoff.next(), milliseconds(10));
}

TEST(Backoff, KeepsToACapBelowItsBase) {
  Backoff backoff(milliseconds(1000), milliseconds(5), 1);
  for (int i = 0; i < 100; ++i) EXPECT_LE(backoff.next(), milliseconds(5));
}

}  // namespace
}  // namespace vek::engine
