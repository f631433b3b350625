#include "field_set/field_filter.h"

#include <gmock/gmock.h>

namespace vek::test {
namespace {

using ::testing::ElementsAre;

class FieldFilter : public ::testing::Test {
 protected:
  FieldFilter() {
    for (std::string& name : names_) {
      field_t field{};
      field.name = name.data();
      field.name_len = name.size();
      set_.fields.push_back(field);
    }
  }
  std::vector<bool> skipped() const {
    std::vector<bool> result;
    for (const field_t& field : set_.fields) result.push_back(field.skip);
    return result;
  }

  std::vector<std::string> names_{"a", "b", "c"};
  field_set_t set_{};
};

TEST_F(FieldFilter, WithoutTokensIncludesAll) {
  set_.fields[1].skip = true;
  Filter(set_, {}, true);
  EXPECT_THAT(skipped(), ElementsAre(false, false, false));
  EXPECT_EQ(set_.num_included, 3u);
  EXPECT_EQ(set_.fields[2].order, 3u);
}

TEST_F(FieldFilter, ResetStartsFromNothing) {
  Filter(set_, {"b"}, true);
  EXPECT_THAT(skipped(), ElementsAre(true, false, true));
  EXPECT_EQ(set_.num_included, 1u);
  EXPECT_EQ(set_.fields[1].order, 1u);
}

TEST_F(FieldFilter, ExcludeTokensAloneSelectNothingAfterAReset) {
  Filter(set_, {"-b"}, true);
  EXPECT_THAT(skipped(), ElementsAre(true, true, true));
  EXPECT_EQ(set_.num_included, 0u);
}

TEST_F(FieldFilter, WithoutResetKeepsWhatIsIncluded) {
  Filter(set_, {"-b"}, false);
  EXPECT_THAT(skipped(), ElementsAre(false, true, false));
  EXPECT_EQ(set_.num_included, 0u);  // counts what tokens include, which is nothing here
}

TEST_F(FieldFilter, CountsAFieldOnce) {
  Filter(set_, {"a", "a", "+a"}, true);
  EXPECT_EQ(set_.num_included, 1u);
}

}  // namespace
}  // namespace vek::test
