#include "raw_msgpack_api/msgpack_token.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/guarded_bytes.h"

namespace vek::engine {
namespace {

using test::GuardedBytes;

struct Case {
  const char* name;
  std::vector<uint8_t> header;
  TokenKind kind;
  uint64_t value;
  uint64_t payload;
};

// Every first byte of the format, with a boundary value where it carries a number.
const std::vector<Case>& cases() {
  static const std::vector<Case> table = {
      {"fixint_0", {0x00}, TokenKind::kUnsigned, 0, 0},
      {"fixint_127", {0x7f}, TokenKind::kUnsigned, 127, 0},
      {"fixmap_0", {0x80}, TokenKind::kMap, 0, 0},
      {"fixmap_15", {0x8f}, TokenKind::kMap, 15, 0},
      {"fixarray_0", {0x90}, TokenKind::kArray, 0, 0},
      {"fixarray_15", {0x9f}, TokenKind::kArray, 15, 0},
      {"fixstr_0", {0xa0}, TokenKind::kStr, 0, 0},
      {"fixstr_31", {0xbf}, TokenKind::kStr, 0, 31},
      {"nil", {0xc0}, TokenKind::kNil, 0, 0},
      {"false", {0xc2}, TokenKind::kBool, 0, 0},
      {"true", {0xc3}, TokenKind::kBool, 1, 0},
      {"bin8", {0xc4, 0xff}, TokenKind::kBin, 0, 255},
      {"bin16", {0xc5, 0x01, 0x02}, TokenKind::kBin, 0, 0x102},
      {"bin32", {0xc6, 0, 1, 0, 0}, TokenKind::kBin, 0, 0x10000},
      {"ext8", {0xc7, 3, 7}, TokenKind::kExt, 0, 3},
      {"ext16", {0xc8, 1, 0, 7}, TokenKind::kExt, 0, 256},
      {"ext32", {0xc9, 0, 1, 0, 0, 7}, TokenKind::kExt, 0, 0x10000},
      {"float32", {0xca, 0x3f, 0x80, 0, 0}, TokenKind::kFloat32, 0x3f800000, 0},
      {"float64", {0xcb, 0x3f, 0xf0, 0, 0, 0, 0, 0, 0}, TokenKind::kFloat64, 0x3ff0000000000000, 0},
      {"uint8", {0xcc, 0xff}, TokenKind::kUnsigned, 255, 0},
      {"uint16", {0xcd, 0xff, 0xff}, TokenKind::kUnsigned, 65535, 0},
      {"uint32", {0xce, 0xff, 0xff, 0xff, 0xff}, TokenKind::kUnsigned, 0xffffffff, 0},
      {"uint64",
       {0xcf, 255, 255, 255, 255, 255, 255, 255, 255},
       TokenKind::kUnsigned,
       UINT64_MAX,
       0},
      {"int8_min", {0xd0, 0x80}, TokenKind::kNegative, static_cast<uint64_t>(-128), 0},
      {"int8_zero", {0xd0, 0}, TokenKind::kUnsigned, 0, 0},
      {"int8_positive", {0xd0, 0x7f}, TokenKind::kUnsigned, 127, 0},
      {"int16_min", {0xd1, 0x80, 0}, TokenKind::kNegative, static_cast<uint64_t>(-32768), 0},
      {"int32_min",
       {0xd2, 0x80, 0, 0, 0},
       TokenKind::kNegative,
       static_cast<uint64_t>(INT32_MIN),
       0},
      {"int64_min",
       {0xd3, 0x80, 0, 0, 0, 0, 0, 0, 0},
       TokenKind::kNegative,
       static_cast<uint64_t>(INT64_MIN),
       0},
      {"fixext1", {0xd4, 7}, TokenKind::kExt, 0, 1},
      {"fixext2", {0xd5, 7}, TokenKind::kExt, 0, 2},
      {"fixext4", {0xd6, 7}, TokenKind::kExt, 0, 4},
      {"fixext8", {0xd7, 7}, TokenKind::kExt, 0, 8},
      {"fixext16", {0xd8, 7}, TokenKind::kExt, 0, 16},
      {"str8", {0xd9, 0x20}, TokenKind::kStr, 0, 32},
      {"str16", {0xda, 1, 0}, TokenKind::kStr, 0, 256},
      {"str32", {0xdb, 0, 1, 0, 0}, TokenKind::kStr, 0, 0x10000},
      {"array16", {0xdc, 0xff, 0xff}, TokenKind::kArray, 65535, 0},
      {"array32", {0xdd, 0xff, 0xff, 0xff, 0xff}, TokenKind::kArray, 0xffffffff, 0},
      {"map16", {0xde, 0xff, 0xff}, TokenKind::kMap, 65535, 0},
      {"map32", {0xdf, 0xff, 0xff, 0xff, 0xff}, TokenKind::kMap, 0xffffffff, 0},
      {"negative_fixint_min", {0xe0}, TokenKind::kNegative, static_cast<uint64_t>(-32), 0},
      {"negative_fixint_max", {0xff}, TokenKind::kNegative, static_cast<uint64_t>(-1), 0},
  };
  return table;
}

class EveryForm : public testing::TestWithParam<Case> {};

TEST_P(EveryForm, IsReadAndNeverBeyondItsEnd) {
  const Case& form = GetParam();
  std::vector<uint8_t> object = form.header;
  object.resize(object.size() + form.payload, 'x');
  // Cut at every byte; of large payloads the ends are enough.
  for (size_t size = 0; size < object.size(); ++size) {
    if (size > 64 && size + 64 < object.size()) continue;
    const GuardedBytes cut(object.data(), size);
    Token token;
    EXPECT_EQ(read_token(cut.bytes(), token), TokenStatus::kCut) << size;
  }
  const GuardedBytes whole(object.data(), object.size());
  Token token;
  ASSERT_EQ(read_token(whole.bytes(), token), TokenStatus::kOk);
  EXPECT_EQ(token.kind, form.kind);
  EXPECT_EQ(token.value, form.value);
  EXPECT_EQ(token.payload_size, form.payload);
  EXPECT_EQ(token.size(), object.size());
  if (form.kind == TokenKind::kExt) {
    EXPECT_EQ(token.ext_type, 7);
  }
}

INSTANTIATE_TEST_SUITE_P(ReadToken, EveryForm, testing::ValuesIn(cases()),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

// Whoever skips by this table must neither miss a form that it could skip nor skip too much.
TEST(WholeSizes, AreThoseOfEveryFormOfAFixedSize) {
  std::vector<uint8_t> bytes(64, 0);
  for (unsigned first = 0; first < 256; ++first) {
    bytes[0] = static_cast<uint8_t>(first);
    Token token;
    const bool reads = read_token(bytes, token) == TokenStatus::kOk;
    const bool varies = first >= 0xc4 && first <= 0xc9;
    const bool is_fixed =
        reads && !token.is_container() && !varies && (first < 0xd9 || first > 0xdb);
    EXPECT_EQ(kWholeSizes[first], is_fixed ? token.size() : 0) << first;
  }
}

TEST(ReadToken, RefusesTheReservedByte) {
  const uint8_t reserved[] = {0xc1, 0};
  Token token;
  EXPECT_EQ(read_token(reserved, token), TokenStatus::kReserved);
}

TEST(ReadToken, ComparesLengthsWithWhatRemains) {
  // 4 GB announced, nothing there.
  for (const uint8_t first : std::vector<uint8_t>{0xc6, 0xdb}) {
    const std::vector<uint8_t> lie = {first, 0xff, 0xff, 0xff, 0xff};
    const GuardedBytes guarded(lie);
    Token token;
    EXPECT_EQ(read_token(guarded.bytes(), token), TokenStatus::kCut);
  }
}

TEST(SkipObject, CountsChildrenOfAnyDepth) {
  std::vector<uint8_t> nested(100'000, 0x91);
  nested.push_back(0xc0);
  nested.push_back(0x55);  // behind the object
  size_t size = 0;
  ASSERT_EQ(skip_object(nested, size), TokenStatus::kOk);
  EXPECT_EQ(size, nested.size() - 1);
}

TEST(SkipObject, RefusesCountsThatNothingBacks) {
  const std::vector<std::vector<uint8_t>> lies = {
      {0xdd, 0xff, 0xff, 0xff, 0xff, 1, 2, 3},
      {0xdf, 0xff, 0xff, 0xff, 0xff, 0xdf, 0xff, 0xff, 0xff, 0xff},
      {0x82, 1, 2, 3},
      {}};
  for (const auto& lie : lies) {
    const GuardedBytes guarded(lie);
    size_t size = 0;
    EXPECT_EQ(skip_object(guarded.bytes(), size), TokenStatus::kCut);
  }
}

}  // namespace
}  // namespace vek::engine
