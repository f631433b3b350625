#include "counters/counter_group.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/counters/counters_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

using testing::ElementsAre;

// A collector's side that writes down what it is asked.
struct Provider : vek_counter_provider_t {
  Provider() : vek_counter_provider_t{} {
    name = "prov";
    create_group = [](vek_counter_provider_t* self, vek_counter_provider_info_t*,
                      vek_counter_group_t* group) {
      group->num_counter_sets = 2;
      return of(self)->answer("create");
    };
    add_counter = [](vek_counter_provider_t* self, vek_counter_group_t* group,
                     const vek_counter_info_t* counter) {
      if (of(self)->counts_itself) ++group->num_counters;
      return of(self)->answer(std::string("add ") + counter->name);
    };
    start = [](vek_counter_provider_t* self, vek_counter_group_t*) {
      return of(self)->answer("start");
    };
    stop = [](vek_counter_provider_t* self, vek_counter_group_t*, int argument) {
      return of(self)->answer("stop " + std::to_string(argument));
    };
  }
  static Provider* of(vek_counter_provider_t* self) { return static_cast<Provider*>(self); }
  bool answer(std::string call) {
    calls.push_back(std::move(call));
    return agrees;
  }

  bool agrees = true;
  bool counts_itself = false;
  std::vector<std::string> calls;
};

vek_counter_info_t counter_named(char* name) {
  static char empty[] = "";
  vek_counter_info_t counter = {};
  counter.name = name;
  counter.description = empty;
  counter.units = empty;
  return counter;
}

TEST(CreateCounterGroup, AsksTheProviderAndRecordsBothNames) {
  Provider provider;
  vek_counter_provider_info_t info = {"grp", nullptr};
  const Group group(vek_create_counter_group(&provider, &info));
  ASSERT_TRUE(group);
  EXPECT_THAT(provider.calls, ElementsAre("create"));
  EXPECT_EQ(group->provider, &provider);
  EXPECT_EQ(group->info, &info);
  EXPECT_STREQ(group->name, "grp");
  EXPECT_STREQ(group->provider_name, "prov");
  EXPECT_EQ(group->num_counter_sets, 2u);
  EXPECT_EQ(group->num_counters, 0u);
}

TEST(CreateCounterGroup, IsNullWhenTheProviderRefuses) {
  Provider provider;
  provider.agrees = false;
  EXPECT_EQ(vek_create_counter_group(&provider, nullptr), nullptr);
}

TEST(AddCounterToGroup, CountsOnceWhetherOrNotTheProviderCounts) {
  for (const bool counts_itself : {false, true}) {
    Provider provider;
    provider.counts_itself = counts_itself;
    const Group group(vek_create_counter_group(&provider, nullptr));
    char a[] = "a";
    char b[] = "b";
    const vek_counter_info_t first = counter_named(a);
    const vek_counter_info_t second = counter_named(b);
    EXPECT_TRUE(vek_add_counter_to_group(group.get(), &first));
    EXPECT_TRUE(vek_add_counter_to_group(group.get(), &second));
    ASSERT_EQ(group->num_counters, 2u);
    EXPECT_STREQ(group->counters[0]->name, "a");
    EXPECT_STREQ(group->counters[1]->name, "b");
    EXPECT_NE(group->counters[0]->name, a) << "a deep copy";
    EXPECT_THAT(provider.calls, ElementsAre("create", "add a", "add b"));
  }
}

TEST(AddCounterToGroup, LeavesOutWhatTheProviderRefuses) {
  Provider provider;
  provider.counts_itself = true;
  const Group group(vek_create_counter_group(&provider, nullptr));
  char name[] = "a";
  const vek_counter_info_t counter = counter_named(name);
  provider.agrees = false;
  EXPECT_FALSE(vek_add_counter_to_group(group.get(), &counter));
  EXPECT_EQ(group->num_counters, 0u);
}

TEST(AddCounterToGroup, WorksWithoutAProvider) {
  const Group group = make_group("g", named({"a", "b", "c"}));
  EXPECT_EQ(group->num_counters, 3u);
}

TEST(AddCounterToGroup, TellsWhichAllocationFailed) {
  if (!FailAllocation::available()) GTEST_SKIP();
  const Group group = make_group("g", named({"a"}));
  char name[] = "b";
  const vek_counter_info_t counter = counter_named(name);
  const LogCapture log;
  FailAllocation array(1);
  EXPECT_FALSE(vek_add_counter_to_group(group.get(), &counter));
  array.disarm();
  FailAllocation copy(2);
  EXPECT_FALSE(vek_add_counter_to_group(group.get(), &counter));
  copy.disarm();
  EXPECT_THAT(log.errors(), ElementsAre("Failed to allocate array of 2 counter pointers",
                                        "Deep copy of the counter failed"));
  EXPECT_EQ(group->num_counters, 1u);
}

TEST(StartAndStopCounting, AskTheProvider) {
  Provider provider;
  const Group group(vek_create_counter_group(&provider, nullptr));
  EXPECT_TRUE(vek_start_counting_group(group.get()));
  EXPECT_TRUE(vek_stop_counting_group(group.get()));
  EXPECT_THAT(provider.calls, ElementsAre("create", "start", "stop 0"));
  provider.agrees = false;
  EXPECT_FALSE(vek_start_counting_group(group.get()));
  EXPECT_FALSE(vek_stop_counting_group(group.get()));
}

TEST(StartAndStopCounting, FailWithoutAProvider) {
  const Group group = make_group("g", {});
  EXPECT_FALSE(vek_start_counting_group(group.get()));
  EXPECT_FALSE(vek_stop_counting_group(group.get()));
  EXPECT_FALSE(vek_start_counting_group(nullptr));
  EXPECT_FALSE(vek_stop_counting_group(nullptr));
}

TEST(ProviderWithoutOperations, AgreesToAll) {
  vek_counter_provider_t provider = {};
  const Group group(vek_create_counter_group(&provider, nullptr));
  ASSERT_TRUE(group);
  char name[] = "a";
  const vek_counter_info_t counter = counter_named(name);
  EXPECT_TRUE(vek_add_counter_to_group(group.get(), &counter));
  EXPECT_TRUE(vek_start_counting_group(group.get()));
  EXPECT_TRUE(vek_stop_counting_group(group.get()));
}

TEST(CounterGroup, AcceptsNull) {
  EXPECT_FALSE(vek_add_counter_to_group(nullptr, nullptr));
  const Group group = make_group("g", {});
  EXPECT_FALSE(vek_add_counter_to_group(group.get(), nullptr));
  vek_free_counter_group(nullptr);
  vek_destroy_counter_group(nullptr);
}

}  // namespace
}  // namespace vek::test
