#include "tools/config/finding.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace vek::tools {
namespace {

auto key_of(const Finding& finding) {
  return std::tie(finding.place.path, finding.place.line, finding.place.column, finding.severity,
                  finding.code, finding.what);
}

size_t count(const std::vector<Finding>& findings, Severity severity) {
  return static_cast<size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [&](const Finding& finding) { return finding.severity == severity; }));
}

}  // namespace

void Findings::error(const Place& place, const char* code, std::string what, std::string hint) {
  all_.push_back({place, Severity::kError, code, std::move(what), std::move(hint)});
}

void Findings::warning(const Place& place, const char* code, std::string what, std::string hint) {
  all_.push_back({place, Severity::kWarning, code, std::move(what), std::move(hint)});
}

std::vector<Finding> Findings::sorted() const {
  std::vector<Finding> sorted = all_;
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const Finding& a, const Finding& b) { return key_of(a) < key_of(b); });
  const auto end =
      std::unique(sorted.begin(), sorted.end(),
                  [](const Finding& a, const Finding& b) { return key_of(a) == key_of(b); });
  sorted.erase(end, sorted.end());
  return sorted;
}

size_t Findings::errors() const { return count(sorted(), Severity::kError); }
size_t Findings::warnings() const { return count(sorted(), Severity::kWarning); }

}  // namespace vek::tools
