#include "raw_msgpack_api/record_layout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/raw_msgpack_api/pack.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/msgpack_json.h"

namespace vek::engine {
namespace {

using test::GuardedBytes;
using test::Pack;
using Buffer = std::vector<uint8_t>;

RecordLayout layout_of(const Buffer& buffer) {
  RecordWalk walk{Bytes(buffer)};
  EXPECT_EQ(walk.next(), RecordWalk::Step::kRecord);
  RecordLayout layout;
  layout.learn(walk.found());
  return layout;
}

// Headers all over it, and values of every kind between them; about `size` bytes, in a time's
// record or bare.
Buffer record_of(size_t size, bool is_timed) {
  Pack record;
  if (is_timed) record.array(2).f64(1.5);
  const size_t pairs = size / 12;
  record.map(pairs + 1);
  for (size_t i = 0; i < pairs; ++i) record.str("key" + std::to_string(i % 10)).u(100'000 + i);
  return record.str("t").str(std::string(size % 12, 'x')).bytes();
}

TEST(RecordLayout, CopiesARecordThatFits) {
  for (size_t size = 0; size < 300; ++size) {
    for (const bool is_timed : {false, true}) {
      const Buffer first = record_of(size, is_timed);
      const RecordLayout layout = layout_of(first);
      const GuardedBytes record(first);
      const size_t from = layout.found(record.bytes()).view.body_offset;
      Buffer out(first.size() - from + 1, 0xc1);
      ASSERT_TRUE(layout.begins(record.bytes())) << size;
      ASSERT_TRUE(layout.fits(record.bytes())) << size;
      ASSERT_TRUE(layout.copy(record.bytes(), from, out.data())) << size;
      ASSERT_TRUE(std::equal(out.begin(), out.end() - 1, first.begin() + static_cast<long>(from)));
      ASSERT_EQ(out.back(), 0xc1) << size;
    }
  }
}

// Each bit of a record is changed alone. Where its first bytes still pass, copying it tells what
// looking at all of it tells; where that passes, so does a walk.
TEST(RecordLayout, SeesEachHeaderThatDiffersWhileItCopies) {
  for (const size_t size : {20u, 63u, 64u, 65u, 130u, 191u, 192u, 300u}) {
    const Buffer first = record_of(size, true);
    const RecordLayout layout = layout_of(first);
    for (size_t bit = 0; bit < 8 * first.size(); ++bit) {
      Buffer changed = first;
      changed[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
      const bool fits = layout.fits(changed);
      RecordWalk walk{Bytes(changed)};
      const bool is_sound = walk.next() == RecordWalk::Step::kRecord;
      ASSERT_TRUE(is_sound || !fits) << test::to_hex(changed);
      if (!layout.begins(changed)) {
        ASSERT_FALSE(fits);
        continue;
      }
      const size_t from = layout.found(changed).view.body_offset;
      Buffer out(changed.size() - from);
      ASSERT_EQ(layout.copy(changed, from, out.data()), fits) << size << " " << bit;
      if (!fits) continue;
      ASSERT_TRUE(std::equal(out.begin(), out.end(), changed.begin() + static_cast<long>(from)));
    }
  }
}

TEST(RecordLayout, OfNoneFitsNothing) {
  const RecordLayout none;
  EXPECT_FALSE(none.begins({}));
  EXPECT_FALSE(none.fits({}));
  EXPECT_FALSE(none.begins(record_of(20, false)));
}

}  // namespace
}  // namespace vek::engine
