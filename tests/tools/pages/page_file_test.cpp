#include "tools/pages/page_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "data/page_writer.h"
#include "tests/support/temp_dir.h"

namespace vek::tools {
namespace {

using test::TempDir;
using Result = PageFile::Result;

std::string page_image(uint64_t payload, uint8_t fill) {
  PageWriter page("source", "tag");
  page.raw(std::vector<uint8_t>(payload, fill));
  const std::vector<uint8_t> image = page.finish();
  return {reinterpret_cast<const char*>(image.data()), image.size()};
}

// The first eight bytes at offset 8 replaced: the length that a header claims.
std::string with_total(std::string image, uint64_t total) {
  image.replace(8, sizeof(total), reinterpret_cast<const char*>(&total), sizeof(total));
  return image;
}

class PageFileTest : public testing::Test {
 protected:
  // Reads everything there is; the last answer is the result.
  Result read(const std::string& contents) { return read_at(dir_.write("pages.bin", contents)); }

  Result read_at(const std::string& path) {
    images_.clear();
    EXPECT_TRUE(file_.open(path)) << file_.problem();
    Result result = Result::kPage;
    while ((result = file_.next()) == Result::kPage) {
      images_.emplace_back(reinterpret_cast<const char*>(file_.image().data()),
                           file_.image().size());
    }
    problem_ = file_.problem();
    if (problem_.starts_with(path + ": ")) problem_ = problem_.substr(path.size() + 2);
    return result;
  }

  TempDir dir_;
  PageFile file_;
  std::vector<std::string> images_;
  std::string problem_;
};

TEST_F(PageFileTest, HandsOutImagesBackToBackWhole) {
  const std::string first = page_image(100, 1);
  const std::string second = page_image(3000, 2);
  EXPECT_EQ(read(first + second + first), Result::kEnd);
  EXPECT_EQ(images_, (std::vector<std::string>{first, second, first}));
  EXPECT_EQ(file_.page_number(), 3u);
  EXPECT_EQ(file_.bytes_read(), 2 * first.size() + second.size());
}

TEST_F(PageFileTest, AnEmptyFileHoldsNoPageAndNoDamage) { EXPECT_EQ(read(""), Result::kEnd); }

TEST_F(PageFileTest, APageOfOnlyItsHeaderIsAPage) {
  const std::string header_only = page_image(0, 0);
  ASSERT_EQ(header_only.size(), 720u);
  EXPECT_EQ(read(header_only + header_only), Result::kEnd);
  EXPECT_EQ(images_.size(), 2u);
}

TEST_F(PageFileTest, EveryCutOfATwoPageFileIsFoundAndNamed) {
  const std::string first = page_image(33, 7);
  const std::string second = page_image(50, 8);
  const std::string whole = first + second;
  const std::string path = dir_.write("cut.bin", whole);
  for (size_t length = whole.size() + 1; length-- > 0;) {
    SCOPED_TRACE(length);
    std::filesystem::resize_file(path, length);
    const Result result = read_at(path);
    const size_t intact = length == whole.size() ? 2 : length >= first.size() ? 1 : 0;
    ASSERT_EQ(images_.size(), intact);
    if (intact > 0) {
      EXPECT_EQ(images_[0], first);
    }
    const size_t start = intact == 0 ? 0 : first.size();
    const size_t there = length - start;
    if (length == 0 || length == first.size() || length == whole.size()) {
      EXPECT_EQ(result, Result::kEnd);
      continue;
    }
    ASSERT_EQ(result, Result::kDamaged);
    const std::string place =
        "page " + std::to_string(intact + 1) + " at byte " + std::to_string(start) + ": ";
    const std::string what =
        there < 720
            ? "ends inside the page header: " + std::to_string(there) + " of 720 bytes are there"
            : "ends inside the page: " + std::to_string(there) + " of " +
                  std::to_string(intact == 0 ? first.size() : second.size()) + " bytes are there";
    EXPECT_EQ(problem_, place + what);
  }
}

TEST_F(PageFileTest, GarbageBetweenPagesEndsTheFileThere) {
  const std::string page = page_image(64, 3);
  EXPECT_EQ(read(page + std::string(1000, '\xa5') + page), Result::kDamaged);
  EXPECT_EQ(images_.size(), 1u);
  EXPECT_EQ(problem_,
            "page 2 at byte 784: the header says that the page is 11936128518282651045 bytes long; "
            "more than 64.0 MiB cannot be a page");
}

TEST_F(PageFileTest, ALengthBelowTheHeadersIsGarbage) {
  const std::string page = page_image(64, 3);
  for (const uint64_t total : {uint64_t{0}, uint64_t{1}, uint64_t{719}}) {
    SCOPED_TRACE(total);
    EXPECT_EQ(read(page + with_total(page, total)), Result::kDamaged);
    EXPECT_EQ(problem_, "page 2 at byte 784: the header says that the page is " +
                            std::to_string(total) +
                            " bytes long, which is less than the header itself (720)");
  }
}

TEST_F(PageFileTest, TheLargestLengthThatCanBeTrueIsTheLimit) {
  const std::string page = page_image(64, 3);
  EXPECT_EQ(read(with_total(page, PageFile::kMaxPageBytes)), Result::kDamaged);
  EXPECT_EQ(problem_, "page 1 at byte 0: ends inside the page: 784 of 67108864 bytes are there");
  EXPECT_EQ(read(with_total(page, PageFile::kMaxPageBytes + 1)), Result::kDamaged);
  EXPECT_EQ(problem_,
            "page 1 at byte 0: the header says that the page is 67108865 bytes long; more than "
            "64.0 MiB cannot be a page");
}

TEST_F(PageFileTest, APageAsLongAsTheLimitIsReadWhole) {
  const std::string page = page_image(PageFile::kMaxPageBytes - 720, 9);
  ASSERT_EQ(page.size(), PageFile::kMaxPageBytes);
  EXPECT_EQ(read(page + page_image(1, 1)), Result::kEnd);
  ASSERT_EQ(images_.size(), 2u);
  EXPECT_EQ(images_[0], page);
}

TEST_F(PageFileTest, ContentsThatMakeNoSenseAreHandedOutAsTheyAre) {
  std::string page = page_image(64, 0xff);
  page[16] = '\x7f';  // "filled" beyond the page
  EXPECT_EQ(read(page), Result::kEnd);
  EXPECT_EQ(images_, std::vector<std::string>{page});
}

TEST_F(PageFileTest, NumbersBeginAgainWithEachFile) {
  const std::string page = page_image(10, 1);
  read(page + page);
  EXPECT_EQ(read(page + "x"), Result::kDamaged);
  EXPECT_EQ(problem_, "page 2 at byte 730: ends inside the page header: 1 of 720 bytes are there");
}

TEST_F(PageFileTest, SaysWhyAFileCannotBeOpened) {
  EXPECT_FALSE(file_.open(dir_.file("none.bin")));
  EXPECT_EQ(file_.problem(),
            dir_.file("none.bin") + ": cannot be opened: No such file or directory");
  EXPECT_FALSE(file_.open(dir_.path()));
  EXPECT_EQ(file_.problem(), dir_.path() + ": is a directory, not a page file");
}

}  // namespace
}  // namespace vek::tools
