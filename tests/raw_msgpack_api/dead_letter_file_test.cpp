#include "raw_msgpack_api/dead_letter_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::engine {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr uint8_t kRecord[] = {0x81, 0xa1, 'n', 1};

TEST(DeadLetterFile, GrowsToItsBoundAndNoFurther) {
  test::LogCapture log;
  const test::TempDir dir;
  const std::string path = dir.file("letters");
  DeadLetterFile letters("f", path);
  letters.append(kRecord);
  EXPECT_EQ(test::read_file(path), std::string(std::begin(kRecord), std::end(kRecord)));
  ASSERT_EQ(truncate(path.c_str(), DeadLetterFile::kMostBytes - 4), 0);
  letters.append(kRecord);
  EXPECT_THAT(log.errors(), IsEmpty());
  letters.append(kRecord);
  EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("is full; records that the receiver does not "
                                                  "take are lost until it is moved away")));
  EXPECT_EQ(std::filesystem::file_size(path), DeadLetterFile::kMostBytes);
}

TEST(DeadLetterFile, IsNeverWrittenThroughALink) {
  test::LogCapture log;
  const test::TempDir dir;
  const std::string target = dir.write("target", "");
  ASSERT_EQ(symlink(target.c_str(), dir.file("letters").c_str()), 0);
  DeadLetterFile("f", dir.file("letters")).append(kRecord);
  EXPECT_EQ(test::read_file(target), "");
  EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("cannot write")));
}

TEST(DeadLetterFile, TellsOfManyRecordsOnce) {
  test::LogCapture log;
  const test::TempDir dir;
  DeadLetterFile letters("f", dir.file("letters"));
  for (int i = 0; i < 100; ++i) letters.append(kRecord);
  EXPECT_EQ(log.warnings().size(), 1u);
  EXPECT_EQ(test::read_file(dir.file("letters")).size(), 100 * sizeof(kRecord));
}

}  // namespace
}  // namespace vek::engine
