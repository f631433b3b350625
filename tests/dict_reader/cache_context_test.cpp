#include "dict_reader/cache_context.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "dict_reader/dictionary_stream_writer.h"
#include "tests/dict_reader/cache_context_fixture.h"

namespace vek::test {
namespace {

using Handler = bool (CacheContext::*)(uint32_t, const void*, uint32_t);
using EndHandler = bool (CacheContext::*)(const void*, uint32_t);

std::string data_of(const EventItem& item) {
  return {reinterpret_cast<const char*>(item.data.get()), item.data_size};
}

struct NamedHandler {
  const char* name;
  Handler call;
  const char* type;
};
const NamedHandler kValueHandlers[] = {
    {"OnString", &CacheContext::OnString, "STRING"},
    {"OnDouble", &CacheContext::OnDouble, "DOUBLE"},
    {"OnLong", &CacheContext::OnLong, "LONG"},
    {"OnBoolFalse", &CacheContext::OnBoolFalse, "BOOL_FALSE"},
    {"OnBoolTrue", &CacheContext::OnBoolTrue, "BOOL_TRUE"},
    {"OnNone", &CacheContext::OnNone, "NONE"},
};
const NamedHandler kStartHandlers[] = {
    {"OnNewDict", &CacheContext::OnNewDict, "DICT_START"},
    {"OnNewList", &CacheContext::OnNewList, "LIST_START"},
};

TEST_F(CacheContextTest, SendsACollectionAsTheEventsItArrivedIn) {
  ASSERT_TRUE(begin(1234) && id(1, "one") && dict() && string(1, "a") && list(3) && whole(4, 5) &&
              end_list() && context_.OnBoolTrue(1, nullptr, 0) && end_dict());
  EXPECT_EQ(sent_, 1u);
  EXPECT_EQ(timestamp_, 1234u);
  EXPECT_EQ(items_, (Texts{"NEW_COLLECTION 0 - 8", "DICT_START 4294967295 - 0", "STRING 1 one 1",
                           "LIST_START 3 - 0", "LONG 4 - 8", "LIST_END 0 - 0", "BOOL_TRUE 1 one 0",
                           "DICT_END 0 - 0"}));
}

TEST_F(CacheContextTest, ItemsHoldCopiesOfTheData) {
  keep_ = true;
  ASSERT_TRUE(begin(0x0807060504030201) && dict());
  {
    std::string lent = "value";
    ASSERT_TRUE(string(9, lent));
    lent.assign("xxxxx");
  }
  ASSERT_TRUE(end_dict());
  ASSERT_EQ(kept_.size(), 1u);
  EXPECT_EQ(data_of(*kept_[0]->items[0]), "\x01\x02\x03\x04\x05\x06\x07\x08");
  EXPECT_EQ(data_of(*kept_[0]->items[2]), "value");
}

TEST_F(CacheContextTest, DataOfStartsAndEndsIsKeptToo) {
  keep_ = true;
  ASSERT_TRUE(begin() && context_.OnNewList(kNoKeyId, "ab", 2) && context_.OnEndList("cde", 3));
  ASSERT_EQ(kept_.size(), 1u);
  EXPECT_EQ(data_of(*kept_[0]->items[1]), "ab");
  EXPECT_EQ(data_of(*kept_[0]->items[2]), "cde");
}

TEST_F(CacheContextTest, NothingIsSentBeforeTheOutermostContainerCloses) {
  ASSERT_TRUE(begin() && list() && dict() && list(1) && end_list() && end_dict() && dict() &&
              end_dict());
  EXPECT_EQ(sent_, 0u);
  ASSERT_TRUE(end_list());
  EXPECT_EQ(sent_, 1u);
}

TEST_F(CacheContextTest, ListsCountAsDepthLikeDictionaries) {
  ASSERT_TRUE(begin() && dict() && list(1) && dict() && end_dict());
  EXPECT_EQ(sent_, 0u);
  ASSERT_TRUE(end_list());
  EXPECT_EQ(sent_, 0u);
  ASSERT_TRUE(end_dict());
  EXPECT_EQ(sent_, 1u);
}

// ---- the index text

TEST_F(CacheContextTest, TheIndexJoinsTheValuesOfItsKeysInTheirOrderOfArrival) {
  announce();
  ASSERT_TRUE(begin() && dict() && string(1, "a") && whole(2, 7) && end_dict());
  EXPECT_EQ(index_, "a_7");
  ASSERT_TRUE(begin() && dict() && whole(2, 7) && string(3, "not indexed") && string(1, "a") &&
              end_dict());
  EXPECT_EQ(index_, "7_a");
}

TEST_F(CacheContextTest, EveryKindOfValueHasItsTextInTheIndex) {
  announce();
  const double largest = std::numeric_limits<double>::lowest();
  const struct {
    std::function<bool()> value;
    std::string text;
  } cases[] = {
      {[this] { return string(1, "text"); }, "text"},
      {[this] { return string(1, ""); }, ""},
      {[this] { return string(1, std::string("a\0b", 3)); }, std::string("a\0b", 3)},
      {[this] { return real(1, 2.5); }, "2.500000"},
      {[this] { return real(1, -0.0000004); }, "-0.000000"},
      {[this] { return real(1, 1e15); }, "1000000000000000.000000"},
      {[this] { return real(1, INFINITY); }, "inf"},
      {[this, largest] { return real(1, largest); }, std::to_string(largest)},
      {[this] { return whole(1, INT64_MIN); }, "-9223372036854775808"},
      {[this] { return whole(1, INT64_MAX); }, "9223372036854775807"},
      {[this] { return context_.OnBoolFalse(1, nullptr, 0); }, "false"},
      {[this] { return context_.OnBoolTrue(1, nullptr, 0); }, "true"},
      {[this] { return context_.OnNone(1, nullptr, 0); }, "null"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    ASSERT_TRUE(begin() && dict() && c.value() && c.value() && end_dict());
    EXPECT_EQ(index_, c.text + "_" + c.text);
  }
}

TEST_F(CacheContextTest, ValuesAtEveryDepthAreIndexedAndContainersAreNot) {
  announce();
  ASSERT_TRUE(begin() && dict(1) && list(2) && string(1, "x") && end_list() && string(2, "y") &&
              end_dict());
  EXPECT_EQ(index_, "x_y");
}

TEST_F(CacheContextTest, AKeyCountsByItsNameAtThatTime) {
  ASSERT_TRUE(begin() && dict() && id(5, "other") && string(5, "a") && id(5, "one") &&
              string(5, "b") && end_dict());
  EXPECT_EQ(index_, "b");
}

TEST_F(CacheContextTest, ACollectionWithoutIndexedValuesHasNoIndexThoughItsEventWasUsedBefore) {
  announce();
  ASSERT_TRUE(begin() && dict() && string(1, "a") && end_dict());
  const CachedEvent* const first = address_;
  EXPECT_EQ(index_, "a");
  ASSERT_TRUE(begin() && dict() && string(3, "b") && end_dict());
  EXPECT_EQ(address_, first);
  EXPECT_EQ(index_, "");
}

TEST_F(CacheContextTest, ValuesOfACollectionThatWasNotSentDoNotComeIntoTheNextIndex) {
  announce();
  ASSERT_TRUE(begin() && dict() && string(1, "lost"));
  ASSERT_TRUE(begin() && dict() && string(1, "a") && end_dict());
  EXPECT_EQ(index_, "a");
}

// ---- key names

TEST_F(CacheContextTest, AnUnknownKeyIsReportedAndItsValueKept) {
  for (const NamedHandler& handler : kValueHandlers) {
    SCOPED_TRACE(handler.name);
    const int64_t number = 0;
    ASSERT_TRUE(begin() && dict());
    EXPECT_TRUE((context_.*handler.call)(77, &number, 8));
    EXPECT_EQ(errors(),
              (Texts{std::string(handler.name) + ": Unable to find field name for key_id 77"}));
    ASSERT_TRUE(end_dict());
    EXPECT_EQ(items_[2], std::string(handler.type) + " 77 - 8");
    EXPECT_EQ(index_, "");
  }
}

TEST_F(CacheContextTest, TheKeyIdOfKeylessEventsIsNeverLookedUp) {
  ASSERT_TRUE(id(kNoKeyId, "one") && begin() && dict());
  EXPECT_TRUE(string(kNoKeyId, "a"));
  EXPECT_EQ(errors(), (Texts{"OnString: Unable to find field name for key_id 4294967295"}));
  ASSERT_TRUE(end_dict());
  EXPECT_EQ(index_, "");
}

TEST_F(CacheContextTest, ContainersAreNotLookedUp) {
  announce();
  ASSERT_TRUE(begin() && dict(77) && list(77) && dict(1) && end_dict() && end_list() && end_dict());
  EXPECT_EQ(errors(), Texts{});
  EXPECT_EQ(items_[1], "DICT_START 77 - 0");
  EXPECT_EQ(items_[3], "DICT_START 1 - 0");
}

TEST_F(CacheContextTest, AKeyIdWithoutANameIsRefused) {
  EXPECT_FALSE(context_.OnID(3, nullptr, 5));
  EXPECT_FALSE(context_.OnID(4, "name", 0));
  EXPECT_EQ(errors(), (Texts{"[vek_dictionary_reader] no data in key ID event for ID 3",
                             "[vek_dictionary_reader] no data in key ID event for ID 4"}));
}

// The same comparison as in the tree decoder: relied upon by producers that send prefixes.
TEST_F(CacheContextTest, ANameIsKeptWhenTheNewOneIsItsBeginning) {
  ASSERT_TRUE(begin() && dict() && id(5, "name") && id(5, "na") && string(5, "") &&
              id(5, "names") && string(5, "") && end_dict());
  EXPECT_EQ(items_[2], "STRING 5 name 0");
  EXPECT_EQ(items_[3], "STRING 5 names 0");
}

TEST_F(CacheContextTest, AKeptEventKeepsTheNamesThatItArrivedWith) {
  keep_ = true;
  ASSERT_TRUE(id(5, "before") && begin() && dict() && string(5, "a") && end_dict());
  for (int i = 0; i < 1000; ++i) {
    ASSERT_TRUE(id(5, "after-" + std::to_string(i)));
    if (i % 100 != 0) continue;
    ASSERT_TRUE(begin() && dict() && string(5, "b") && end_dict());
  }
  ASSERT_EQ(kept_.size(), 11u);
  EXPECT_EQ(*kept_[0]->items[2]->name, "before");
  for (size_t i = 1; i < kept_.size(); ++i) {
    EXPECT_EQ(*kept_[i]->items[2]->name, "after-" + std::to_string(100 * (i - 1)));
  }
}

TEST_F(CacheContextTest, KeyIdsStayFromCollectionToCollection) {
  announce();
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(begin() && dict() && string(3, "") && end_dict());
    EXPECT_EQ(items_[2], "STRING 3 three 0");
  }
}

// ---- wrong order

TEST_F(CacheContextTest, EventsOutsideACollectionAreRefused) {
  for (const NamedHandler& handler : kValueHandlers) {
    EXPECT_FALSE((context_.*handler.call)(1, "01234567", 8));
    EXPECT_EQ(errors(), (Texts{"[vek_dictionary_reader] [" + std::string(handler.name) +
                               "] event_ is NULL"}));
  }
  for (const NamedHandler& handler : kStartHandlers) {
    EXPECT_FALSE((context_.*handler.call)(1, nullptr, 0));
    EXPECT_EQ(errors(), (Texts{"[vek_dictionary_reader] [" + std::string(handler.name) +
                               "] event_ is NULL"}));
  }
  EXPECT_FALSE(end_dict());
  EXPECT_EQ(errors(), (Texts{"[vek_dictionary_reader] [OnEndDict] event_ is NULL"}));
  EXPECT_FALSE(end_list());
  EXPECT_EQ(errors(), (Texts{"[vek_dictionary_reader] [OnEndList] event_ is NULL"}));
}

TEST_F(CacheContextTest, EventsBehindACollectionThatWasSentAreRefused) {
  ASSERT_TRUE(begin() && dict() && end_dict());
  EXPECT_FALSE(string(1, "a"));
  EXPECT_FALSE(dict());
  EXPECT_FALSE(end_dict());
  EXPECT_FALSE(end_list());
  EXPECT_EQ(errors().size(), 4u);
}

TEST_F(CacheContextTest, ARootListThatWasSentMayBeClosedOnceMore) {
  ASSERT_TRUE(begin() && list() && end_list());
  EXPECT_EQ(sent_, 1u);
  EXPECT_TRUE(end_list());
  EXPECT_EQ(errors(), Texts{});
  EXPECT_FALSE(end_dict());
  EXPECT_EQ(sent_, 1u);
}

TEST_F(CacheContextTest, ANewCollectionForgetsTheKindOfTheLastRoot) {
  ASSERT_TRUE(begin() && list() && end_list() && begin());
  EXPECT_TRUE(end_list());  // taken into the collection, not ignored
  ASSERT_TRUE(begin());
  EXPECT_EQ(errors(), (Texts{"Error: PYTHON_NEW_COLLECTION when previous event was not sent"}));
  ASSERT_TRUE(dict() && list(1) && end_list() && end_dict());
  EXPECT_FALSE(end_list());
}

TEST_F(CacheContextTest, ASecondNewCollectionDropsTheFirst) {
  ASSERT_TRUE(begin(1) && dict() && dict(1) && string(3, "lost"));
  log_.clear();
  ASSERT_TRUE(begin(2));
  EXPECT_EQ(errors(), (Texts{"Error: PYTHON_NEW_COLLECTION when previous event was not sent"}));
  ASSERT_TRUE(dict() && end_dict());
  EXPECT_EQ(sent_, 1u);
  EXPECT_EQ(timestamp_, 2u);
  EXPECT_EQ(items_.size(), 3u);
}

TEST_F(CacheContextTest, ANewCollectionOfAnotherSizeIsRefusedAndStillDropsTheFirst) {
  for (const uint32_t size : {0u, 4u, 7u, 9u}) {
    ASSERT_TRUE(begin());
    log_.clear();
    EXPECT_FALSE(context_.OnNewCollection("0123456789", size));
    EXPECT_EQ(errors(), (Texts{"Error: PYTHON_NEW_COLLECTION when previous event was not sent",
                               "[vek_dictionary_reader] 'new collection' invalid size"}));
    EXPECT_FALSE(dict());
    log_.clear();
  }
}

TEST_F(CacheContextTest, ARefusedNewCollectionDoesNotStartTheContext) {
  EXPECT_FALSE(context_.OnNewCollection("0123", 4));
  EXPECT_FALSE(context_.wasStarted());
  EXPECT_EQ(started_, 0u);
}

TEST_F(CacheContextTest, EndsThatCloseNothingAreKeptAndTheCollectionIsNeverSent) {
  ASSERT_TRUE(begin());
  EXPECT_TRUE(end_dict());
  EXPECT_TRUE(dict() && end_dict());
  EXPECT_EQ(sent_, 0u);
  EXPECT_EQ(errors(), Texts{});
  ASSERT_TRUE(begin() && dict() && end_dict());
  EXPECT_EQ(sent_, 1u);
  EXPECT_EQ(items_.size(), 3u);
}

TEST_F(CacheContextTest, EndsOfTheOtherKindCloseTheContainer) {
  ASSERT_TRUE(begin() && dict() && end_list());
  EXPECT_EQ(sent_, 1u);
  ASSERT_TRUE(begin() && list() && end_dict());
  EXPECT_EQ(sent_, 2u);
}

TEST_F(CacheContextTest, NumbersOfFewerThanEightBytesAreRefused) {
  announce();
  ASSERT_TRUE(begin() && dict());
  for (const uint32_t size : {0u, 7u}) {
    EXPECT_FALSE(context_.OnDouble(1, "01234567", size));
    EXPECT_EQ(errors(), (Texts{"[vek_dictionary_reader] could not add double item"}));
    EXPECT_FALSE(context_.OnLong(1, "01234567", size));
    EXPECT_EQ(errors(), (Texts{"[vek_dictionary_reader] could not add long item"}));
  }
  EXPECT_TRUE(context_.OnLong(1, "\x05\0\0\0\0\0\0\0more", 12));
  ASSERT_TRUE(end_dict());
  EXPECT_EQ(index_, "5");
  EXPECT_EQ(items_, (Texts{"NEW_COLLECTION 0 - 8", "DICT_START 4294967295 - 0", "LONG 1 one 12",
                           "DICT_END 0 - 0"}));
}

// ---- start and send

TEST_F(CacheContextTest, TheStartFunctionIsCalledOnceAtTheFirstCollection) {
  EXPECT_FALSE(context_.wasStarted());
  ASSERT_TRUE(id(1, "one"));
  EXPECT_EQ(started_, 0u);
  ASSERT_TRUE(begin());
  EXPECT_EQ(started_, 1u);
  EXPECT_TRUE(context_.wasStarted());
  ASSERT_TRUE(dict() && end_dict());
  EXPECT_TRUE(context_.wasStarted());
  ASSERT_TRUE(begin());
  EXPECT_EQ(started_, 1u);
}

TEST_F(CacheContextTest, BothFunctionsMayBeMissing) {
  std::function<bool(CachedEvent*)> no_send;
  std::function<void()> no_start;
  CacheContext context(index_keys_, no_send, no_start);
  const uint64_t time = 1;
  EXPECT_TRUE(context.OnNewCollection(&time, 8));
  EXPECT_TRUE(context.OnNewDict(kNoKeyId, nullptr, 0));
  EXPECT_TRUE(context.OnEndDict(nullptr, 0));
  EXPECT_FALSE(context.OnEndDict(nullptr, 0));  // the event went back to the pool
  EXPECT_TRUE(context.OnNewCollection(&time, 8));
  EXPECT_EQ(errors(), (Texts{"[vek_dictionary_reader] [OnEndDict] event_ is NULL"}));
}

TEST_F(CacheContextTest, TheFunctionsAndKeysAreCopied) {
  announce();
  index_keys_.clear();
  send_ = nullptr;
  start_ = nullptr;
  ASSERT_TRUE(begin() && dict() && string(1, "a") && end_dict());
  EXPECT_EQ(index_, "a");
  EXPECT_EQ(started_, 1u);
}

TEST_F(CacheContextTest, AnEventThatIsNotTakenGoesBackToThePool) {
  announce();
  answer_ = false;
  ASSERT_TRUE(begin() && dict() && string(1, "a"));
  EXPECT_TRUE(end_dict());
  const CachedEvent* const refused = address_;
  answer_ = true;
  ASSERT_TRUE(begin() && dict() && end_dict());
  EXPECT_EQ(address_, refused);
  EXPECT_EQ(index_, "");
  EXPECT_EQ(items_.size(), 3u);
}

TEST_F(CacheContextTest, AKeptEventIsUntouchedByTheStreamUntilItIsReleased) {
  announce();
  keep_ = true;
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(begin(10 + static_cast<uint64_t>(i)) && dict() &&
                string(1, "v" + std::to_string(i)) && end_dict());
  }
  ASSERT_EQ(kept_.size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(kept_[i]->timestamp, 10 + i);
    EXPECT_EQ(kept_[i]->index, "v" + std::to_string(i));
    EXPECT_EQ(data_of(*kept_[i]->items[2]), "v" + std::to_string(i));
  }
  const CachedEvent* const released = kept_[1].get();
  kept_.erase(kept_.begin() + 1);
  ASSERT_TRUE(begin() && dict() && end_dict());
  EXPECT_EQ(address_, released);
}

TEST_F(CacheContextTest, AThrowingReceiverLeavesTheContextReady) {
  std::function<bool(CachedEvent*)> throwing = [](CachedEvent*) -> bool { throw 1; };
  CacheContext context(index_keys_, throwing, start_);
  const uint64_t time = 1;
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(context.OnNewCollection(&time, 8));
    ASSERT_TRUE(context.OnNewDict(kNoKeyId, nullptr, 0));
    EXPECT_THROW(context.OnEndDict(nullptr, 0), int);
  }
  EXPECT_EQ(errors(), Texts{});
}

// ---- through the reader

// Hands out the writer's event type for every block.
const vek_type_definition_t* find_type(void* context, const vek_schema_block_t*,
                                       const vek_event_header_t*) {
  return static_cast<DictionaryStreamWriter*>(context)->schema().type();
}

TEST_F(CacheContextTest, ServesEverySourceOfAReader) {
  unsigned char any_application[VEK_APP_ID_SIZE] = {};
  DataDictionaryReader reader(any_application, &context_);
  ASSERT_TRUE(reader.IsReady());
  for (const char* source : {"leaf01", "leaf02"}) {
    DictionaryStreamWriter writer({.source_id = source, .tag = "dict_a", .event_size = 64});
    ASSERT_TRUE(writer.new_collection(99) && writer.dict_start() &&
                writer.add_string("one", std::string(50, 'x')) && writer.add_long("two", 7) &&
                writer.dict_end());
    vek_exporter_schema_manager_t lookup{};
    lookup.find_event_type = find_type;
    lookup.context = &writer;
    for (const auto& page : writer.take_pages()) {
      ASSERT_TRUE(reader.ReadPage(reinterpret_cast<const vek_data_page_t*>(page.data()), &lookup));
    }
    EXPECT_EQ(index_, std::string(50, 'x') + "_7");
    EXPECT_EQ(timestamp_, 99u);
  }
  EXPECT_EQ(sent_, 2u);
  EXPECT_EQ(errors(), Texts{});
}

TEST_F(CacheContextTest, EventsBeforeTheFirstCollectionDoNotReachIt) {
  unsigned char any_application[VEK_APP_ID_SIZE] = {};
  DataDictionaryReader reader(any_application, &context_);
  EXPECT_TRUE(reader.ProcessEvent("s", "dict_a", nullptr, any_application, 0,
                                  packDictEventWord(PYTHON_STRING, 1), "a", 1));
  EXPECT_EQ(errors(), Texts{});
  const uint64_t time = 1;
  EXPECT_TRUE(reader.ProcessEvent("s", "dict_a", nullptr, any_application, 0,
                                  packDictEventWord(PYTHON_NEW_COLLECTION, 0), &time, 8));
  EXPECT_FALSE(reader.ProcessEvent("s", "dict_a", nullptr, any_application, 0,
                                   packDictEventWord(PYTHON_NEW_COLLECTION, 0), &time, 4));
  EXPECT_EQ(log_.count(3, "[vek_dictionary_reader] 'new collection' invalid size"), 1u);
}

}  // namespace
}  // namespace vek::test
