#include "dict_reader/dictionary_stream_writer.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/dict_reader/stream_events.h"
#include "tests/support/log_capture.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

using Texts = std::vector<std::string>;

OpaqueEventsSource source_of(uint32_t event_size = 96, uint64_t page_size = 64 << 10) {
  return {.source_id = "agent-7",
          .tag = "dict_power",
          .app_id = {9, 8, 7},
          .event_size = event_size,
          .page_size = page_size,
          .timestamp_us = 0};
}

// What an extractor makes of the writer's pages so far.
std::vector<Delivery> sent(DictionaryStreamWriter& writer) {
  Extraction extraction(Mode::kAssembling, kAnyApp, writer.schema().event_size());
  for (const Image& page : writer.take_pages()) EXPECT_TRUE(extraction.process(page));
  return extraction.recorder.deliveries;
}

class DictionaryStreamWriterTest : public testing::Test {
 protected:
  Texts texts() { return event_texts(sent(writer_)); }
  std::string problem() {
    const Texts errors = log_.errors();
    log_.clear();
    return errors.empty() ? "" : errors.back();
  }
  // The call was refused, said why, and wrote nothing.
  void expect_refused(bool answer, const std::string& why) {
    EXPECT_FALSE(answer);
    EXPECT_EQ(problem(), "[vek_dictionary_writer] " + why);
    EXPECT_EQ(texts(), Texts{});
  }

  DictionaryStreamWriter writer_{source_of()};
  LogCapture log_;
};

TEST_F(DictionaryStreamWriterTest, WritesEveryKindOfValueAndAnnouncesNamesByTheirFirstUse) {
  ASSERT_TRUE(writer_.new_collection(1'000'001));
  ASSERT_TRUE(writer_.dict_start());
  ASSERT_TRUE(writer_.add_string("text", "abc"));
  ASSERT_TRUE(writer_.add_double("real", -2.5));
  ASSERT_TRUE(writer_.add_long("whole", -7));
  ASSERT_TRUE(writer_.add_bool("flag", true));
  ASSERT_TRUE(writer_.add_bool("flag", false));
  ASSERT_TRUE(writer_.add_none("nothing"));
  ASSERT_TRUE(writer_.list_start("list"));
  ASSERT_TRUE(writer_.list_end());
  ASSERT_TRUE(writer_.dict_start("dict"));
  ASSERT_TRUE(writer_.add_string("text", ""));
  ASSERT_TRUE(writer_.dict_end());
  ASSERT_TRUE(writer_.dict_end());
  EXPECT_EQ(texts(), (Texts{"NEW_COLLECTION 0 1000001",
                            "DICT_START -",
                            "ID 0 'text'",
                            "STRING 0 'abc'",
                            "ID 1 'real'",
                            "DOUBLE 1 -2.500000",
                            "ID 2 'whole'",
                            "LONG 2 -7",
                            "ID 3 'flag'",
                            "BOOL_TRUE 3",
                            "BOOL_FALSE 3",
                            "ID 4 'nothing'",
                            "NONE 4",
                            "ID 5 'list'",
                            "LIST_START 5",
                            "LIST_END -",
                            "ID 6 'dict'",
                            "DICT_START 6",
                            "STRING 0 ''",
                            "DICT_END -",
                            "DICT_END -"}));
  EXPECT_EQ(log_.errors(), Texts{});
  EXPECT_EQ(log_.warnings(), Texts{});
}

// Readers refuse values without a name and inner lists without one, but not dictionaries.
TEST_F(DictionaryStreamWriterTest, ItemsOfListsAreNamedWhereReadersNeedIt) {
  ASSERT_TRUE(writer_.new_collection(5));
  ASSERT_TRUE(writer_.list_start());
  ASSERT_TRUE(writer_.add_long({}, 1));
  ASSERT_TRUE(writer_.add_long("named", 2));
  ASSERT_TRUE(writer_.list_start());
  ASSERT_TRUE(writer_.list_end());
  ASSERT_TRUE(writer_.dict_start());
  ASSERT_TRUE(writer_.dict_end());
  ASSERT_TRUE(writer_.list_end());
  EXPECT_EQ(texts(), (Texts{"NEW_COLLECTION 0 5", "LIST_START -", "ID 0 'item'", "LONG 0 1",
                            "ID 1 'named'", "LONG 1 2", "LIST_START 0", "LIST_END -",
                            "DICT_START -", "DICT_END -", "LIST_END -"}));
}

TEST_F(DictionaryStreamWriterTest, ARootMayHaveAName) {
  ASSERT_TRUE(writer_.new_collection(5));
  ASSERT_TRUE(writer_.dict_start("root"));
  EXPECT_EQ(texts(), (Texts{"NEW_COLLECTION 0 5", "ID 0 'root'", "DICT_START 0"}));
}

TEST_F(DictionaryStreamWriterTest, NamesAreAnnouncedOncePerStreamOrAgainOnRequest) {
  const auto collection = [this] {
    return writer_.new_collection(1) && writer_.dict_start() && writer_.add_none("a") &&
           writer_.add_none("a") && writer_.dict_end();
  };
  ASSERT_TRUE(collection());
  EXPECT_EQ(texts().size(), 6u);
  ASSERT_TRUE(collection());
  EXPECT_EQ(texts(),
            (Texts{"NEW_COLLECTION 0 1", "DICT_START -", "NONE 0", "NONE 0", "DICT_END -"}));
  writer_.announce_names_again();
  ASSERT_TRUE(collection());
  EXPECT_EQ(texts(), (Texts{"NEW_COLLECTION 0 1", "DICT_START -", "ID 0 'a'", "NONE 0", "NONE 0",
                            "DICT_END -"}));
}

TEST_F(DictionaryStreamWriterTest, RefusesWhatStandsOutsideACollection) {
  const std::string why = " refused: no collection was begun";
  expect_refused(writer_.dict_start(), "PYTHON_DICT_START" + why);
  expect_refused(writer_.list_start(), "PYTHON_LIST_START" + why);
  expect_refused(writer_.add_string("a", "b"), "PYTHON_STRING" + why);
  expect_refused(writer_.add_double("a", 1), "PYTHON_DOUBLE" + why);
  expect_refused(writer_.add_long("a", 1), "PYTHON_LONG" + why);
  expect_refused(writer_.add_bool("a", false), "PYTHON_BOOL_FALSE" + why);
  expect_refused(writer_.add_bool("a", true), "PYTHON_BOOL_TRUE" + why);
  expect_refused(writer_.add_none("a"), "PYTHON_NONE" + why);
  expect_refused(writer_.dict_end(), "PYTHON_DICT_END refused: no container is open");
  expect_refused(writer_.list_end(), "PYTHON_LIST_END refused: no container is open");
}

TEST_F(DictionaryStreamWriterTest, RefusesValuesBeforeTheRoot) {
  ASSERT_TRUE(writer_.new_collection(1));
  texts();
  expect_refused(writer_.add_long("a", 1), "PYTHON_LONG refused: no container is open");
  expect_refused(writer_.dict_end(), "PYTHON_DICT_END refused: no container is open");
}

TEST_F(DictionaryStreamWriterTest, RefusesEndsOfTheOtherKind) {
  ASSERT_TRUE(writer_.new_collection(1) && writer_.dict_start() && writer_.list_start("l"));
  texts();
  const std::string why = " refused: the innermost container is of the other kind";
  expect_refused(writer_.dict_end(), "PYTHON_DICT_END" + why);
  ASSERT_TRUE(writer_.list_end());
  texts();
  expect_refused(writer_.list_end(), "PYTHON_LIST_END" + why);
  EXPECT_EQ(writer_.depth(), 1u);
}

TEST_F(DictionaryStreamWriterTest, RefusesACollectionInsideAnother) {
  const std::string why = "PYTHON_NEW_COLLECTION refused: the collection before is not closed";
  ASSERT_TRUE(writer_.new_collection(1));
  texts();
  expect_refused(writer_.new_collection(2), why);
  ASSERT_TRUE(writer_.dict_start());
  texts();
  expect_refused(writer_.new_collection(2), why);
  ASSERT_TRUE(writer_.dict_end());
  EXPECT_TRUE(writer_.new_collection(2));
}

TEST_F(DictionaryStreamWriterTest, RefusesASecondRoot) {
  ASSERT_TRUE(writer_.new_collection(1) && writer_.list_start() && writer_.list_end());
  texts();
  expect_refused(writer_.dict_start(), "PYTHON_DICT_START refused: no collection was begun");
}

TEST_F(DictionaryStreamWriterTest, ItemsOfDictionariesNeedNames) {
  ASSERT_TRUE(writer_.new_collection(1) && writer_.dict_start());
  texts();
  const std::string why = " refused: an item of a dictionary needs a name";
  expect_refused(writer_.add_long({}, 1), "PYTHON_LONG" + why);
  expect_refused(writer_.dict_start(), "PYTHON_DICT_START" + why);
  expect_refused(writer_.list_start(), "PYTHON_LIST_START" + why);
}

TEST_F(DictionaryStreamWriterTest, AfterARefusalTheStreamGoesOn) {
  ASSERT_TRUE(writer_.new_collection(1) && writer_.dict_start());
  EXPECT_FALSE(writer_.list_end());
  EXPECT_FALSE(writer_.add_none({}));
  EXPECT_FALSE(writer_.new_collection(3));
  EXPECT_TRUE(writer_.add_none("a") && writer_.dict_end());
  EXPECT_EQ(texts(),
            (Texts{"NEW_COLLECTION 0 1", "DICT_START -", "ID 0 'a'", "NONE 0", "DICT_END -"}));
}

TEST(DictionaryStreamWriter, SourcesThatReadersCouldNotTellApartAreRefused) {
  struct Case {
    std::string tag;
    std::string source_id;
    std::string why;
  };
  const std::string long_id(65, 's');
  const Case cases[] = {
      {"", "s", "tag '' does not begin with 'dict_'"},
      {"dict", "s", "tag 'dict' does not begin with 'dict_'"},
      {"Dict_a", "s", "tag 'Dict_a' does not begin with 'dict_'"},
      {"dict_234567890123", "s", "tag 'dict_234567890123' is longer than 16 bytes"},
      {"dict_a", long_id, "source id '" + long_id + "' is longer than 64 bytes"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const LogCapture log;
    OpaqueEventsSource source = source_of();
    source.tag = c.tag;
    source.source_id = c.source_id;
    DictionaryStreamWriter writer(source);
    EXPECT_FALSE(writer.new_collection(1));
    EXPECT_FALSE(writer.dict_start());
    EXPECT_EQ(
        log.errors(),
        (Texts{"[vek_dictionary_writer] " + c.why,
               "[vek_dictionary_writer] PYTHON_NEW_COLLECTION refused: the source cannot be "
               "used",
               "[vek_dictionary_writer] PYTHON_DICT_START refused: no collection was begun"}));
    EXPECT_TRUE(writer.take_pages().empty());
  }
}

TEST(DictionaryStreamWriter, TagsAndSourceIdsMayFillTheirFields) {
  OpaqueEventsSource source = source_of();
  source.tag = "dict_23456789012";
  source.source_id = std::string(64, 's');
  DictionaryStreamWriter writer(source);
  ASSERT_TRUE(writer.new_collection(1));
  const std::vector<Delivery> events = sent(writer);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].tag, source.tag);
  EXPECT_EQ(events[0].source_id, source.source_id);
  EXPECT_EQ(events[0].app_id, source.app_id);
}

// Values at, below and above what one event takes; names too.
TEST(DictionaryStreamWriter, WhatDoesNotFitAnEventTravelsInChunks) {
  DictionaryStreamWriter writer(source_of(64));
  const size_t capacity = 64 - 53;
  ASSERT_TRUE(writer.new_collection(1) && writer.dict_start());
  Extraction extraction(Mode::kChunkList, kAnyApp, 64);
  Texts values;
  for (const size_t size :
       {capacity - 1, capacity, capacity + 1, 2 * capacity, 2 * capacity + 1, size_t{1000}}) {
    values.emplace_back(size, static_cast<char>('a' + values.size()));
    ASSERT_TRUE(writer.add_string("name", values.back()));
  }
  const std::string long_name(100, 'n');
  ASSERT_TRUE(writer.add_none(long_name));
  for (const Image& page : writer.take_pages()) ASSERT_TRUE(extraction.process(page));

  std::vector<size_t> chunks;
  Texts strings;
  std::string last_name;
  for (const Delivery& event : extraction.recorder.deliveries) {
    if (typeOfDictEventWord(event.second) == PYTHON_ID) last_name = event.data;
    if (typeOfDictEventWord(event.second) != PYTHON_STRING) continue;
    strings.push_back(event.data);
    chunks.push_back(event.chunks.size());
  }
  EXPECT_EQ(strings, values);
  EXPECT_EQ(chunks, (std::vector<size_t>{0, 0, 2, 2, 3, 91}));
  EXPECT_EQ(last_name, long_name);
}

TEST(DictionaryStreamWriter, EventsOfOneByteCarryEverything) {
  DictionaryStreamWriter writer(source_of(54));
  ASSERT_TRUE(writer.new_collection(77) && writer.dict_start() && writer.add_double("pi", 3.25) &&
              writer.add_string("s", "four") && writer.dict_end());
  EXPECT_EQ(event_texts(sent(writer)),
            (Texts{"NEW_COLLECTION 0 77", "DICT_START -", "ID 0 'pi'", "DOUBLE 0 3.250000",
                   "ID 1 's'", "STRING 1 'four'", "DICT_END -"}));
}

TEST(DictionaryStreamWriter, CollectionsGoOnOverPages) {
  DictionaryStreamWriter writer(source_of(80, 720 + 32 + 16 + 3 * 80));
  ASSERT_TRUE(writer.new_collection(1) && writer.list_start());
  for (int64_t i = 0; i < 10; ++i) ASSERT_TRUE(writer.add_long({}, i));
  ASSERT_TRUE(writer.add_string({}, std::string(100, 'x')) && writer.list_end());
  const std::vector<Image> pages = writer.take_pages();
  EXPECT_EQ(pages.size(), 7u);  // 1 + 1 + 1 + 10 + (1 + 4) + 1 events
  Extraction extraction(Mode::kAssembling, kAnyApp, 80);
  for (const Image& page : pages) {
    EXPECT_LE(page.size(), 720u + 32 + 16 + 3 * 80);
    ASSERT_TRUE(extraction.process(page));
  }
  const Texts texts = event_texts(extraction.recorder.deliveries);
  ASSERT_EQ(texts.size(), 15u);
  EXPECT_EQ(texts[12], "LONG 0 9");
  EXPECT_EQ(texts[13], "STRING 0 '" + std::string(100, 'x') + "'");
}

TEST(DictionaryStreamWriter, APageCanBeClosedEarly) {
  DictionaryStreamWriter writer(source_of());
  writer.next_page();
  EXPECT_TRUE(writer.take_pages().empty());
  ASSERT_TRUE(writer.new_collection(1));
  writer.next_page();
  ASSERT_TRUE(writer.dict_start());
  EXPECT_EQ(writer.take_pages().size(), 2u);
}

TEST(DictionaryStreamWriter, BlocksBearTheTimeOfTheirCollection) {
  DictionaryStreamWriter writer(source_of(64));
  for (const uint64_t time : {100u, 200u}) {
    ASSERT_TRUE(writer.new_collection(time) && writer.dict_start() && writer.dict_end());
  }
  const std::vector<Image> pages = writer.take_pages();
  ASSERT_EQ(pages.size(), 1u);
  for (const size_t block : {0u, 1u}) {
    vek_event_header_t header;
    ASSERT_TRUE(ByteReader(Bytes(pages[0])).read(752 + block * (16 + 3 * 64), header));
    EXPECT_EQ(header.timestamp, 100 * (block + 1));
    EXPECT_EQ(header.count, 3);
  }
}

TEST(DictionaryStreamWriter, CollectionsOfOneTimeShareABlock) {
  DictionaryStreamWriter writer(source_of(64));
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(writer.new_collection(100) && writer.dict_start() && writer.dict_end());
  }
  const std::vector<Image> pages = writer.take_pages();
  ASSERT_EQ(pages.size(), 1u);
  vek_event_header_t header;
  ASSERT_TRUE(ByteReader(Bytes(pages[0])).read(752, header));
  EXPECT_EQ(header.count, 6);
}

TEST(DictionaryStreamWriter, GoldenPage) {
  DictionaryStreamWriter writer(source_of(61));
  ASSERT_TRUE(writer.new_collection(0x0102030405060708) && writer.dict_start() &&
              writer.add_long("k", 258) && writer.dict_end());
  const std::vector<Image> pages = writer.take_pages();
  ASSERT_EQ(pages.size(), 1u);
  const auto event = [](const std::string& words, const std::string& data) {
    std::string padded = data.substr(8);
    padded.resize(16, '0');
    return std::string("0000000000000000") + "00" + "00000000" + "00000000" +
           "09080700000000000000000000000000" + "0000000000000000" + words + data.substr(0, 8) +
           padded;
  };
  EXPECT_EQ(to_hex(Bytes(pages[0]).subspan(720)),
            "56454b53"
            "2000"
            "00000000000000000000" +
                to_hex(writer.schema().id()) +
                "56454b45"
                "0807060504030201"
                "00"
                "0000"
                "05" +
                event("000000000a000000",
                      "08000000"
                      "0807060504030201") +
                event("ffffffff04000000", "00000000") +
                event("0000000000000000",
                      "01000000"
                      "6b") +
                event("0000000003000000",
                      "08000000"
                      "0201000000000000") +
                event("ffffffff05000000", "00000000"));
}

TEST(DictionaryStreamWriter, NamesAndTextsMayHoldAnyBytes) {
  DictionaryStreamWriter writer(source_of());
  const std::string name("a\0b", 3);
  const std::string value("\0\xff\n", 3);
  ASSERT_TRUE(writer.new_collection(1) && writer.dict_start() && writer.add_string(name, value));
  const std::vector<Delivery> events = sent(writer);
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(events[2].data, name);
  EXPECT_EQ(events[3].data, value);
}

TEST(DictionaryStreamWriter, NumbersKeepEveryBit) {
  DictionaryStreamWriter writer(source_of());
  ASSERT_TRUE(writer.new_collection(1) && writer.list_start());
  const double reals[] = {-0.0, INFINITY, std::nan("7"), 5e-324};
  for (const double real : reals) ASSERT_TRUE(writer.add_double({}, real));
  ASSERT_TRUE(writer.add_long({}, INT64_MIN));
  const std::vector<Delivery> events = sent(writer);
  ASSERT_EQ(events.size(), 8u);
  for (size_t i = 0; i < std::size(reals); ++i) {
    EXPECT_EQ(std::memcmp(events[3 + i].data.data(), &reals[i], 8), 0);
  }
  EXPECT_EQ(event_text(events[7]), "LONG 0 -9223372036854775808");
}

TEST(DictionaryStreamWriter, DeepNestingTakesNoMoreThanItsEvents) {
  DictionaryStreamWriter writer(source_of(64));
  ASSERT_TRUE(writer.new_collection(1));
  constexpr size_t kLevels = 100'000;
  for (size_t i = 0; i < kLevels; ++i) ASSERT_TRUE(writer.dict_start("d"));
  EXPECT_EQ(writer.depth(), kLevels);
  for (size_t i = 0; i < kLevels; ++i) ASSERT_TRUE(writer.dict_end());
  EXPECT_EQ(sent(writer).size(), 2 * kLevels + 2);
}

}  // namespace
}  // namespace vek::test
