#include "dict_reader/decoder_context.h"

#include <cmath>
#include <limits>

#include "tests/dict_reader/dict_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class DecoderContext : public ContextTest {
 protected:
  // Inside a root dictionary.
  void open() {
    ASSERT_TRUE(events_.collection(1));
    ASSERT_TRUE(events_.dict());
  }
  // What was sent when the root dictionary ends.
  std::string close() {
    EXPECT_TRUE(events_.end_dict());
    return receiver_.messages.empty() ? "(nothing)" : receiver_.messages.back().root;
  }
};

TEST_F(DecoderContext, BuildsEveryKindOfValue) {
  ASSERT_TRUE(events_.collection(1'500'000));
  ASSERT_TRUE(events_.dict());
  EXPECT_TRUE(events_.string(1, "text"));
  EXPECT_TRUE(events_.real(2, 0.25));
  EXPECT_TRUE(events_.integer(3, -7));
  EXPECT_TRUE(events_.boolean(4, true));
  EXPECT_TRUE(events_.boolean(1, false));
  EXPECT_TRUE(events_.none(2));
  EXPECT_TRUE(events_.dict(3));
  EXPECT_TRUE(events_.end_dict());
  EXPECT_TRUE(events_.list(4));
  EXPECT_TRUE(events_.integer(1, 1));
  EXPECT_TRUE(events_.end_list());
  EXPECT_TRUE(events_.end_dict());
  EXPECT_THAT(receiver_.messages,
              ElementsAre(Receiver::Message{"leaf01", "dict_t",
                                            "{\"a\":\"text\",\"b\":0.250000,\"c\":-7,\"d\":true,"
                                            "\"a\":false,\"b\":none,\"c\":{},\"d\":[1]}",
                                            1'500'000}));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DecoderContext, StringsAreExactlyTheirBytes) {
  open();
  const GuardedBytes text("a\0b", 3);
  EXPECT_TRUE(context_.OnString(1, text.data(), 3));
  EXPECT_TRUE(context_.OnString(2, text.data(), 0));
  EXPECT_TRUE(context_.OnString(3, nullptr, 0));
  EXPECT_EQ(close(), std::string("{\"a\":\"a\0b\",\"b\":\"\",\"c\":\"\"}", 25));
}

TEST_F(DecoderContext, NumbersOfTooFewBytesAreRefused) {
  open();
  const GuardedBytes bytes("1234567", 7);
  for (uint32_t size = 0; size <= 7; ++size) {
    EXPECT_FALSE(context_.OnDouble(1, bytes.data() + 7 - size, size));
    EXPECT_FALSE(context_.OnLong(1, bytes.data() + 7 - size, size));
  }
  EXPECT_FALSE(context_.OnLong(1, nullptr, 0));
  EXPECT_THAT(log_.errors(), SizeIs(17));
  EXPECT_EQ(log_.count(3, kReader + "could not add double item"), 8u);
  EXPECT_EQ(log_.count(3, kReader + "could not add long item"), 9u);
  EXPECT_EQ(close(), "{}");
}

TEST_F(DecoderContext, NumbersAreTheirFirstEightBytes) {
  open();
  const std::string real = bytes_of(2.5) + "more";
  const std::string integer = bytes_of(std::numeric_limits<int64_t>::min()) + "more";
  EXPECT_TRUE(context_.OnDouble(1, real.data(), 12));
  EXPECT_TRUE(context_.OnLong(2, integer.data(), 12));
  EXPECT_EQ(close(), "{\"a\":2.500000,\"b\":-9223372036854775808}");
}

TEST_F(DecoderContext, RefusesValuesOfUnknownKeys) {
  open();
  const std::pair<bool, const char*> cases[] = {
      {events_.string(9, "x"), "string"},  {events_.real(9, 1), "double"},
      {events_.integer(9, 1), "long"},     {events_.boolean(9, true), "bool"},
      {events_.boolean(9, false), "bool"}, {events_.none(9), "None"},
      {events_.dict(9), "dictionary"},     {events_.list(9), "list"}};
  std::vector<std::string> expected;
  for (const auto& [accepted, word] : cases) {
    EXPECT_FALSE(accepted) << word;
    expected.push_back(kReader + "could not find key_id 9");
    expected.push_back(kReader + "could not add " + word + " item");
  }
  EXPECT_EQ(log_.errors(), expected);
  EXPECT_EQ(close(), "{}");
}

TEST_F(DecoderContext, RefusesValuesWithoutAKey) {
  open();
  EXPECT_FALSE(events_.string(kNoKeyId, "x"));
  EXPECT_FALSE(events_.none(kNoKeyId));
  EXPECT_EQ(log_.errors(), said({"could not add string item", "could not add None item"}));
  EXPECT_EQ(close(), "{}");
}

TEST_F(DecoderContext, TheIdOfNoKeyIsNotLookedUpEvenWhenItHasAName) {
  ASSERT_TRUE(events_.id(kNoKeyId, "never"));
  EXPECT_EQ(context_.IDToKey(kNoKeyId), nullptr);
  EXPECT_EQ(*context_.IDToKey(1), "a");
  EXPECT_THAT(log_.errors(), IsEmpty());
  EXPECT_EQ(context_.IDToKey(0), nullptr);
  EXPECT_EQ(log_.errors(), said({"could not find key_id 0"}));
}

TEST_F(DecoderContext, RefusesValuesBeforeAnyContainer) {
  ASSERT_TRUE(events_.collection(1));
  EXPECT_FALSE(events_.integer(1, 1));
  EXPECT_FALSE(events_.string(1, "x"));
  EXPECT_EQ(log_.errors(),
            said({"cannot add item - no parent container", "could not add long item",
                  "cannot add item - no parent container", "could not add string item"}));
}

TEST_F(DecoderContext, ADictionaryInADictionaryMayComeWithoutAKey) {
  open();
  EXPECT_TRUE(events_.dict());
  EXPECT_TRUE(events_.end_dict());
  EXPECT_EQ(close(), "{(none):{}}");
}

TEST_F(DecoderContext, AnInnerListNeedsAKey) {
  open();
  EXPECT_FALSE(events_.list());
  EXPECT_EQ(log_.errors(), said({"got an inner list without a key"}));
  EXPECT_EQ(close(), "{}");
}

TEST_F(DecoderContext, ARootMayHaveAKey) {
  ASSERT_TRUE(events_.collection(1));
  EXPECT_TRUE(events_.dict(2));
  EXPECT_TRUE(events_.integer(1, 1));
  EXPECT_EQ(close(), "{\"a\":1}");
}

TEST_F(DecoderContext, ANewCollectionTakesEightBytes) {
  EXPECT_FALSE(context_.wasStarted());
  const uint64_t timestamp = 77;
  for (const uint32_t size : {0u, 4u, 7u, 9u, 16u}) {
    EXPECT_FALSE(context_.OnNewCollection(&timestamp, size)) << size;
  }
  EXPECT_FALSE(context_.OnNewCollection(nullptr, 8));
  EXPECT_FALSE(context_.wasStarted());
  EXPECT_EQ(log_.count(3, kReader + "'new collection' invalid size"), 6u);
  EXPECT_TRUE(events_.collection(77));
  EXPECT_TRUE(context_.wasStarted());
}

TEST_F(DecoderContext, ANewCollectionMayReplaceOneWithoutATree) {
  ASSERT_TRUE(events_.collection(1));
  EXPECT_TRUE(events_.collection(2));
  ASSERT_TRUE(events_.dict());
  close();
  EXPECT_EQ(receiver_.messages.back().timestamp, 2u);
}

TEST_F(DecoderContext, ANewCollectionIsRefusedWhileATreeIsOpen) {
  open();
  ASSERT_TRUE(events_.integer(1, 1));
  EXPECT_FALSE(events_.collection(2));
  EXPECT_FALSE(context_.OnNewCollection(nullptr, 4)) << "the tree is looked at first";
  const std::string line = kReader + "'new collection' event does not fit collected data";
  EXPECT_EQ(log_.errors(), std::vector<std::string>(2, line));
  ASSERT_TRUE(events_.integer(2, 2));
  EXPECT_EQ(close(), "{\"a\":1,\"b\":2}") << "the tree goes on";
  EXPECT_EQ(receiver_.messages.back().timestamp, 1u);
}

TEST_F(DecoderContext, EndsHaveToFit) {
  ASSERT_TRUE(events_.collection(1));
  EXPECT_FALSE(events_.end_dict());
  EXPECT_FALSE(events_.end_list());
  ASSERT_TRUE(events_.dict());
  EXPECT_FALSE(events_.end_list());
  ASSERT_TRUE(events_.list(1));
  EXPECT_FALSE(events_.end_dict());
  const auto expected = said({"'dict end' event does not fit collected data",
                              "'list end' event does not fit collected data",
                              "'list end' event does not fit collected data",
                              "'dict end' event does not fit collected data"});
  EXPECT_EQ(log_.errors(), expected);
  ASSERT_TRUE(events_.end_list());
  EXPECT_EQ(close(), "{\"a\":[]}") << "what does not fit changes nothing";
}

TEST_F(DecoderContext, AKeyNeedsAName) {
  EXPECT_FALSE(context_.OnID(5, nullptr, 3));
  EXPECT_FALSE(context_.OnID(6, "x", 0));
  EXPECT_EQ(log_.errors(),
            said({"no data in key ID event for ID 5", "no data in key ID event for ID 6"}));
}

TEST_F(DecoderContext, KeysStayFromCollectionToCollection) {
  open();
  close();
  open();
  ASSERT_TRUE(events_.integer(4, 1));
  EXPECT_EQ(close(), "{\"d\":1}");
}

TEST_F(DecoderContext, ValuesKeepTheNamesThatTheyArrivedWith) {
  open();
  ASSERT_TRUE(events_.integer(1, 1));
  for (const char* name : {"x", "y", "a_long_name_that_is_not_kept_in_place"}) {
    ASSERT_TRUE(events_.id(1, name));
    ASSERT_TRUE(events_.integer(1, 2));
  }
  EXPECT_EQ(close(), "{\"a\":1,\"x\":2,\"y\":2,\"a_long_name_that_is_not_kept_in_place\":2}");
}

TEST_F(DecoderContext, WithoutMemoryForATextItIsNull) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  Receiver receiver;
  const auto user = receiver.user();
  for (const unsigned n : {1u, 2u}) {
    FailAllocation failing(n);
    DataDictionaryReader::DecoderContext context(&user, "leaf01", "dict_t");
    EXPECT_TRUE(failing.disarm());
    Events events(context);
    ASSERT_TRUE(events.collection(1) && events.dict() && events.end_dict());
  }
  EXPECT_EQ(log_.errors(), said({"strdup error - could not copy source ID",
                                 "strdup error - could not copy source tag"}));
  EXPECT_EQ(receiver.messages[0].source_id, "(null)");
  EXPECT_EQ(receiver.messages[0].tag, "dict_t");
  EXPECT_EQ(receiver.messages[1].source_id, "leaf01");
  EXPECT_EQ(receiver.messages[1].tag, "(null)");
}

TEST_F(DecoderContext, WithoutMemoryAValueIsRefusedAndTheTreeGoesOn) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const std::string text(100, 't');
  const std::function<bool()> cases[] = {
      [&] { return events_.string(1, text); },   [&] { return events_.real(1, 1); },
      [&] { return events_.integer(1, 1); },     [&] { return events_.boolean(1, true); },
      [&] { return events_.boolean(1, false); }, [&] { return events_.none(1); },
      [&] { return events_.dict(1); },           [&] { return events_.list(1); }};
  const char* const words[] = {"string", "double", "long",       "bool",
                               "bool",   "None",   "dictionary", "list"};
  // Values of this user are never recycled, so each needs memory.
  receiver_.keep = true;
  const auto user = receiver_.user();
  DataDictionaryReader::DecoderContext context(&user, "leaf01", "dict_t");
  events_ = Events(context);
  ASSERT_TRUE(events_.id(1, "a") && events_.collection(1) && events_.dict());
  for (size_t i = 0; i < std::size(cases); ++i) {
    for (unsigned n = 1; n <= (i == 0 ? 3u : 1u); ++n) {  // a string is three pieces
      log_.clear();
      FailAllocation failing(n);
      EXPECT_FALSE(cases[i]());
      EXPECT_TRUE(failing.disarm());
      EXPECT_EQ(log_.errors(),
                (std::vector<std::string>{kReader + "[Append] got a null item",
                                          kReader + "could not add " + words[i] + " item"}));
    }
  }
  EXPECT_EQ(close(), "{}");
}

TEST(DecoderContextWithoutUser, HasNoCallbackAndBothFlagsFalse) {
  const LogCapture log;
  DataDictionaryReader::DecoderContext context(nullptr, "s", "dict_t");
  Events events(context);
  ASSERT_TRUE(events.id(1, "a") && events.collection(1) && events.dict());
  ASSERT_TRUE(events.integer(1, 1) && events.id(1, "b") && events.integer(1, 1));
  EXPECT_TRUE(events.end_dict());
  EXPECT_FALSE(context.wasStarted());
  EXPECT_THAT(log.errors(), IsEmpty());
}

TEST(DecoderContextAtItsEnd, ReleasesAnOpenTree) {
  Receiver receiver;
  const auto user = receiver.user();
  {
    DataDictionaryReader::DecoderContext context(&user, "s", "dict_t");
    Events events(context);
    ASSERT_TRUE(events.id(1, "a") && events.collection(1) && events.dict());
    ASSERT_TRUE(events.list(1) && events.string(1, std::string(100, 's')) && events.dict(1));
  }
  EXPECT_THAT(receiver.messages, IsEmpty());
}

}  // namespace
}  // namespace vek::test
