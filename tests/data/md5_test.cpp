#include "data/md5.h"

#include <gtest/gtest.h>

#include <string>

#include "data/schema_id.h"
#include "json/json_owned.h"

namespace {

std::string text_of(const uint8_t* digest) {
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(digest, text);
  return text;
}

// The digests of RFC 1321, A.5.
TEST(Md5, GivesThePublishedDigests) {
  const struct {
    const char* text;
    const char* digest;
  } cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& c : cases) {
    uint8_t digest[16] = {};
    EXPECT_TRUE(vek_MD5(c.text, std::char_traits<char>::length(c.text), digest));
    EXPECT_EQ(text_of(digest), c.digest);
    EXPECT_TRUE(vek_get_schema_id_from_pretty_json_string(c.text, digest));
    EXPECT_EQ(text_of(digest), c.digest);
  }
}

TEST(Md5, OfNothingNeedsNoPointer) {
  uint8_t digest[16] = {};
  EXPECT_TRUE(vek_MD5(nullptr, 0, digest));
  EXPECT_EQ(text_of(digest), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(Md5, OfANullTextFailsAndWritesNothing) {
  uint8_t digest[16] = {1, 2, 3};
  EXPECT_FALSE(vek_get_schema_id_from_pretty_json_string(nullptr, digest));
  EXPECT_FALSE(vek_type_system_get_json_schema_id(digest, nullptr));
  EXPECT_EQ(digest[1], 2);
}

TEST(Md5, OfAJsonValueIsThatOfItsPrettyText) {
  const vek::JsonValue json(json_parse_string("{\"a\":[1]}"));
  uint8_t of_value[16] = {};
  uint8_t of_text[16] = {};
  ASSERT_TRUE(vek_type_system_get_json_schema_id(of_value, json.get()));
  ASSERT_TRUE(
      vek_get_schema_id_from_pretty_json_string("{\n    \"a\": [\n        1\n    ]\n}", of_text));
  EXPECT_EQ(text_of(of_value), text_of(of_text));
}

}  // namespace
