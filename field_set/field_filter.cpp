#include "field_set/field_filter.h"

#include "utils/filters.h"

namespace vek {
namespace {

// One token taken apart, once for all fields.
struct SplitToken {
  vek_filter_token_t include[VEK_FILTER_MAX_TOKENS];
  vek_filter_token_t exclude[VEK_FILTER_MAX_TOKENS];
  uint32_t include_count = 0;
  uint32_t exclude_count = 0;
};

std::vector<SplitToken> splitTokens(const std::vector<std::string>& tokens) {
  std::vector<SplitToken> split;
  split.reserve(tokens.size());
  for (const std::string& token : tokens) {
    SplitToken& parts = split.emplace_back();
    if (!vek_filter_get_incl_excl_tokens(token.c_str(), parts.include, &parts.include_count,
                                         parts.exclude, &parts.exclude_count)) {
      split.pop_back();
    }
  }
  return split;
}

void includeAll(field_set_t& field_set) {
  for (field_t& field : field_set.fields) {
    field.skip = false;
    field.order = ++field_set.num_included;
  }
}

void applyTokens(field_set_t& field_set, field_t& field, const std::vector<SplitToken>& tokens) {
  bool counted = false;
  for (const SplitToken& token : tokens) {
    if (token.include_count > 0) {
      if (field.skip && vek_filter_have_match(token.include, token.include_count, token.exclude,
                                              token.exclude_count, field.name)) {
        field.skip = false;
        field.order = ++field_set.num_included;
        counted = true;
      }
    } else if (token.exclude_count > 0 && vek_filter_have_match(token.exclude, token.exclude_count,
                                                                token.include, 0, field.name)) {
      // Excluded for good. Its order number stays as it was given, and so do later ones: numbers
      // once handed out are not moved.
      if (counted) --field_set.num_included;
      field.skip = true;
      return;
    }
  }
}

}  // namespace

void Filter(field_set_t& field_set, const std::vector<std::string>& tokens, bool reset) {
  field_set.num_included = 0;
  if (tokens.empty()) {
    includeAll(field_set);
    return;
  }
  // Starting from nothing, a list of exclude tokens alone selects nothing; field-set files rely on
  // an include token standing beside them.
  if (reset) {
    for (field_t& field : field_set.fields) field.skip = true;
  }
  const std::vector<SplitToken> split = splitTokens(tokens);
  for (field_t& field : field_set.fields) applyTokens(field_set, field, split);
}

}  // namespace vek
