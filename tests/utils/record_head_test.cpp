#include "utils/record_head.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace vek::test {
namespace {

constexpr uint64_t kTime = 1'700'000'000'123'456;

PlanInput input_of(uint64_t time_us, std::string_view source, bool has_source = true) {
  PlanInput input;
  input.time_us = time_us;
  input.source = source;
  input.has_source = has_source;
  return input;
}

// Times before and behind a source that may be left out.
class UsualHead {
 public:
  explicit UsualHead(StepValue source = StepValue::kSource, int sources = 1) {
    PlanSectionWriter out(section_, 0);
    out.array_header(2);
    out.record_value(StepValue::kSeconds);
    out.text("time");
    out.record_value(StepValue::kTime);
    out.flush();
    for (; sources > 0; --sources) {
      out.text("a key that takes more than one step of constants");
      out.record_value(source);
    }
    out.text("again");
    out.record_value(StepValue::kTime);
    out.finish();
  }

  const PlanSection& section() const { return section_; }
  std::string packed(const PlanInput& input) const {
    std::string out(section_room(section_, input), 0);
    char* const end = pack_section(out.data(), section_, input);
    out.resize(static_cast<size_t>(end - out.data()));
    return out;
  }

 private:
  PlanSection section_;
};

TEST(RecordHead, FollowsTheTime) {
  for (const StepValue source : {StepValue::kSource, StepValue::kSourceOrEmpty}) {
    const UsualHead head(source);
    for (const size_t size : {0u, 1u, 31u, 32u, 255u, 256u, 65'536u}) {
      const std::string name(size, 's');
      for (const bool has_source : {false, true}) {
        const std::string_view source_text = has_source ? name : std::string_view();
        const PlanInput first = input_of(kTime, source_text, has_source);
        std::string record = head.packed(first);
        RecordHead kept;
        kept.learn(head.section(), first, record.size());
        PlanInput next = first;
        next.time_us += 1'234'567;
        ASSERT_EQ(kept.renew(record.data(), head.section(), next), record.size());
        EXPECT_EQ(record, head.packed(next)) << size << " bytes";
      }
    }
  }
}

TEST(RecordHead, IsPackedAnewWhereMoreThanTheTimeHasChanged) {
  const UsualHead head;
  const UsualHead other;
  const PlanInput first = input_of(kTime, "leaf01");
  std::string record = head.packed(first);
  RecordHead kept;
  EXPECT_EQ(kept.renew(record.data(), head.section(), first), 0);
  kept.learn(head.section(), first, record.size());
  EXPECT_EQ(kept.renew(record.data(), other.section(), first), 0);
  EXPECT_EQ(kept.renew(record.data(), head.section(), input_of(kTime, "leaf1")), 0);
  EXPECT_EQ(kept.renew(record.data(), head.section(), input_of(kTime, "leaf01", false)), 0);
  EXPECT_EQ(kept.renew(record.data(), head.section(), input_of(1000, "leaf01")), 0);
  EXPECT_EQ(kept.renew(record.data(), head.section(), first), record.size());
}

// Events of a block often name one source each, by identifiers of one length.
TEST(RecordHead, FollowsASourceOfTheSameSize) {
  for (const StepValue source : {StepValue::kSource, StepValue::kSourceOrEmpty}) {
    const UsualHead head(source, 2);
    for (const size_t size : {1u, 2u, 7u, 8u, 16u, 32u, 33u, 300u}) {
      const std::string one(size, 'a');
      const std::string other(size, 'b');
      std::string record = head.packed(input_of(kTime, one));
      RecordHead kept;
      kept.learn(head.section(), input_of(kTime, one), record.size());
      const PlanInput next = input_of(kTime + 1, other);
      ASSERT_EQ(kept.renew(record.data(), head.section(), next), record.size());
      EXPECT_EQ(record, head.packed(next)) << size << " bytes";
    }
  }
}

TEST(RecordHead, IsNotKeptOfTimesOfAnotherSize) {
  const UsualHead head;
  const PlanInput first = input_of(4'294'967'295, "leaf01");
  std::string record = head.packed(first);
  RecordHead kept;
  kept.learn(head.section(), first, record.size());
  EXPECT_EQ(kept.renew(record.data(), head.section(), input_of(kTime, "leaf01")), 0);
}

// Fields, counts of texts that are left out, and messages belong to one record.
TEST(RecordHead, IsNotKeptWithValuesOfItsOwn) {
  const char bytes[64] = {};
  PlanInput input = input_of(kTime, "leaf01");
  input.bytes = bytes;
  const auto keeps = [&](auto add) {
    PlanSection section;
    PlanSectionWriter out(section, sizeof(bytes));
    out.record_value(StepValue::kTime);
    add(out);
    out.finish();
    RecordHead kept;
    kept.learn(section, input, 10);
    std::string record(64, 0);
    return kept.renew(record.data(), section, input) > 0;
  };
  EXPECT_TRUE(keeps([](PlanSectionWriter& out) { out.text("x"); }));
  EXPECT_FALSE(keeps([](PlanSectionWriter& out) { out.varying_map_header(3); }));
  EXPECT_FALSE(keeps([](PlanSectionWriter& out) { out.note(0); }));
  EXPECT_FALSE(keeps([](PlanSectionWriter& out) { out.hex(0); }));
  EXPECT_FALSE(keeps([](PlanSectionWriter& out) { out.number(0, NumberRead::flag()); }));
  EXPECT_FALSE(keeps([](PlanSectionWriter& out) { out.text_value(StepValue::kText, 0, 8); }));
  for (const StepValue value : {StepValue::kTime, StepValue::kSource}) {
    EXPECT_FALSE(keeps([value](PlanSectionWriter& out) {
      for (int i = 0; i < 5; ++i) out.record_value(value);
    }));
  }
}

}  // namespace
}  // namespace vek::test
