#include <gtest/gtest.h>

#include <map>

#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"

namespace vek::test {
namespace {

using Words = std::vector<std::string>;

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class GenerateFaultsTest : public testing::Test {
 protected:
  ChildResult generate(const std::string& name, const Words& more) {
    Words words{"generate", "--output", dir_.file(name), "--seed", "3", "--pages", "120"};
    words.insert(words.end(), more.begin(), more.end());
    return run_tool(words);
  }
  ChildResult inspect(const std::string& name, const std::string& file, const Words& more) {
    Words words{"inspect", "--schema-dir", dir_.file(name + "/schemas")};
    words.insert(words.end(), more.begin(), more.end());
    words.push_back(dir_.file(name + "/" + file));
    return run_tool(words);
  }
  // The page that a line of the output puts a fault in.
  static std::string page_of(const std::string& out, const std::string& fault) {
    const size_t line = out.find("fault  " + fault);
    if (line == std::string::npos) return "";
    const size_t at = out.find("page ", line) + 5;
    return out.substr(at, out.find(' ', at) - at);
  }

  TempDir dir_;
};

TEST_F(GenerateFaultsTest, EachFaultIsFoundWhereItWasPut) {
  const ChildResult made = generate("d", {"--faults", "all"});
  ASSERT_EQ(made.exit_code, 0) << made.standard_error;
  const std::string& out = made.standard_output;

  // The page that ends too early hides what is behind it, unless it is salvaged.
  const ChildResult plain = inspect("d", "pages.bin", {"--pages"});
  EXPECT_EQ(plain.exit_code, 1);
  const ChildResult salvaged = inspect("d", "pages.bin", {"--pages", "--salvage"});
  EXPECT_TRUE(has(salvaged.standard_error, "the next page begins inside this one"));
  EXPECT_GT(salvaged.standard_output.size(), plain.standard_output.size());

  const auto fault_on = [&](const std::string& fault) {
    return inspect("d", "pages.bin", {"--salvage", "--pages", "--page", page_of(out, fault)})
        .standard_output;
  };
  EXPECT_TRUE(has(fault_on("flipped-bit"), "! byte 723: byte 0xc4 names no kind of block"));
  EXPECT_TRUE(has(fault_on("unknown-schema"), "! byte 144: the counters schema is not known"));
  EXPECT_TRUE(has(fault_on("clock-jump"), "2025-12-31T23:")) << fault_on("clock-jump");

  const ChildResult streams = inspect("d", "streams.bin", {"--streams"});
  for (const char* fault : {"missing-chunk", "reordered-chunk"}) {
    EXPECT_TRUE(has(streams.standard_error, "page " + page_of(out, fault) + " (source"))
        << fault << "\n"
        << out << streams.standard_error;
  }
}

TEST_F(GenerateFaultsTest, TheCounterPassesTheLargestNumberAtItsPage) {
  const ChildResult made = generate("d", {"--faults", "counter-wrap"});
  const uint64_t page = std::stoull(page_of(made.standard_output, "counter-wrap"));
  const std::string hex =
      inspect("d", "pages.bin", {"--hex", "--source", "leaf01.hall-a"}).standard_output;
  std::map<uint64_t, uint64_t> values;  // by page
  for (size_t at = 0; (at = hex.find("page ", at)) != std::string::npos; ++at) {
    const size_t value = hex.find(" rx_bytes = ", at);
    values[std::stoull(hex.substr(at + 5))] = std::stoull(hex.substr(value + 12));
  }
  ASSERT_TRUE(values.contains(page));
  uint64_t before = 0;
  for (const auto& [number, value] : values) {
    EXPECT_EQ(value < before, number == page) << number;
    before = value;
  }
}

TEST_F(GenerateFaultsTest, FaultsChangeOnlyWhatTheyAreIn) {
  ASSERT_EQ(generate("good", {}).exit_code, 0);
  ASSERT_EQ(generate("d", {"--faults", "flipped-bit"}).exit_code, 0);
  std::string good = read_file(dir_.file("good/pages.bin"));
  const std::string bad = read_file(dir_.file("d/pages.bin"));
  ASSERT_EQ(good.size(), bad.size());
  size_t different = 0;
  for (size_t i = 0; i < good.size(); ++i) different += good[i] != bad[i] ? 1 : 0;
  EXPECT_EQ(different, 1u);
  EXPECT_EQ(read_file(dir_.file("good/streams.bin")), read_file(dir_.file("d/streams.bin")));
}

TEST_F(GenerateFaultsTest, TheSameSeedPutsThemInTheSamePlaces) {
  const std::string first = generate("a", {"--faults", "all", "--json"}).standard_output;
  const std::string second = generate("b", {"--faults", "all", "--json"}).standard_output;
  EXPECT_EQ(first.substr(first.find("\"seed\"")), second.substr(second.find("\"seed\"")));
  EXPECT_TRUE(has(first, "\"schema_version\":1,\"directory\":"));
  EXPECT_TRUE(
      has(first, "\"faults\":[{\"fault\":\"flipped-bit\",\"file\":\"pages.bin\",\"page\":"));
  // Also when some of them are alone.
  const std::string alone =
      generate("c", {"--faults", "clock-jump,flipped-bit", "--json"}).standard_output;
  const size_t at = alone.find("{\"fault\":\"clock-jump\"");
  ASSERT_NE(at, std::string::npos);
  EXPECT_TRUE(has(first, alone.substr(at, alone.find('}', at) - at))) << first << alone;
}

TEST_F(GenerateFaultsTest, WrongNamesAreUsageErrors) {
  ChildResult result = generate("d", {"--faults", "flipped-bits"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_TRUE(has(result.standard_error, "'flipped-bits' is no fault; did you mean 'flipped-bit'?"))
      << result.standard_error;
  result = generate("d", {"--faults", "xyz"});
  EXPECT_TRUE(has(result.standard_error, "there are all, truncated-page, flipped-bit, "));
  EXPECT_EQ(generate("d", {"--faults", ""}).exit_code, 2);
  result = run_tool({"generate", "--output", dir_.file("d"), "--pages", "59", "--faults", "all"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_TRUE(has(result.standard_error, "needs at least 60 pages"));
}

}  // namespace
}  // namespace vek::test
