#include "dict_reader/stream_places.h"

#include <gmock/gmock.h>

#include <array>
#include <cstring>

#include "tests/dict_reader/both_readers.h"
#include "tests/dict_reader/dict_fixture.h"
#include "tests/dict_reader/sent_dictionaries.h"
#include "tests/support/dice.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

// The first dictionary makes a plan, the second places.
constexpr int kUntilPlaces = 2;

// Each event has a step.
Dictionary plainSample() {
  Dictionary dictionary = sample();
  for (Sent& sent : dictionary) {
    if (sent.data.size() > stream_values::kLongestText) sent.data.resize(17);
  }
  return dictionary;
}

Sent number(uint64_t value) { return {PYTHON_LONG, 1, bytes_of(value)}; }

TEST(StreamPlaces, OneValueIsAnotherOne) {
  const Dictionary before = plainSample();
  for (size_t at = 0; at < before.size(); ++at) {
    if (!isValue(before[at])) continue;
    for (const size_t turn : {SIZE_MAX, at, at + 1}) {
      Stream stream;
      for (const Change change : kChanges) {
        Dictionary after = before;
        change(after, at);
        for (int i = 0; i <= kUntilPlaces; ++i) stream.send(before, turn);
        for (int i = 0; i <= kUntilPlaces; ++i) stream.send(after, turn);
        stream.send(before, turn);
      }
      stream.expectRecordsOfBoth();
      ASSERT_FALSE(HasFailure()) << at;
    }
  }
}

// In lists values lie side by side, so that one reaches into the eight bytes of those before it.
TEST(StreamPlaces, NumbersTakeOtherSizesWhereverTheyLie) {
  for (const auto begins : {PYTHON_LIST_START, PYTHON_DICT_START}) {
    Dice dice(1);
    Dictionary dictionary(42, number(0));
    dictionary.front() = {begins, 1};
    dictionary.back() = {begins == PYTHON_LIST_START ? PYTHON_LIST_END : PYTHON_DICT_END};
    dictionary.insert(dictionary.begin(), {PYTHON_DICT_START});
    dictionary.push_back({PYTHON_DICT_END});
    Stream stream;
    for (int record = 0; record < 600; ++record) {
      for (uint32_t changes = dice.upto(4); changes > 0; --changes) {
        const uint64_t value = dice.word() >> dice.upto(63);
        dictionary[2 + dice.upto(39)] = number(dice.upto(1) ? value : ~value);
      }
      stream.send(dictionary);
    }
    stream.expectRecordsOfBoth();
  }
}

TEST(StreamPlaces, TextsTakeEverySize) {
  Stream stream;
  for (size_t size = 0; size < 64; ++size) {
    const std::string text(size < 32 ? size : 63 - size, static_cast<char>('a' + size % 26));
    stream.send({{PYTHON_DICT_START},
                 number(1),
                 {PYTHON_LIST_START, 1},
                 number(size),
                 {PYTHON_STRING, 1, text},
                 {PYTHON_STRING, 1, std::string(31, 't')},
                 number(2),
                 {PYTHON_LIST_END},
                 {PYTHON_STRING, 2, text},
                 number(size * size * size),
                 {PYTHON_DICT_END}});
  }
  stream.expectRecordsOfBoth();
}

TEST(StreamPlaces, TextsOfOneSizeAreThoseThatArrived) {
  for (size_t size = 0; size < 32; ++size) {
    Stream stream;
    for (char letter = 'a'; letter < 'f'; ++letter) {
      std::string text(size, letter);
      if (size > 0) text.back() = '!';
      stream.send({{PYTHON_DICT_START}, {PYTHON_STRING, 1, text}, number(7), {PYTHON_DICT_END}});
    }
    stream.expectRecordsOfBoth();
  }
}

TEST(StreamPlaces, RootsAreOfEitherKind) {
  const Dictionary dict = {{PYTHON_DICT_START}, {PYTHON_DICT_END}};
  const Dictionary list = {{PYTHON_LIST_START}, {PYTHON_LIST_END}};
  for (const size_t values : {0, 1, 20}) {
    Stream stream;
    for (const int repeated : {1, 3, 4, 1}) {
      for (Dictionary root : {dict, list}) {
        root.insert(root.begin() + 1, values, number(values));
        for (int i = 0; i < repeated; ++i) stream.send(root);
      }
    }
    stream.expectRecordsOfBoth(true);
  }
}

// What is in the root where its places end comes behind them.
TEST(StreamPlaces, ValuesComeBehindTheLast) {
  for (const size_t most : {5, 40}) {
    Stream stream;
    Dictionary dictionary = {{PYTHON_DICT_START}, number(1), {PYTHON_DICT_END}};
    for (size_t values = 1; values < most; ++values) {
      for (int i = 0; i < 3; ++i) stream.send(dictionary);
      dictionary.insert(dictionary.end() - 1, number(values));
    }
    stream.expectRecordsOfBoth();
  }
}

// Behind the last value comes a list whose header is wider than it was thought to be.
TEST(StreamPlaces, ARecordThatIsMovedLeavesNoHeaderToTheNext) {
  for (const size_t values : {0, 1, 20}) {
    Dictionary before(values, number(1));
    before.insert(before.begin(), {PYTHON_DICT_START});
    Dictionary after = before;
    after.push_back({PYTHON_LIST_START, 1});
    after.insert(after.end(), 20, number(2));
    after.insert(after.end(), {{PYTHON_LIST_END}, {PYTHON_DICT_END}});
    before.push_back({PYTHON_DICT_END});
    Stream stream;
    for (int round = 0; round < 2; ++round) {
      for (int i = 0; i <= kUntilPlaces; ++i) stream.send(before);
      stream.send(after);
      for (int i = 0; i <= kUntilPlaces; ++i) stream.send(before);
    }
    stream.expectRecordsOfBoth();
  }
}

TEST(StreamPlaces, KeysAreToldAgainInside) {
  const Dictionary dictionary = plainSample();
  for (size_t at = 0; at < dictionary.size(); ++at) {
    Stream stream;
    for (const std::string& name :
         {std::string("key1"), std::string("other"), std::string(200, 'n'), std::string("key1")}) {
      for (int i = 0; i <= kUntilPlaces; ++i) stream.send(dictionary);
      Dictionary with_name = dictionary;
      with_name.insert(with_name.begin() + static_cast<long>(at), {PYTHON_ID, 1, name});
      for (int i = 0; i <= kUntilPlaces; ++i) stream.send(with_name);
    }
    stream.expectRecordsOfBoth();
  }
}

// Of those that come in chunks, or are longer than steps write, the places know nothing.
TEST(StreamPlaces, LongTextsComeInBetween) {
  const Dictionary before = plainSample();
  for (size_t at = 1; at < before.size(); ++at) {
    for (const size_t size : {size_t{40}, size_t{300}}) {
      Dictionary after = before;
      after.insert(after.begin() + static_cast<long>(at),
                   {PYTHON_STRING, 1, std::string(size, 'x')});
      Stream stream;
      for (int i = 0; i <= kUntilPlaces; ++i) stream.send(before);
      for (int i = 0; i <= kUntilPlaces; ++i) stream.send(after);
      stream.send(before);
      stream.expectRecordsOfBoth();
    }
  }
}

// Each record takes more room than the one before, up to where there is none left, and beyond.
TEST(StreamPlaces, RecordsGrowOutOfTheirMemory) {
  constexpr size_t kValues = 100;
  Dictionary dictionary(kValues, {PYTHON_STRING, 1, std::string(25, 't')});
  dictionary.insert(dictionary.begin(), kValues, number(1));
  dictionary.insert(dictionary.begin(), {PYTHON_DICT_START});
  dictionary.push_back({PYTHON_DICT_END});
  Stream stream;
  for (size_t value = 1; value <= kValues; ++value) {
    stream.send(dictionary);
    dictionary[value] = number(~uint64_t{0} >> 1);
  }
  stream.expectRecordsOfBoth();
}

// Memory is given back behind a record that needed much more. What a record before it has left
// there is gone, and so is room for containers where a record leaves its places. The large one
// begins with a key that has no step, so that the plan stays that of the others.
void expectWholeBehind(const Dictionary& large, size_t containers) {
  const auto of = [containers](const Dictionary& last) {
    Dictionary dictionary = {{PYTHON_DICT_START}};
    for (size_t i = 0; i < containers; ++i) {
      dictionary.push_back({PYTHON_DICT_START, 1});
      dictionary.push_back({PYTHON_DICT_END});
    }
    dictionary.insert(dictionary.end(), last.begin(), last.end());
    dictionary.push_back({PYTHON_DICT_END});
    return dictionary;
  };
  Stream stream;
  for (int i = 0; i < 3; ++i) stream.send(of({number(1)}));
  Dictionary whole = {{PYTHON_DICT_START},
                      {PYTHON_ID, 9, std::string(40, 'k')},
                      {PYTHON_LIST_START, 9},
                      {PYTHON_LIST_END},
                      {PYTHON_DICT_END}};
  // Its header is as wide as those of the others.
  whole.insert(whole.end() - 1, std::min<size_t>(containers, 20), number(3));
  whole.insert(whole.begin() + 3, large.begin(), large.end());
  stream.send(whole);
  for (int i = 0; i < 3; ++i) stream.send(of({number(2)}));
  stream.send(of({{PYTHON_LIST_START, 2}, {PYTHON_LIST_END}}));
  stream.expectRecordsOfBoth();
}

TEST(StreamPlaces, MemoryOfContainersIsGivenBackInBetween) {
  Dictionary large;
  for (int i = 0; i < 80'000; ++i) {
    large.push_back({PYTHON_LIST_START, 1});
    large.push_back({PYTHON_LIST_END});
  }
  expectWholeBehind(large, 5'000);
}

TEST(StreamPlaces, MemoryOfRecordsIsGivenBackInBetween) {
  expectWholeBehind(Dictionary(100'000, number(1)), 3);
}

// Pages of one stream may have events of different sizes. Those of the last are smaller, and one of
// them claims more data than it has.
void expectRefusedInSmallerEvents(const Dictionary& last, const Dictionary& smaller,
                                  uint32_t capacity) {
  const Dictionary known = {{PYTHON_DICT_START},
                            {PYTHON_STRING, 1, "short"},
                            {PYTHON_DICT_END},
                            {PYTHON_NEW_COLLECTION, kNoKeyId, bytes_of(uint64_t{7})}};
  const auto send = [](StreamPages& pages, const Dictionary& dictionary) {
    for (const Sent& sent : dictionary) {
      vek_opaque_event_t header{};
      header.second_word = packDictEventWord(sent.type, sent.key_id);
      header.data_size = static_cast<uint32_t>(sent.data.size());
      const size_t size = std::min<size_t>(sent.data.size(), pages.writer.capacity());
      pages.writer.event(header, as_bytes(std::string_view(sent.data).substr(0, size)));
    }
  };
  StreamPages large("s", "dict_");
  large.collection(1);
  large.id(1, "a");
  for (int i = 0; i <= kUntilPlaces; ++i) send(large, known);
  send(large, last);
  StreamPages small("s", "dict_", VEK_OPAQUE_EVENT_HEADER_SIZE + capacity);
  send(small, smaller);
  std::vector<ReadPage> pages = pagesOf(large);
  for (ReadPage& page : pagesOf(small)) pages.push_back(std::move(page));
  const Outcome outcome = readByBoth(pages, {});
  EXPECT_EQ(outcome.pages.back(), false);
  EXPECT_EQ(std::ranges::count(outcome.pages, false), 1);
}

TEST(StreamPlaces, KnownEventsAreRefusedWhereTheirDataIsNotThere) {
  const Sent root = {PYTHON_DICT_START};
  const Sent text = {PYTHON_STRING, 1, "short"};
  const Sent longer = {PYTHON_STRING, 1, "longer than that"};
  const Sent end = {PYTHON_DICT_END};
  const Sent collection = {PYTHON_NEW_COLLECTION, kNoKeyId, bytes_of(uint64_t{7})};
  const Sent with_data = {PYTHON_DICT_START, kNoKeyId, "more than there is"};
  expectRefusedInSmallerEvents({}, {root, text, end, collection}, 4);
  expectRefusedInSmallerEvents({root, longer, end, collection}, {root, longer, end, collection}, 9);
  expectRefusedInSmallerEvents({root}, {text, end, collection, root, text, end}, 7);
  expectRefusedInSmallerEvents({root}, {text, end, collection, with_data, text, end}, 9);
}

// At the level of debug lines each event goes the ordinary way.
TEST(StreamPlaces, TheOrdinaryWayGoesOnWithinARecord) {
  Dictionary before = plainSample();
  before.insert(before.begin(), {PYTHON_NEW_COLLECTION, kNoKeyId, bytes_of(uint64_t{7})});
  for (size_t at = 1; at < before.size(); ++at) {
    Dictionary after = before;
    after.insert(after.begin() + static_cast<long>(at), {PYTHON_ID, 1, "another"});
    StreamPages stream("s", "dict_");
    const auto send = [&stream](const Dictionary& dictionary, size_t first, size_t end) {
      for (size_t i = first; i < end; ++i) {
        stream.event(dictionary[i].type, dictionary[i].key_id, dictionary[i].data);
      }
    };
    stream.collection(1);
    for (uint32_t id = 1; id <= 3; ++id) stream.id(id, "key" + std::to_string(id));
    send({{PYTHON_DICT_START}, {PYTHON_DICT_END}}, 0, 2);
    for (int i = 0; i <= kUntilPlaces; ++i) send(before, 0, before.size());
    send(before, 0, at);
    const std::vector<ReadPage> known = pagesOf(stream);
    send(after, at, after.size());
    const std::vector<ReadPage> rest = pagesOf(stream);
    ReaderUnderTest tree(false, {});
    ReaderUnderTest packing(true, {});
    for (ReaderUnderTest* reader : {&tree, &packing}) {
      reader->read(known);
      reader->setLogLevel(7);
      reader->read(rest);
    }
    EXPECT_THAT(tree.outcome().records, SizeIs(kUntilPlaces + 3));
    EXPECT_EQ(tree.outcome().records, packing.outcome().records);
  }
}

TEST(StreamPlaces, ARefusedRecordChangesNothingOfTheNext) {
  for (const size_t each : {2, 3, 5}) {
    StreamPages pages("s", "dict_");
    pages.id(1, "a");
    for (uint64_t i = 0; i < 20; ++i) {
      pages.collection(i);
      if (i == 0) pages.id(1, "a");
      pages.dict();
      for (uint64_t k = 0; k < 20; ++k) pages.integer(1, static_cast<int64_t>(i));
      pages.end_dict();
      pages.writer.next_page();
    }
    const Outcome outcome = readByBoth(pagesOf(pages), {.refuse_each = each});
    EXPECT_THAT(outcome.records, SizeIs(20));
    EXPECT_EQ(std::ranges::count(outcome.pages, false), static_cast<long>(20 / each));
  }
}

// The places by themselves, of values that are in their headers alone.
class PlacesUnderTest {
 public:
  PlacesUnderTest() {
    keys_.reserve(0, 1);
    keys_.put(0, "k");
    vek_opaque_event_t header{};
    header.second_word = packDictEventWord(PYTHON_NONE, 0);
    std::memcpy(event_.data(), &header, sizeof header);
  }

  // A record that has the values of the one before it, or others; whether it goes by its places.
  bool record(bool fits) {
    plan_.begin(true);
    places_.begin(plan_, true, kHead);
    const bool is_followed = places_.isFollowed();
    if (is_followed) {
      if (fits) {
        EXPECT_EQ(places_.rewrite<false>(event_.data(), 0, kValues, memory_.data()), kValues);
      }
      places_.leave();
    }
    const stream_values::Event event(event_.data());
    for (size_t i = 0; i < kValues; ++i, plan_.skip(1)) {
      if (plan_.left() == 0) {
        EXPECT_TRUE(plan_.learn(event, *event.rule(), keys_.slots()));
      }
    }
    places_.end(plan_, memory_, kHead + kValues * kValueSize, kValues);
    plan_.end();
    return is_followed;
  }

 private:
  static constexpr size_t kHead = 11;  // [seconds, and the header of the root
  static constexpr size_t kValues = 10;
  static constexpr size_t kValueSize = 3;
  std::array<uint8_t, stream_values::kHeaderSize + stream_values::kWindow> event_{};
  std::array<char, 1024> memory_{};
  StreamPlan plan_;
  StreamPlaces places_;
  KeyTable keys_;
};

TEST(StreamPlaces, AreFollowedFromTheThirdRecordOn) {
  PlacesUnderTest places;
  std::vector<bool> followed;
  for (int i = 0; i < 6; ++i) followed.push_back(places.record(true));
  EXPECT_THAT(followed, ElementsAre(false, false, true, true, true, true));
}

TEST(StreamPlaces, RestForLongerAndLongerWhereRecordsLeaveThem) {
  PlacesUnderTest places;
  std::vector<int> followed;
  for (int i = 0; i < 600; ++i) {
    if (places.record(false)) followed.push_back(i);
  }
  EXPECT_THAT(followed, ElementsAre(2, 3, 5, 9, 17, 33, 65, 129, 257, 513));
}

TEST(StreamPlaces, AreBackWhereRecordsAreAlikeAgain) {
  PlacesUnderTest places;
  for (int i = 0; i < 17; ++i) places.record(false);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(places.record(true)) << i;
  EXPECT_TRUE(places.record(false));
  EXPECT_TRUE(places.record(false));
  EXPECT_FALSE(places.record(false));
}

}  // namespace
}  // namespace vek::test
