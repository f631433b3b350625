#include <cstdlib>
#include <cstring>

#include "counters/counter_set_build.h"
#include "utils/filters.h"
#include "utils/logger.h"
#include "utils/owned.h"

namespace {

// What one token asks of one counter.
enum class Verdict { kNextToken, kNextCounter, kNoMemory };

// A filter split into its tokens; 8 KB, so one serves a whole set.
struct Filter {
  vek_filter_token_t incl[VEK_FILTER_MAX_TOKENS];
  vek_filter_token_t excl[VEK_FILTER_MAX_TOKENS];
  uint32_t incl_count = 0;
  uint32_t excl_count = 0;

  bool split(const char* text) {
    return vek_filter_get_incl_excl_tokens(text, incl, &incl_count, excl, &excl_count);
  }
  bool only_excludes() const { return incl_count == 0 && excl_count > 0; }
  // Every exclusive token is found in the name.
  bool excludes(const char* name) const {
    return vek_filter_have_match(excl, excl_count, incl, 0, name);
  }
  bool matches(const char* name) const {
    return vek_filter_have_match(incl, incl_count, excl, excl_count, name);
  }
};

// "filter" or "alias=filter"; a run of "=" is one separator. False for any other number of pieces.
// The pieces point into `copy`, which is cut up.
bool split_token(char* copy, const char** alias, const char** filter) noexcept {
  char* rest = nullptr;
  const char* first = strtok_r(copy, "=", &rest);
  const char* second = strtok_r(nullptr, "=", &rest);
  if (!first || strtok_r(nullptr, "=", &rest)) return false;
  *alias = second ? first : nullptr;
  *filter = second ? second : first;
  return true;
}

bool rename(vek_counter_set_element_t* counter, const char* alias) noexcept {
  char* copy = strdup(alias);
  if (!copy) return false;
  std::free(counter->name);
  counter->name = copy;
  counter->name_len = std::strlen(copy);
  return true;
}

// Tells an observer, if there is one, what the token at hand did.
struct Watch {
  vek::CounterSetObserver* observer;
  uint64_t token;
  uint64_t counter;

  void tell(vek::CounterTokenEffect effect) const {
    if (observer) observer->on_counter_token(token, counter, effect);
  }
};

Verdict apply_token(vek_counter_set_t* set, uint64_t index, const char* token, Filter& filter,
                    const Watch& watch) {
  using Effect = vek::CounterTokenEffect;
  const vek::CString copy(strdup(token));
  if (!copy) return Verdict::kNoMemory;
  const char* alias = nullptr;
  const char* filter_text = nullptr;
  if (!split_token(copy.get(), &alias, &filter_text)) {
    VEK_LOGE("Unable to parse counterset token %s", token);
    watch.tell(Effect::kMalformed);
    return Verdict::kNextToken;
  }
  if (!filter.split(filter_text)) {
    watch.tell(Effect::kBadFilter);
    return Verdict::kNextToken;
  }

  vek_counter_set_element_t* counter = &set->counters[index];
  if (filter.only_excludes() && filter.excludes(counter->name)) {
    if (!set->skip[index]) --set->num_exported;
    set->skip[index] = 1;
    watch.tell(Effect::kExcluded);
    return Verdict::kNextCounter;
  }
  // The first token that shows a counter names it; later ones see that name.
  if (filter.matches(counter->name)) {
    watch.tell(set->skip[index] ? Effect::kShown : Effect::kAlreadyShown);
    if (!set->skip[index]) return Verdict::kNextToken;
    set->skip[index] = 0;
    ++set->num_exported;
    if (alias && !rename(counter, alias)) return Verdict::kNoMemory;
  }
  return Verdict::kNextToken;
}

}  // namespace

bool vek::apply_tokens(vek_counter_set_t* set, const vek_string_array_t* tokens,
                       CounterSetObserver* observer) {
  std::memset(set->skip, 1, set->num_counters);
  set->num_exported = 0;
  Filter filter;
  for (uint64_t c = 0; c < set->num_counters; ++c) {
    for (uint64_t t = 0; t < tokens->count; ++t) {
      const Watch watch{observer, t, c};
      const Verdict verdict = apply_token(set, c, tokens->strings[t], filter, watch);
      if (verdict == Verdict::kNoMemory) return false;
      if (verdict == Verdict::kNextCounter) break;
    }
  }
  return true;
}
