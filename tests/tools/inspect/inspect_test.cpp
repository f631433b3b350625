#include "tools/inspect/inspect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "data/schema_id.h"
#include "dict_reader/dictionary_stream_writer.h"
#include "exporter/fluent_aggr.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"

namespace vek::test {
namespace {

using Words = std::vector<std::string>;
using Images = std::vector<std::vector<uint8_t>>;

constexpr uint64_t kTime = 1767225600500000;

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

size_t count_lines(const std::string& text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

Bytes as_bytes(const std::string& text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

class InspectTest : public testing::Test {
 protected:
  InspectTest() {
    const OpaqueEventSchema schema(kEventSize);
    char id[VEK_SCHEMA_ID_TEXT_SIZE];
    vek_schema_id_to_schema_string(schema.id().data(), id);
    dir_.write(std::string("schemas/schema_") + id + ".json", schema.document());
  }

  static OpaqueEventsSource source_of(const std::string& tag, const std::string& source_id = "s1") {
    return {.source_id = source_id,
            .tag = tag,
            .app_id = kFluentAggrAppId,
            .event_size = kEventSize,
            .page_size = 64 << 10,
            .timestamp_us = kTime};
  }

  // A file of these pages.
  std::string file(const Images& pages, const std::string& name = "pages.bin") {
    std::string bytes;
    for (const auto& page : pages) bytes.append(page.begin(), page.end());
    return dir_.write(name, bytes);
  }

  ChildResult inspect(Words more, const ToolSetting& setting = {}) {
    more.insert(more.begin(), "inspect");
    return run_tool(more, setting);
  }
  ChildResult streams(const std::string& path, const Words& more = {}) {
    Words words{"--streams", "--schema-dir", dir_.file("schemas"), path};
    words.insert(words.end(), more.begin(), more.end());
    return inspect(words);
  }

  static constexpr uint32_t kEventSize = 72;
  TempDir dir_;
};

// ---- the summary

TEST_F(InspectTest, SummarizesPagesSourcesTimesAndBlocks) {
  PageWriter first("leaf01", "hall_a", 64);
  first.counters_block(kTime + 2, std::vector<uint8_t>(32));
  first.next_block();
  first.counters_block(kTime + 1, std::vector<uint8_t>(32));
  PageWriter second("leaf02", "");
  second.counters_block(kTime, std::vector<uint8_t>(32));
  const std::string path = file({first.finish(), second.finish(), second.finish()});
  const ChildResult result = inspect({path});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.standard_error, "");
  EXPECT_EQ(result.standard_output,
            path +
                "\n"
                "  pages     3, 2384 bytes (2.3 KiB)\n"
                "  times     2026-01-01T00:00:00.500000Z to 2026-01-01T00:00:00.500002Z\n"
                "  blocks    4 of counters, 0 of events (0 events), 0 of schemas\n"
                "  damage    none\n"
                "     pages  counters    events  source                    tag\n"
                "         1         2         0  leaf01                    hall_a\n"
                "         2         2         0  leaf02                    (none)\n");
}

TEST_F(InspectTest, TheSummaryIsAlsoThereForMachines) {
  OpaqueEventsWriter writer(source_of("fluent_aggr", "aggr\"1"));
  ASSERT_TRUE(writer.whole({}, {}));
  const std::string path = file(writer.take_pages());
  const ChildResult result = inspect({"--json", "--schema-dir", dir_.file("schemas"), path});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.standard_output,
            "{\"schema_version\":1,\"file\":\"" + path +
                "\",\"pages\":1,\"empty_pages\":0,\"bytes\":840,\"first_time\":1767225600500000,"
                "\"last_time\":1767225600500000,\"counters_blocks\":0,\"events_blocks\":1,"
                "\"events\":1,\"schemas_blocks\":1,\"unknown_blocks\":0,"
                "\"blocks_of_unknown_types\":0,\"broken_pages\":0,\"lost\":null,\"damage\":null,"
                "\"sources\":[{\"source\":"
                "\"aggr\\\"1\",\"tag\":\"fluent_aggr\",\"pages\":1,\"bytes\":840,"
                "\"counters_blocks\":0,\"events\":1,\"first_time\":1767225600500000,"
                "\"last_time\":1767225600500000}]}\n");
}

TEST_F(InspectTest, WithoutSchemasItSaysWhatItCannotSee) {
  OpaqueEventsWriter writer(source_of("fluent_aggr"));
  ASSERT_TRUE(writer.whole({}, {}));
  const ChildResult result = inspect({file(writer.take_pages())});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_TRUE(has(result.standard_output,
                  "1 events blocks of unknown types: what lies behind them is not counted"))
      << result.standard_output;
}

TEST_F(InspectTest, EmptyPagesAndUnknownBlocksAreCounted) {
  PageWriter empty("s", "t");
  PageWriter odd("s", "t");
  odd.raw(std::vector<uint8_t>{'V', 'E', 'K', '?', 0, 0, 0, 0});
  const ChildResult result = inspect({file({empty.finish(), odd.finish()})});
  EXPECT_TRUE(has(result.standard_output, "pages     2, 1448 bytes (1.4 KiB), 1 of them empty\n"));
  EXPECT_TRUE(has(result.standard_output, "times     none\n"));
  EXPECT_TRUE(has(result.standard_output, "0 of schemas, 1 of unknown kind\n"));
}

TEST_F(InspectTest, SaysWhereAFileIsDamagedAndSummarizesWhatIsBeforeIt) {
  PageWriter page("s", "t");
  page.counters_block(kTime, std::vector<uint8_t>(32));
  const auto image = page.finish();
  std::string bytes(image.begin(), image.end());
  bytes += bytes.substr(0, 730);
  const std::string path = dir_.write("cut.bin", bytes);
  const std::string damage = path +
                             ": page 2 at byte 768: ends inside the page: 730 of 768 bytes "
                             "are there";
  const ChildResult result = inspect({path});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.standard_error, "vektool: error: " + damage + "\n");
  EXPECT_TRUE(has(result.standard_output, "  pages     1, "));
  EXPECT_TRUE(has(result.standard_output, "  damage    " + damage + "\n"));
}

TEST_F(InspectTest, AHeaderThatFillsMoreThanThePageIsBad) {
  PageWriter page("s", "t");
  page.counters_block(kTime, std::vector<uint8_t>(32));
  auto image = page.finish();
  PageWriter::header_of(image)->filled = 769;
  const std::string path = file({image});
  const ChildResult result = inspect({path});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.standard_error,
            "vektool: error: " + path +
                ": page 1: byte 16: the header says that 769 of 768 bytes are "
                "filled\n");
}

TEST_F(InspectTest, EveryFileIsLookedAtThoughOneCannotBeOpened) {
  PageWriter page("s", "t");
  const std::string path = file({page.finish()});
  const ChildResult result = inspect({dir_.file("missing"), path});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_EQ(result.standard_error, "vektool: error: " + dir_.file("missing") +
                                       ": cannot be opened: No such file or directory\n");
  EXPECT_EQ(result.standard_output.find(path + "\n"), 0u);
}

TEST_F(InspectTest, ReadsStandardInput) {
  PageWriter page("s", "t");
  ToolSetting setting;
  setting.stdin_path = file({page.finish()});
  const ChildResult result = inspect({"-"}, setting);
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.standard_output.find("standard input\n"), 0u);
}

TEST_F(InspectTest, SchemasThatCannotBeReadStopIt) {
  const std::string path = file({});
  ChildResult result = inspect({"--schema-dir", dir_.file("nothing"), path});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_EQ(result.standard_error,
            "vektool: error: " + dir_.file("nothing") +
                ": is no directory of schema files: No such file or directory\n");
  result = inspect({"--type-system", dir_.file("nothing"), path});
  EXPECT_EQ(result.exit_code, 4);
  result = inspect({"--type-system", dir_.write("bad.json", "{"), path});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_error, "bad.json: is no type system document"));
}

// ---- streams

TEST_F(InspectTest, TellsADictionaryStreamEventByEventAndTheDictionary) {
  DictionaryStreamWriter writer(source_of("dict_a"));
  ASSERT_TRUE(writer.new_collection(kTime) && writer.dict_start() &&
              writer.add_string("host", std::string(30, 'x')) && writer.add_double("load", 0.5) &&
              writer.add_long("step", -7));
  writer.next_page();
  ASSERT_TRUE(writer.list_start("flags") && writer.add_bool({}, true) &&
              writer.add_bool({}, false) && writer.add_none({}) && writer.list_end() &&
              writer.dict_end());
  const ChildResult result = streams(file(writer.take_pages()));
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.standard_error, "");
  const std::string x(30, 'x');
  EXPECT_EQ(
      result.standard_output,
      "  page  source            tag           event                     key  name            "
      "value\n"
      "     1  s1                dict_a        PYTHON_NEW_COLLECTION       -  -               "
      "2026-01-01T00:00:00.500000Z\n"
      "     1  s1                dict_a        PYTHON_DICT_START           -  -\n"
      "     1  s1                dict_a        PYTHON_ID                   0  -               "
      "\"host\"\n"
      "     1  s1                dict_a        PYTHON_STRING               0  host            \"" +
          x +
          "\"\n"
          "     1  s1                dict_a        PYTHON_ID                   1  -               "
          "\"load\"\n"
          "     1  s1                dict_a        PYTHON_DOUBLE               1  load            "
          "0.5\n"
          "     1  s1                dict_a        PYTHON_ID                   2  -               "
          "\"step\"\n"
          "     1  s1                dict_a        PYTHON_LONG                 2  step            "
          "-7\n"
          "     2  s1                dict_a        PYTHON_ID                   3  -               "
          "\"flags\"\n"
          "     2  s1                dict_a        PYTHON_LIST_START           3  flags\n"
          "     2  s1                dict_a        PYTHON_ID                   4  -               "
          "\"item\"\n"
          "     2  s1                dict_a        PYTHON_BOOL_TRUE            4  item            "
          "true\n"
          "     2  s1                dict_a        PYTHON_BOOL_FALSE           4  item            "
          "false\n"
          "     2  s1                dict_a        PYTHON_NONE                 4  item            "
          "null\n"
          "     2  s1                dict_a        PYTHON_LIST_END             -  -\n"
          "     2  s1                dict_a        PYTHON_DICT_END             -  -\n"
          "     2  s1                dict_a        = dictionary           "
          "2026-01-01T00:00:00.500000Z  {\"host\":\"" +
          x + "\",\"load\":0.5,\"step\":-7,\"flags\":[true,false,null]}\n");
}

TEST_F(InspectTest, TellsStreamsAsJson) {
  DictionaryStreamWriter writer(source_of("dict_a"));
  ASSERT_TRUE(writer.new_collection(kTime) && writer.dict_start() && writer.add_long("n", 5) &&
              writer.dict_end());
  const std::string path = file(writer.take_pages());
  const ChildResult result = streams(path, {"--json"});
  EXPECT_EQ(result.exit_code, 0);
  const std::string place =
      ",\"file\":\"" + path + "\",\"page\":1,\"source\":\"s1\",\"tag\":\"dict_a\"";
  const std::string event =
      "{\"schema_version\":1,\"kind\":\"event\"" + place + ",\"type\":\"PYTHON_";
  EXPECT_EQ(result.standard_output,
            event + "NEW_COLLECTION\",\"value\":1767225600500000,\"fate\":\"taken\"}\n" +  //
                event + "DICT_START\",\"fate\":\"taken\"}\n" +                             //
                event + "ID\",\"key_id\":0,\"value\":\"n\",\"fate\":\"taken\"}\n" +        //
                event + "LONG\",\"key_id\":0,\"name\":\"n\",\"value\":5,\"fate\":\"taken\"}\n" +
                event + "DICT_END\",\"fate\":\"taken\"}\n" +  //
                "{\"schema_version\":1,\"kind\":\"dictionary\"" + place +
                ",\"timestamp\":1767225600500000,\"root\":{\"n\":5}}\n");
}

TEST_F(InspectTest, OutermostListsAreToldAsTheBatchModeWants) {
  DictionaryStreamWriter writer(source_of("dict_a"));
  ASSERT_TRUE(writer.new_collection(kTime) && writer.list_start() && writer.dict_start() &&
              writer.add_long("n", 1) && writer.dict_end() && writer.dict_start() &&
              writer.dict_end() && writer.list_end());
  const std::string path = file(writer.take_pages());
  const std::string apart = streams(path).standard_output;
  EXPECT_TRUE(has(apart, "  {\"n\":1}\n"));
  EXPECT_TRUE(has(apart, "  {}\n"));
  EXPECT_FALSE(has(apart, "= list"));
  const std::string together = streams(path, {"--batch"}).standard_output;
  EXPECT_TRUE(has(together, "= list                 2026-01-01T00:00:00.500000Z  [{\"n\":1},{}]\n"))
      << together;
  EXPECT_FALSE(has(together, "= dictionary"));
}

TEST_F(InspectTest, SourcesAndTagsAreKeptApart) {
  Images pages;
  for (const auto& [source, tag] :
       {std::pair("s1", "dict_a"), std::pair("s2", "dict_a"), std::pair("s1", "dict_b")}) {
    DictionaryStreamWriter writer(source_of(tag, source));
    ASSERT_TRUE(writer.new_collection(kTime) && writer.dict_start() &&
                writer.add_none(std::string(source) + tag) && writer.dict_end());
    for (auto& page : writer.take_pages()) pages.push_back(std::move(page));
  }
  const std::string out = streams(file(pages)).standard_output;
  for (const char* name : {"s1dict_a", "s2dict_a", "s1dict_b"}) {
    EXPECT_TRUE(has(out, "PYTHON_NONE                 0  " + std::string(name))) << out;
  }
}

TEST_F(InspectTest, StreamsGoOnFromFileToFile) {
  DictionaryStreamWriter writer(source_of("dict_a"));
  ASSERT_TRUE(writer.new_collection(kTime) && writer.dict_start());
  const std::string first = file(writer.take_pages(), "first.bin");
  ASSERT_TRUE(writer.add_long("n", 1) && writer.dict_end());
  const std::string second = file(writer.take_pages(), "second.bin");
  EXPECT_TRUE(has(streams(first, {second}).standard_output, "  {\"n\":1}\n"));
}

// A recording may begin in the middle of a collection.
TEST_F(InspectTest, EventsOutsideACollectionAreMarkedAndAreNotBad) {
  DictionaryStreamWriter writer(source_of("dict_a"));
  ASSERT_TRUE(writer.new_collection(kTime) && writer.dict_start());
  writer.take_pages();
  ASSERT_TRUE(writer.add_long("n", 1) && writer.dict_end());
  const ChildResult result = streams(file(writer.take_pages()));
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.standard_error, "");
  EXPECT_TRUE(has(result.standard_output,
                  "PYTHON_LONG                 0  -               1  (ignored: no collection has "
                  "begun)\n"))
      << result.standard_output;
}

// Events as they stand, whatever the order.
class InspectEventsTest : public InspectTest {
 protected:
  void event(python_event_type_t type, uint32_t key_id, const std::string& data = {}) {
    ASSERT_TRUE(writer_.whole({0, packDictEventWord(type, key_id)}, as_bytes(data)));
  }

  OpaqueEventsWriter writer_{source_of("dict_a")};
};

TEST_F(InspectEventsTest, ARefusedEventFailsItsPageAndIsToldWithThePagesNumber) {
  event(PYTHON_NEW_COLLECTION, 0, "12345678");
  writer_.next_page();
  event(PYTHON_LIST_END, 0);
  event(PYTHON_DICT_START, kNoKeyId);  // not looked at
  writer_.next_page();
  event(PYTHON_DICT_START, kNoKeyId);
  const std::string path = file(writer_.take_pages());
  const ChildResult result = streams(path);
  EXPECT_EQ(result.exit_code, 1);
  const std::string where = "vektool: error: " + path + ": page 2 (source 's1', tag 'dict_a'): ";
  EXPECT_EQ(result.standard_error,
            where + "[vek_dictionary_reader] 'list end' event does not fit collected data\n" +
                where + "[opaque events extractor] Unable to handle a relevant opaque event\n" +
                where + "[opaque events extractor] events block processing failed\n" + where +
                "the plug-in fails this page; what stands behind is not looked at\n");
  EXPECT_EQ(count_lines(result.standard_output), 4u);
  EXPECT_TRUE(has(result.standard_output,
                  "PYTHON_LIST_END             0  -                 "
                  "(refused)\n"))
      << result.standard_output;
  EXPECT_TRUE(has(result.standard_output, "     3  s1"));
  const ChildResult json = streams(path, {"--json"});
  EXPECT_EQ(json.exit_code, 1);
  EXPECT_TRUE(has(json.standard_output,
                  "{\"schema_version\":1,\"kind\":\"problem\",\"file\":\"" + path +
                      "\",\"page\":2,\"source\":\"s1\",\"tag\":\"dict_a\",\"level\":\"error\","
                      "\"text\":\"[vek_dictionary_reader] 'list end' event does not fit collected "
                      "data\"}\n"));
}

TEST_F(InspectEventsTest, NumbersOfTheWrongSizeSaySo) {
  event(PYTHON_NEW_COLLECTION, 0, "1234");
  EXPECT_TRUE(has(streams(file(writer_.take_pages())).standard_output,
                  "\"4 bytes instead of 8\"  (refused)\n"));
  event(PYTHON_NEW_COLLECTION, 0, "12345678");
  event(PYTHON_DICT_START, kNoKeyId);
  event(PYTHON_ID, 3, "n");
  event(PYTHON_LONG, 3, "1234567");
  EXPECT_TRUE(has(streams(file(writer_.take_pages())).standard_output,
                  "n               \"7 bytes instead of 8\"  (refused)\n"));
}

TEST_F(InspectEventsTest, UnknownTypesAreNamedSo) {
  event(PYTHON_NEW_COLLECTION, 0, "12345678");
  event(static_cast<python_event_type_t>(12), 3);
  const ChildResult result = streams(file(writer_.take_pages()));
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_output, "PYTHON_UNKNOWN              3  -"));
  EXPECT_TRUE(has(result.standard_error, "got an event of unknown type 12"));
}

TEST_F(InspectEventsTest, AKeyThatBeginsAsTheOldOneKeepsTheOldName) {
  event(PYTHON_NEW_COLLECTION, 0, "12345678");
  event(PYTHON_DICT_START, kNoKeyId);
  event(PYTHON_ID, 3, "name");
  event(PYTHON_ID, 3, "na");
  event(PYTHON_NONE, 3);
  EXPECT_TRUE(has(streams(file(writer_.take_pages())).standard_output,
                  "PYTHON_NONE                 3  name            null\n"));
}

TEST_F(InspectEventsTest, WhatATerminalWouldObeyIsEscaped) {
  event(PYTHON_NEW_COLLECTION, 0, "12345678");
  event(PYTHON_DICT_START, kNoKeyId);
  event(PYTHON_ID, 3, "n\033[2J");
  event(PYTHON_STRING, 3, "v\033[2J");
  const std::string out = streams(file(writer_.take_pages())).standard_output;
  EXPECT_FALSE(has(out, "\033"));
  EXPECT_TRUE(has(out, "n\\u001b[2J"));
  EXPECT_TRUE(has(out, "\"v\\u001b[2J\""));
}

TEST_F(InspectEventsTest, EventsOfUnknownLengthAreToldWithThePagesNumber) {
  event(PYTHON_NEW_COLLECTION, 0, "12345678");
  const std::string path = file(writer_.take_pages());
  dir_.write("none/x", "");
  const ChildResult result = inspect({"--streams", "--schema-dir", dir_.file("none"), path});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_error, path + ": page 1 (source 's1', tag 'dict_a'): [opaque "
                                                "events extractor] Unable to get type_definition "
                                                "for schema_index:0 type_index:0\n"))
      << result.standard_error;
}

TEST_F(InspectEventsTest, PagesBeforeDamageAreTold) {
  event(PYTHON_NEW_COLLECTION, 0, "12345678");
  Images pages = writer_.take_pages();
  pages.push_back(std::vector<uint8_t>(100));
  const std::string path = file(pages);
  const std::string damage = path +
                             ": page 2 at byte 840: ends inside the page header: 100 of 720 "
                             "bytes are there";
  const ChildResult result = streams(path);
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.standard_error, "vektool: error: " + damage + "\n");
  EXPECT_EQ(count_lines(result.standard_output), 2u);
  const std::string json = streams(path, {"--json"}).standard_output;
  EXPECT_TRUE(has(json, "{\"schema_version\":1,\"kind\":\"problem\",\"file\":\"" + path +
                            "\",\"page\":2,\"source\":\"\",\"tag\":\"\",\"level\":\"error\","
                            "\"text\":\"" +
                            damage + "\"}\n"))
      << json;
}

// ---- opaque events

TEST_F(InspectTest, TellsOpaqueEventsOfAnAggregator) {
  OpaqueEventsWriter writer(source_of("fluent_aggr", "aggr"));
  ASSERT_TRUE(writer.whole({1, 2}, as_bytes("abc")));
  ASSERT_TRUE(writer.extended(7, {3, 4}, {{"fluent_tag", "x y"}}, as_bytes(std::string(50, 'p'))));
  OpaqueEventsSource other = source_of("fluent_aggr", "aggr");
  other.app_id = {};
  OpaqueEventsWriter others(other);
  ASSERT_TRUE(others.whole({}, {}));
  Images pages = writer.take_pages();
  pages.push_back(others.take_pages()[0]);
  const std::string path = file(pages);
  const ChildResult result = streams(path);
  EXPECT_EQ(result.exit_code, 0);
  const std::string head = "  aggr              fluent_aggr   opaque event           ";
  EXPECT_EQ(result.standard_output.substr(result.standard_output.find('\n') + 1),
            "     1" + head +
                "3 bytes, app 76b7d696-9d5a-4bc5-802f-2600d73a971b, words 1 2, no options\n" +
                "     1" + head +
                "50 bytes, app 76b7d696-9d5a-4bc5-802f-2600d73a971b, words 3 4, options "
                "fluent_tag=x y\n" +
                "     2" + head +
                "0 bytes, app 00000000-0000-0000-0000-000000000000, words 0 0, no options  (of "
                "another application: passed over)\n");
  const std::string json = streams(path, {"--json"}).standard_output;
  EXPECT_TRUE(has(json,
                  "\"app_id\":\"76b7d696-9d5a-4bc5-802f-2600d73a971b\",\"for_plugin\":true,"
                  "\"first_word\":3,\"second_word\":4,\"size\":50,\"options\":{"
                  "\"fluent_tag\":\"x y\"}}\n"))
      << json;
  EXPECT_TRUE(has(json,
                  "\"for_plugin\":false,\"first_word\":0,\"second_word\":0,\"size\":0,"
                  "\"options\":null}\n"));
}

TEST_F(InspectTest, PagesWithoutStreamsArePassedOver) {
  PageWriter page("s", "dict");
  page.counters_block(kTime, std::vector<uint8_t>(32));
  const ChildResult result = streams(file({page.finish()}));
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.standard_error,
            "No page holds a stream: none is tagged 'dict_...' or 'fluent_aggr'.\n");
  EXPECT_EQ(count_lines(result.standard_output), 1u);
}

TEST_F(InspectTest, AReaderThatHasSeenEnoughEndsItQuietly) {
  DictionaryStreamWriter writer(source_of("dict_a"));
  for (int i = 0; i < 2000; ++i) {
    ASSERT_TRUE(writer.new_collection(kTime) && writer.dict_start() &&
                writer.add_string("s", std::string(100, 'x')) && writer.dict_end());
  }
  const ChildResult result =
      run_shell("\"$TOOL\" inspect --streams --schema-dir " + dir_.file("schemas") + " " +
                file(writer.take_pages()) + " | head -n 1 | wc -l");
  EXPECT_EQ(result.standard_output, "1\n");
  EXPECT_EQ(result.standard_error, "");
}

}  // namespace
}  // namespace vek::test
