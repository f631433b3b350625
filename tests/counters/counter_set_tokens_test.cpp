#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "counters/counter_set.h"
#include "tests/counters/counters_fixture.h"
#include "tests/support/log_capture.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using Names = std::vector<std::string>;

Names select(const Names& counters, const Names& tokens) {
  const Schema schema = make_schema(named(counters));
  const Strings array = strings_of(tokens);
  const Set set(vek_schema_and_tokens_to_counter_set(schema.get(), "n", array.get()));
  return exported_names(set.get());
}

struct Case {
  const char* rule;
  Names tokens;
  Names exported;
};

TEST(CounterSetTokens, SelectByTheirFilters) {
  const Names counters = {"rx_bytes", "tx_bytes", "rx_errors", "temperature"};
  const Case cases[] = {
      {"a token selects what holds it", {"bytes"}, {"rx_bytes", "tx_bytes"}},
      {"case plays no part", {"RX"}, {"rx_bytes", "rx_errors"}},
      {"tokens add up", {"errors", "temp"}, {"rx_errors", "temperature"}},
      {"the schema's order holds", {"temp", "rx_errors"}, {"rx_errors", "temperature"}},
      {"inclusive parts are combined with AND", {"+rx+bytes"}, {"rx_bytes"}},
      {"an exclusive part takes away", {"+rx-errors"}, {"rx_bytes"}},
      {"and leaves what it took away to later tokens",
       {"+rx-errors", "errors"},
       {"rx_bytes", "rx_errors"}},
      {"anchors hold", {"^rx", "bytes$"}, {"rx_bytes", "tx_bytes", "rx_errors"}},
      {"no match exports nothing", {"nothing"}, {}},
      {"exclusive parts alone select the others", {"-rx"}, {"tx_bytes", "temperature"}},
      {"an exclusion ends the counter's tokens", {"-rx", "rx_bytes"}, {"tx_bytes", "temperature"}},
      {"an exclusion takes back an earlier token", {"bytes", "-rx"}, {"tx_bytes", "temperature"}},
      {"an exclusion needs all of its parts", {"bytes", "-rx-bytes"}, {"tx_bytes", "temperature"}},
      {"some of an exclusion's parts leave the counter to later tokens",
       {"-rx-bytes", "rx_errors"},
       {"rx_errors", "temperature"}},
  };
  for (const Case& each : cases) {
    EXPECT_THAT(select(counters, each.tokens), ElementsAreArray(each.exported)) << each.rule;
  }
}

TEST(CounterSetTokens, AreSplitAtEqualSigns) {
  const Case cases[] = {
      {"two pieces are alias and filter", {"in=rx"}, {"in"}},
      {"a run of signs is one separator", {"in==rx"}, {"in"}},
      {"a leading sign separates nothing", {"=rx"}, {"rx_bytes"}},
      {"nor does a trailing one", {"rx="}, {"rx_bytes"}},
      {"blanks belong to the pieces", {"in =rx"}, {"in "}},
  };
  for (const Case& each : cases) {
    EXPECT_THAT(select({"rx_bytes"}, each.tokens), ElementsAreArray(each.exported)) << each.rule;
  }
}

TEST(CounterSetTokens, OfMorePiecesAreRefusedAndTheNextIsTried) {
  for (const char* token : {"a=b=c", "a==b=c", "=", "==="}) {
    const LogCapture log;
    EXPECT_THAT(select({"rx"}, {token, "rx"}), ElementsAre("rx"));
    EXPECT_THAT(log.errors(),
                ElementsAre(std::string("Unable to parse counterset token ") + token));
  }
}

TEST(CounterSetTokens, NameACounterOnce) {
  EXPECT_THAT(select({"rx_bytes"}, {"rx_bytes_alias=rx_bytes", "other=rx_bytes"}),
              ElementsAre("rx_bytes_alias"));
  EXPECT_THAT(select({"rx_bytes"}, {"rx_bytes", "other=rx_bytes"}), ElementsAre("rx_bytes"));
}

TEST(CounterSetTokens, SeeTheNameThatATokenBeforeThemGave) {
  // The counter is called "in" once the first token has shown it.
  EXPECT_THAT(select({"rx_bytes"}, {"in=rx_bytes", "-rx_bytes"}), ElementsAre("in"));
  EXPECT_THAT(select({"rx_bytes"}, {"in=rx_bytes", "-in"}), IsEmpty());
}

TEST(CounterSetTokens, UpdateTheLengthOfTheName) {
  const Schema schema = make_schema(named({"rx_bytes"}));
  const Strings tokens = strings_of({"in=rx"});
  const Set set(vek_schema_and_tokens_to_counter_set(schema.get(), "n", tokens.get()));
  EXPECT_EQ(set->counters[0].name_len, 2u);
}

TEST(CounterSetTokens, ThatCannotBeSplitHaveNoEffect) {
  std::string too_many;
  for (int i = 0; i < 33; ++i) too_many += "+rx";
  const std::string too_long(128, 'r');
  const LogCapture log(VEK_LOG_ERROR);
  EXPECT_THAT(select({"rx"}, {too_many, too_long, "-", "x=+", "rx"}), ElementsAre("rx"));
  EXPECT_THAT(log.errors(),
              ElementsAre("Cannot handle more than 32 tokens",
                          "Token of size 128 is too long to keep in the tokens array"));
}

}  // namespace
}  // namespace vek::test
