// The pool of a cache context, and the objects that it hands out.
#include <gtest/gtest.h>

#include <random>

#include "dict_reader/cache_context.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

using CachedEvent = CacheContext::CachedEvent;
using EventItem = CacheContext::EventItem;
using EventPool = CacheContext::EventPool;

class EventPoolTest : public testing::Test {
 protected:
  EventItem* item(uint32_t size, char fill = 'x', uint32_t key_id = 1,
                  python_event_type_t type = PYTHON_STRING) {
    const std::string data(size, fill);
    return pool_.getNewEventItem(type, key_id, size, data.data());
  }
  static std::string data_of(const EventItem& item) {
    return {reinterpret_cast<const char*>(item.data.get()), item.data_size};
  }

  EventPool pool_;
};

TEST_F(EventPoolTest, ANewItemHasExactlyTheSizeOfItsData) {
  const EventItem* const made = item(5, 'a', 9, PYTHON_NONE);
  EXPECT_EQ(made->type, PYTHON_NONE);
  EXPECT_EQ(made->key_id, 9u);
  EXPECT_EQ(made->data_size, 5u);
  EXPECT_EQ(made->capacity, 5u);
  EXPECT_EQ(made->name, nullptr);
  EXPECT_EQ(data_of(*made), "aaaaa");
}

TEST_F(EventPoolTest, AnItemWithoutDataNeedsNone) {
  EventItem* const made = pool_.getNewEventItem(PYTHON_NONE, 1, 0, nullptr);
  EXPECT_EQ(made->data_size, 0u);
  EXPECT_EQ(made->capacity, 0u);
  made->updateData(0, nullptr);
  EXPECT_EQ(made->data_size, 0u);
}

TEST_F(EventPoolTest, UpdateDataGrowsTheBufferAndNeverShrinksIt) {
  EventItem made(PYTHON_STRING, 1, 4, "abcd");
  const uint8_t* const buffer = made.data.get();
  made.updateData(2, "ef");
  EXPECT_EQ(data_of(made), "ef");
  EXPECT_EQ(made.capacity, 4u);
  EXPECT_EQ(made.data.get(), buffer);
  made.updateData(6, "ghijkl");
  EXPECT_EQ(data_of(made), "ghijkl");
  EXPECT_EQ(made.capacity, 6u);
}

TEST_F(EventPoolTest, TheFirstFreeItemThatIsLargeEnoughIsTaken) {
  EventItem* const small = item(4);
  EventItem* const middle = item(8);
  EventItem* const large = item(16);
  for (EventItem* free : {small, middle, large}) pool_.deleteEventItem(free);
  EXPECT_EQ(item(6, 'y'), middle);
  EXPECT_EQ(middle->capacity, 8u);
  EXPECT_EQ(middle->data_size, 6u);
  EXPECT_EQ(data_of(*middle), "yyyyyy");
  EXPECT_EQ(item(6), large);
  EXPECT_EQ(item(4), small);
}

TEST_F(EventPoolTest, WhereNoneIsLargeEnoughTheLastGrows) {
  EventItem* const first = item(4);
  EventItem* const last = item(2);
  pool_.deleteEventItem(first);
  pool_.deleteEventItem(last);
  EXPECT_EQ(item(9, 'z'), last);
  EXPECT_EQ(last->capacity, 9u);
  EXPECT_EQ(data_of(*last), "zzzzzzzzz");
  EXPECT_EQ(item(5), first);
}

TEST_F(EventPoolTest, FreeItemsServeTheirOwnTypeAndKeyOnly) {
  EventItem* const free = item(4, 'x', 1, PYTHON_STRING);
  pool_.deleteEventItem(free);
  EXPECT_NE(item(4, 'x', 2, PYTHON_STRING), free);
  EXPECT_NE(item(4, 'x', 1, PYTHON_LONG), free);
  EXPECT_EQ(item(4, 'x', 1, PYTHON_STRING), free);
}

TEST_F(EventPoolTest, AFreeItemHasNoName) {
  const std::string name = "n";
  EventItem* const named = item(4);
  named->name = &name;
  EXPECT_TRUE(pool_.namesInUse().contains(&name));
  pool_.deleteEventItem(named);
  EXPECT_FALSE(pool_.namesInUse().contains(&name));
  EXPECT_EQ(item(4), named);
  EXPECT_EQ(named->name, nullptr);
}

TEST_F(EventPoolTest, AnEventTakesItsItemsAlong) {
  CachedEvent* const event = pool_.getNewEvent(5);
  EXPECT_EQ(event->timestamp, 5u);
  EXPECT_EQ(&event->pool, &pool_);
  event->items = {item(1, 'a'), item(1, 'b')};
  const std::vector<EventItem*> items = event->items;
  event->index = "a_b";
  pool_.deleteEvent(event);
  CachedEvent* const again = pool_.getNewEvent(6);
  EXPECT_EQ(again, event);
  EXPECT_EQ(again->timestamp, 6u);
  EXPECT_EQ(again->index, "");
  EXPECT_TRUE(again->items.empty());
  EXPECT_EQ(item(1), items[0]);
  EXPECT_EQ(item(1), items[1]);
}

TEST_F(EventPoolTest, TheDeleterGivesAnEventBackToItsPool) {
  EventPool other;
  CachedEvent* const event = other.getNewEvent(5);
  CachedEvent::Deleter()(event);
  CachedEvent::Deleter()(nullptr);
  EXPECT_NE(pool_.getNewEvent(1), event);
  EXPECT_EQ(other.getNewEvent(1), event);
}

TEST_F(EventPoolTest, NullIsNothingToGiveBack) {
  pool_.deleteEvent(nullptr);
  pool_.deleteEventItem(nullptr);
}

TEST_F(EventPoolTest, ReleasingTakesNoMemory) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the allocator belongs to a sanitizer";
  std::vector<CachedEvent*> events;
  for (uint64_t i = 0; i < 100; ++i) {
    events.push_back(pool_.getNewEvent(i));
    for (uint32_t k = 0; k < 10; ++k) events.back()->items.push_back(item(8, 'x', k % 3));
  }
  FailAllocation failing(1);
  for (CachedEvent* event : events) pool_.deleteEvent(event);
  EXPECT_FALSE(failing.disarm());
}

// Against the rule in its plainest form: a list from which items are erased.
TEST_F(EventPoolTest, ChoosesAsThePlainRuleDoes) {
  std::mt19937 random(1);
  std::vector<EventItem*> free;
  std::vector<EventItem*> used;
  for (int turn = 0; turn < 20'000; ++turn) {
    if (!used.empty() && random() % 2 == 0) {
      const size_t at = random() % used.size();
      pool_.deleteEventItem(used[at]);
      free.push_back(used[at]);
      used.erase(used.begin() + static_cast<std::ptrdiff_t>(at));
      continue;
    }
    const auto size = static_cast<uint32_t>(random() % (turn % 100 == 0 ? 500 : 20));
    EventItem* expected = nullptr;
    for (EventItem* candidate : free) {
      if (!expected && candidate->capacity >= size) expected = candidate;
    }
    if (!expected && !free.empty()) expected = free.back();
    std::erase(free, expected);
    EventItem* const got = item(size);
    if (expected) {
      ASSERT_EQ(got, expected) << "turn " << turn;
    }
    ASSERT_GE(got->capacity, size);
    used.push_back(got);
  }
  EXPECT_GT(free.size() + used.size(), 50u);
}

TEST(CachedEvent, LogsItselfAndItsItems) {
  EventPool pool;
  CachedEvent* const event = pool.getNewEvent(12);
  const std::string name = "host";
  event->index = "a_7";
  event->items = {pool.getNewEventItem(PYTHON_STRING, 3, 2, "ab"),
                  pool.getNewEventItem(PYTHON_NONE, 4, 0, nullptr)};
  event->items[0]->name = &name;
  const LogCapture log;
  event->log();
  char data[32];
  std::snprintf(data, sizeof data, "%p", static_cast<void*>(event->items[0]->data.get()));
  EXPECT_EQ(log.at(7), (std::vector<std::string>{
                           "ts:12 index:a_7\nItems:",
                           std::string("PYTHON_STRING key_id:3 name:host data_size:2 data:") + data,
                           "PYTHON_NONE key_id:4 name:(null) data_size:0 data:(nil)"}));
}

}  // namespace
}  // namespace vek::test
