#include "dict_reader/stream_plan.h"

#include <gmock/gmock.h>

#include "tests/dict_reader/both_readers.h"
#include "tests/dict_reader/dict_fixture.h"
#include "tests/dict_reader/sent_dictionaries.h"
#include "utils/limits.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

TEST(StreamPlan, OneValueIsAnotherOne) {
  for (const Dictionary& before : {sample(), longSample()}) {
    for (size_t at = 0; at < sample().size(); ++at) {
      if (!isValue(before[at])) continue;
      Stream stream;
      for (const Change change : kChanges) {
        Dictionary after = before;
        change(after, at);
        for (const Dictionary& each : {before, before, after, after, before}) stream.send(each);
      }
      stream.expectRecordsOfBoth();
      ASSERT_FALSE(HasFailure()) << at;
    }
  }
}

TEST(StreamPlan, PagesEndAnywhere) {
  Dictionary dictionary = sample();
  for (size_t turn = 0; turn <= dictionary.size(); ++turn) {
    Stream stream;
    for (uint64_t number = 0; number < 4; ++number) {
      dictionary[1].data = bytes_of(number << (8 * number));
      stream.send(dictionary, turn);
    }
    stream.expectRecordsOfBoth();
  }
}

TEST(StreamPlan, NumbersOfEveryRangeBehindThoseOfEveryOther) {
  std::vector<uint64_t> numbers;
  for (const int bits : {0, 5, 7, 8, 15, 16, 31, 32, 63}) {
    const uint64_t power = uint64_t{1} << bits;
    for (const uint64_t number : {power - 1, power, ~power, ~power + 1}) numbers.push_back(number);
  }
  Stream stream;
  Dictionary dictionary = longSample();
  for (const uint64_t first : numbers) {
    for (const uint64_t second : numbers) {
      dictionary[1].data = bytes_of(first);
      stream.send(dictionary);
      dictionary[1].data = bytes_of(second);
      stream.send(dictionary);
    }
  }
  stream.expectRecordsOfBoth();
}

// Events with the same headers in a list, in a dictionary and in the root.
TEST(StreamPlan, ContainersComeAndGo) {
  const Sent value = {PYTHON_LONG, 1, bytes_of(uint64_t{300})};
  const Sent list = {PYTHON_LIST_START, 1};
  const Sent dict = {PYTHON_DICT_START, 1};
  const Sent list_end = {PYTHON_LIST_END};
  const Sent dict_end = {PYTHON_DICT_END};
  const Dictionary parts[] = {{{PYTHON_NONE, 2}, value},
                              {value},
                              {list, value, list_end},
                              {dict, value, dict_end},
                              {list, list_end, value},
                              {list, dict, value, dict_end, list_end, value},
                              {dict, list, value, list_end, value, dict_end}};
  const auto with = [&](const Dictionary& part) {
    Dictionary dictionary(60, value);
    dictionary.front() = {PYTHON_DICT_START};
    dictionary.insert(dictionary.end(), part.begin(), part.end());
    dictionary.insert(dictionary.end(), {value, dict_end});
    return dictionary;
  };
  for (const Dictionary& first : parts) {
    for (const Dictionary& second : parts) {
      Stream stream;
      for (const Dictionary& third : parts) {
        for (const Dictionary& part : {first, second, third}) stream.send(with(part));
      }
      stream.expectRecordsOfBoth();
    }
  }
}

// What was learned inside one container is not there for what follows behind it: in a list there
// are no keys, in a dictionary there are.
TEST(StreamPlan, WhatIsLearnedInsideAContainerIsNotFollowedBehindIt) {
  const Sent value = {PYTHON_LONG, 1, bytes_of(uint64_t{300})};
  const Sent begins[] = {{PYTHON_LIST_START, 1}, {PYTHON_DICT_START, 1}};
  const Sent ends[] = {{PYTHON_LIST_END}, {PYTHON_DICT_END}};
  for (const size_t outer : {0, 1}) {
    for (const size_t inner : {0, 1}) {
      const Dictionary within = {begins[inner], value, ends[inner]};
      Dictionary plain(60, value);
      plain.insert(plain.begin(), {{PYTHON_DICT_START}, begins[outer]});
      plain.insert(plain.end(), {ends[outer], {PYTHON_DICT_END}});
      Dictionary inside = plain;
      inside.insert(inside.begin() + 30, within.begin(), within.end());
      Dictionary behind = plain;
      behind.insert(behind.end() - 1, within.begin(), within.end());
      Stream stream;
      for (const Dictionary* each : {&plain, &inside, &plain, &behind, &inside, &behind}) {
        stream.send(*each);
      }
      stream.expectRecordsOfBoth();
    }
  }
}

// Those that there is no room for yet begin without a step, and so do those with long keys.
TEST(StreamPlan, ContainersWithoutAStep) {
  for (size_t depth = 1; depth < 40; ++depth) {
    for (const uint32_t last_key : {1u, 4u}) {
      Dictionary dictionary = {{PYTHON_DICT_START},
                               {PYTHON_ID, 4, "a key that is longer than a window of bytes"}};
      dictionary.insert(dictionary.end(), depth, {PYTHON_LIST_START, 1});
      dictionary.back().key_id = last_key;
      for (int i = 0; i < 3; ++i) dictionary.push_back({PYTHON_DICT_START, 1});
      for (int i = 0; i < 3; ++i) dictionary.push_back({PYTHON_DICT_END});
      dictionary.insert(dictionary.end(), depth, {PYTHON_LIST_END});
      dictionary.push_back({PYTHON_DICT_END});
      Stream stream;
      for (int i = 0; i < 3; ++i) stream.send(dictionary);
      stream.expectRecordsOfBoth();
    }
  }
}

TEST(StreamPlan, KeysGetOtherNames) {
  const Dictionary dictionary = longSample();
  Stream stream;
  for (const char* name :
       {"other", "another", "an", "a name of more bytes than a window has", "k"}) {
    for (const size_t at : {0, 5}) {
      for (int i = 0; i < 3; ++i) stream.send(dictionary);
      Dictionary with_name = dictionary;
      with_name.insert(with_name.begin() + static_cast<long>(at), {PYTHON_ID, 1, name});
      stream.send(with_name);
    }
  }
  stream.expectRecordsOfBoth();
}

// A header that a plan knows makes no whole event of a part of one, nor data of what lies behind an
// event.
TEST(StreamPlan, KnownEventsAreRefusedWhereTheyAreNotWhole) {
  const auto dictionary = [](StreamPages& pages, uint8_t last_kind) {
    pages.collection(1);
    pages.id(1, "a");
    pages.dict();
    vek_opaque_event_t header{};
    header.second_word = packDictEventWord(PYTHON_STRING, 1);
    header.data_size = 20;
    for (int i = 0; i < 20; ++i) {
      header.kind = i < 19 ? uint8_t{VEK_OPAQUE_WHOLE} : last_kind;
      pages.writer.event(header, {});
    }
    pages.end_dict();
    pages.writer.next_page();
  };
  for (const uint32_t event_size : {64u, 128u}) {
    for (const uint8_t kind : {VEK_OPAQUE_WHOLE, VEK_OPAQUE_CHUNK}) {
      StreamPages known("s", "dict_");
      for (int i = 0; i < 3; ++i) dictionary(known, VEK_OPAQUE_WHOLE);
      StreamPages last("s", "dict_", event_size);
      dictionary(last, kind);
      std::vector<ReadPage> pages = pagesOf(known);
      for (ReadPage& page : pagesOf(last)) pages.push_back(std::move(page));
      const Outcome outcome = readByBoth(pages, {});
      EXPECT_EQ(outcome.pages.back(), event_size == 128);
      EXPECT_THAT(outcome.records, SizeIs(event_size == 128 ? 4 : 3));
    }
  }
}

// Sends events of these types, each of which claims so many bytes of data.
void claim(StreamPages& pages, std::initializer_list<python_event_type_t> types, uint32_t size) {
  for (const python_event_type_t type : types) {
    vek_opaque_event_t header{};
    header.second_word = packDictEventWord(type, 1);
    header.data_size = size;
    pages.writer.event(header, {});
  }
}

TEST(StreamPlan, KnownContainersAreRefusedWhereTheirDataIsNotThere) {
  const auto dictionary = [](StreamPages& pages) {
    pages.collection(1);
    pages.id(1, "a");
    pages.dict();
    claim(pages, {PYTHON_DICT_START, PYTHON_DICT_END, PYTHON_LIST_START, PYTHON_LIST_END}, 20);
    for (int i = 0; i < 5; ++i) pages.boolean(1, true);
    pages.end_dict();
    pages.writer.next_page();
  };
  for (const uint32_t event_size : {64u, 128u}) {
    StreamPages known("s", "dict_");
    for (int i = 0; i < 3; ++i) dictionary(known);
    StreamPages last("s", "dict_", event_size);
    dictionary(last);
    std::vector<ReadPage> pages = pagesOf(known);
    for (ReadPage& page : pagesOf(last)) pages.push_back(std::move(page));
    const Outcome outcome = readByBoth(pages, {});
    EXPECT_EQ(outcome.pages.back(), event_size == 128);
    EXPECT_THAT(outcome.records, SizeIs(event_size == 128 ? 4 : 3));
  }
}

// Nor does one that rests let data through that is not there.
TEST(StreamPlan, EventsAreRefusedWhereTheirDataIsNotThereWhileItRests) {
  constexpr python_event_type_t kValues[] = {PYTHON_BOOL_TRUE, PYTHON_BOOL_FALSE, PYTHON_NONE};
  for (const auto type : {PYTHON_STRING, PYTHON_NONE, PYTHON_DICT_START, PYTHON_LIST_START}) {
    for (const uint32_t too_many : {0u, 1u}) {
      StreamPages stream("s", "dict_", 64);
      stream.collection(1);
      stream.id(1, "a");
      // No value is like the one before it: from the fifth dictionary on the plan rests.
      for (size_t i = 0; i < 5; ++i) {
        stream.dict();
        for (int k = 0; k < 10; ++k) stream.event(kValues[i % 3], 1, {});
        stream.end_dict();
        stream.collection(i + 2);
      }
      stream.writer.next_page();
      stream.dict();
      claim(stream, {type}, stream.writer.capacity() + too_many);
      if (type == PYTHON_DICT_START) stream.end_dict();
      if (type == PYTHON_LIST_START) stream.end_list();
      stream.end_dict();
      for (int i = 0; i < 5; ++i) stream.collection(9);  // a window behind it is in the page
      const Outcome outcome = readByBoth(pagesOf(stream), {});
      EXPECT_EQ(outcome.pages.back(), too_many == 0) << type;
      EXPECT_THAT(outcome.records, SizeIs(too_many ? 5 : 6)) << type;
    }
  }
}

// The plan by itself, of events with nothing but a header.
class PlanUnderTest {
 public:
  PlanUnderTest() { keys_.reserve(0, 1), keys_.put(0, "k"); }

  // A record of so many values, the last of which are new; false where no plan is followed.
  bool record(size_t values, size_t news) {
    plan_.begin(true);
    const bool is_followed = plan_.isFollowed();
    for (size_t i = 0; is_followed && i < values; ++i, plan_.skip(1)) {
      if (i + news >= values && !learn()) return false;
    }
    plan_.end();
    return is_followed;
  }

 private:
  bool learn() {
    std::array<uint8_t, stream_values::kHeaderSize + stream_values::kWindow> bytes{};
    vek_opaque_event_t header{};
    header.second_word = packDictEventWord(PYTHON_NONE, 0);
    std::memcpy(bytes.data(), &header, sizeof header);
    const stream_values::Event event(bytes.data());
    return plan_.learn(event, *event.rule(), keys_.slots());
  }
  StreamPlan plan_;
  KeyTable keys_;
};

TEST(StreamPlan, RestsForLongerAndLongerWhereDictionariesDiffer) {
  PlanUnderTest plan;
  std::vector<int> followed;
  for (int i = 0; i < 600; ++i) {
    if (plan.record(10, 10)) followed.push_back(i);
  }
  EXPECT_THAT(followed, ElementsAre(0, 1, 3, 7, 15, 31, 63, 127, 255, 511));
}

TEST(StreamPlan, RestsWhereTwoTakeTurnsAlthoughOneFitsNowAndThen) {
  PlanUnderTest plan;
  int followed = 0;
  for (int i = 0; i < 200; ++i) followed += plan.record(10, followed % 2 ? 0 : 10) ? 1 : 0;
  EXPECT_LT(followed, 20);
}

TEST(StreamPlan, IsBackWhereTheyAreAlikeAgain) {
  PlanUnderTest plan;
  for (int i = 0; i < 7; ++i) plan.record(10, 10);
  for (size_t i = 0; i < 20; ++i) EXPECT_TRUE(plan.record(10, i % 2)) << i;
  EXPECT_TRUE(plan.record(10, 10));
  EXPECT_TRUE(plan.record(10, 10));
  EXPECT_FALSE(plan.record(10, 10));
}

TEST(StreamPlan, HoldsSoManyEventsAndNoMore) {
  PlanUnderTest plan;
  EXPECT_TRUE(plan.record(limits::kEventsOfPlan, limits::kEventsOfPlan));
  EXPECT_TRUE(plan.record(limits::kEventsOfPlan, 0));
  EXPECT_FALSE(plan.record(limits::kEventsOfPlan + 1, 1));
}

TEST(StreamPlan, DictionariesOfMoreEventsThanItHoldsAreWhole) {
  Dictionary dictionary = longSample();
  const Sent value = dictionary[1];
  dictionary.insert(dictionary.begin() + 1, limits::kEventsOfPlan + 10, value);
  Stream stream;
  for (int i = 0; i < 3; ++i) stream.send(dictionary);
  stream.expectRecordsOfBoth();
}

}  // namespace
}  // namespace vek::test
