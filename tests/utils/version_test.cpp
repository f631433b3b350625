#include "utils/version.h"

#include <gtest/gtest.h>

namespace {

TEST(Version, OfTheLibrary) {
  EXPECT_EQ(vek_version(), 71169u);
  EXPECT_STREQ(vek_version_string(), "1.22.1");
  EXPECT_STREQ(vek_version_to_string(vek_version()), vek_version_string());
  EXPECT_EQ(vek_version_from_string(vek_version_string()), vek_version());
}

TEST(VersionEncoding, HasMajorMinorAndPatchFromTheLowestByteUp) {
  EXPECT_EQ(VEK_VERSION_ENCODE(1, 2, 3), 0x00030201u);
  EXPECT_EQ(VEK_VERSION_ENCODE(255, 255, 65535), 0xFFFFFFFFu);
}

TEST(VersionToString, PrintsThreeNumbersIntoOneSharedBuffer) {
  const char* first = vek_version_to_string(VEK_VERSION_ENCODE(1, 2, 3));
  EXPECT_STREQ(first, "1.2.3");
  const char* second = vek_version_to_string(0xFFFFFFFFu);
  EXPECT_STREQ(second, "255.255.65535");
  EXPECT_EQ(first, second);
  EXPECT_STREQ(vek_version_to_string(0), "0.0.0");
}

TEST(VersionFromString, ReadsTwoOrThreeFields) {
  const struct {
    const char* text;
    uint32_t version;
  } cases[] = {
      {"1.5", VEK_VERSION_ENCODE(1, 5, 0)},
      {"1.5.7", VEK_VERSION_ENCODE(1, 5, 7)},
      {"1.5 .7", VEK_VERSION_ENCODE(1, 5, 7)},
      {"1.5 \t\n.7", VEK_VERSION_ENCODE(1, 5, 7)},
      {" 1. 5.7", VEK_VERSION_ENCODE(1, 5, 7)},
      {"1 .5.7", 0},
      {"1.5.7.9", VEK_VERSION_ENCODE(1, 5, 7)},
      {"1.5-beta", VEK_VERSION_ENCODE(1, 5, 0)},
      {"1.5.x", VEK_VERSION_ENCODE(1, 5, 0)},
      {"255.255.65535", 0xFFFFFFFFu},
      {"0.0", 0},
      {"abc", 0},
      {"1", 0},
      {"1.", 0},
      {"1.x", 0},
      {"", 0},
      {nullptr, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(vek_version_from_string(c.text), c.version) << (c.text ? c.text : "(null)");
  }
}

TEST(VersionCompare, IsTheUnsignedDifferenceOfMajorsElseOfMinors) {
  constexpr auto version = [](uint32_t major, uint32_t minor, uint32_t patch) {
    return VEK_VERSION_ENCODE(major, minor, patch);
  };
  EXPECT_EQ(vek_version_compare(version(3, 0, 0), version(1, 9, 0)), 2u);
  EXPECT_EQ(vek_version_compare(version(1, 9, 0), version(3, 0, 0)), 0u - 2u);
  EXPECT_EQ(vek_version_compare(version(1, 9, 0), version(1, 4, 0)), 5u);
  EXPECT_EQ(static_cast<int32_t>(vek_version_compare(version(1, 4, 0), version(1, 9, 0))), -5);
}

TEST(VersionCompare, NeverLooksAtThePatch) {
  EXPECT_EQ(vek_version_compare(VEK_VERSION_ENCODE(1, 4, 9), VEK_VERSION_ENCODE(1, 4, 1)), 0u);
}

TEST(VersionsAreCompatible, WithinOneMajorUpToTheCurrentMinor) {
  const struct {
    const char* document;
    const char* current;
    bool compatible;
  } cases[] = {
      {"1.4.0", "1.5.0", true},  {"1.5.0", "1.5.0", true},  {"1.5.9", "1.5.0", true},
      {"1.6.0", "1.5.0", false}, {"2.5.0", "1.5.0", false}, {"0.5.0", "1.5.0", false},
      {"0.0.0", "0.1.0", false}, {"abc", "1.5.0", false},   {"1.5.0", "", false},
      {"abc", "abc", false},     {nullptr, "1.5", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(vek_version_strings_are_compatible(c.document, c.current), c.compatible)
        << (c.document ? c.document : "(null)") << " in " << c.current;
  }
  EXPECT_TRUE(vek_versions_are_compatible(0, VEK_VERSION_ENCODE(0, 1, 0)))
      << "only texts are refused for being zero";
}

}  // namespace
