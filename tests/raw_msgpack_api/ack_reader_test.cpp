#include "raw_msgpack_api/ack_reader.h"

#include <gtest/gtest.h>

#include "tests/raw_msgpack_api/forward_receiver.h"
#include "tests/raw_msgpack_api/pack.h"
#include "tests/support/guarded_bytes.h"

namespace vek::engine {
namespace {

using test::Pack;
using Step = AckReader::Step;

std::vector<uint8_t> bytes_of(const std::string& text) { return {text.begin(), text.end()}; }

TEST(AckReader, ReadsAcknowledgementsHoweverTheyAreCutUp) {
  const auto both = bytes_of(test::ack("one") + test::ack("two"));
  for (size_t cut = 0; cut <= both.size(); ++cut) {
    AckReader reader;
    std::string seen;
    for (const Bytes part : {Bytes(both).first(cut), Bytes(both).subspan(cut)}) {
      const test::GuardedBytes guarded(part);
      reader.feed(guarded.bytes());
      Step step = Step::kNeedMore;
      while ((step = reader.next()) == Step::kAck) seen += std::string(reader.chunk()) + " ";
      EXPECT_EQ(step, Step::kNeedMore);
    }
    EXPECT_EQ(seen, "one two ");
  }
}

TEST(AckReader, TakesBytesForTextAndOtherMembersForNothing) {
  AckReader reader;
  reader.feed(Pack().map(3).u(1).array(1).nil().str("x").map(0).str("ack").bin("a\n").bytes());
  ASSERT_EQ(reader.next(), Step::kAck);
  EXPECT_EQ(reader.chunk(), "a\n");
  EXPECT_EQ(reader.next(), Step::kNeedMore);
}

TEST(AckReader, RefusesEverythingElse) {
  const std::vector<uint8_t> cases[] = {
      Pack().u(1).bytes(),
      Pack().array(1).str("ack").bytes(),
      Pack().map(0).bytes(),
      Pack().map(1).str("nack").str("a").bytes(),
      Pack().map(1).str("ack").u(1).bytes(),
      Pack().map(1).str("ack").nil().bytes(),
      {0xc1},
      {0x81, 0xa3, 'a', 'c', 'k', 0xc1},
      bytes_of(test::ack(std::string(AckReader::kLongestReply, 'x'))),
  };
  for (const auto& bytes : cases) {
    AckReader reader;
    reader.feed(bytes);
    EXPECT_EQ(reader.next(), Step::kBroken);
  }
}

TEST(AckReader, GivesUpOnWhatHasNoEnd) {
  AckReader reader;
  reader.feed(
      bytes_of("\x81\xa3"
               "ack\xdb\xff\xff\xff\xff"));
  Step step = reader.next();
  for (int i = 0; step == Step::kNeedMore && i < 100; ++i) {
    reader.feed(std::vector<uint8_t>(100, 'x'));
    step = reader.next();
  }
  EXPECT_EQ(step, Step::kBroken);
}

TEST(AckReader, ForgetsTheLastConnection) {
  AckReader reader;
  reader.feed(bytes_of(test::ack("one").substr(0, 3)));
  EXPECT_EQ(reader.next(), Step::kNeedMore);
  reader.clear();
  reader.feed(bytes_of(test::ack("two")));
  ASSERT_EQ(reader.next(), Step::kAck);
  EXPECT_EQ(reader.chunk(), "two");
}

}  // namespace
}  // namespace vek::engine
