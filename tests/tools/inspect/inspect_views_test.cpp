#include <gtest/gtest.h>

#include <cstring>

#include "data/page_writer.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"

namespace vek::test {
namespace {

using Words = std::vector<std::string>;

constexpr uint64_t kTime = 1767225600500000;

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> all;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    all.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return all;
}

// Two pages with schemas of their own, in files that the demonstration does not have.
class InspectViewsTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new TempDir;
    ASSERT_EQ(run_tool({"generate", "--output", dir_->file("d"), "--pages", "12"}).exit_code, 0);
  }
  static void TearDownTestSuite() { delete dir_; }

  static std::string pages() { return dir_->file("d/pages.bin"); }
  static std::string schemas() { return dir_->file("d/schemas"); }

  static ChildResult inspect(Words more, const ToolSetting& setting = {}) {
    more.insert(more.begin(), "inspect");
    return run_tool(more, setting);
  }
  static ChildResult known(Words more) {
    more.insert(more.begin(), {"--schema-dir", schemas()});
    more.push_back(pages());
    return inspect(more);
  }

  static std::string image(uint64_t time_us = kTime) {
    PageWriter page("leaf01", "hall_a");
    page.counters_block(time_us, std::vector<uint8_t>(16, 0xab));
    const auto bytes = page.finish();
    return {bytes.begin(), bytes.end()};
  }

  static TempDir* dir_;
};

TempDir* InspectViewsTest::dir_ = nullptr;

// ---- pages and blocks

TEST_F(InspectViewsTest, ALineAPageSaysWhereItLiesAndWhatItHolds) {
  const std::string path = dir_->write("two.bin", image() + image(kTime + 1));
  EXPECT_EQ(inspect({"--pages", path}).standard_output,
            "  page     at byte     bytes    filled  counters  events  first time                 "
            "  source            tag\n"
            "     1           0       752       752         1       0  2026-01-01T00:00:00.500000Z"
            "  leaf01            hall_a\n"
            "     2         752       752       752         1       0  2026-01-01T00:00:00.500001Z"
            "  leaf01            hall_a\n");
  EXPECT_EQ(lines(inspect({"--pages", "--json", path}).standard_output).at(1),
            "{\"schema_version\":1,\"kind\":\"page\",\"file\":\"" + path +
                "\",\"page\":2,\"offset\":752,\"version\":\"1.7\",\"bytes\":752,\"filled\":752,"
                "\"block_size\":0,\"source\":\"leaf01\",\"tag\":\"hall_a\",\"schema_id\":null,"
                "\"first_time\":1767225600500001,\"last_time\":1767225600500001,"
                "\"counters_blocks\":1,\"events_blocks\":0,\"events\":0,\"schemas_blocks\":0,"
                "\"unknown_blocks\":0,\"fault\":null}");
}

TEST_F(InspectViewsTest, ALineABlockNamesTypesAndSchemas) {
  const std::string out = known({"--blocks"}).standard_output;
  EXPECT_TRUE(has(out, "100 counters of schema ")) << out;
  EXPECT_TRUE(has(out, "link_state_change\n")) << out;
  const auto json = lines(known({"--blocks", "--json"}).standard_output);
  size_t typed = 0;
  for (const std::string& line : json) {
    EXPECT_TRUE(line.starts_with("{\"schema_version\":1,\"kind\":\"block\",\"file\":")) << line;
    typed += has(line, "\"type\":\"link_state_change\",\"fault\":null}") ? 1 : 0;
  }
  EXPECT_GT(typed, 0u);
}

TEST_F(InspectViewsTest, WithoutSchemasTypesAreNumbers) {
  const std::string out = inspect({"--blocks", pages()}).standard_output;
  EXPECT_TRUE(has(out, " of type ")) << out;
  EXPECT_FALSE(has(out, "!")) << out;
}

TEST_F(InspectViewsTest, SchemasAreListedWithWhatUsesThem) {
  const std::string out = known({"--schemas"}).standard_output;
  EXPECT_TRUE(has(out, "100 counters in 3 groups, ")) << out;
  EXPECT_TRUE(has(out, "type 1  link_state_change\n")) << out;
  EXPECT_FALSE(has(out, "not known")) << out;
  const std::string empty = dir_->file("d/records");
  const std::string unknown =
      inspect({"--schema-dir", empty, "--schemas", pages()}).standard_output;
  EXPECT_TRUE(has(unknown, "counters  not known\n")) << unknown;
  const std::string json = known({"--schemas", "--json"}).standard_output;
  EXPECT_TRUE(has(json, "{\"schema_version\":1,\"kind\":\"schema\",\"file\":\"" + pages() +
                            "\",\"schema_id\":\""))
      << json;
  EXPECT_TRUE(has(json, "\"of\":\"counters\",\"known\":true,")) << json;
}

// ---- bytes

TEST_F(InspectViewsTest, EveryByteIsLabelledByItsField) {
  const std::string out = known({"--hex", "--page", "1"}).standard_output;
  EXPECT_TRUE(has(out, "00000008  ")) << out;
  EXPECT_TRUE(has(out, "  total = ")) << out;
  EXPECT_TRUE(has(out, "  source = \"leaf01.hall-a\"\n")) << out;
  EXPECT_TRUE(has(out, "56 45 4b 44                                      counters block\n")) << out;
  EXPECT_TRUE(has(out, "  time = \"2026-01-01T00:00:00.000000Z\"\n")) << out;
  EXPECT_TRUE(has(out, "  rx_bytes = ")) << out;
  EXPECT_TRUE(has(out, "  temperature_asic = ")) << out;
  EXPECT_FALSE(has(out, "\033")) << out;
}

// The fields of a page, put together, are the page.
TEST_F(InspectViewsTest, NoByteIsLeftOutOfJson) {
  const auto json = lines(known({"--hex", "--json"}).standard_output);
  const std::string file = read_file(pages());
  std::string bytes;
  for (const std::string& line : json) {
    const size_t at = line.find("\"hex\":\"") + 7;
    for (size_t i = at; line[i] != '"'; i += 2) {
      bytes += static_cast<char>(std::stoi(line.substr(i, 2), nullptr, 16));
    }
  }
  EXPECT_TRUE(bytes == file);
  EXPECT_TRUE(has(json[0], "\"field\":\"version\",\"value\":1,\"hex\":\"01\",\"fault\":null}"));
}

TEST_F(InspectViewsTest, ValuesOfEventsAreNamedByTheirPaths) {
  const std::string out = known({"--hex", "--type", "alarm"}).standard_output;
  EXPECT_TRUE(has(out, "  alarm[0].severity = ")) << out;
  EXPECT_TRUE(has(out, "  alarm[0].ports[3]")) << out;
}

TEST_F(InspectViewsTest, TheFirstBadByteIsMarked) {
  std::string bent = image();
  bent[723] = '?';
  const std::string path = dir_->write("bent.bin", bent);
  const std::string out = inspect({"--hex", path}).standard_output;
  EXPECT_TRUE(has(out,
                  "000002d0  56 45 4b 3f                                      unknown block\n"
                  "                   ^^ first bad byte: '?' names no kind of block\n"))
      << out;
  const std::string coloured = inspect({"--hex", "--color", "always", path}).standard_output;
  EXPECT_TRUE(has(coloured, "\033[1;37;41m3f\033[0m")) << coloured;
  ToolSetting setting;
  setting.environment = {{"NO_COLOR", "1"}};
  EXPECT_FALSE(has(inspect({"--hex", path}, setting).standard_output, "\033"));
  EXPECT_FALSE(has(inspect({"--hex", "--color", "never", path}).standard_output, "\033"));
}

// ---- what is broken

TEST_F(InspectViewsTest, CountersThatReachPastTheirBlockAreBroken) {
  std::string file = read_file(pages());
  uint64_t filled = 0;
  std::memcpy(&filled, file.data() + 16, 8);
  filled -= 100;
  std::memcpy(file.data() + 16, &filled, 8);
  const std::string path = dir_->write("short.bin", file);
  for (const char* view : {"--pages", "--blocks", "--hex"}) {
    SCOPED_TRACE(view);
    const ChildResult result = inspect({"--schema-dir", schemas(), view, path});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(has(result.standard_error, path + ": page 1: byte ")) << result.standard_error;
    EXPECT_TRUE(has(result.standard_error, "the counters reach past their block: "));
    EXPECT_TRUE(has(result.standard_output, "the counters reach past their block: "));
  }
  const ChildResult summary = inspect({"--schema-dir", schemas(), path});
  EXPECT_EQ(summary.exit_code, 1);
  EXPECT_TRUE(has(summary.standard_output, "\n  broken    1 page: page 1: byte "))
      << summary.standard_output;
}

TEST_F(InspectViewsTest, AFileFullOfBrokenPagesIsToldAfterSome) {
  std::string bent = image();
  bent[16] = 1;
  bent[17] = 127;
  std::string all;
  for (int i = 0; i < 30; ++i) all += bent;
  const ChildResult result = inspect({dir_->write("all.bin", all)});
  EXPECT_EQ(lines(result.standard_error).size(), 21u);
  EXPECT_EQ(lines(result.standard_error).back(), "More pages are broken.");
}

// ---- salvage

TEST_F(InspectViewsTest, SalvageGoesOnBehindDamageAndCountsWhatWasLost) {
  const std::string path = dir_->write("cut.bin", image() + image().substr(0, 730) + image());
  const ChildResult plain = inspect({path});
  EXPECT_EQ(plain.exit_code, 1);
  const ChildResult result = inspect({"--salvage", path});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.standard_error, "vektool: error: " + path +
                                       ": 730 bytes at byte 752 are lost: the next page begins "
                                       "inside this one: 730 of 752 bytes are there\n");
  EXPECT_TRUE(has(result.standard_output, "\n  pages     2, "));
  EXPECT_TRUE(
      has(result.standard_output, "\n  lost      730 bytes in 1 place, 1 cut page among them\n"))
      << result.standard_output;
  const std::string json = inspect({"--salvage", "--json", "--pages", path}).standard_output;
  EXPECT_TRUE(has(json, "{\"schema_version\":1,\"kind\":\"lost\",\"file\":\"" + path +
                            "\",\"offset\":752,\"bytes\":730,\"cut_page\":true,\"text\":\""))
      << json;
  EXPECT_EQ(lines(json).size(), 3u);
  EXPECT_EQ(inspect({"--salvage", pages()}).exit_code, 0);
}

// ---- filters

TEST_F(InspectViewsTest, PagesAreChosenByTagSourceTimeTypeAndNumber) {
  const auto count = [](const Words& filter) {
    Words words{"--pages", "--json"};
    words.insert(words.end(), filter.begin(), filter.end());
    const ChildResult result = known(words);
    EXPECT_EQ(result.exit_code, 0) << result.standard_error;
    return lines(result.standard_output).size();
  };
  const size_t all = count({});
  EXPECT_EQ(all, 12u);
  EXPECT_EQ(count({"--tag", "hall_a"}) + count({"--tag", "hall_b"}), count({"--tag", "hall_*"}));
  EXPECT_EQ(count({"--tag", "hall_a", "--tag", "hall_b"}), count({"--tag", "hall_*"}));
  EXPECT_GT(count({"--tag", ""}), 0u);
  EXPECT_EQ(count({"--source", "leaf01.*", "--tag", "hall_a"}),
            count({"--source", "leaf01.hall-a"}));
  const std::string middle = "2026-01-01T00:00:01Z";
  EXPECT_EQ(count({"--from", middle}) + count({"--to", middle}), all);
  EXPECT_GT(count({"--from", middle}), 0u);
  EXPECT_EQ(count({"--type", "events"}) + count({"--tag", "hall_*"}) + count({"--tag", ""}), all);
  EXPECT_GT(count({"--type", "link_state_*"}), 0u);
  EXPECT_EQ(count({"--page", "3"}), 1u);
  EXPECT_EQ(count({"--page", "3-5"}), 3u);
  EXPECT_EQ(count({"--page", "11-"}), 2u);
}

TEST_F(InspectViewsTest, TypesChooseBlocks) {
  for (const std::string& line :
       lines(known({"--blocks", "--json", "--type", "alarm"}).standard_output)) {
    EXPECT_TRUE(has(line, "\"type\":\"alarm\"")) << line;
  }
}

TEST_F(InspectViewsTest, NamesThatNoPageHasAreToldWithTheNearest) {
  ChildResult result = known({"--tag", "hal_a"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.standard_error,
            "vektool: warning: --tag: no page has the tag 'hal_a'; did you mean 'hall_a'?\n");
  result = known({"--type", "alrm"});
  EXPECT_TRUE(has(result.standard_error, "no page has the type 'alrm'; did you mean 'alarm'?"));
}

// ---- conventions

TEST_F(InspectViewsTest, OneViewAtATime) {
  EXPECT_EQ(known({"--pages", "--blocks"}).exit_code, 2);
  for (const char* page : {"0", "x", "3-2", "3-x", "3x"}) {
    const ChildResult result = known({"--page", page});
    EXPECT_EQ(result.exit_code, 2) << page;
    EXPECT_TRUE(has(result.standard_error, "is no page such as 7")) << result.standard_error;
  }
  EXPECT_TRUE(has(known({"--blcks"}).standard_error, "did you mean '--blocks'?"));
}

TEST_F(InspectViewsTest, IntegersCanBeQuoted) {
  const std::string out =
      known({"--pages", "--json", "--int64", "string", "--page", "1"}).standard_output;
  EXPECT_TRUE(has(out, "\"first_time\":\"1767225600000000\"")) << out;
}

TEST_F(InspectViewsTest, WhatATerminalWouldObeyIsEscaped) {
  PageWriter page("leaf\033[2J", "t\r");
  page.counters_block(kTime, std::vector<uint8_t>(16));
  const auto bytes = page.finish();
  const std::string path = dir_->write("odd.bin", std::string(bytes.begin(), bytes.end()));
  for (const char* view : {"--pages", "--blocks", "--hex", "--schemas"}) {
    const std::string out = inspect({view, path}).standard_output;
    EXPECT_FALSE(has(out, "\033") || has(out, "\r")) << out;
  }
}

TEST_F(InspectViewsTest, AReaderThatHasSeenEnoughEndsItQuietly) {
  std::string all;
  for (int i = 0; i < 500; ++i) all += image();
  const std::string path = dir_->write("many.bin", all);
  const ChildResult result = run_shell("\"$TOOL\" inspect --hex " + path + " | head -n 1 | wc -l");
  EXPECT_EQ(result.standard_output, "1\n");
  EXPECT_EQ(result.standard_error, "");
}

}  // namespace
}  // namespace vek::test
