#include "data/data_page.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tests/support/guarded_bytes.h"

namespace {

using vek::test::GuardedBytes;

// The layout is a contract with providers, told here once more in numbers.
TEST(DataPage, FieldsLieWhereProvidersWriteThem) {
  EXPECT_EQ(sizeof(vek_data_page_t), 720u);
  EXPECT_EQ(offsetof(vek_data_page_t, version), 0u);
  EXPECT_EQ(offsetof(vek_data_page_t, minor_version), 1u);
  EXPECT_EQ(offsetof(vek_data_page_t, total), 8u);
  EXPECT_EQ(offsetof(vek_data_page_t, filled), 16u);
  EXPECT_EQ(offsetof(vek_data_page_t, block_size), 24u);
  EXPECT_EQ(offsetof(vek_data_page_t, data_source), 64u);
  EXPECT_EQ(offsetof(vek_data_page_t, data_source.tag), 128u);
  EXPECT_EQ(sizeof(vek_data_source_t), 80u);
  EXPECT_EQ(offsetof(vek_data_page_t, schema_id), 144u);
}

TEST(DataPage, BlockHeadersAreSixteenPackedBytes) {
  EXPECT_EQ(sizeof(vek_event_header_t), 16u);
  EXPECT_EQ(offsetof(vek_event_header_t, timestamp), 4u);
  EXPECT_EQ(offsetof(vek_event_header_t, schema_index), 12u);
  EXPECT_EQ(offsetof(vek_event_header_t, type_index), 13u);
  EXPECT_EQ(offsetof(vek_event_header_t, count), 15u);
  EXPECT_EQ(sizeof(vek_counters_block_t), 16u);
  EXPECT_EQ(offsetof(vek_counters_block_t, timestamp), 8u);
  EXPECT_EQ(offsetof(vek_schema_block_t, length), 4u);
  EXPECT_EQ(offsetof(vek_schema_block_t, schema_ids), 16u);
  EXPECT_EQ(sizeof(vek_schema_block_t), 16u + 14u * 16u);
}

TEST(DataBlock, TheFourthByteAloneNamesTheType) {
  for (int letter = 0; letter < 256; ++letter) {
    int expected = 4;
    switch (letter) {
      case 'D':
        expected = 0;
        break;
      case 'E':
        expected = 1;
        break;
      case 'S':
        expected = 2;
        break;
      case 'B':
        expected = 3;
        break;
      case 'P':
        expected = 5;
        break;
      case 'X':
        expected = 6;
        break;
      default:
        break;
    }
    for (const char* prefix : {"VEK", "abc"}) {
      std::string magic(prefix);
      magic.push_back(static_cast<char>(letter));
      const GuardedBytes guarded(magic.data(), magic.size());
      EXPECT_EQ(static_cast<int>(vek_data_block_get_type(guarded.data())), expected) << letter;
    }
  }
}

TEST(DataBlock, SettingATypeWritesTheWholeMagic) {
  const struct {
    int type;
    const char* magic;
  } cases[] = {{0, "VEKD"}, {1, "VEKE"}, {2, "VEKS"}, {3, "VEKB"}, {5, "VEKP"}, {6, "VEKX"}};
  for (const auto& c : cases) {
    char magic[5] = "....";
    vek_data_block_set_type(magic, static_cast<vek_data_block_type_t>(c.type));
    EXPECT_STREQ(magic, c.magic);
    EXPECT_EQ(static_cast<int>(vek_data_block_get_type(magic)), c.type);
  }
}

TEST(DataBlock, TypesWithoutALetterLeaveTheMagicAlone) {
  for (const int type : {4, 7}) {
    char magic[5] = "keep";
    vek_data_block_set_type(magic, static_cast<vek_data_block_type_t>(type));
    EXPECT_STREQ(magic, "keep") << type;
  }
}

TEST(DataBlock, TypesHaveNames) {
  const struct {
    int type;
    const char* name;
  } cases[] = {{0, "VEK_COUNTERS_BLOCK"}, {1, "VEK_EVENTS_BLOCK"}, {2, "VEK_SCHEMAS_BLOCK"},
               {3, "VEK_BLOB_BLOCK"},     {4, "Unknown block"},    {5, "VEK_PAGE_BLOCK"},
               {6, "VEK_CNTX_BLOCK"},     {7, "Unknown block"}};
  for (const auto& c : cases) {
    EXPECT_STREQ(vek_data_block_type_to_string(static_cast<vek_data_block_type_t>(c.type)), c.name);
  }
  const char unlisted[] = "VEKC";
  EXPECT_STREQ(vek_data_block_type_to_string(vek_data_block_get_type(unlisted)), "Unknown block");
}

TEST(MagicValue, FillsPrefixAndLetter) {
  char magic[5] = "....";
  vek_magic_value_fill(magic, 'Q');
  EXPECT_STREQ(magic, "VEKQ");
}

TEST(MagicValue, FillLowerLowersAllFourAndReturnsTheLast) {
  char magic[5] = "....";
  EXPECT_EQ(vek_magic_value_fill_lower(magic, 'E'), 'e');
  EXPECT_STREQ(magic, "veke");
  EXPECT_EQ(vek_magic_value_fill_lower(magic, '7'), '7');
  EXPECT_STREQ(magic, "vek7");
  EXPECT_EQ(vek_magic_value_fill_lower(magic, '\xC9'), '\xC9') << "bytes above 127 are no letters";
}

TEST(MagicValue, CopiesFourBytesAndNoMore) {
  char magic[6] = ".....";
  vek_magic_value_copy(magic, "VEKD!");
  EXPECT_STREQ(magic, "VEKD.");
}

TEST(MagicValue, MatchesATypeByPrefixAndLetter) {
  EXPECT_TRUE(vek_magic_value_match_type("VEKD", 'D'));
  EXPECT_FALSE(vek_magic_value_match_type("VEKD", 'E'));
  EXPECT_FALSE(vek_magic_value_match_type("vekD", 'D'));
  EXPECT_FALSE(vek_magic_value_match_type("XEKD", 'D'));
  EXPECT_FALSE(vek_magic_value_match_type("VEXD", 'D'));
}

TEST(MagicValue, TwoMatchByPrefixAndFourthByte) {
  EXPECT_TRUE(vek_magic_value_match("VEKD", "VEKD"));
  EXPECT_TRUE(vek_magic_value_match("abcd", "abcd"));
  EXPECT_FALSE(vek_magic_value_match("VEKD", "VEKE"));
  EXPECT_FALSE(vek_magic_value_match("VEKD", "VXKD"));
  // A text comparison: what follows a NUL in the prefix does not count.
  EXPECT_TRUE(vek_magic_value_match("V\0aD", "V\0bD"));
}

}  // namespace
