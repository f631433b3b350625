// PageFilter: which pages of a recording are wanted, by number, tag, source, time and type.
#ifndef VEK_TOOLS_PAGES_PAGE_FILTER_H
#define VEK_TOOLS_PAGES_PAGE_FILTER_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tools/command_line/time_window.h"
#include "tools/pages/inspected_page.h"

namespace vek::tools {

class PageFilter {
 public:
  // --page, --tag, --source, --from, --to, --type. Call check() from the verb's callback.
  void add_options(Verb& verb);
  void check() const { check_time_window(times_); }

  bool passes(const InspectedPage& page);
  // Of a page that passes: whether --type wants this block.
  bool wants(const SeenBlock& block) const;
  // Warns of names that no page had, with the nearest that one has.
  void say_unmet() const;

 private:
  // The words of one option, and what they were compared with.
  struct Words {
    const char* option;
    const char* noun;
    std::vector<std::string> wanted;
    std::set<std::string> met;   // of the wanted ones
    std::set<std::string> seen;  // of the pages
    // Notes that `text` was seen; whether it is wanted.
    bool take(std::string_view text);
    bool matches(std::string_view text) const;
  };

  uint64_t first_page_ = 1;
  uint64_t last_page_ = UINT64_MAX;
  TimeWindow times_;
  Words tags_{"--tag", "tag", {}, {}, {}};
  Words sources_{"--source", "source", {}, {}, {}};
  Words types_{"--type", "type", {}, {}, {}};
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_PAGES_PAGE_FILTER_H
