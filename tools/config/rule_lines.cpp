#include "tools/config/rule_lines.h"

#include <algorithm>

#include "tools/base/suggest.h"
#include "utils/filters.h"

namespace vek::tools {
namespace {

// The names in a filter without its signs: what a typing error is in.
std::vector<std::string> words_of(const std::string& rule) {
  const size_t equals = rule.find('=');
  const std::string filter = equals == std::string::npos ? rule : rule.substr(equals + 1);
  std::vector<std::string> words(1);
  for (const char c : filter) {
    if (c == '+' || c == '-' || c == '^' || c == '$') {
      words.emplace_back();
    } else {
      words.back() += c;
    }
  }
  std::erase(words, "");
  return words;
}

// The names, and the words that they are made of: rules are often about one of those.
std::vector<std::string> names_and_words(const std::vector<std::string>& names) {
  std::vector<std::string> all = names;
  for (const std::string& name : names) {
    for (size_t begin = 0; begin < name.size();) {
      const size_t end = std::min(name.find_first_of("_.", begin), name.size());
      if (end - begin >= 4) all.push_back(name.substr(begin, end - begin));
      begin = end + 1;
    }
  }
  return all;
}

std::string nearest_name_hint(const std::string& rule, const std::vector<std::string>& names) {
  for (const std::string& word : words_of(rule)) {
    const bool is_known = std::any_of(names.begin(), names.end(), [&](const std::string& name) {
      return name.find(word) != std::string::npos;
    });
    if (is_known) continue;
    const std::string guess = nearest(word, names_and_words(names));
    if (!guess.empty()) return "did you mean '" + guess + "'?";
  }
  return {};
}

void report_rule(const RuleLine& rule, const std::string& what,
                 const std::vector<std::string>& names, bool with_schemas, bool is_only_one,
                 Findings& findings) {
  if (rule.malformed) {
    findings.error(rule.place, "bad-rule",
                   "'" + rule.text + "' is neither a rule nor 'alias=rule', and has no effect",
                   "one '=' stands between alias and rule");
  } else if (rule.bad_filter) {
    findings.error(rule.place, "bad-filter",
                   "'" + rule.text + "' cannot be split into tokens, and has no effect",
                   "at most 32 tokens of 127 characters, each behind a '+' or '-'");
  } else if (looks_like_meta_field(rule.text)) {
    findings.error(rule.place, "bad-meta", "'" + rule.text + "' is taken for a rule",
                   "write 'meta_field_add:key=text' or 'meta_field_alias:" + what + "=alias'");
  } else if (!with_schemas || rule.is_for_nothing || rule.taken > 0) {
    return;
  } else if (rule.shadowed > 0) {
    findings.warning(rule.place, "shadowed",
                     "every " + what + " that '" + rule.text + "' takes was taken before" +
                         (rule.shadowed_by.empty() ? "" : ", by " + rule.shadowed_by),
                     "put the narrower rule first");
  } else if (!is_only_one) {
    findings.warning(rule.place, "matches-nothing",
                     "'" + rule.text + "' takes no " + what + " of the schemas",
                     nearest_name_hint(rule.text, names));
  }
}

}  // namespace

bool includes(const std::string& rule) {
  const size_t equals = rule.find('=');
  const size_t filter = equals == std::string::npos ? 0 : equals + 1;
  vek_filter_token_t include[VEK_FILTER_MAX_TOKENS];
  vek_filter_token_t exclude[VEK_FILTER_MAX_TOKENS];
  uint32_t include_count = 0;
  uint32_t exclude_count = 0;
  return vek_filter_get_incl_excl_tokens(rule.c_str() + filter, include, &include_count, exclude,
                                         &exclude_count) &&
         include_count > 0;
}

bool looks_like_meta_field(const std::string& text) {
  const std::string word = text.substr(0, text.find_first_of(":="));
  return word.size() < text.size() &&
         !nearest(word, {"meta_field_alias", "meta_field_add"}).empty();
}

// A file whose only rule takes nothing is how operators say "none".
void report_rules(const std::vector<RuleLine>& rules, const char* what,
                  const std::vector<std::string>& names, bool with_schemas, Findings& findings) {
  for (const RuleLine& rule : rules) {
    report_rule(rule, what, names, with_schemas && !names.empty(), rules.size() == 1, findings);
  }
}

}  // namespace vek::tools
