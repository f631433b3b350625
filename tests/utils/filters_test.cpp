#include "utils/filters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Strings = std::vector<std::string>;

struct Filter {
  vek_filter_token_t incl[VEK_FILTER_MAX_TOKENS];
  vek_filter_token_t excl[VEK_FILTER_MAX_TOKENS];
  uint32_t incl_count = 77;
  uint32_t excl_count = 77;
  bool split_ok;

  explicit Filter(const char* text)
      : split_ok(vek_filter_get_incl_excl_tokens(text, incl, &incl_count, excl, &excl_count)) {}

  Strings inclusive() const { return {incl, incl + incl_count}; }
  Strings exclusive() const { return {excl, excl + excl_count}; }
  bool passes(const char* text) const {
    return vek_filter_have_match(incl, incl_count, excl, excl_count, text);
  }
};

TEST(FilterSplit, GoesByTheSignInFrontOfEachToken) {
  const struct {
    const char* text;
    Strings inclusive;
    Strings exclusive;
  } cases[] = {
      {"+x-y", {"x"}, {"y"}},   {"x", {"x"}, {}},   {"x-y+z", {"x", "z"}, {"y"}},
      {"-y", {}, {"y"}},        {"", {}, {}},       {"++x--y", {"x"}, {"y"}},
      {"+-x", {}, {"x"}},       {"-+x", {"x"}, {}}, {"+x+", {"x"}, {}},
      {"+-", {}, {}},           {"--", {}, {}},     {"+a b+^c$", {"a b", "^c$"}, {}},
      {"+a+a", {"a", "a"}, {}},
  };
  for (const auto& c : cases) {
    const Filter filter(c.text);
    EXPECT_TRUE(filter.split_ok) << c.text;
    EXPECT_EQ(filter.inclusive(), c.inclusive) << c.text;
    EXPECT_EQ(filter.exclusive(), c.exclusive) << c.text;
  }
}

TEST(FilterSplit, RefusesNullAndALoneSignWithBothCountsZero) {
  for (const char* text : {static_cast<const char*>(nullptr), "-", "+"}) {
    const Filter filter(text);
    EXPECT_FALSE(filter.split_ok) << (text ? text : "(null)");
    EXPECT_EQ(filter.incl_count, 0u);
    EXPECT_EQ(filter.excl_count, 0u);
  }
}

TEST(FilterSplit, HoldsThirtyTwoTokensOfEachKind) {
  std::string text;
  for (int i = 0; i < 32; ++i) {
    text += "+i" + std::to_string(i);
    text += "-e" + std::to_string(i);
  }
  LogCapture log;
  const Filter full(text.c_str());
  EXPECT_TRUE(full.split_ok);
  EXPECT_EQ(full.incl_count, 32u);
  EXPECT_EQ(full.excl_count, 32u);
  EXPECT_EQ(full.inclusive().back(), "i31");
  EXPECT_THAT(log.lines(), IsEmpty());

  for (const char* one_more : {"+i", "-e"}) {
    EXPECT_FALSE(Filter((text + one_more).c_str()).split_ok);
    EXPECT_THAT(log.errors(), ElementsAre("Cannot handle more than 32 tokens"));
    EXPECT_EQ(log.lines().size(), 1u);
    log.clear();
  }
}

TEST(FilterSplit, TakesTokensOfUpTo127Characters) {
  const LogCapture log;
  const std::string longest(127, 't');
  EXPECT_EQ(Filter(longest.c_str()).inclusive(), Strings{longest});
  EXPECT_THAT(log.errors(), IsEmpty());
  EXPECT_FALSE(Filter(("-x+" + longest + "t").c_str()).split_ok);
  EXPECT_FALSE(Filter(std::string(1000, 't').c_str()).split_ok);
  EXPECT_THAT(log.errors(),
              ElementsAre("Token of size 128 is too long to keep in the tokens array",
                          "Token of size 1000 is too long to keep in the tokens array"));
}

struct MatchCase {
  const char* text;
  const char* token;
  bool matches;
};

TEST(FilterToken, MatchesByItsAnchorsAndCore) {
  const MatchCase cases[] = {
      // no anchor: anywhere, ignoring case
      {"Port1", "port", true},
      {"port1", "PORT", true},
      {"my_port", "port", true},
      {"por", "port", false},
      {"", "port", false},
      {"port", "port", true},
      // at the start
      {"port1", "^port", true},
      {"my_port", "^port", false},
      {"port", "^^^port", true},
      {"xport_port", "^port", false},
      // at the end
      {"my_port", "port$", true},
      {"port1", "port$", false},
      {"port", "port$$$", true},
      // the first occurrence decides
      {"abab", "ab$", false},
      {"ab", "ab$", true},
      {"xab", "ab$", true},
      {"aab", "ab$", true},
      {"aaa", "aa$", false},
      // both
      {"port", "^port$", true},
      {"port1", "^port$", false},
      {"", "^port$", false},
      // empty cores
      {"anything", "", true},
      {"", "", true},
      {"anything", "^", true},
      {"", "^", true},
      {"anything", "^^", true},
      {"anything", "$", true},
      {"", "$", true},
      {"anything", "$$", true},
      {"", "^$", true},
      {"x", "^$", false},
      {"", "^^$$", true},
      // signs out of place
      {"ab", "a^b", false},
      {"a", "a^", false},
      {"ab", "a$b", false},
      {"a", "a$^", false},
      {"a", "$a", false},
      {"a", "$^", false},
      {"a^b", "a^b", false},
      // nothing else is special
      {"a.c", "a.c", true},
      {"abc", "a.c", false},
      {"a*", "*", true},
      {"a", "*", false},
      {"tr\xC3\xA9s", "\xC3\xA9", true},
      {nullptr, "a", false},
      {"a", nullptr, false},
  };
  for (const MatchCase& c : cases) {
    EXPECT_EQ(vek_filter_match_single_token(c.text, c.token), c.matches)
        << (c.text ? c.text : "(null)") << " / " << (c.token ? c.token : "(null)");
  }
}

TEST(FilterToken, IsReadUpTo128Characters) {
  const std::string core(128, 'c');
  EXPECT_TRUE(vek_filter_match_single_token(core.c_str(), (core + "x").c_str()))
      << "what follows the 128th character does not count";
  EXPECT_TRUE(vek_filter_match_single_token((core + "y").c_str(), (core + "$").c_str()));
  EXPECT_FALSE(vek_filter_match_single_token(core.substr(1).c_str(), core.c_str()));
  EXPECT_TRUE(vek_filter_match_single_token("abc", std::string(300, '^').c_str()));
}

// The rules once more, written as they are told: character by character.
bool matches_as_told(const std::string& text, const std::string& token) {
  const auto lower = [](std::string s) {
    for (char& c : s) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return s;
  };
  size_t i = 0;
  while (i < token.size() && token[i] == '^') ++i;
  const bool anchored = i > 0;
  std::string core;
  while (i < token.size() && token[i] != '^' && token[i] != '$') core += token[i++];
  size_t at = anchored ? 0 : text.size();
  if (!core.empty()) {
    at = lower(text).find(lower(core));
    if (at == std::string::npos) return false;
    if (anchored && at != 0) return false;
  }
  if (i == token.size()) return true;
  if (token[i] != '$') return false;
  if (at + core.size() != text.size()) return false;
  while (i < token.size() && token[i] == '$') ++i;
  return i == token.size();
}

TEST(FilterToken, MatchesAsToldForRandomTexts) {
  std::mt19937 random(1);
  const auto draw = [&random](const char* letters, size_t count, size_t longest) {
    std::string text(random() % (longest + 1), '\0');
    for (char& c : text) c = letters[random() % count];
    return text;
  };
  size_t matched = 0;
  for (int i = 0; i < 50000; ++i) {
    const std::string text = draw("aAbB", 4, 5);
    const std::string token = draw("^$abA", 5, 5);
    const bool expected = matches_as_told(text, token);
    matched += expected ? 1 : 0;
    ASSERT_EQ(vek_filter_match_single_token(text.c_str(), token.c_str()), expected)
        << text << " / " << token;
  }
  EXPECT_GT(matched, 5000u);
}

TEST(Filter, CombinesInclusiveTokensWithAndAndExclusiveWithOr) {
  const struct {
    const char* filter;
    const char* text;
    bool passes;
  } cases[] = {
      {"+port", "Port1", true},    {"+port+eth", "Port1", false},
      {"+port+1", "Port1", true},  {"-PORT", "Port1", false},
      {"-eth", "Port1", true},     {"-eth-port", "Port1", false},
      {"+port-1", "Port1", false}, {"+port-2", "Port1", true},
      {"", "Port1", true},         {"", "", true},
      {"+eth-1", "Port1", false},  {"+^$", "", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Filter(c.filter).passes(c.text), c.passes) << c.filter << " / " << c.text;
  }
}

TEST(Filter, RefusesNullArguments) {
  const Filter filter("+a");
  EXPECT_FALSE(vek_filter_have_match(nullptr, 0, filter.excl, 0, "a"));
  EXPECT_FALSE(vek_filter_have_match(filter.incl, 0, nullptr, 0, "a"));
  EXPECT_FALSE(vek_filter_have_match(filter.incl, 0, filter.excl, 0, nullptr));
}

TEST(Filter, TriesAtMostThirtyTwoTokensOfEachKind) {
  vek_filter_token_t tokens[33] = {};
  for (vek_filter_token_t& token : tokens) token[0] = 'a';
  tokens[32][0] = 'b';
  vek_filter_token_t none[1] = {};
  EXPECT_TRUE(vek_filter_have_match(tokens, 33, none, 0, "a"));
  for (vek_filter_token_t& token : tokens) token[0] = 'b';
  tokens[32][0] = 'a';
  EXPECT_TRUE(vek_filter_have_match(none, 0, tokens, 33, "a"));
}

// The words stand in a surprising order; what reads the logs is used to it.
TEST(Filter, LogsEachTestWithTheArgumentsInTheirKnownOrder) {
  const LogCapture log;
  EXPECT_TRUE(Filter("+port-eth").passes("Port1"));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          LogLine{7, "[vek_filter_have_match] exclusive token 'was not' eth found in 'Port1'"},
          LogLine{7, "[vek_filter_have_match] inclusive token 'was' port found in 'Port1'"}));
}

TEST(Filter, StopsAtTheTokenThatDecides) {
  LogCapture log;
  EXPECT_FALSE(Filter("-port-1+port").passes("Port1"));
  EXPECT_THAT(log.lines(),
              ElementsAre(LogLine{
                  7, "[vek_filter_have_match] exclusive token 'was' port found in 'Port1'"}));
  log.clear();
  EXPECT_FALSE(Filter("+eth+port").passes("Port1"));
  EXPECT_THAT(log.lines(),
              ElementsAre(LogLine{
                  7, "[vek_filter_have_match] inclusive token 'was not' eth found in 'Port1'"}));
}

TEST(FilterToLower, ChangesLettersInPlace) {
  char text[] = "Port_1 ABZ\xC9";
  vek_filter_to_lower(text);
  EXPECT_STREQ(text, "port_1 abz\xC9");
  vek_filter_to_lower(nullptr);
}

}  // namespace
}  // namespace vek::test
