#include "data/builtin_types.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>

#include "tests/data/schema_fixture.h"
#include "tests/support/guarded_bytes.h"

namespace {

using vek::JsonValue;
using vek::test::GuardedBytes;

struct Row {
  const char* name;
  uint64_t size;
};

constexpr Row kRows[] = {{"bool", 1},
                         {"char", 1},
                         {"short", 2},
                         {"int", 4},
                         {"long", 8},
                         {"long long", 8},
                         {"unsigned char", 1},
                         {"unsigned short", 2},
                         {"unsigned int", 4},
                         {"unsigned long", 8},
                         {"unsigned long long", 8},
                         {"float", 4},
                         {"double", 8},
                         {"int8_t", 1},
                         {"int16_t", 2},
                         {"int32_t", 4},
                         {"int64_t", 8},
                         {"uint8_t", 1},
                         {"uint16_t", 2},
                         {"uint32_t", 4},
                         {"uint64_t", 8},
                         {"timestamp", 8}};

TEST(BuiltinTypes, HaveTheirIdsNamesAndSizes) {
  uint32_t id = 0;
  for (const Row& row : kRows) {
    ++id;
    EXPECT_STREQ(vek_builtin_type_name(id), row.name);
    EXPECT_EQ(vek_builtin_type_size(id), row.size) << row.name;
    EXPECT_EQ(vek_builtin_type_from_name(row.name), id);
  }
  EXPECT_EQ(id, 22u);
}

TEST(BuiltinTypes, OtherIdsAndNamesAreNone) {
  for (const uint32_t id : {0u, 23u, UINT32_MAX}) {
    EXPECT_EQ(vek_builtin_type_name(id), nullptr);
    EXPECT_EQ(vek_builtin_type_size(id), 0u);
  }
  for (const char* name : {"", "Int", "int ", "unsigned", "uint128_t"}) {
    EXPECT_EQ(vek_builtin_type_from_name(name), 0u) << name;
  }
  EXPECT_EQ(vek_builtin_type_from_name(nullptr), 0u);
}

// Every type is read from bytes of ones that end where memory ends.
TEST(BuiltinTypes, AreReadWithTheirWidthAndSign) {
  constexpr double kMax64 = 18446744073709551615.0;
  const double expected[] = {255, 255, -1, -1, -1, -1, 255, 65535, 4294967295.0, kMax64, kMax64,
                             NAN, NAN, -1, -1, -1, -1, 255, 65535, 4294967295.0, kMax64, kMax64};
  for (uint32_t id = 1; id <= 22; ++id) {
    const std::vector<uint8_t> ones(vek_builtin_type_size(id), 0xFF);
    const GuardedBytes guarded(ones);
    const JsonValue json(vek_builtin_type_jsonify(id, guarded.data()));
    if (std::isnan(expected[id - 1])) {
      EXPECT_EQ(json, nullptr) << "no JSON number for " << vek_builtin_type_name(id);
      continue;
    }
    ASSERT_NE(json, nullptr) << vek_builtin_type_name(id);
    EXPECT_EQ(json_value_get_number(json.get()), expected[id - 1]) << vek_builtin_type_name(id);
  }
}

template <typename T>
double rendered(uint32_t id, T value) {
  uint8_t bytes[sizeof(T) + 1];
  std::memcpy(bytes + 1, &value, sizeof(T));  // unaligned, as in pages
  return json_value_get_number(JsonValue(vek_builtin_type_jsonify(id, bytes + 1)).get());
}

TEST(BuiltinTypes, ReadFloatingPointNumbers) {
  EXPECT_EQ(rendered(12, 0.1F), static_cast<double>(0.1F));
  EXPECT_EQ(rendered(13, -1e300), -1e300);
}

TEST(BuiltinTypes, CharIsUnsigned) { EXPECT_EQ(rendered(2, uint8_t{0x80}), 128); }

TEST(BuiltinTypes, AnIdWithoutATypeHasNoValue) {
  const uint8_t bytes[8] = {};
  EXPECT_EQ(vek_builtin_type_jsonify(0, bytes), nullptr);
  EXPECT_EQ(vek_builtin_type_jsonify(23, bytes), nullptr);
}

TEST(BuiltinTypes, PrintTheirTable) {
  char* text = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  vek_builtin_type_print_info(stream);
  std::fclose(stream);
  const vek::CString owned(text);
  const std::string table(text);
  EXPECT_EQ(table.substr(0, table.find("  3 ")),
            " Id Name                       Size    \n"
            "  1 bool                       1       \n"
            "  2 char                       1       \n");
  EXPECT_NE(table.find(" 22 timestamp                  8       \n"), std::string::npos);
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 23);
}

}  // namespace
