#include "utils/filters.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

#include "utils/logger.h"

namespace {

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

bool is_sign(char c) { return c == '+' || c == '-'; }

bool store_token(vek_filter_token_t* tokens, uint32_t* count, std::string_view token) {
  if (*count >= VEK_FILTER_MAX_TOKENS) {
    VEK_LOGE("Cannot handle more than %d tokens", VEK_FILTER_MAX_TOKENS);
    return false;
  }
  if (token.size() >= VEK_FILTER_TOKEN_SIZE) {
    VEK_LOGE("Token of size %zu is too long to keep in the tokens array", token.size());
    return false;
  }
  char* slot = tokens[*count];
  std::memcpy(slot, token.data(), token.size());
  slot[token.size()] = '\0';
  ++*count;
  return true;
}

// A token taken apart: "^^core$$" and what, if anything, makes it malformed.
struct TokenPattern {
  std::string_view core;
  bool at_start = false;
  bool at_end = false;
  bool malformed = false;  // something other than closing "$" signs follows the core
};

TokenPattern parse_token(const char* token) {
  const std::string_view all(token, strnlen(token, VEK_FILTER_TOKEN_SIZE));
  TokenPattern pattern;
  const size_t core_begin = std::min(all.find_first_not_of('^'), all.size());
  pattern.at_start = core_begin > 0;
  const size_t core_end = std::min(all.find_first_of("^$", core_begin), all.size());
  pattern.core = all.substr(core_begin, core_end - core_begin);
  const std::string_view rest = all.substr(core_end);
  pattern.at_end = !rest.empty();
  pattern.malformed = rest.find_first_not_of('$') != std::string_view::npos;
  return pattern;
}

// Position of the first occurrence of the core, ignoring case; npos when there is none.
size_t find_ignoring_case(std::string_view text, std::string_view core) {
  const auto* found = std::search(text.begin(), text.end(), core.begin(), core.end(),
                                  [](char a, char b) { return lower(a) == lower(b); });
  return found == text.end() ? std::string_view::npos : static_cast<size_t>(found - text.begin());
}

}  // namespace

bool vek_filter_get_incl_excl_tokens(const char* filter, vek_filter_token_t* incl,
                                     uint32_t* incl_count, vek_filter_token_t* excl,
                                     uint32_t* excl_count) {
  if (!incl || !incl_count || !excl || !excl_count) return false;
  *incl_count = 0;
  *excl_count = 0;
  if (!filter) return false;

  const std::string_view text(filter);
  if (text.size() == 1 && is_sign(text[0])) return false;

  bool inclusive = true;  // of a first token without a sign
  for (size_t at = 0; at < text.size();) {
    if (is_sign(text[at])) {
      inclusive = text[at] == '+';
      ++at;
      continue;
    }
    const size_t end = std::min(text.find_first_of("+-", at), text.size());
    const std::string_view token = text.substr(at, end - at);
    if (!(inclusive ? store_token(incl, incl_count, token)
                    : store_token(excl, excl_count, token))) {
      return false;
    }
    at = end;
  }
  return true;
}

bool vek_filter_match_single_token(const char* text, const char* token) {
  if (!text || !token) return false;
  const TokenPattern pattern = parse_token(token);
  if (pattern.malformed) return false;

  const std::string_view whole(text);
  size_t position = pattern.at_start ? 0 : whole.size();
  if (!pattern.core.empty()) {
    position = find_ignoring_case(whole, pattern.core);
    if (position == std::string_view::npos) return false;
    if (pattern.at_start && position != 0) return false;
  }
  // Only the first occurrence counts: "ab$" does not match "abab", and filters in the field are
  // written with that in mind.
  return !pattern.at_end || position + pattern.core.size() == whole.size();
}

bool vek_filter_have_match(const vek_filter_token_t* incl, uint32_t incl_count,
                           const vek_filter_token_t* excl, uint32_t excl_count, const char* text) {
  if (!incl || !excl || !text) return false;
  // The arguments stand in this order, so the lines read with two words swapped; scripts of
  // operators match them as they are.
  for (uint32_t i = 0; i < std::min<uint32_t>(excl_count, VEK_FILTER_MAX_TOKENS); ++i) {
    const bool found = vek_filter_match_single_token(text, excl[i]);
    VEK_LOGD("[vek_filter_have_match] exclusive token '%s' %s found in '%s'",
             found ? "was" : "was not", excl[i], text);
    if (found) return false;
  }
  for (uint32_t i = 0; i < std::min<uint32_t>(incl_count, VEK_FILTER_MAX_TOKENS); ++i) {
    const bool found = vek_filter_match_single_token(text, incl[i]);
    VEK_LOGD("[vek_filter_have_match] inclusive token '%s' %s found in '%s'",
             found ? "was" : "was not", incl[i], text);
    if (!found) return false;
  }
  return true;
}

void vek_filter_to_lower(char* text) {
  if (!text) return;
  for (; *text; ++text) *text = lower(*text);
}
