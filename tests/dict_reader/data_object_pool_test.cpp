#include "dict_reader/data_object_pool.h"

#include "dict_reader/data_object.h"
#include "tests/dict_reader/dict_fixture.h"
#include "tests/support/fail_allocation.h"

namespace vek::test {
namespace {

TEST(DataObjectPool, GivesAnObjectsMemoryToTheNext) {
  DataObjectPool pool;
  auto* const first = new (&pool) LongDataObject(nullptr, 1, false);
  const void* const memory = first;
  delete first;
  DataObject* const second = new (&pool) ContainerDataObject(nullptr, DATA_ITEM_DICT, false);
  EXPECT_EQ(second, memory);
  delete second;
}

TEST(DataObjectPool, WithoutOneObjectsComeFromTheHeap) {
  auto* const first = new (static_cast<DataObjectPool*>(nullptr)) LongDataObject(nullptr, 1, false);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->value(), 1);
  delete first;
  DataObject* const second = new NoneDataObject(nullptr, false);
  DataObject* const third = new (std::nothrow) NoneDataObject(nullptr, false);
  delete second;
  delete third;
}

TEST(DataObjectPool, GivesATextsMemoryToTheNext) {
  DataObjectPool pool;
  const std::string* const first = DataObjectPool::takeText(&pool, "0123456789012345678901234", 25);
  const char* const memory = first->data();
  DataObjectPool::giveBackText(&pool, first);
  const std::string* const second = DataObjectPool::takeText(&pool, "a\0b", 3);
  EXPECT_EQ(second->data(), memory);
  EXPECT_EQ(*second, std::string("a\0b", 3)) << "and nothing of what was there";
  DataObjectPool::giveBackText(&pool, second);
  const std::string* const third = DataObjectPool::takeText(&pool, nullptr, 0);
  EXPECT_EQ(*third, "");
  DataObjectPool::giveBackText(&pool, third);
}

TEST(DataObjectPool, KeepsNoTextsThatAreUnusuallyLong) {
  DataObjectPool pool;
  const std::string text(DataObjectPool::kLongestKept + 1, 't');
  DataObjectPool::giveBackText(&pool, DataObjectPool::takeText(&pool, text.data(), 4097));
  const std::string* const next = DataObjectPool::takeText(&pool, "x", 1);
  EXPECT_LT(next->capacity(), DataObjectPool::kLongestKept);
  DataObjectPool::giveBackText(&pool, next);
}

TEST(DataObjectPool, KeepsNoMoreThanItsBound) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  DataObjectPool pool;
  std::vector<DataObject*> objects;
  for (size_t i = 0; i < 2 * DataObjectPool::kMostKept; ++i) {
    objects.push_back(new (&pool) NoneDataObject(nullptr, false));
  }
  for (DataObject* object : objects) delete object;
  objects.clear();
  objects.reserve(DataObjectPool::kMostKept);
  for (size_t i = 0; i < DataObjectPool::kMostKept; ++i) {
    objects.push_back(new (&pool) NoneDataObject(nullptr, false));
  }
  FailAllocation failing(1);
  EXPECT_EQ(new (&pool) NoneDataObject(nullptr, false), nullptr) << "the kept ones are in use";
  EXPECT_TRUE(failing.disarm());
  for (DataObject* object : objects) delete object;
}

bool count_message(dict_reader_user_ctx* context, const data_dict_message_t*) {
  ++*reinterpret_cast<int*>(context);
  return true;
}

TEST(DataObjectPool, ASteadyStreamTakesNoMemoryForValuesAndNames) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const LogCapture log(3);
  int received = 0;
  const data_dict_reader_user_t user = {
      count_message, reinterpret_cast<dict_reader_user_ctx*>(&received), false, true};
  DataDictionaryReader::DecoderContext context(&user, "leaf01", "dict_t");
  Events events(context);
  const std::string text(100, 't');
  const auto send_values = [&](size_t round) {
    bool taken = events.id(1, "a") && events.id(2, "b") && events.collection(1) && events.dict();
    for (int i = 0; i < 50; ++i) {
      taken = taken && events.string(1, std::string_view(text).substr(round)) &&
              events.integer(2, i) && events.list(1) && events.real(2, 1) && events.none(1) &&
              events.end_list() && events.dict(2) && events.boolean(1, true) && events.end_dict();
    }
    return taken;
  };
  ASSERT_TRUE(send_values(0) && events.end_dict());
  for (size_t round = 1; round < 5; ++round) {
    FailAllocation failing(1);
    EXPECT_TRUE(send_values(round));
    EXPECT_FALSE(failing.disarm());
    ASSERT_TRUE(events.end_dict());
  }
  EXPECT_EQ(received, 5);
}

}  // namespace
}  // namespace vek::test
