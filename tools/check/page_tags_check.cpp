#include "tools/check/page_tags_check.h"

#include <map>
#include <set>

#include "data/page_view.h"
#include "tools/base/console.h"
#include "tools/base/suggest.h"
#include "tools/pages/page_file.h"
#include "utils/string_array.h"

namespace vek::tools {
namespace {

// Tags of pages that go by their source tag; the others pass whatever is listed.
ExitStatus read_tags(const std::string& path, std::set<std::string>& tags) {
  PageFile file;
  if (!file.open(path)) {
    say_error("%s", file.problem().c_str());
    return ExitStatus::kEnvironment;
  }
  PageFile::Result result = PageFile::Result::kPage;
  while ((result = file.next()) == PageFile::Result::kPage) {
    const PageView view(file.page());
    const std::string tag(view.tag_text());
    if (tag != "fluent_aggr" && !tag.starts_with("dict_")) tags.insert(tag);
  }
  if (result == PageFile::Result::kEnd) return ExitStatus::kGood;
  say_error("%s",
            result == PageFile::Result::kInterrupted ? "interrupted" : file.problem().c_str());
  return result == PageFile::Result::kDamaged ? ExitStatus::kBad : ExitStatus::kEnvironment;
}

void check_tags(const ConfiguredDestination& destination, const std::set<std::string>& tags,
                Findings& findings) {
  const vek_string_array_t* listed = destination.config->source_tag_list;
  for (uint64_t i = 0; listed && i < listed->count; ++i) {
    const std::string tag = listed->strings[i];
    if (tags.contains(tag) || (tag == "counters" && tags.contains(""))) continue;
    const std::string guess = nearest(tag, {tags.begin(), tags.end()});
    findings.warning(destination.place_of("source_tag"), "unknown-tag",
                     "no page of the recording has the tag '" + tag + "'",
                     guess.empty() ? "" : "did you mean '" + guess + "'?");
  }
}

}  // namespace

ExitStatus check_page_tags(const std::vector<std::string>& pages,
                           const std::vector<ConfiguredDestination>& destinations,
                           Findings& findings) {
  std::set<std::string> tags;
  for (const std::string& path : pages) {
    const ExitStatus status = read_tags(path, tags);
    if (status != ExitStatus::kGood) return status;
  }
  for (const ConfiguredDestination& destination : destinations) {
    if (destination.is_enabled()) check_tags(destination, tags, findings);
  }
  return ExitStatus::kGood;
}

}  // namespace vek::tools
