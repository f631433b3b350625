#include "utils/export_parameters.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/fail_allocation.h"
#include "utils/owned.h"

namespace vek::test {
namespace {

using Parameters = Owned<fluentbit_export_parameters_t, fluentbit_export_destroy_parameters>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs pairs_of(const Parameters& list) {
  Pairs pairs;
  for (int32_t i = 0; i < list->count; ++i) {
    pairs.emplace_back(list->params[i].name, list->params[i].value);
  }
  return pairs;
}

TEST(ExportParameters, StartEmpty) {
  const Parameters list(fluentbit_export_init_parameters());
  ASSERT_TRUE(list);
  EXPECT_EQ(list->count, 0);
}

TEST(ExportParameters, KeepEveryOccurrenceInOrder) {
  const Parameters list(fluentbit_export_init_parameters());
  const Pairs pairs = {{"match", "*"}, {"tag", "x"}, {"match", "y"}, {"", ""}};
  for (const auto& [name, value] : pairs) {
    EXPECT_TRUE(push_parameter(list.get(), name.c_str(), value.c_str()));
  }
  EXPECT_EQ(pairs_of(list), pairs);
}

TEST(ExportParameters, OwnCopies) {
  const Parameters list(fluentbit_export_init_parameters());
  char name[] = "name";
  char value[] = "value";
  ASSERT_TRUE(push_parameter(list.get(), name, value));
  name[0] = value[0] = '?';
  EXPECT_EQ(pairs_of(list), (Pairs{{"name", "value"}}));
}

TEST(ExportParameters, RefuseNullArguments) {
  const Parameters list(fluentbit_export_init_parameters());
  EXPECT_FALSE(push_parameter(nullptr, "name", "value"));
  EXPECT_FALSE(push_parameter(list.get(), nullptr, "value"));
  EXPECT_FALSE(push_parameter(list.get(), "name", nullptr));
  EXPECT_EQ(list->count, 0);
  fluentbit_export_destroy_parameters(nullptr);
}

TEST(ExportParameters, AreUnchangedWhenMemoryRunsOut) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer has its own allocator";
  const Parameters list(fluentbit_export_init_parameters());
  ASSERT_TRUE(push_parameter(list.get(), "first", "1"));
  unsigned failures = 0;
  for (unsigned n = 1;; ++n) {
    FailAllocation failing(n);
    const bool pushed = push_parameter(list.get(), "second", "2");
    if (!failing.disarm()) {
      EXPECT_TRUE(pushed);
      break;
    }
    ++failures;
    EXPECT_FALSE(pushed);
    EXPECT_EQ(pairs_of(list), (Pairs{{"first", "1"}}));
  }
  EXPECT_EQ(failures, 3u);  // name, value and array
  EXPECT_EQ(pairs_of(list), (Pairs{{"first", "1"}, {"second", "2"}}));

  FailAllocation failing(1);
  EXPECT_EQ(fluentbit_export_init_parameters(), nullptr);
}

}  // namespace
}  // namespace vek::test
