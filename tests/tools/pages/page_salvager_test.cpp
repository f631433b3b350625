#include "tools/pages/page_salvager.h"

#include <gtest/gtest.h>

#include "data/page_writer.h"
#include "tests/support/temp_dir.h"

namespace vek::tools {
namespace {

using Result = PageReader::Result;

std::string image_of(const std::string& source, size_t values) {
  PageWriter page(source, "tag");
  page.counters_block(1, std::vector<uint8_t>(values, 7));
  const std::vector<uint8_t> image = page.finish();
  return {image.begin(), image.end()};
}

std::string empty_page() {
  const std::vector<uint8_t> image = PageWriter("empty", "").finish();
  return {image.begin(), image.end()};
}

class PageSalvagerTest : public testing::Test {
 protected:
  void read(const std::string& contents) {
    images_.clear();
    lost_.clear();
    ASSERT_TRUE(salvager_.open(dir_.write("pages.bin", contents)));
    Result result = Result::kPage;
    while ((result = salvager_.next()) == Result::kPage || result == Result::kDamaged) {
      if (result == Result::kDamaged) {
        lost_.push_back(salvager_.lost());
      } else {
        const Bytes image = salvager_.image();
        images_.emplace_back(image.begin(), image.end());
      }
    }
    EXPECT_EQ(result, Result::kEnd) << salvager_.problem();
  }
  uint64_t lost_bytes() const {
    uint64_t sum = 0;
    for (const LostBytes& lost : lost_) sum += lost.bytes;
    return sum;
  }

  test::TempDir dir_;
  PageSalvager salvager_;
  std::vector<std::string> images_;
  std::vector<LostBytes> lost_;
  const std::string first_ = image_of("leaf01", 200);
  const std::string second_ = image_of("leaf02", 900);
  const std::string third_ = image_of("leaf03", 64);
};

TEST_F(PageSalvagerTest, AFileWithoutDamageGivesItsPages) {
  read(first_ + empty_page() + second_ + third_);
  EXPECT_TRUE(images_ == (std::vector<std::string>{first_, empty_page(), second_, third_}));
  EXPECT_TRUE(lost_.empty());
  EXPECT_EQ(salvager_.page_number(), 4u);
}

// Readers look at a header's lengths alone, so odd names and versions are no damage.
TEST_F(PageSalvagerTest, PagesThatOnlyLookOddAreKept) {
  std::string odd = first_;
  odd[0] = 9;
  odd[70] = '\x01';
  read(odd + odd);
  EXPECT_EQ(images_.size(), 2u);
  EXPECT_TRUE(lost_.empty());
}

TEST_F(PageSalvagerTest, EveryCutOfAPageLosesThatPageAlone) {
  for (size_t length = 1; length < second_.size(); length += 13) {
    SCOPED_TRACE(length);
    read(first_ + second_.substr(0, length) + third_ + first_);
    EXPECT_TRUE(images_ == (std::vector<std::string>{first_, third_, first_}));
    EXPECT_EQ(lost_bytes(), length);
    ASSERT_EQ(lost_.size(), 1u);
    EXPECT_EQ(lost_[0].offset, first_.size());
    EXPECT_TRUE(lost_[0].is_cut_page || length < 16);
  }
}

TEST_F(PageSalvagerTest, EveryCutOfTheFileKeepsTheWholePages) {
  const std::string whole = first_ + second_;
  for (size_t length = 1; length < whole.size(); length += 17) {
    SCOPED_TRACE(length);
    read(whole.substr(0, length));
    const size_t intact = length < first_.size() ? 0 : 1;
    EXPECT_EQ(images_.size(), intact);
    EXPECT_EQ(lost_bytes(), length - (intact == 1 ? first_.size() : 0));
  }
}

TEST_F(PageSalvagerTest, GarbageOfAnySizeIsPassedOver) {
  for (const size_t size : {1u, 719u, 720u, 5000u, 3u << 20}) {
    SCOPED_TRACE(size);
    read(first_ + std::string(size, '\xa5') + second_ + std::string(size, '\0') + third_);
    EXPECT_TRUE(images_ == (std::vector<std::string>{first_, second_, third_}));
    EXPECT_EQ(lost_bytes(), 2 * size);
    EXPECT_EQ(lost_.size(), 2u);
  }
}

TEST_F(PageSalvagerTest, AFlippedBitInALengthLosesThatPageAlone) {
  for (int bit = 0; bit < 64; ++bit) {
    SCOPED_TRACE(bit);
    std::string bent = second_;
    bent[8 + static_cast<size_t>(bit) / 8] ^= static_cast<char>(1 << bit % 8);
    read(first_ + bent + third_ + first_);
    ASSERT_GE(images_.size(), 3u);
    EXPECT_TRUE(images_.front() == first_);
    EXPECT_TRUE(images_[images_.size() - 2] == third_);
    EXPECT_TRUE(images_.back() == first_);
    EXPECT_FALSE(lost_.empty());
  }
}

TEST_F(PageSalvagerTest, EmptyPagesBehindDamageAreFound) {
  read(std::string(100, 'x') + empty_page() + first_);
  EXPECT_TRUE(images_ == (std::vector<std::string>{empty_page(), first_}));
}

TEST_F(PageSalvagerTest, AFileOfGarbageHoldsNothing) {
  read(std::string(10'000, 'V'));
  EXPECT_TRUE(images_.empty());
  EXPECT_EQ(lost_bytes(), 10'000u);
}

}  // namespace
}  // namespace vek::tools
