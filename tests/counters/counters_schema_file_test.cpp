#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "counters/counters_schema.h"
#include "json/json_owned.h"
#include "tests/counters/counters_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint8_t kId[16] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                             0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
constexpr char kFileName[] = "schema_00112233445566778899aabbccddeeff.json";

std::string schema_text() {
  const Schema schema = make_schema(named({"a", "b"}));
  const JsonText text(vek_counters_schema_serialize(schema.get()));
  return text.get();
}

TEST(CountersSchemaFile, IsFoundByItsIdentifier) {
  const TempDir dir;
  dir.write(kFileName, schema_text());
  const LogCapture log;
  const Schema schema(vek_counters_load_schema_from_dir(kId, dir.path().c_str()));
  ASSERT_TRUE(schema);
  EXPECT_EQ(vek_counters_schema_number_of_counters(schema.get()), 2u);
  EXPECT_TRUE(log.has(7, "opening counters schema: " + dir.file(kFileName) + "\n"));
  EXPECT_THAT(log.errors(), IsEmpty());
}

TEST(CountersSchemaFile, IsNotLookedForWithoutAnIdentifier) {
  const uint8_t unset[16] = {};
  const LogCapture log;
  EXPECT_EQ(vek_counters_load_schema_from_dir(nullptr, "/tmp"), nullptr);
  EXPECT_EQ(vek_counters_load_schema_from_dir(unset, "/tmp"), nullptr);
  EXPECT_EQ(vek_counters_load_schema_from_dir(kId, nullptr), nullptr);
  EXPECT_EQ(vek_counters_schema_load(nullptr), nullptr);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(CountersSchemaFile, ThatIsMissingIsToldWithTheReason) {
  const TempDir dir;
  const std::string path = dir.file(kFileName);
  const LogCapture log;
  EXPECT_EQ(vek_counters_load_schema_from_dir(kId, dir.path().c_str()), nullptr);
  EXPECT_THAT(log.errors(), ElementsAre("Failed reading counters schema JSON from file '" + path +
                                        "': No such file or directory"));
  EXPECT_EQ(log.at(7).back(), "Failed to load counters schema from file: " + path);
}

TEST(CountersSchemaFile, ThatIsNoJsonIsToldWithoutAnOlderReason) {
  const TempDir dir;
  for (const std::string& contents : {std::string("not json"), schema_text().substr(0, 200)}) {
    const std::string path = dir.write("s.json", contents);
    errno = ENOENT;
    const LogCapture log;
    EXPECT_EQ(vek_counters_schema_load(path.c_str()), nullptr);
    EXPECT_THAT(log.errors(), ElementsAre("Failed reading counters schema JSON from file '" + path +
                                          "': Success"));
  }
}

TEST(CountersSchemaFile, OfAnotherKindIsRefused) {
  const TempDir dir;
  const LogCapture log;
  EXPECT_EQ(vek_counters_schema_load(dir.write("s.json", "{}").c_str()), nullptr);
  EXPECT_EQ(log.errors().size(), 1u);
}

TEST(CountersSchemaFile, ThatIsAFolderIsRefused) {
  const TempDir dir;
  const LogCapture log;
  EXPECT_EQ(vek_counters_schema_load(dir.path().c_str()), nullptr);
  EXPECT_EQ(log.errors().size(), 1u);
}

}  // namespace
}  // namespace vek::test
