// When a finished container is sent, and what becomes of it.
#include <memory>
#include <thread>

#include "tests/dict_reader/dict_fixture.h"
#include "tests/support/fail_allocation.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class SendDictionaries : public ContextTest {};

class SendRoots : public ContextTest {
 protected:
  SendRoots() : ContextTest(true) {}
};

class KeepMessages : public ContextTest {
 protected:
  KeepMessages() : ContextTest(false, true) {}
};

TEST_F(SendDictionaries, SendsARootDictionaryWhenItEnds) {
  ASSERT_TRUE(events_.collection(5) && events_.dict());
  ASSERT_TRUE(events_.dict(1) && events_.integer(2, 1) && events_.end_dict());
  EXPECT_THAT(receiver_.messages, IsEmpty());
  EXPECT_TRUE(events_.end_dict());
  EXPECT_THAT(receiver_.roots(), ElementsAre("{\"a\":{\"b\":1}}"));
  EXPECT_FALSE(context_.wasStarted()) << "the collection is over";
}

TEST_F(SendDictionaries, ADictionaryInAListInADictionaryIsNotSentOfItsOwn) {
  ASSERT_TRUE(events_.collection(5) && events_.dict() && events_.list(1) && events_.dict(2));
  EXPECT_TRUE(events_.end_dict());
  EXPECT_TRUE(events_.dict());
  EXPECT_TRUE(events_.end_dict());
  EXPECT_TRUE(events_.end_list());
  EXPECT_THAT(receiver_.messages, IsEmpty());
  EXPECT_TRUE(events_.end_dict());
  EXPECT_THAT(receiver_.roots(), ElementsAre("{\"a\":[{},{}]}"));
}

TEST_F(SendDictionaries, SendsEachDictionaryOfARootListAndNeverTheList) {
  ASSERT_TRUE(events_.collection(5) && events_.list());
  ASSERT_TRUE(events_.integer(1, 1));
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(events_.dict() && events_.integer(1, i));
    EXPECT_TRUE(events_.end_dict());
    EXPECT_TRUE(context_.wasStarted());
  }
  ASSERT_TRUE(events_.integer(1, 2));
  EXPECT_TRUE(events_.end_list());
  EXPECT_THAT(receiver_.roots(), ElementsAre("{\"a\":0}", "{\"a\":1}", "{\"a\":2}"));
  for (const auto& message : receiver_.messages) EXPECT_EQ(message.timestamp, 5u);
  EXPECT_THAT(log_.errors(), IsEmpty());
}

TEST_F(SendDictionaries, ACollectionGoesOnBehindARootListThatIsNotSent) {
  ASSERT_TRUE(events_.collection(5) && events_.list() && events_.end_list());
  EXPECT_TRUE(context_.wasStarted());
  ASSERT_TRUE(events_.dict());
  EXPECT_TRUE(events_.end_dict());
  EXPECT_EQ(receiver_.messages.back().timestamp, 5u);
  EXPECT_FALSE(context_.wasStarted());
}

TEST_F(SendDictionaries, SendsADictionaryOfAListInARootList) {
  ASSERT_TRUE(events_.collection(5) && events_.list() && events_.list(1) && events_.none(2));
  ASSERT_TRUE(events_.dict() && events_.boolean(3, true));
  EXPECT_TRUE(events_.end_dict());
  EXPECT_THAT(receiver_.roots(), ElementsAre("{\"c\":true}"));
  ASSERT_TRUE(events_.dict(4) && events_.end_dict());
  EXPECT_TRUE(events_.end_list());
  EXPECT_TRUE(events_.end_list());
  EXPECT_THAT(receiver_.messages, SizeIs(2));
}

TEST_F(SendDictionaries, TheCallbacksAnswerIsTheResult) {
  receiver_.answer = false;
  ASSERT_TRUE(events_.collection(5) && events_.list() && events_.dict());
  EXPECT_FALSE(events_.end_dict());
  EXPECT_TRUE(events_.end_list()) << "the list goes on";
  ASSERT_TRUE(events_.dict());
  EXPECT_FALSE(events_.end_dict());
  EXPECT_FALSE(context_.wasStarted()) << "and a root is over all the same";
  receiver_.answer = true;
  ASSERT_TRUE(events_.collection(6) && events_.dict());
  EXPECT_TRUE(events_.end_dict());
}

TEST_F(SendDictionaries, AfterTheRootTheTimestampIsGone) {
  ASSERT_TRUE(events_.collection(5) && events_.dict() && events_.end_dict());
  // The reader drops what follows; a context that is given it all the same has no time for it.
  ASSERT_TRUE(events_.dict() && events_.end_dict());
  EXPECT_EQ(receiver_.messages.back().timestamp, 0u);
}

TEST_F(SendDictionaries, NamesReplacedInARootListLastAsLongAsIt) {
  ASSERT_TRUE(events_.collection(5) && events_.list());
  ASSERT_TRUE(events_.list(1) && events_.id(1, "other"));
  ASSERT_TRUE(events_.dict() && events_.integer(1, 1) && events_.id(1, "third"));
  EXPECT_TRUE(events_.end_dict());
  EXPECT_THAT(receiver_.roots(), ElementsAre("{\"other\":1}"));
  ASSERT_TRUE(events_.end_list() && events_.end_list());
}

TEST_F(SendRoots, SendsOnlyWholeRootDictionaries) {
  ASSERT_TRUE(events_.collection(5) && events_.dict() && events_.dict(1) && events_.end_dict());
  EXPECT_THAT(receiver_.messages, IsEmpty());
  EXPECT_TRUE(events_.end_dict());
  EXPECT_THAT(receiver_.roots(), ElementsAre("{\"a\":{}}"));
  EXPECT_FALSE(context_.wasStarted());
}

TEST_F(SendRoots, SendsARootListWithItsDictionaries) {
  ASSERT_TRUE(events_.collection(5) && events_.list());
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(events_.dict() && events_.integer(1, i) && events_.end_dict());
  }
  ASSERT_TRUE(events_.list(1) && events_.end_list());
  EXPECT_THAT(receiver_.messages, IsEmpty());
  EXPECT_TRUE(events_.end_list());
  EXPECT_THAT(receiver_.roots(), ElementsAre("[{\"a\":0},{\"a\":1},[]]"));
  EXPECT_EQ(receiver_.messages[0].timestamp, 5u);
  EXPECT_FALSE(context_.wasStarted());
}

TEST_F(SendRoots, TheCallbacksAnswerIsTheResultOfAListToo) {
  receiver_.answer = false;
  ASSERT_TRUE(events_.collection(5) && events_.list());
  EXPECT_FALSE(events_.end_list());
  EXPECT_FALSE(context_.wasStarted());
}

TEST_F(KeepMessages, OutliveTheCallAndMayBeReleasedOnAnotherThread) {
  ASSERT_TRUE(events_.collection(5) && events_.list());
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(events_.dict() && events_.string(1, std::string(100, 's')));
    ASSERT_TRUE(events_.dict(2) && events_.end_dict() && events_.end_dict());
    ASSERT_TRUE(events_.id(1, "a" + std::to_string(i)));
  }
  ASSERT_TRUE(events_.end_list());
  ASSERT_THAT(receiver_.kept, SizeIs(3));
  EXPECT_EQ(text_of(receiver_.kept[0]->root), receiver_.messages[0].root);
  EXPECT_EQ(text_of(receiver_.kept[2]->root), receiver_.messages[2].root)
      << "names that were replaced are still there";
  EXPECT_THAT(receiver_.messages[2].root, ::testing::StartsWith("{\"a1\":"));
  std::thread([this] { receiver_.kept.pop_back(); }).join();
  ASSERT_TRUE(events_.dict() && events_.end_dict());
  EXPECT_STREQ(receiver_.kept[0]->source_id, "leaf01");
}

TEST(KeptMessages, MayBeReleasedWhenTheContextIsGone) {
  Receiver receiver;
  receiver.keep = true;
  const auto user = receiver.user();
  {
    DataDictionaryReader::DecoderContext context(&user, "s", "dict_t");
    Events events(context);
    ASSERT_TRUE(events.id(1, "a") && events.collection(1) && events.dict());
    ASSERT_TRUE(events.string(1, "text") && events.list(1) && events.none(1));
    ASSERT_TRUE(events.end_list() && events.end_dict());
  }
  receiver.kept.clear();
  EXPECT_THAT(receiver.messages, SizeIs(1));
}

TEST_F(SendDictionaries, WithoutMemoryForAMessageTheTreeIsDropped) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  ASSERT_TRUE(events_.collection(5) && events_.dict() && events_.integer(1, 1));
  {
    FailAllocation failing(1);
    EXPECT_TRUE(events_.end_dict());
    EXPECT_TRUE(failing.disarm());
  }
  EXPECT_THAT(log_.errors(), ElementsAre("Cannot allocate data_dict_message_t"));
  EXPECT_THAT(receiver_.messages, IsEmpty());
  EXPECT_FALSE(context_.wasStarted());
}

TEST(SendWithoutCallback, DropsTheTreeAndGoesOn) {
  for (const bool release : {true, false}) {
    const data_dict_reader_user_t user = {nullptr, nullptr, false, release};
    DataDictionaryReader::DecoderContext context(&user, "s", "dict_t");
    Events events(context);
    ASSERT_TRUE(events.id(1, "a") && events.collection(1) && events.list() && events.dict());
    ASSERT_TRUE(events.integer(1, 1));
    EXPECT_TRUE(events.end_dict());
    EXPECT_TRUE(context.wasStarted());
    EXPECT_TRUE(events.end_list() && events.dict() && events.end_dict());
    EXPECT_FALSE(context.wasStarted());
  }
}

bool throwing(dict_reader_user_ctx*, const data_dict_message_t*) { throw 1; }

TEST(SendToACallbackThatThrows, LeavesTheContextInOrder) {
  const data_dict_reader_user_t user = {throwing, nullptr, false, true};
  DataDictionaryReader::DecoderContext context(&user, "s", "dict_t");
  Events events(context);
  for (uint64_t i = 0; i < 2; ++i) {
    ASSERT_TRUE(events.id(1, "a") && events.collection(i) && events.list() && events.dict());
    EXPECT_THROW(events.end_dict(), int);
    EXPECT_TRUE(events.end_list());
  }
}

// Deeper than any stack, in both kinds of containers.
TEST_F(SendDictionaries, DepthIsNoMatter) {
  constexpr int kLevels = 100'000;
  struct Depth {
    static bool measure(dict_reader_user_ctx* context, const data_dict_message_t* message) {
      const DataObject* at = message->root;
      auto& levels = *reinterpret_cast<int*>(context);
      for (; at; at = static_cast<const ContainerDataObject*>(at)->first()) ++levels;
      return true;
    }
  };
  int levels = 0;
  const data_dict_reader_user_t user = {
      Depth::measure, reinterpret_cast<dict_reader_user_ctx*>(&levels), false, true};
  DataDictionaryReader::DecoderContext context(&user, "s", "dict_t");
  Events events(context);
  ASSERT_TRUE(events.id(1, "a") && events.collection(1) && events.dict());
  for (int i = 1; i < kLevels; ++i) ASSERT_TRUE(i % 2 ? events.list(1) : events.dict(1));
  for (int i = kLevels - 1; i >= 0; --i) ASSERT_TRUE(i % 2 ? events.end_list() : events.end_dict());
  EXPECT_EQ(levels, kLevels);
}

}  // namespace
}  // namespace vek::test
