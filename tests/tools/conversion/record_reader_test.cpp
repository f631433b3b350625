#include "tools/conversion/record_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/raw_msgpack_api/pack.h"
#include "tests/support/guarded_bytes.h"

namespace vek::tools {
namespace {

using test::GuardedBytes;
using test::Pack;
using testing::ElementsAre;

std::vector<std::string> records_of(const std::vector<uint8_t>& bytes, bool* broken = nullptr) {
  RecordReader reader(bytes);
  std::vector<std::string> records;
  for (std::string json; reader.next(json);) records.push_back(json);
  if (broken) *broken = reader.is_broken();
  return records;
}

TEST(RecordReader, ReadsRecordsBackToBack) {
  std::vector<uint8_t> bytes =
      Pack().array(2).f64(1.5).map(2).str("n").u(7).str("t").str("x").bytes();
  const std::vector<uint8_t> second = Pack().map(1).str("v").nil().bytes();
  bytes.insert(bytes.end(), second.begin(), second.end());
  bool broken = true;
  EXPECT_THAT(records_of(bytes, &broken), ElementsAre(R"([1.5,{"n":7,"t":"x"}])", R"({"v":null})"));
  EXPECT_FALSE(broken);
}

struct ValueCase {
  std::vector<uint8_t> bytes;
  const char* json;
};

TEST(RecordReader, ReadsEveryFormOfValue) {
  const ValueCase kCases[] = {
      {{0x7f}, "127"},
      {{0xff}, "-1"},
      {{0xe0}, "-32"},
      {{0xc0}, "null"},
      {{0xc3}, "true"},
      {{0xc2}, "false"},
      {{0xcc, 0xff}, "255"},
      {{0xcd, 1, 0}, "256"},
      {{0xce, 0xff, 0xff, 0xff, 0xff}, "4294967295"},
      {{0xcf, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}, "18446744073709551615"},
      {{0xd0, 0x80}, "-128"},
      {{0xd1, 0x80, 0}, "-32768"},
      {{0xd2, 0x80, 0, 0, 0}, "-2147483648"},
      {{0xd3, 0x80, 0, 0, 0, 0, 0, 0, 0}, "-9223372036854775808"},
      {{0xca, 0x3f, 0, 0, 0}, "0.5"},
      {{0xcb, 0x3f, 0xe0, 0, 0, 0, 0, 0, 0}, "0.5"},
      {{0xa1, 'x'}, "\"x\""},
      {{0xd9, 1, 'x'}, "\"x\""},
      {{0xc4, 1, 'x'}, "\"x\""},
      {{0xdc, 0, 1, 5}, "[5]"},
      {{0xdd, 0, 0, 0, 1, 5}, "[5]"},
      {{0xde, 0, 1, 0xa1, 'k', 5}, "{\"k\":5}"},
      {{0xdf, 0, 0, 0, 1, 0xa1, 'k', 5}, "{\"k\":5}"},
      {{0x90}, "[]"},
  };
  for (const ValueCase& row : kCases) {
    EXPECT_THAT(records_of(row.bytes), ElementsAre(row.json));
  }
}

TEST(RecordReader, AMapThatAnnouncesTooMuchIsClosedAtTheBuffersEnd) {
  bool broken = true;
  EXPECT_THAT(records_of(Pack().array(2).f64(1).map(3).str("a").u(1).bytes(), &broken),
              ElementsAre(R"([1.0,{"a":1}])"));
  EXPECT_FALSE(broken);
}

TEST(RecordReader, NeverReadsBehindABufferCutAnywhere) {
  const std::vector<uint8_t> whole =
      Pack().array(2).f64(1.5).map(2).str("name").u(70000).str("text").str("value").bytes();
  for (size_t size = 0; size < whole.size(); ++size) {
    const GuardedBytes cut(whole.data(), size);
    RecordReader reader(Bytes(cut.data(), size));
    std::string json;
    while (reader.next(json)) {
    }
  }
}

TEST(RecordReader, BrokenBytesEndTheBuffer) {
  bool broken = false;
  EXPECT_THAT(records_of({0x05, 0xc1, 0x05}, &broken), ElementsAre("5"));
  EXPECT_TRUE(broken);
  EXPECT_THAT(records_of(std::vector<uint8_t>(5000, 0x91), &broken), ElementsAre());
  EXPECT_TRUE(broken);
}

TEST(RecordReader, TellsTheFieldsOfBothLayouts) {
  const auto names = [](const std::vector<uint8_t>& bytes) {
    RecordReader reader(bytes);
    std::string json;
    EXPECT_TRUE(reader.next(json));
    std::vector<std::string> out;
    for (const SeenField& field : reader.fields()) {
      out.push_back(field.name + " " + value_kind_text(field.kind) + (field.is_nan ? " nan" : ""));
    }
    return out;
  };
  EXPECT_THAT(names(Pack()
                        .array(2)
                        .f64(1)
                        .map(3)
                        .str("a")
                        .u(1)
                        .str("b")
                        .str("x")
                        .str("c")
                        .f64(std::nan(""))
                        .bytes()),
              ElementsAre("a integer", "b text", "c fraction nan"));
  EXPECT_THAT(
      names(Pack().map(2).str("source").str("s").str("values").map(1).str("n").f64(2).bytes()),
      ElementsAre("source text", "n fraction"));
  EXPECT_THAT(names(Pack().array(2).f64(1).map(1).str("d").map(1).str("in").u(1).bytes()),
              ElementsAre());
}

}  // namespace
}  // namespace vek::tools
