#include "data/schema_id.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <unordered_set>

#include "tests/support/guarded_bytes.h"
#include "utils/owned.h"

namespace {

using Id = std::array<uint8_t, 16>;
using vek::data::SchemaId;
using vek::test::GuardedBytes;

constexpr Id kId = {0x00, 0x01, 0x0f, 0x10, 0x7f, 0x80, 0x9a, 0xab,
                    0xbc, 0xcd, 0xde, 0xef, 0xf0, 0xfe, 0xff, 0x42};
constexpr char kText[] = "00010f107f809aabbccddeeff0feff42";

TEST(SchemaIdBytes, AreUnsetOnlyWhenAllSixteenAreZero) {
  Id id{};
  EXPECT_TRUE(vek_schema_id_is_unset(id.data()));
  for (size_t i = 0; i < id.size(); ++i) {
    id = {};
    id[i] = 1;
    EXPECT_FALSE(vek_schema_id_is_unset(id.data())) << i;
  }
}

TEST(SchemaIdBytes, AreCopiedComparedAndReset) {
  Id copy{};
  vek_copy_schema_id(copy.data(), kId.data());
  EXPECT_EQ(copy, kId);
  EXPECT_EQ(vek_compare_schema_id(copy.data(), kId.data()), 0);
  copy[15] = 0x41;
  EXPECT_LT(vek_compare_schema_id(copy.data(), kId.data()), 0);
  EXPECT_GT(vek_compare_schema_id(kId.data(), copy.data()), 0);
  vek_reset_schema_id(copy.data());
  EXPECT_EQ(copy, Id{});
}

TEST(SchemaIdText, IsThirtyTwoLowerCaseDigits) {
  const vek::CString text(vek_schema_id_string(kId.data()));
  EXPECT_STREQ(text.get(), kText);
  char buffer[34];
  std::memset(buffer, '#', sizeof(buffer));
  vek_schema_id_to_schema_string(kId.data(), buffer);
  EXPECT_STREQ(buffer, kText);
  EXPECT_EQ(buffer[33], '#') << "33 bytes are written, no more";
}

TEST(SchemaIdFromText, ReadsDigitsOfEitherCase) {
  Id id{};
  EXPECT_EQ(vek_schema_from_id_string(kText, id.data()), 1);
  EXPECT_EQ(id, kId);
  id = {};
  EXPECT_EQ(vek_schema_from_id_string("00010F107F809AABBCCDDEEFF0FEFF42", id.data()), 1);
  EXPECT_EQ(id, kId);
}

TEST(SchemaIdFromText, ANullTextSucceedsAndWritesNothing) {
  Id id = kId;
  EXPECT_EQ(vek_schema_from_id_string(nullptr, id.data()), 1);
  EXPECT_EQ(id, kId);
}

TEST(SchemaIdFromText, FailsAtEveryLengthBelowThirtyTwoAndKeepsWhatWasRead) {
  for (size_t length = 0; length < 32; ++length) {
    const std::string text(kText, length);
    const GuardedBytes guarded(text.c_str(), length + 1);
    Id id;
    id.fill(0xEE);
    EXPECT_EQ(vek_schema_from_id_string(guarded.as<char>(), id.data()), 0) << length;
    Id expected;
    expected.fill(0xEE);
    std::copy_n(kId.begin(), length / 2, expected.begin());
    EXPECT_EQ(id, expected) << length;
  }
}

TEST(SchemaIdFromText, IgnoresWhatFollowsTheLastDigit) {
  Id id{};
  EXPECT_EQ(vek_schema_from_id_string((std::string(kText) + "zz").c_str(), id.data()), 1);
  EXPECT_EQ(id, kId);
}

TEST(SchemaIdFromText, RefusesWhatIsNoDigit) {
  for (const char* bad : {"g", "/", ":", "@", "G", "`", " ", "-", "x", "\xC3"}) {
    for (const size_t position : {size_t{0}, size_t{1}, size_t{30}, size_t{31}}) {
      std::string text(kText);
      text[position] = bad[0];
      Id id{};
      EXPECT_EQ(vek_schema_from_id_string(text.c_str(), id.data()), 0) << text;
    }
  }
}

TEST(SchemaIdBlob, IsTheSixteenLettersExactly) {
  Id id{};
  vek_schema_id_set_blob(id.data());
  EXPECT_EQ(std::memcmp(id.data(), "BLOB_DATA_SCHEMA", 16), 0);
  EXPECT_TRUE(vek_schema_id_is_blob(id.data()));
  for (size_t i = 0; i < id.size(); ++i) {
    Id other = id;
    other[i] ^= 0x20;
    EXPECT_FALSE(vek_schema_id_is_blob(other.data())) << i;
  }
}

TEST(SchemaIdClass, FromBytesHasTextHashAndBlobFlag) {
  const SchemaId id(kId.data());
  EXPECT_EQ(id.str(), kText);
  EXPECT_EQ(std::memcmp(id.bytes(), kId.data(), 16), 0);
  EXPECT_EQ(id.hash(), std::hash<std::string>{}(kText));
  EXPECT_FALSE(id.isBlob());

  Id blob{};
  vek_schema_id_set_blob(blob.data());
  EXPECT_TRUE(SchemaId(blob.data()).isBlob());
}

TEST(SchemaIdClass, FromTextKeepsTheTextAndLeavesTheBytesZero) {
  const SchemaId id{std::string(kText)};
  EXPECT_EQ(id.str(), kText);
  EXPECT_TRUE(vek_schema_id_is_unset(id.bytes()));
  EXPECT_EQ(id.hash(), std::hash<std::string>{}(kText));
  EXPECT_FALSE(SchemaId(std::string("424c4f425f444154415f534348454d41")).isBlob())
      << "a text never marks blob data, even the blob identifier's own";
  EXPECT_EQ(SchemaId(std::string("any text")).str(), "any text");
}

TEST(SchemaIdClass, DefaultIsTheUnsetIdentifier) {
  const SchemaId id;
  EXPECT_TRUE(vek_schema_id_is_unset(id.bytes()));
  EXPECT_EQ(id.str(), std::string(32, '0'));
  EXPECT_FALSE(id.isBlob());
}

TEST(SchemaIdClass, IsAKeyWhateverItWasMadeFrom) {
  std::unordered_set<SchemaId> ids;
  ids.insert(SchemaId(kId.data()));
  EXPECT_TRUE(ids.contains(SchemaId(std::string(kText))));
  EXPECT_FALSE(ids.contains(SchemaId()));
}

}  // namespace
