#include "tools/pages/page_filter.h"

#include <fnmatch.h>

#include <algorithm>
#include <charconv>

#include "data/printable.h"
#include "tools/base/console.h"
#include "tools/base/harmless_text.h"
#include "tools/base/suggest.h"

namespace vek::tools {
namespace {

constexpr size_t kMostRemembered = 1000;  // names, for suggestions

// "7", "7-9", "7-".
void take_pages(const std::string& text, uint64_t& first, uint64_t& last) {
  const char* const end = text.data() + text.size();
  const auto [behind_first, first_error] = std::from_chars(text.data(), end, first);
  bool good = first_error == std::errc() && first > 0;
  last = first;
  if (good && behind_first != end) {
    good = *behind_first == '-';
    last = UINT64_MAX;
    if (good && behind_first + 1 != end) {
      const auto [behind_last, last_error] = std::from_chars(behind_first + 1, end, last);
      good = last_error == std::errc() && behind_last == end && last >= first;
    }
  }
  if (!good) {
    refuse("--page", "'" + text + "' is no page such as 7, and no 7-9 or 7-");
  }
}

}  // namespace

bool PageFilter::Words::matches(std::string_view text) const {
  const std::string name(text);
  return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), [&](const auto& pattern) {
           return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
         });
}

bool PageFilter::Words::take(std::string_view text) {
  if (wanted.empty()) return true;
  const std::string name(text);
  if (seen.size() < kMostRemembered) seen.insert(name);
  bool any = false;
  for (const std::string& pattern : wanted) {
    if (fnmatch(pattern.c_str(), name.c_str(), 0) != 0) continue;
    met.insert(pattern);
    any = true;
  }
  return any;
}

void PageFilter::add_options(Verb& verb) {
  verb.taken_by(
      "--page", "N", [this](const std::string& text) { take_pages(text, first_page_, last_page_); },
      "Only this page of each file, or these: 7, 7-9, 7-");
  verb.texts("--tag", "TAG", tags_.wanted, "Only pages of this tag; '*' stands for anything")
      .takes_one_each_time();
  verb.texts("--source", "ID", sources_.wanted, "Only pages of this source; likewise")
      .takes_one_each_time();
  add_time_window(verb, times_);
  verb.texts("--type", "TYPE", types_.wanted,
             "Only pages with blocks of this kind (counters, events, schemas) or with events "
             "of this type; likewise")
      .takes_one_each_time();
}

bool PageFilter::passes(const InspectedPage& page) {
  if (page.number < first_page_ || page.number > last_page_) return false;
  if (!times_.holds(page.summary.first_time_us)) return false;
  const bool has_tag = tags_.take(page.view.tag_text());
  const bool has_source = sources_.take(page.view.source_text());
  bool has_type = types_.wanted.empty();
  for (const SeenBlock& block : page.blocks) {
    has_type = types_.take(block_name(block.type)) || has_type;
    if (block.event_type) has_type = types_.take(printable(block.event_type->name)) || has_type;
  }
  return has_tag && has_source && has_type;
}

bool PageFilter::wants(const SeenBlock& block) const {
  return types_.matches(block_name(block.type)) ||
         (block.event_type && types_.matches(printable(block.event_type->name)));
}

void PageFilter::say_unmet() const {
  for (const Words* words : {&tags_, &sources_, &types_}) {
    for (const std::string& pattern : words->wanted) {
      if (words->met.contains(pattern)) continue;
      const std::string guess = nearest(pattern, {words->seen.begin(), words->seen.end()});
      say_warning("%s: no page has the %s '%s'%s", words->option, words->noun,
                  harmless(pattern).c_str(),
                  guess.empty() ? "" : ("; did you mean '" + harmless(guess) + "'?").c_str());
    }
  }
}

}  // namespace vek::tools
