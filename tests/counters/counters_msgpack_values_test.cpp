// Single keys and values of a record, at the boundaries of their forms.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <limits>
#include <utility>

#include "tests/counters/record_samples.h"
#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

using testing::StartsWith;

// One counter's bytes, behind everything else in the record.
std::string packed_value(const char* name, uint32_t data_type, uint64_t bits) {
  const Schema schema = make_schema({{name, data_type}});
  Block block(schema.get(), kTime);
  block.put(schema.get(), name, bits);
  const std::string record = Record(block.data(), whole_set(schema).get(), "", "custom").hex();
  const std::string key = to_hex(name, std::strlen(name));
  return record.substr(record.rfind(key) + key.size());
}

struct NumberCase {
  uint64_t value;
  const char* hex;
};

constexpr NumberCase kUnsigned[] = {
    {0, "00"},
    {1, "01"},
    {127, "7f"},
    {128, "cc80"},
    {255, "ccff"},
    {256, "cd0100"},
    {65535, "cdffff"},
    {65536, "ce00010000"},
    {4294967295, "ceffffffff"},
    {4294967296, "cf0000000100000000"},
    {9223372036854775807u, "cf7fffffffffffffff"},
    {9223372036854775808u, "cf8000000000000000"},
    {18446744073709551615u, "cfffffffffffffffff"},
};

TEST(CounterRecord, PacksUnsignedNumbersInTheirSmallestForm) {
  for (const auto& [value, hex] : kUnsigned) {
    EXPECT_EQ(packed_value("c", VEK_DATA_TYPE_UINT64, value), hex) << value;
    EXPECT_EQ(packed_value("c", VEK_DATA_TYPE_BIT64, value), hex) << value;
  }
}

TEST(CounterRecord, PacksSignedNumbersInTheirSmallestForm) {
  const std::pair<int64_t, const char*> cases[] = {
      {-1, "ff"},
      {-32, "e0"},
      {-33, "d0df"},
      {-128, "d080"},
      {-129, "d1ff7f"},
      {-32768, "d18000"},
      {-32769, "d2ffff7fff"},
      {-2147483648, "d280000000"},
      {-2147483649, "d3ffffffff7fffffff"},
      {std::numeric_limits<int64_t>::min(), "d38000000000000000"},
      {200, "ccc8"},
  };
  for (const auto& [value, hex] : cases) {
    EXPECT_EQ(packed_value("c", VEK_DATA_TYPE_INT64, std::bit_cast<uint64_t>(value)), hex) << value;
  }
  for (const auto& [value, hex] : kUnsigned) {
    if (value > 9223372036854775807u) continue;
    EXPECT_EQ(packed_value("c", VEK_DATA_TYPE_INT64, value), hex) << value;
  }
}

TEST(CounterRecord, PacksDoublesBitForBit) {
  for (const uint64_t bits :
       {std::bit_cast<uint64_t>(0.0), std::bit_cast<uint64_t>(-0.0), std::bit_cast<uint64_t>(1.5),
        uint64_t{0x7ff0000000000000}, uint64_t{0xfff8000000000001}, uint64_t{1}}) {
    const uint64_t swapped = __builtin_bswap64(bits);
    EXPECT_EQ(packed_value("c", VEK_DATA_TYPE_FP64, bits), "cb" + to_hex(&swapped, 8));
  }
}

TEST(CounterRecord, PacksGuidsAsHexadecimalText) {
  for (const char* name : {"port_guid", "node_guid", "GUID"}) {
    for (const uint32_t type : {VEK_DATA_TYPE_UINT64, VEK_DATA_TYPE_BIT64}) {
      EXPECT_EQ(packed_value(name, type, 255), "a4" + to_hex("0xff", 4));
      EXPECT_EQ(packed_value(name, type, 5), "a3" + to_hex("0x5", 3));
      EXPECT_EQ(packed_value(name, type, 0), "a3" + to_hex("0x0", 3));
      EXPECT_EQ(packed_value(name, type, UINT64_MAX), "b2" + to_hex("0xffffffffffffffff", 18));
    }
    EXPECT_EQ(packed_value(name, VEK_DATA_TYPE_INT64, 5), "05") << "only of unsigned types";
  }
  for (const char* name : {"guid", "port_guid2", "Port_guid", "GUI"}) {
    EXPECT_EQ(packed_value(name, VEK_DATA_TYPE_UINT64, 5), "05") << name;
  }
}

std::string packed_text(const std::string& text, uint32_t length) {
  const Schema schema = make_schema({{"c", VEK_DATA_TYPE_STRING, length}});
  Block block(schema.get(), kTime);
  block.put_text(schema.get(), "c", text);
  const GuardedBytes guarded(block.bytes());
  const std::string record = Record(guarded.data(), whole_set(schema).get(), "", "custom").hex();
  return record.substr(record.find("81a163") + 6);
}

TEST(CounterRecord, PacksTextsInTheirSmallestForm) {
  const std::pair<size_t, const char*> cases[] = {
      {0, "a0"},     {1, "a1"},       {31, "bf"},        {32, "d920"},
      {255, "d9ff"}, {256, "da0100"}, {65535, "daffff"}, {65536, "db00010000"},
  };
  for (const auto& [size, header] : cases) {
    const std::string text(size, 't');
    const std::string expected = header + to_hex(text.data(), text.size());
    EXPECT_EQ(packed_text(text, static_cast<uint32_t>(size + 1)), expected) << size;
    // A text that fills its field ends there; what lies behind cannot be read.
    if (size == 0) continue;
    EXPECT_EQ(packed_text(text, static_cast<uint32_t>(size)), expected) << size;
  }
}

TEST(CounterRecord, PacksKeysInTheirSmallestForm) {
  const std::pair<size_t, const char*> cases[] = {
      {31, "bf"},      {32, "d920"},      {255, "d9ff"},
      {256, "da0100"}, {65535, "daffff"}, {65536, "db00010000"},
  };
  for (const auto& [size, header] : cases) {
    const std::string name(size, 'k');
    const Schema schema = make_schema(named({name}));
    const Block block(schema.get(), kTime);
    const std::string hex = Record(block.data(), whole_set(schema).get(), "", "flb_std").hex();
    EXPECT_NE(hex.find(header + to_hex(name.data(), size) + "00"), std::string::npos) << size;
  }
}

TEST(CounterRecord, HasAMapHeaderOfEverySize) {
  const std::pair<uint64_t, const char*> cases[] = {
      {12, "8f"}, {13, "de0010"}, {65532, "deffff"}, {65533, "df00010000"}};
  const Schema schema = make_schema(named({"c"}));
  const Block block(schema.get(), kTime);
  const Set set = whole_set(schema);
  for (const auto& [count, header] : cases) {
    set->num_exported = count;  // with the three built-in entries: 15, 16, 65535, 65536
    EXPECT_THAT(Record(block.data(), set.get(), "s", "flb_std").hex(),
                StartsWith("92cb41d954fc40100000" + std::string(header)))
        << count;
  }
}

}  // namespace
}  // namespace vek::test
