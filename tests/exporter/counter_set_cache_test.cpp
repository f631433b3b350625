#include "exporter/counter_set_cache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <utility>

#include "counters/counters_msgpack.h"
#include "exporter/counters_schema_signature.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"
#include "tests/support/schema_documents.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;

class Cache : public ::testing::Test {
 protected:
  // Debug lines of the cache itself.
  std::vector<std::string> talk() const {
    std::vector<std::string> lines;
    for (const std::string& line : log_.at(7)) {
      if (line.starts_with("[getCset]")) lines.push_back(line);
    }
    return lines;
  }

  LogCapture log_;
  CounterSetCache cache_;
};

TEST_F(Cache, GivesASchemaSeenTwiceTheSameSet) {
  const OwnedCounters schema = countersSchema({"rx", "tx"});
  const std::string id = countersIdOf(*schema);
  const BoundCounterSet first = cache_.get(schema.get(), nullptr);
  const BoundCounterSet second = cache_.get(schema.get(), nullptr);
  ASSERT_NE(first.set, nullptr);
  EXPECT_EQ(first.set, second.set);
  EXPECT_THAT(talk(), ElementsAre("[getCset] Creating new cset for schema id = '" + id + "'",
                                  "[getCset] Found cset for schema id = '" + id + "'"));
}

// Memory comes back; a page that finds none must not be the last one of its schema.
TEST_F(Cache, MakesASetThatFailedAgainForTheNextPage) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const OwnedCounters schema = countersSchema({"rx", "tx"});
  unsigned refusals = 0;
  for (unsigned n = 1; n < 10'000; ++n) {
    CounterSetCache cache;
    log_.clear();
    FailAllocation failing(n);
    const vek_counter_set_t* set = nullptr;
    try {
      set = cache.get_for_page(schema.get(), nullptr).set;
    } catch (const std::bad_alloc&) {  // said by the entry points
    }
    if (!failing.disarm()) break;
    if (!set) ++refusals;
    EXPECT_NE(cache.get_for_page(schema.get(), nullptr).set, nullptr) << n;
  }
  EXPECT_GT(refusals, 10u);
}

TEST_F(Cache, GoesByIdentifierNotByAddress) {
  OwnedCounters schema = countersSchema({"rx", "tx"});
  const vek_counter_set_t* first = cache_.get(schema.get(), nullptr).set;
  schema = countersSchema({"rx", "tx"});
  EXPECT_EQ(cache_.get(schema.get(), nullptr).set, first);
  schema = countersSchema({"rx", "other"});
  EXPECT_NE(cache_.get(schema.get(), nullptr).set, first);
}

TEST_F(Cache, KnowsASchemaThatWasChangedInPlace) {
  const OwnedCounters schema = countersSchema({"rx"});
  const vek_counter_set_t* first = cache_.get(schema.get(), nullptr).set;
  free(schema->groups[0]->counters[0]->name);
  schema->groups[0]->counters[0]->name = strdup("tx");
  EXPECT_NE(cache_.get(schema.get(), nullptr).set, first);
}

TEST_F(Cache, KnowsAPagesSchemaWithoutALookAtItsCounters) {
  const OwnedCounters schema = countersSchema({"rx"});
  const std::string id = countersIdOf(*schema);
  const BoundCounterSet first = cache_.get_for_page(schema.get(), nullptr);
  ASSERT_NE(first.set, nullptr);
  // Schemas are only read once they are in use; a look would find this.
  char* const name = schema->groups[0]->counters[0]->name;
  name[0] = 'x';
  EXPECT_EQ(cache_.get_for_page(schema.get(), nullptr).set, first.set);
  EXPECT_THAT(talk(), ElementsAre("[getCset] Creating new cset for schema id = '" + id + "'",
                                  "[getCset] Found cset for schema id = '" + id + "'"));
}

TEST_F(Cache, NeverTakesANewSchemaAtAnOldAddressForTheOldOne) {
  const OwnedCounters old_one = countersSchema({"rx"});
  const OwnedCounters new_one = countersSchema({"tx"});
  const vek_counter_set_t* rx = cache_.get_for_page(old_one.get(), nullptr).set;
  // What an allocator does that gives the same memory again.
  std::swap(*old_one, *new_one);
  EXPECT_NE(cache_.get_for_page(old_one.get(), nullptr).set, rx);
  EXPECT_EQ(cache_.get_for_page(new_one.get(), nullptr).set, rx);
}

TEST_F(Cache, SeesThatAPagesSchemaHasGrown) {
  const OwnedCounters schema = countersSchema({"rx"});
  const vek_counter_set_t* first = cache_.get_for_page(schema.get(), nullptr).set;
  const OwnedCounters other = countersSchema({"rx", "tx"});
  std::swap(schema->groups[0], other->groups[0]);
  EXPECT_NE(cache_.get_for_page(schema.get(), nullptr).set, first);
}

TEST_F(Cache, LooksAtEveryPageOfASchemaWithoutASerialNumber) {
  const OwnedCounters schema = countersSchema({"rx"});
  schema->serial = 0;
  const vek_counter_set_t* first = cache_.get_for_page(schema.get(), nullptr).set;
  schema->groups[0]->counters[0]->name[0] = 'x';
  EXPECT_NE(cache_.get_for_page(schema.get(), nullptr).set, first);
}

TEST_F(Cache, KnowsMoreSchemasThanItHasPlacesFor) {
  std::vector<OwnedCounters> schemas;
  std::vector<const vek_counter_set_t*> sets;
  for (int i = 0; i < 40; ++i) {
    const std::string name = "c" + std::to_string(i);
    schemas.push_back(countersSchema({name.c_str()}));
    sets.push_back(cache_.get_for_page(schemas.back().get(), nullptr).set);
  }
  EXPECT_EQ(std::set<const void*>(sets.begin(), sets.end()).size(), sets.size());
  for (size_t i = 0; i < sets.size(); ++i) {
    EXPECT_EQ(cache_.get_for_page(schemas[i].get(), nullptr).set, sets[i]);
  }
}

TEST_F(Cache, KnowsNothingOnceCleared) {
  const OwnedCounters schema = countersSchema({"rx"});
  cache_.get_for_page(schema.get(), nullptr);
  cache_.clear();
  log_.clear();
  EXPECT_NE(cache_.get_for_page(schema.get(), nullptr).set, nullptr);
  EXPECT_EQ(talk().size(), 1u);
}

TEST_F(Cache, KeepsTheFirstFileForAnIdentifier) {
  const OwnedCounters schema = countersSchema({"rx"});
  const vek_counter_set_t* first = cache_.get(schema.get(), nullptr).set;
  EXPECT_EQ(cache_.get(schema.get(), "/some/other.cset").set, first);
  EXPECT_STREQ(first->name, "default");
}

TEST_F(Cache, WorksOutTheExtentOfABlock) {
  const OwnedCounters schema = countersSchema({"a", "b", "c"});
  const BoundCounterSet bound = cache_.get(schema.get(), nullptr);
  EXPECT_EQ(bound.block_extent, 16u + 3 * 8);
  EXPECT_EQ(bound.block_extent, vek_counter_set_block_extent(bound.set));
}

TEST_F(Cache, HasNoSetForNoSchema) {
  EXPECT_EQ(cache_.get(nullptr, nullptr).set, nullptr);
  EXPECT_EQ(cache_.get_for_page(nullptr, nullptr).set, nullptr);
}

TEST_F(Cache, StartsAfreshOnceCleared) {
  const OwnedCounters schema = countersSchema({"rx"});
  cache_.get(schema.get(), nullptr);
  cache_.clear();
  log_.clear();
  EXPECT_NE(cache_.get(schema.get(), nullptr).set, nullptr);
  EXPECT_THAT(talk(), ElementsAre("[getCset] Creating new cset for schema id = '" +
                                  countersIdOf(*schema) + "'"));
}

// Whatever an identifier is worked out from has to change the signature: else a schema would be
// taken for another one.
TEST(CountersSchemaSignature, ChangesWithTheIdentifier) {
  using Change = void (*)(vek_counter_group_t&, vek_counter_info_t&);
  const auto retext = [](char*& text, const char* to) {
    free(text);
    text = to ? strdup(to) : nullptr;
  };
  static const auto set = retext;
  const Change changes[] = {
      [](vek_counter_group_t&, vek_counter_info_t& c) { set(c.name, "x"); },
      [](vek_counter_group_t&, vek_counter_info_t& c) { set(c.description, "x"); },
      [](vek_counter_group_t&, vek_counter_info_t& c) { set(c.units, "x"); },
      [](vek_counter_group_t&, vek_counter_info_t& c) { c.data_type = VEK_DATA_TYPE_INT64; },
      [](vek_counter_group_t&, vek_counter_info_t& c) { c.counting_type = 1; },
      [](vek_counter_group_t&, vek_counter_info_t& c) { c.offset += 1; },
      [](vek_counter_group_t&, vek_counter_info_t& c) { c.length += 1; },
      [](vek_counter_group_t&, vek_counter_info_t& c) { c.hidden = true; },
      [](vek_counter_group_t&, vek_counter_info_t& c) { c.mandatory = true; },
      [](vek_counter_group_t& g, vek_counter_info_t&) { g.granularity = VEK_GRANULARITY_CPU; },
      [](vek_counter_group_t& g, vek_counter_info_t&) { g.num_counter_sets = 2; },
      [](vek_counter_group_t& g, vek_counter_info_t&) { set(g.name, "x"); },
      [](vek_counter_group_t& g, vek_counter_info_t&) { set(g.name, nullptr); },
      [](vek_counter_group_t& g, vek_counter_info_t&) { set(g.provider_name, "x"); },
  };
  const OwnedCounters original = countersSchema({"a", "b"});
  std::string signature;
  makeCountersSchemaSignature(*original, signature);
  size_t number = 0;
  for (const Change change : changes) {
    const OwnedCounters changed = countersSchema({"a", "b"});
    std::string other;
    makeCountersSchemaSignature(*changed, other);
    EXPECT_EQ(other, signature);
    change(*changed->groups[0], *changed->groups[0]->counters[1]);
    makeCountersSchemaSignature(*changed, other);
    EXPECT_NE(countersIdOf(*changed), countersIdOf(*original)) << number;
    EXPECT_NE(other, signature) << number;
    ++number;
  }
}

// Texts that run into one another differently.
TEST(CountersSchemaSignature, TellsWhereATextEnds) {
  std::string one;
  std::string other;
  makeCountersSchemaSignature(*countersSchema({"ab", "c"}), one);
  makeCountersSchemaSignature(*countersSchema({"a", "bc"}), other);
  EXPECT_NE(one, other);
}

}  // namespace
}  // namespace vek::test
