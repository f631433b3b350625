#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "tests/support/log_capture.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using testing::ElementsAre;

std::vector<std::string> dump(const std::vector<unsigned char>& bytes) {
  const LogCapture log;
  log_hex(bytes.data(), bytes.size());
  EXPECT_EQ(log.lines().size(), log.at(VEK_LOG_DEBUG).size());
  return log.at(VEK_LOG_DEBUG);
}

std::vector<unsigned char> letters(size_t count) {
  std::vector<unsigned char> bytes(count);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>('A'));
  return bytes;
}

TEST(LogHex, SixteenBytesAreOneLine) {
  EXPECT_THAT(dump(letters(16)), ElementsAre("41 42 43 44 45 46 47 48  49 4A 4B 4C 4D 4E 4F 50  "
                                             "|  ABCDEFGHIJKLMNOP "));
}

TEST(LogHex, TwentyBytesAreTwoLinesWithTheTextInOneColumn) {
  EXPECT_THAT(dump(letters(20)), ElementsAre("41 42 43 44 45 46 47 48  49 4A 4B 4C 4D 4E 4F 50  "
                                             "|  ABCDEFGHIJKLMNOP ",
                                             "51 52 53 54                                       "
                                             "|  QRST "));
}

TEST(LogHex, TextStandsInOneColumnWhateverTheLength) {
  for (size_t count = 1; count <= 16; ++count) {
    const auto lines = dump(letters(count));
    ASSERT_EQ(lines.size(), 1u) << count;
    EXPECT_EQ(lines[0].find('|'), 50u) << count;
    EXPECT_EQ(lines[0].size(), 50 + 3 + count + 1) << count;
  }
}

TEST(LogHex, BytesThatAreNotPrintableShowAsDots) {
  const auto lines = dump({0x00, 0x1F, 0x20, 0x7E, 0x7F, 0x80, 0xFF, '%'});
  EXPECT_THAT(lines, ElementsAre("00 1F 20 7E 7F 80 FF 25                           "
                                 "|  .. ~...% "));
}

TEST(LogHex, NothingIsLoggedForNothing) {
  EXPECT_THAT(dump({}), testing::IsEmpty());
  const LogCapture log;
  log_hex(nullptr, 16);
  EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST(LogHex, IsSilentBelowDebugLevel) {
  const LogCapture log(VEK_LOG_INFO);
  log_hex("bytes", 5);
  EXPECT_THAT(log.lines(), testing::IsEmpty());
}

}  // namespace
}  // namespace vek::test
