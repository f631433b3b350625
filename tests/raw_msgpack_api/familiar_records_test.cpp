#include "raw_msgpack_api/familiar_records.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/raw_msgpack_api/pack.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/msgpack_json.h"

namespace vek::engine {
namespace {

using test::GuardedBytes;
using test::Pack;
using Buffer = std::vector<uint8_t>;

// As an engine uses it: what is not known is walked and, if it fills the buffer, learnt.
// True when it was known.
bool meet(FamiliarRecords& familiar, Bytes buffer, FoundRecord& out) {
  if (familiar.find(buffer, out)) return true;
  RecordWalk walk(buffer);
  if (walk.next() == RecordWalk::Step::kRecord && walk.record().bytes.size() == buffer.size()) {
    familiar.learn(walk.found());
  }
  return false;
}

bool knows(FamiliarRecords& familiar, const Buffer& buffer) {
  const GuardedBytes guarded(buffer);
  FoundRecord found;
  return meet(familiar, guarded.bytes(), found);
}

Buffer counters(uint64_t a, int64_t b, const std::string& text, double time = 1.5) {
  return Pack()
      .array(2)
      .f64(time)
      .map(4)
      .str("a")
      .u(a)
      .str("b")
      .i(b)
      .str("c")
      .str(text)
      .str("d")
      .boolean(a % 2 == 0)
      .bytes();
}

TEST(FamiliarRecords, KnowsARecordWithOtherValuesOfTheSameForms) {
  FamiliarRecords familiar;
  EXPECT_FALSE(knows(familiar, counters(1000, -5, "xyz")));
  EXPECT_TRUE(knows(familiar, counters(65'535, -32, "abc", -2.5e300)));
  EXPECT_TRUE(knows(familiar, counters(256, -1, "\xc1\xc1\xc1")));
}

TEST(FamiliarRecords, DoesNotKnowOtherForms) {
  const Buffer known = counters(1000, -5, "xyz");
  const Buffer others[] = {counters(100, -5, "xyz"), counters(100'000, -5, "xyz"),
                           counters(1000, -100, "xyz"), counters(1000, 5, "xyz"),
                           counters(1000, -5, "xy"),
                           // As long, and an array where the text was.
                           Pack()
                               .array(2)
                               .f64(1)
                               .map(4)
                               .str("a")
                               .u(1000)
                               .str("b")
                               .i(-5)
                               .str("c")
                               .array(3)
                               .u(1)
                               .u(2)
                               .u(3)
                               .str("d")
                               .boolean(true)
                               .bytes()};
  for (const Buffer& other : others) {
    FamiliarRecords familiar;
    knows(familiar, known);
    EXPECT_FALSE(knows(familiar, other)) << test::to_hex(other);
  }
}

// The bytes of a record are changed one at a time, to every value: it is known exactly where a walk
// finds the same in it.
TEST(FamiliarRecords, KnowsNothingThatAWalkWouldSeeOtherwise) {
  const Buffer records[] = {
      counters(1000, -5, "xyz"), Pack().map(1).str("timestamp").u(1'700'000'000'000'000).bytes(),
      Pack().array(2).ext(0, "12345678").map(1).str("k").array(2).bin("ab").ext(5, "c").bytes(),
      // Announces a pair more than it has.
      Pack().array(2).u(7).map(3).str("a").nil().str("b").f32(2).bytes()};
  for (const Buffer& record : records) {
    for (size_t at = 0; at < record.size(); ++at) {
      for (unsigned value = 0; value < 256; ++value) {
        FamiliarRecords familiar;
        ASSERT_FALSE(knows(familiar, record));
        Buffer changed = record;
        changed[at] = static_cast<uint8_t>(value);
        FoundRecord found;
        if (!familiar.find(changed, found)) continue;
        RecordWalk walk{Bytes(changed)};
        ASSERT_EQ(walk.next(), RecordWalk::Step::kRecord) << test::to_hex(changed);
        EXPECT_EQ(found.mended, walk.mended());
        EXPECT_EQ(found.pairs, walk.pairs());
        EXPECT_EQ(found.view.bytes.data(), changed.data());
        EXPECT_EQ(found.view.bytes.size(), walk.record().bytes.size());
        EXPECT_EQ(found.view.shape, walk.record().shape);
        EXPECT_EQ(found.view.time_offset, walk.record().time_offset);
        EXPECT_EQ(found.view.body_offset, walk.record().body_offset);
        EXPECT_EQ(found.view.depth, walk.record().depth);
      }
    }
  }
}

TEST(FamiliarRecords, KeepsSeveralLayouts) {
  FamiliarRecords familiar;
  const Buffer a = counters(1000, -5, "xyz");
  const Buffer b = counters(100'000, -5, "a longer text, so that it has another size");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(knows(familiar, a), i > 0);
    EXPECT_EQ(knows(familiar, b), i > 0);
  }
}

TEST(FamiliarRecords, LearnsLessOftenWhereNoRecordIsLikeTheOneBefore) {
  FamiliarRecords familiar;
  // One size, more layouts in turn than are kept.
  constexpr size_t kLayouts = FamiliarRecords::kWays + 1;
  std::vector<Buffer> records;
  for (size_t wide = 0; wide < kLayouts; ++wide) {
    Pack record;
    record.map(kLayouts);
    for (size_t i = 0; i < kLayouts; ++i) record.nil().u(i == wide ? 1000 : 1);
    records.push_back(record.bytes());
    ASSERT_EQ(records[0].size(), records[wide].size());
  }
  int known = 0;
  for (size_t i = 0; i < 1000; ++i) known += knows(familiar, records[i % kLayouts]) ? 1 : 0;
  // Those that stay are known each time that they come.
  EXPECT_GT(known, 500);
}

TEST(FamiliarRecords, LeavesLargeAndEmptyBuffersToTheWalk) {
  FamiliarRecords familiar;
  const Buffer large =
      Pack().map(1).str("k").str(std::string(FamiliarRecords::kLargest, 'x')).bytes();
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(knows(familiar, large));
  EXPECT_FALSE(knows(familiar, {}));
}

TEST(FamiliarRecords, ReadsNothingBehindRecordsOfAnySize) {
  for (size_t size = 1; size < 200; ++size) {
    FamiliarRecords familiar;
    const Buffer record = Pack().map(1).str("k").str(std::string(size, 'x')).bytes();
    EXPECT_FALSE(knows(familiar, record));
    EXPECT_TRUE(knows(familiar, record)) << size;
  }
}

}  // namespace
}  // namespace vek::engine
