#include "tools/check/counter_set_check.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "counters/counter_set_observer.h"
#include "tools/base/log_tap.h"
#include "tools/base/suggest.h"
#include "tools/config/rule_lines.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

using CounterSet = Owned<vek_counter_set_t, vek_free_counter_set>;
using CountersSchema = Owned<vek_counters_schema_t, vek_destroy_counters_schema>;

// Rules are split only where there is a counter to try them on.
CountersSchema probe_schema() {
  return CountersSchema(vek_counters_schema_deserialize(
      R"({"title":"t","version":"1.5.0","counter_groups":[{"granularity":"NODE","name":"g",)"
      R"("num_counter_sets":1,"num_counters":0,"counters":[{"name":"probe","description":"",)"
      R"("units":"","data_type":"UINT64","counting_type":"ABSOLUTE"}]}]})"));
}

class CounterSetCheck : public CounterSetObserver {
 public:
  CounterSetCheck(const std::string& path, Findings& findings) : path_(path), findings_(findings) {}

  void on_counter_set_line(const CounterSetLine& line) override {
    const Place place{path_, line.number, line.column};
    switch (line.kind) {
      case CounterSetLineKind::kToken:
        if (is_first_schema_) rules_.push_back({.place = place, .text = std::string(line.text)});
        break;
      case CounterSetLineKind::kMeta:
        if (is_first_schema_) metas_.push_back(place);
        break;
      case CounterSetLineKind::kBadMeta:
        findings_.error(place, "bad-meta",
                        "the meta field '" + std::string(line.text) +
                            "' lacks its key or its value, and is left out");
        break;
      case CounterSetLineKind::kNul:
        findings_.error(place, "nul", "the line holds a NUL character, and is ignored");
        break;
      default:
        break;
    }
  }

  void on_counter_token(uint64_t token, uint64_t counter, CounterTokenEffect effect) override {
    if (token >= rules_.size()) return;
    RuleLine& rule = rules_[token];
    switch (effect) {
      case CounterTokenEffect::kMalformed:
        rule.malformed = true;
        break;
      case CounterTokenEffect::kBadFilter:
        rule.bad_filter = true;
        break;
      case CounterTokenEffect::kAlreadyShown:
        ++rule.shadowed;
        rule.shadowed_by = "line " + std::to_string(rules_[taker_[counter]].place.line);
        break;
      case CounterTokenEffect::kShown:
        taker_[counter] = token;
        ++rule.taken;
        ++rule.shown;
        break;
      case CounterTokenEffect::kExcluded:
        ++rule.taken;
        break;
    }
  }

  void run(const vek_counters_schema_t* schema, bool is_real, ExportedNames& exported) {
    taker_.clear();
    if (is_real) note_names(*schema);
    const CounterSet set(make_counter_set(schema, path_.c_str(), this));
    is_first_schema_ = false;
    if (!set || !is_real) return;
    append_exported(*set, exported);
    check_names(*set);
    note_metas(*set);
  }

  void report(bool with_schemas) {
    const std::vector<std::string> names(names_.begin(), names_.end());
    report_rules(rules_, "counter", names, with_schemas, findings_);
    if (!with_schemas) return;
    check_exclusions();
    for (const auto& [index, name] : unknown_) {
      if (known_.contains(index) || index >= metas_.size()) continue;
      const std::string guess = nearest(name, names);
      findings_.warning(metas_[index], "unknown-counter", "no schema has a counter '" + name + "'",
                        guess.empty() ? "" : "did you mean '" + guess + "'?");
    }
  }

 private:
  void note_names(const vek_counters_schema_t& schema) {
    for (uint32_t g = 0; g < schema.num_groups; ++g) {
      const vek_counter_group_t* group = schema.groups[g];
      for (uint32_t c = 0; c < group->num_counters; ++c) names_.insert(group->counters[c]->name);
    }
  }

  // Beside rules that name what leaves, an exclusion is rarely meant to let everything else out.
  void check_exclusions() {
    const auto includer = std::find_if(rules_.begin(), rules_.end(),
                                       [](const RuleLine& rule) { return includes(rule.text); });
    if (includer == rules_.end()) return;
    for (const RuleLine& rule : rules_) {
      if (rule.shown == 0 || includes(rule.text)) continue;
      findings_.warning(
          rule.place, "takes-the-rest",
          "'" + rule.text +
              "' also takes every counter that it does not exclude and no earlier "
              "line took",
          "write it as a part of the other rules, as in '+" + includer->text + rule.text + "'");
    }
  }

  // Receivers keep one of two values of one name, and not always the same.
  void check_names(const vek_counter_set_t& set) {
    std::map<std::string, uint64_t> first;
    for (uint64_t i = 0; i < set.num_counters; ++i) {
      if (set.skip[i]) continue;
      const auto [other, is_new] = first.emplace(set.counters[i].name, i);
      if (is_new || !taker_.contains(i)) continue;
      findings_.error(rules_[taker_[i]].place, "same-name",
                      "two counters leave as '" + other->first + "'",
                      "an alias is for a rule that takes one counter; anchor it with '^' and '$'");
    }
  }

  // Meta fields stand in the set in the order of their lines.
  void note_metas(const vek_counter_set_t& set) {
    for (uint64_t i = 0; i < set.num_meta; ++i) {
      const vek_counter_set_meta_element_t& meta = set.meta[i];
      const bool unbound = meta.kind == VEK_META_COUNTER_ALIAS && !meta.element.name;
      if (unbound) {
        unknown_[i] = meta.source_name;
        continue;
      }
      known_.insert(i);
      if (meta.skip && i < metas_.size()) {
        findings_.warning(metas_[i], "hidden-meta",
                          "the meta field '" + std::string(meta.name) +
                              "' does not leave: a counter, or a field of every record, has that "
                              "name",
                          "give it another name");
      }
    }
  }

  std::string path_;
  Findings& findings_;
  bool is_first_schema_ = true;
  std::vector<RuleLine> rules_;
  std::vector<Place> metas_;
  std::map<uint64_t, uint64_t> taker_;  // counter to rule, of the schema at hand
  std::set<std::string> names_;
  std::map<uint64_t, std::string> unknown_;  // meta fields whose counter a schema lacks
  std::set<uint64_t> known_;                 // those that some schema has
};

}  // namespace

void check_counter_set(const std::string& path, const SchemaCatalog& schemas, Findings& findings,
                       ExportedNames& exported) {
  const LogTap log;  // the same is said here, with the place
  if (path.empty()) {
    for (const vek_counters_schema_t* schema : schemas.counters()) {
      const CounterSet set(vek_schema_to_counter_set(schema, nullptr));
      if (set) append_exported(*set, exported);
    }
    return;
  }
  findings.looked_at(path);
  CounterSetCheck check(path, findings);
  for (const vek_counters_schema_t* schema : schemas.counters()) check.run(schema, true, exported);
  if (schemas.counters().empty()) {
    const CountersSchema probe = probe_schema();
    check.run(probe.get(), false, exported);
  }
  check.report(!schemas.counters().empty());
}

}  // namespace vek::tools
