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
  const std::string* text = nullptr;
  bool is_split = false;
};

// Tells an observer, if there is one, what tokens do to the fields of a type.
struct Watch {
  FieldSetObserver* observer = nullptr;
  const std::string* type = nullptr;

  void tell(const SplitToken& token, const field_t& field, FieldTokenEffect effect) const {
    if (observer) observer->on_field_token(*type, *token.text, field, effect);
  }
};

std::vector<SplitToken> splitTokens(const std::vector<std::string>& tokens) {
  std::vector<SplitToken> split;
  split.reserve(tokens.size());
  for (const std::string& token : tokens) {
    SplitToken& parts = split.emplace_back();
    parts.text = &token;
    parts.is_split = vek_filter_get_incl_excl_tokens(
        token.c_str(), parts.include, &parts.include_count, parts.exclude, &parts.exclude_count);
  }
  return split;
}

void includeAll(field_set_t& field_set) {
  for (field_t& field : field_set.fields) {
    field.skip = false;
    field.order = ++field_set.num_included;
  }
}

void applyTokens(field_set_t& field_set, field_t& field, const std::vector<SplitToken>& tokens,
                 const Watch& watch) {
  bool counted = false;
  for (const SplitToken& token : tokens) {
    if (!token.is_split) {
      watch.tell(token, field, FieldTokenEffect::kBadFilter);
    } else if (token.include_count > 0) {
      // Without an observer a field that leaves already need not be matched again.
      if ((field.skip || watch.observer) &&
          vek_filter_have_match(token.include, token.include_count, token.exclude,
                                token.exclude_count, field.name)) {
        watch.tell(token, field,
                   field.skip ? FieldTokenEffect::kShown : FieldTokenEffect::kAlreadyShown);
        if (!field.skip) continue;
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
      watch.tell(token, field, FieldTokenEffect::kExcluded);
      return;
    }
  }
}

}  // namespace

void Filter(field_set_t& field_set, const std::vector<std::string>& tokens, bool reset) {
  FilterWatched(field_set, tokens, reset, {}, nullptr);
}

void FilterWatched(field_set_t& field_set, const std::vector<std::string>& tokens, bool reset,
                   const std::string& type, FieldSetObserver* observer) {
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
  const Watch watch{observer, &type};
  for (field_t& field : field_set.fields) applyTokens(field_set, field, split, watch);
}

}  // namespace vek
