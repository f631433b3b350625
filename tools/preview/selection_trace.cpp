#include "tools/preview/selection_trace.h"

#include <algorithm>
#include <set>
#include <utility>

#include "counters/counter_set_observer.h"
#include "field_set/field_set_observer.h"
#include "tools/base/log_tap.h"
#include "tools/config/field_rules.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

using CounterSet = Owned<vek_counter_set_t, vek_free_counter_set>;

struct Rule {
  Place place;
  std::string text;
  std::vector<std::string> types;
};

const char* effect_text(CounterTokenEffect effect) {
  if (effect == CounterTokenEffect::kShown) return "takes it";
  return effect == CounterTokenEffect::kExcluded ? "excludes it"
                                                 : "would take it, but an earlier line did";
}

const char* effect_text(FieldTokenEffect effect) {
  if (effect == FieldTokenEffect::kShown) return "takes it";
  return effect == FieldTokenEffect::kExcluded ? "excludes it"
                                               : "would take it, but an earlier line did";
}

class CounterTrace : public CounterSetObserver {
 public:
  CounterTrace(const char* path, std::vector<SelectedName>& out)
      : path_(path ? path : ""), out_(out) {}

  void run(const vek_counters_schema_t& schema) {
    rules_.clear();
    metas_.clear();
    std::vector<SelectedName> names;
    for (uint32_t g = 0; g < schema.num_groups; ++g) {
      const vek_counter_group_t* group = schema.groups[g];
      for (uint32_t c = 0; c < group->num_counters; ++c) {
        names.push_back({.from = "counters", .name = group->counters[c]->name, .as = {}});
      }
    }
    names_ = &names;
    const CounterSet set(path_.empty() ? vek_schema_to_counter_set(&schema, nullptr)
                                       : make_counter_set(&schema, path_.c_str(), this));
    names_ = nullptr;
    if (!set) return;
    for (uint64_t i = 0; i < set->num_counters && i < names.size(); ++i) {
      names[i].leaves = !set->skip[i];
      names[i].as = set->counters[i].name;
    }
    add_metas(*set, names);
    for (SelectedName& name : names) {
      if (seen_.insert(name.name).second) out_.push_back(std::move(name));
    }
  }

  void on_counter_set_line(const CounterSetLine& line) override {
    const Place place{path_, line.number, line.column};
    if (line.kind == CounterSetLineKind::kToken) {
      rules_.push_back({place, std::string(line.text), {}});
    } else if (line.kind == CounterSetLineKind::kMeta) {
      metas_.push_back({place, std::string(line.text), {}});
    }
  }

  void on_counter_token(uint64_t token, uint64_t counter, CounterTokenEffect effect) override {
    const bool is_void =
        effect == CounterTokenEffect::kMalformed || effect == CounterTokenEffect::kBadFilter;
    if (is_void || token >= rules_.size() || !names_ || counter >= names_->size()) return;
    SelectedName& name = (*names_)[counter];
    name.excluded = name.excluded || effect == CounterTokenEffect::kExcluded;
    name.steps.push_back({rules_[token].place, rules_[token].text, effect_text(effect)});
  }

 private:
  // Aliases of counters beside the rules; meta fields stand in the order of their lines.
  void add_metas(const vek_counter_set_t& set, std::vector<SelectedName>& names) const {
    for (uint64_t i = 0; i < set.num_meta && i < metas_.size(); ++i) {
      const vek_counter_set_meta_element_t& meta = set.meta[i];
      if (meta.kind != VEK_META_COUNTER_ALIAS || !meta.source_name) continue;
      for (SelectedName& name : names) {
        if (name.as != meta.source_name) continue;
        if (!meta.skip) name.also_as.emplace_back(meta.name);
        name.steps.push_back(
            {metas_[i].place, metas_[i].text,
             meta.skip ? "would send it once more, but the name is taken" : "sends it once more"});
      }
    }
  }

  std::string path_;
  std::vector<SelectedName>& out_;
  std::vector<SelectedName>* names_ = nullptr;  // of the schema at hand
  std::vector<Rule> rules_;
  std::vector<Rule> metas_;
  std::set<std::string> seen_;
};

class FieldTrace : public FieldSetObserver {
 public:
  FieldTrace(const char* path, std::vector<SelectedName>& out)
      : path_(path ? path : ""), out_(out) {}

  void run(const SchemaCatalog& schemas) {
    FieldSet field_set;
    field_set_ = &field_set;  // cppcheck-suppress danglingLifetime ; used in what follows alone
    field_set.setObserver(this);
    if (!path_.empty() && !field_set.LoadFromFile(path_)) return;
    schemas.bind(field_set);
  }

  void on_field_set_line(const FieldSetLine& line) override {
    if (line.kind != FieldSetLineKind::kToken) return;
    rules_.push_back({{path_, line.number, line.column}, std::string(line.text), line.types});
  }

  void on_type(const std::string& type, bool of_interest, const std::string& entry,
               const field_set_t& field_set) override {
    (void)entry;
    for (const field_t& field : field_set.fields) {
      SelectedName name{.from = type, .name = field.name, .as = field.name};
      name.leaves = of_interest && !field.skip;
      const auto aliases = field_set_->meta_fields_aliases_by_type().find(type);
      if (name.leaves && aliases != field_set_->meta_fields_aliases_by_type().end()) {
        const auto alias = aliases->second.find(name.name);
        if (alias != aliases->second.end()) name.also_as.push_back(alias->second);
      }
      for (auto& [field_name, step] : steps_) {
        if (field_name == name.name) name.steps.push_back(step);
      }
      name.excluded = std::any_of(name.steps.begin(), name.steps.end(), [](const auto& step) {
        return std::string_view(step.effect) == effect_text(FieldTokenEffect::kExcluded);
      });
      out_.push_back(std::move(name));
    }
    steps_.clear();
  }

  void on_field_token(const std::string& type, const std::string& token, const field_t& field,
                      FieldTokenEffect effect) override {
    if (effect == FieldTokenEffect::kBadFilter) return;
    const auto rule = std::find_if(rules_.begin(), rules_.end(), [&](const Rule& candidate) {
      return field_token_of(candidate.text) == token && is_for_type(candidate.types, type);
    });
    if (rule == rules_.end()) return;
    steps_.push_back({field.name, {rule->place, rule->text, effect_text(effect)}});
  }

 private:
  std::string path_;
  std::vector<SelectedName>& out_;
  const FieldSet* field_set_ = nullptr;
  std::vector<Rule> rules_;
  std::vector<std::pair<std::string, TraceStep>> steps_;  // of the type at hand, by field
};

}  // namespace

std::vector<SelectedName> trace_selection(const ConfiguredDestination& destination,
                                          const SchemaCatalog& schemas) {
  const LogTap log;  // what is wrong with the files is for "check" to say
  std::vector<SelectedName> out;
  CounterTrace counters(destination.config->counterset, out);
  for (const vek_counters_schema_t* schema : schemas.counters()) counters.run(*schema);
  FieldTrace fields(destination.config->fieldset, out);
  fields.run(schemas);
  return out;
}

}  // namespace vek::tools
