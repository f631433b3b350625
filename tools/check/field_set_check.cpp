#include "tools/check/field_set_check.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <vector>

#include "field_set/field_set_observer.h"
#include "tools/base/log_tap.h"
#include "tools/base/suggest.h"
#include "tools/config/field_rules.h"
#include "tools/config/rule_lines.h"
#include "utils/filters.h"

namespace vek::tools {
namespace {

constexpr char kDefaultType[] = "default";

struct SectionName {
  std::string name;
  Place place;
};

class FieldSetCheck : public FieldSetObserver {
 public:
  FieldSetCheck(const std::string& path, const SchemaCatalog& schemas, Findings& findings,
                ExportedNames& exported)
      : path_(path), schemas_(schemas), findings_(findings), exported_(exported) {}

  void on_field_set_line(const FieldSetLine& line) override {
    const Place place{path_, line.number, line.column};
    switch (line.kind) {
      case FieldSetLineKind::kHeader:
        for (const std::string& type : line.types) check_section(type, place);
        break;
      case FieldSetLineKind::kBadMeta:
        findings_.error(place, "bad-meta",
                        "the meta field '" + std::string(line.text) +
                            "' lacks its key or its value, and is left out");
        break;
      case FieldSetLineKind::kToken:
        check_rule(std::string(line.text), place, line.types);
        break;
      default:
        break;
    }
  }

  void on_type(const std::string& type, bool of_interest, const std::string& entry,
               const field_set_t& field_set) override {
    if (!schemas_.is_looked_at(type)) return;
    types_.insert(type);
    if (!entry.empty()) reached_.insert(entry);
    for (const field_t& field : field_set.fields) {
      names_.insert(field.name);
    }
    if (of_interest) append_exported(type, field_set, exported_);
    taker_.clear();
  }

  void on_field_token(const std::string& type, const std::string& token, const field_t& field,
                      FieldTokenEffect effect) override {
    if (!schemas_.is_looked_at(type)) return;
    for (size_t i = 0; i < rules_.size(); ++i) {
      if (field_token_of(rules_[i].text) != token || !applies(i, type)) continue;
      note(rules_[i], field, effect);
    }
  }

  void report(bool with_schemas) {
    const std::vector<std::string> names(names_.begin(), names_.end());
    drop_rules_of_unknown_types(with_schemas);
    report_rules(rules_, "field", names, with_schemas, findings_);
    if (!with_schemas || types_.empty()) return;
    const std::vector<std::string> types(types_.begin(), types_.end());
    for (const SectionName& section : sections_) {
      if (section.name == kDefaultType || reached_.contains(section.name)) continue;
      const bool is_known = std::any_of(types.begin(), types.end(), [&](const std::string& type) {
        return is_for_type({section.name}, type);
      });
      if (is_known) continue;
      const std::string guess = nearest(section.name, types);
      findings_.warning(section.place, "unknown-type",
                        "no schema has a type '" + section.name + "'",
                        guess.empty() ? "" : "did you mean '" + guess + "'?");
    }
  }

 private:
  // That no type has the name is said of its section, once.
  void drop_rules_of_unknown_types(bool with_schemas) {
    for (size_t i = 0; with_schemas && i < rules_.size(); ++i) {
      const bool is_for_some = std::any_of(
          types_.begin(), types_.end(), [&](const std::string& type) { return applies(i, type); });
      rules_[i].is_for_nothing = !is_for_some;
    }
  }

  void check_section(const std::string& type, const Place& place) {
    const auto blank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    if (!type.empty() && (blank(type.front()) || blank(type.back()))) {
      findings_.error(place, "section-blank",
                      "the blank belongs to the name '" + type + "', which no type has",
                      "write names without blanks around the comma");
      return;
    }
    sections_.push_back({type, place});
  }

  void check_rule(const std::string& text, const Place& place,
                  const std::vector<std::string>& types) {
    if (text.starts_with('[')) {
      findings_.error(place, "bad-section", "'" + text + "' is taken for a rule",
                      "a section is '[type]' or '[type,type]' alone on its line");
      return;
    }
    RuleLine rule{.place = place, .text = text};
    // Asked here too, since a rule may be for types that no schema has.
    vek_filter_token_t tokens[2][VEK_FILTER_MAX_TOKENS];
    uint32_t counts[2] = {};
    rule.bad_filter = !vek_filter_get_incl_excl_tokens(field_token_of(text).c_str(), tokens[0],
                                                       &counts[0], tokens[1], &counts[1]);
    rules_.push_back(rule);
    types_of_rules_.push_back(types);
  }

  bool applies(size_t rule, const std::string& type) const {
    return is_for_type(types_of_rules_[rule], type);
  }

  void note(RuleLine& rule, const field_t& field, FieldTokenEffect effect) {
    switch (effect) {
      case FieldTokenEffect::kBadFilter:
        rule.bad_filter = true;
        break;
      case FieldTokenEffect::kAlreadyShown: {
        const auto taker = taker_.find(field.name);
        // The same filter twice tells of itself, too.
        if (taker != taker_.end() && taker->second == rule.place.line) break;
        ++rule.shadowed;
        if (taker != taker_.end()) rule.shadowed_by = "line " + std::to_string(taker->second);
        break;
      }
      case FieldTokenEffect::kShown:
        if (taker_.emplace(field.name, rule.place.line).second) ++rule.taken;
        break;
      case FieldTokenEffect::kExcluded:
        ++rule.taken;
        break;
    }
  }

  std::string path_;
  const SchemaCatalog& schemas_;
  Findings& findings_;
  ExportedNames& exported_;
  std::vector<RuleLine> rules_;
  std::vector<std::vector<std::string>> types_of_rules_;
  std::vector<SectionName> sections_;
  std::set<std::string> types_;          // of the schemas
  std::set<std::string> names_;          // of fields
  std::set<std::string> reached_;        // names of the file that made a type one of interest
  std::map<std::string, size_t> taker_;  // field to line, of the type at hand
};

}  // namespace

void check_field_set(const std::string& path, const SchemaCatalog& schemas, Findings& findings,
                     ExportedNames& exported) {
  const LogTap log;  // the same is said here, with the place
  FieldSet field_set;
  FieldSetCheck check(path, schemas, findings, exported);
  field_set.setObserver(&check);
  if (!path.empty()) {
    findings.looked_at(path);
    if (!field_set.LoadFromFile(path)) return;
  }
  schemas.bind(field_set);
  if (!path.empty()) check.report(schemas.is_loaded());
}

}  // namespace vek::tools
