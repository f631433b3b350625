#include "tools/base/json_writer.h"

#include <gtest/gtest.h>

namespace vek::tools {
namespace {

TEST(JsonWriter, SeparatesMembersAndElements) {
  JsonWriter json;
  json.begin_object().member("a", uint64_t{1}).key("b").begin_array().number(2).text("x\"y");
  json.begin_object().end_object().null().end_array().member("c", true).key("d").real(0.5);
  json.end_object();
  EXPECT_EQ(json.out(), R"({"a":1,"b":[2,"x\"y",{},null],"c":true,"d":0.5})");
}

TEST(JsonWriter, IntegersAreExact) {
  EXPECT_EQ(JsonWriter().number(18446744073709551615u).out(), "18446744073709551615");
}

TEST(QuoteIntegers, QuotesIntegersAndNothingElse) {
  EXPECT_EQ(quote_integers(R"({"a":18446744073709551615,"b":[-1,2.5,1e3,"7","\"8"],"9":null})"),
            R"({"a":"18446744073709551615","b":["-1",2.5,1e3,"7","\"8"],"9":null})");
  EXPECT_EQ(quote_integers("{\"a\":1}\n{\"a\":2}\n"), "{\"a\":\"1\"}\n{\"a\":\"2\"}\n");
  EXPECT_EQ(quote_integers("12"), "\"12\"");
}

}  // namespace
}  // namespace vek::tools
