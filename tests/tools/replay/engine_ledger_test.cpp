#include "tools/replay/engine_ledger.h"

#include <gtest/gtest.h>

namespace vek::tools {
namespace {

constexpr char kWhole[] =
    R"([{"name":"a","output":"file","finalized":true,"account":{"accepted":3,"delivered":2,)"
    R"("spooled":1,"queued":0,"dropped":{},"mended":1,"clamped":0,"retried":4,"bytes":9}}])";

EngineLedger parsed(const std::string& text) {
  return parse_engine_ledger(text).value_or(EngineLedger());
}

TEST(EngineLedger, IsReadFromTheEnginesText) {
  const EngineLedger ledger = parsed(kWhole);
  ASSERT_EQ(ledger.size(), 1u);
  EXPECT_EQ(ledger[0].name, "a");
  EXPECT_EQ(ledger[0].output, "file");
  EXPECT_TRUE(ledger[0].finalized);
  EXPECT_EQ(ledger[0].accepted, 3u);
  EXPECT_EQ(ledger[0].mended, 1u);
  EXPECT_EQ(ledger[0].retried, 4u);
  EXPECT_TRUE(ledger[0].is_whole());
}

TEST(EngineLedger, OtherTextIsNoLedger) {
  for (const char* text : {"", "{}", "[1]", "[{}]", "[{\"name\":\"a\"}]"}) {
    EXPECT_FALSE(parse_engine_ledger(text)) << text;
  }
  EXPECT_TRUE(parse_engine_ledger("[]"));
}

TEST(EngineLedger, ALossAndAnImbalanceAreNotWhole) {
  DestinationAccount entry;
  entry.accepted = 5;
  entry.delivered = 5;
  EXPECT_TRUE(entry.is_whole());
  entry.delivered = 4;
  EXPECT_FALSE(entry.balances());
  entry.dropped = {{"cut", 1}};
  EXPECT_TRUE(entry.balances());
  EXPECT_FALSE(entry.is_whole());
  entry.dropped.clear();
  entry.queued = 1;
  EXPECT_FALSE(entry.is_whole());
}

TEST(EngineLedger, IsPrintedWithItsReasons) {
  EngineLedger ledger = parsed(kWhole);
  ledger[0].dropped = {{"queue_full", 7}};
  EXPECT_EQ(ledger_text(ledger),
            "  destination  output         in  delivered    spooled     queued    dropped     "
            "mended\n"
            "  a            file            3          2          1          0          7          "
            "1\n"
            "    dropped as queue_full: 7\n"
            "    does not balance: in is not the sum of what follows it\n");
}

TEST(EngineLedger, AProcessWithoutAnEngineHasNone) {
  std::string problem;
  EXPECT_FALSE(read_engine_ledger(problem));
  EXPECT_EQ(problem, "no engine library is loaded");
}

}  // namespace
}  // namespace vek::tools
