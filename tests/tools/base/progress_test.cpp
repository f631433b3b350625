#include "tools/base/progress.h"

#include <gtest/gtest.h>

#include "tools/base/console.h"

namespace vek::tools {
namespace {

TEST(ProgressText, IsABarWhereTheEndIsKnown) {
  EXPECT_EQ(progress_text(150, 512 * 1024, 1024 * 1024, 0.5),
            "[############............]  50%  150 pages, 512.0 KiB, 300 pages/s");
  EXPECT_EQ(progress_text(0, 0, 100, 0.0),
            "[........................]   0%  0 pages, 0 bytes, 0 pages/s");
  // A file may grow while it is read.
  EXPECT_EQ(progress_text(9, 300, 100, 1.0),
            "[########################] 100%  9 pages, 300 bytes, 9 pages/s");
}

TEST(ProgressText, IsACountWhereTheEndIsNotKnown) {
  EXPECT_EQ(progress_text(7, 2048, 0, 2.0), "7 pages, 2.0 KiB, 4 pages/s");
}

TEST(ReadableSize, PicksTheUnit) {
  EXPECT_EQ(readable_size(0), "0 bytes");
  EXPECT_EQ(readable_size(1023), "1023 bytes");
  EXPECT_EQ(readable_size(1024), "1.0 KiB");
  EXPECT_EQ(readable_size(1536), "1.5 KiB");
  EXPECT_EQ(readable_size(67108864), "64.0 MiB");
  EXPECT_EQ(readable_size(3.0 * 1024 * 1024 * 1024), "3.0 GiB");
}

}  // namespace
}  // namespace vek::tools
