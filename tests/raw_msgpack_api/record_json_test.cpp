#include "raw_msgpack_api/record_json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "raw_msgpack_api/json_scalars.h"
#include "tests/raw_msgpack_api/pack.h"

namespace vek::engine {
namespace {

using test::Pack;

std::string text(const Pack& pack, TextStyle style = TextStyle::kJson) {
  std::string out;
  append_text(Bytes{pack.data(), pack.size()}, style, out);
  return out;
}

std::string escaped(std::string_view raw) {
  std::string out;
  append_json_string(raw, out);
  return out;
}

TEST(AppendText, WritesIntegersExactly) {
  EXPECT_EQ(text(Pack().u(0)), "0");
  EXPECT_EQ(text(Pack().u(UINT64_MAX)), "18446744073709551615");
  EXPECT_EQ(text(Pack().u((1ull << 53) + 1)), "9007199254740993");
  EXPECT_EQ(text(Pack().i(-1)), "-1");
  EXPECT_EQ(text(Pack().i(INT64_MIN)), "-9223372036854775808");
  EXPECT_EQ(text(Pack().raw({0xd0, 0x05})), "5");
}

TEST(AppendText, WritesFloatsShortAndRecognisable) {
  EXPECT_EQ(text(Pack().f64(0.1)), "0.1");
  EXPECT_EQ(text(Pack().f64(1)), "1.0");
  EXPECT_EQ(text(Pack().f64(-0.0)), "-0.0");
  EXPECT_EQ(text(Pack().f64(1700000000)), "1700000000.0");
  EXPECT_EQ(text(Pack().f64(1700000000.123456)), "1700000000.123456");
  EXPECT_EQ(text(Pack().f64(1e300)), "1e+300");
  EXPECT_EQ(text(Pack().f64(5e-324)), "5e-324");
  EXPECT_EQ(text(Pack().f32(0.1f)), "0.1");
}

TEST(AppendText, WritesFloatsThatReadBackAsTheSame) {
  for (const double number :
       {0.1 + 0.2, 1e16 + 2, 99999999999999984.0, 123456.789e-9, 1e-5, 1e17,
        std::numeric_limits<double>::max(), std::numeric_limits<double>::denorm_min()}) {
    EXPECT_EQ(std::strtod(text(Pack().f64(number)).c_str(), nullptr), number);
    EXPECT_EQ(std::strtod(text(Pack().f64(-number)).c_str(), nullptr), -number);
  }
}

TEST(AppendText, WritesNullForWhatJsonLacks) {
  EXPECT_EQ(text(Pack().f64(std::nan(""))), "null");
  EXPECT_EQ(text(Pack().f64(std::numeric_limits<double>::infinity())), "null");
  EXPECT_EQ(text(Pack().f32(-std::numeric_limits<float>::infinity())), "null");
  EXPECT_EQ(text(Pack().nil()), "null");
}

TEST(AppendText, WritesBytesAndExtensionsWithoutLoss) {
  EXPECT_EQ(text(Pack().bin("")), "\"\"");
  EXPECT_EQ(text(Pack().bin("f")), "\"Zg==\"");
  EXPECT_EQ(text(Pack().bin("fo")), "\"Zm8=\"");
  EXPECT_EQ(text(Pack().bin("foo")), "\"Zm9v\"");
  EXPECT_EQ(text(Pack().bin("\xff\xfe\xfd\xfc")), "\"//79/A==\"");
  EXPECT_EQ(text(Pack().ext(-3, "foo")), R"({"type":-3,"data":"Zm9v"})");
  EXPECT_EQ(text(Pack().ext(0, {"\0\0\0\x02\0\0\0\x03", 8})), "2.000000003");
  EXPECT_EQ(text(Pack().ext(0, {"\0\0\0\x02\xff\0\0\0", 8})),
            R"({"type":0,"data":"AAAAAv8AAAA="})");
}

TEST(AppendText, KeepsOrderDuplicatesAndEmptyContainers) {
  EXPECT_EQ(text(Pack()
                     .array(2)
                     .f64(1.5)
                     .map(4)
                     .str("b")
                     .array(0)
                     .str("a")
                     .map(0)
                     .str("b")
                     .boolean(true)
                     .str("")
                     .array(2)
                     .u(1)
                     .map(1)
                     .str("k")
                     .nil()),
            R"([1.5,{"b":[],"a":{},"b":true,"":[1,{"k":null}]}])");
}

TEST(AppendText, MakesTextOfKeysThatAreNone) {
  EXPECT_EQ(text(Pack().map(1).u(5).nil()), R"({"5":null})");
  EXPECT_EQ(text(Pack().map(1).i(-5).nil()), R"({"-5":null})");
  EXPECT_EQ(text(Pack().map(1).nil().nil()), R"({"null":null})");
  EXPECT_EQ(text(Pack().map(1).boolean(false).nil()), R"({"false":null})");
  EXPECT_EQ(text(Pack().map(1).f64(0.5).nil()), R"({"0.5":null})");
  EXPECT_EQ(text(Pack().map(1).bin("foo").nil()), R"({"Zm9v":null})");
  EXPECT_EQ(text(Pack().map(1).ext(1, "a").nil()), R"({"0xd40161":null})");
  EXPECT_EQ(text(Pack().map(1).array(1).str("a").u(1)), R"({"0x91a161":1})");
}

TEST(AppendText, WritesArrowsForLogProcessors) {
  EXPECT_EQ(text(Pack().map(2).str("a").map(1).u(1).u(2).str("b").str("=>"), TextStyle::kArrows),
            R"({"a"=>{"1"=>2},"b"=>"=>"})");
}

TEST(AppendText, GoesAsDeepAsRecordsMay) {
  Pack pack;
  std::string expected;
  for (size_t i = 0; i + 1 < kMaxRecordDepth; ++i) pack.array(1);
  pack.array(0);
  EXPECT_EQ(text(pack), std::string(kMaxRecordDepth, '[') + std::string(kMaxRecordDepth, ']'));
}

TEST(AppendJsonString, EscapesWhatJsonAndTerminalsObey) {
  EXPECT_EQ(escaped("a\"b\\c/"), R"("a\"b\\c/")");
  EXPECT_EQ(escaped("\b\f\n\r\t"), R"("\b\f\n\r\t")");
  EXPECT_EQ(escaped(std::string_view("\0\x01\x1b\x1f\x7f", 5)),
            R"("\u0000\u0001\u001b\u001f\u007f")");
  EXPECT_EQ(escaped("\xc2\x9b"), R"("\u009b")");
  EXPECT_EQ(escaped("\xc2\xa0"), "\"\xc2\xa0\"");
}

TEST(AppendJsonString, KeepsValidUtf8AndReplacesTheRest) {
  const std::string valid = "\u00fc \u20ac \U0001f600 \uffff \U0010ffff";
  EXPECT_EQ(escaped(valid), '"' + valid + '"');
  const std::pair<const char*, const char*> cases[] = {
      {"\xff", R"("\ufffd")"},
      {"a\x80z", R"("a\ufffdz")"},
      {"\xc3", R"("\ufffd")"},                                // cut
      {"\xe2\x82", R"("\ufffd\ufffd")"},                      // cut
      {"\xc0\xaf", R"("\ufffd\ufffd")"},                      // overlong
      {"\xe0\x80\xaf", R"("\ufffd\ufffd\ufffd")"},            // overlong
      {"\xed\xa0\x80", R"("\ufffd\ufffd\ufffd")"},            // surrogate
      {"\xf4\x90\x80\x80", R"("\ufffd\ufffd\ufffd\ufffd")"},  // beyond U+10FFFF
      {"\xf0\x80\x80\x80", R"("\ufffd\ufffd\ufffd\ufffd")"},  // overlong
      {"\xf5", R"("\ufffd")"},
      {"\xc3(", R"("\ufffd(")"},
  };
  for (const auto& [raw, expected] : cases) EXPECT_EQ(escaped(raw), expected);
}

TEST(AppendTime, HasNineDigitsBehindThePoint) {
  std::string out;
  append_time({1700000000, 5}, out);
  EXPECT_EQ(out, "1700000000.000000005");
}

}  // namespace
}  // namespace vek::engine
