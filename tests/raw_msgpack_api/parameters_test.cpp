#include "raw_msgpack_api/parameters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <utility>

#include "raw_msgpack_api/settings.h"
#include "tests/support/log_capture.h"
#include "utils/owned.h"

namespace vek::engine {
namespace {

using List = Owned<fluentbit_export_parameters_t, fluentbit_export_destroy_parameters>;
using test::LogCapture;
using testing::ElementsAre;

List list(std::initializer_list<std::pair<const char*, const char*>> pairs) {
  List result(fluentbit_export_init_parameters());
  for (const auto& [name, value] : pairs) push_parameter(result.get(), name, value);
  return result;
}

TEST(Parameters, AreFoundInAnyCaseAndTheLastCounts) {
  const List pairs = list({{"Tag", "a"}, {"TAG", "b"}, {"empty", ""}});
  const Parameters parameters(pairs.get());
  EXPECT_EQ(parameters.find("tag"), "b");
  EXPECT_EQ(parameters.find("empty"), "");
  EXPECT_EQ(parameters.find("ta"), std::nullopt);
  EXPECT_EQ(parameters.text("empty", "fallback"), "fallback");
  EXPECT_EQ(parameters.text("absent", "fallback"), "fallback");
}

TEST(Parameters, MayBeAbsentAltogether) {
  const Parameters parameters(nullptr);
  EXPECT_EQ(parameters.find("Tag"), std::nullopt);
  EXPECT_TRUE(parameters.all_known("null", {}));
}

TEST(Parameters, AcceptWhatEveryOutputOfALogProcessorTakes) {
  const List pairs = list({{"match", "*"},
                           {"MATCH_REGEX", "x"},
                           {"Alias", "a"},
                           {"Tag", "t"},
                           {"Retry_Limit", "5"},
                           {"Host", "h"},
                           {"port", "1"},
                           {"Log_Level", "info"},
                           {"Workers", "1"},
                           {"tls", "on"},
                           {"TLS.verify", "off"},
                           {"net.keepalive", "on"},
                           {"storage.total_limit_size", "5M"},
                           {"Mem_Buf_Limit", "1M"},
                           {"vek.engine", "auto"},
                           {"vek.grace", "1"}});
  LogCapture log(4);
  EXPECT_TRUE(Parameters(pairs.get()).all_known("null", {}));
  EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST(Parameters, NameTheStrangerAndItsNearestNeighbour) {
  constexpr std::array<std::string_view, 3> kOwn = {"path", "file", "format"};
  const std::pair<const char*, const char*> cases[] = {{"formt", "format"},
                                                       {"pth", "path"},
                                                       {"Retry_Limits", "Retry_Limit"},
                                                       {"vek.grce", "vek.grace"},
                                                       {"mem_buf", "Mem_Buf_Limit"}};
  for (const auto& [stranger, neighbour] : cases) {
    LogCapture log;
    const List pairs = list({{"path", "/"}, {stranger, "x"}});
    EXPECT_FALSE(Parameters(pairs.get()).all_known("file", kOwn));
    EXPECT_THAT(log.errors(),
                ElementsAre("[raw msgpack API] output 'file' has no parameter '" +
                            std::string(stranger) + "'; did you mean '" + neighbour + "'?"));
  }
}

TEST(Parameters, AreGivenInTheirOrder) {
  const List pairs = list({{"Header", "A 1"}, {"uri", ""}, {"Header", "B 2"}});
  const std::vector<std::pair<std::string_view, std::string_view>> expected = {
      {"Header", "A 1"}, {"uri", ""}, {"Header", "B 2"}};
  EXPECT_EQ(Parameters(pairs.get()).all(), expected);
  EXPECT_THAT(Parameters(nullptr).all(), testing::IsEmpty());
}

TEST(Parameters, OfOtherEnginesAreOnlyJudgedWhereTheyAreOurs) {
  constexpr std::array<std::string_view, 1> kOwn = {"vek.depth"};
  const List theirs = list({{"urii", "/"}, {"VEK.Depth", "1"}, {"vek.grace", "1"}});
  EXPECT_TRUE(Parameters(theirs.get()).all_engine_names_known("http", kOwn));
  LogCapture log;
  const List ours = list({{"vek.deph", "1"}});
  EXPECT_FALSE(Parameters(ours.get()).all_engine_names_known("http", kOwn));
  EXPECT_THAT(log.errors(),
              ElementsAre("[raw msgpack API] output 'http' has no parameter 'vek.deph'; did you "
                          "mean 'vek.depth'?"));
}

TEST(ParseSize, TakesTheUnitsOfLogProcessors) {
  EXPECT_EQ(parse_size("1"), 1u);
  EXPECT_EQ(parse_size("64k"), 64'000u);
  EXPECT_EQ(parse_size("64KB"), 64'000u);
  EXPECT_EQ(parse_size("5M"), 5'000'000u);
  EXPECT_EQ(parse_size("1gb"), 1'000'000'000u);
  for (const char* wrong : {"", "0", "0M", "M", "-1", "1T", "1 M", "1MX", "1MBB",
                            "99999999999999999999", "18446744073709551615K"}) {
    EXPECT_EQ(parse_size(wrong), std::nullopt) << wrong;
  }
}

TEST(ParseSeconds, TakesFractionsUpToAnHour) {
  EXPECT_EQ(parse_seconds("0"), 0.0);
  EXPECT_EQ(parse_seconds("0.25"), 0.25);
  EXPECT_EQ(parse_seconds("3600"), 3600.0);
  for (const char* wrong : {"", "-1", "3601", "5s", "x", "nan", "inf", "1e3"}) {
    EXPECT_EQ(parse_seconds(wrong), std::nullopt) << wrong;
  }
}

TEST(ReadSettings, HasDefaults) {
  const auto settings = read_settings(Parameters(nullptr), {"file", "h", "1", "cntr"});
  ASSERT_TRUE(settings);
  EXPECT_EQ(settings->name, "file");
  EXPECT_EQ(settings->tag, "cntr");
  EXPECT_EQ(settings->mem_buf_limit, 64'000'000u);
  EXPECT_EQ(settings->grace, std::chrono::seconds(5));
  EXPECT_EQ(read_settings(Parameters(nullptr), {"file", "h", "1", ""})->tag, "vek");
}

TEST(ReadSettings, ReadsWhatIsGiven) {
  const List pairs =
      list({{"alias", "a"}, {"tag", "t"}, {"mem_buf_limit", "2k"}, {"VEK.GRACE", "0.5"}});
  const auto settings = read_settings(Parameters(pairs.get()), {"file", "h", "1", "cntr"});
  ASSERT_TRUE(settings);
  EXPECT_EQ(settings->name, "a");
  EXPECT_EQ(settings->tag, "t");
  EXPECT_EQ(settings->mem_buf_limit, 2000u);
  EXPECT_EQ(settings->grace, std::chrono::milliseconds(500));
}

TEST(ReadSettings, RefusesWhatItCannotUse) {
  const std::array<std::array<const char*, 3>, 2> cases = {{
      {"Mem_Buf_Limit", "much",
       "[raw msgpack API] Mem_Buf_Limit = 'much' is no size; write it as 64M"},
      {"vek.grace", "-1",
       "[raw msgpack API] vek.grace = '-1' is no number of seconds from 0 to 3600"},
  }};
  for (const auto& [name, value, message] : cases) {
    LogCapture log;
    const List pairs = list({{name, value}});
    EXPECT_FALSE(read_settings(Parameters(pairs.get()), {"null", "h", "1", "cntr"}));
    EXPECT_THAT(log.errors(), ElementsAre(message));
  }
}

}  // namespace
}  // namespace vek::engine
