#include <array>
#include <cinttypes>
#include <cstdio>
#include <map>
#include <set>

#include "tools/base/json_writer.h"
#include "tools/preview/preview_text.h"

namespace vek::tools {
namespace {

struct Change {
  const char* what;  // "added", "removed", "renamed", "retyped"
  std::string from;
  std::string before;
  std::string after;
};

using Key = std::pair<std::string, std::string>;

std::map<Key, const SelectedName*> by_key(const std::vector<SelectedName>& names) {
  std::map<Key, const SelectedName*> map;
  for (const SelectedName& name : names) map.emplace(Key(name.from, name.name), &name);
  return map;
}

std::set<std::string> names_of(const SelectedName* selected) {
  std::set<std::string> names;
  if (!selected) return names;
  if (selected->leaves) names.insert(selected->as);
  names.insert(selected->also_as.begin(), selected->also_as.end());
  return names;
}

// One counter or field, in both configurations.
void compare(const Key& key, const SelectedName* before, const SelectedName* after,
             std::vector<Change>& changes) {
  std::set<std::string> gone = names_of(before);
  std::set<std::string> come = names_of(after);
  for (auto name = gone.begin(); name != gone.end();) {
    name = come.erase(*name) > 0 ? gone.erase(name) : std::next(name);
  }
  auto old_name = gone.begin();
  auto new_name = come.begin();
  for (; old_name != gone.end() && new_name != come.end(); ++old_name, ++new_name) {
    changes.push_back({"renamed", key.first, *old_name, *new_name});
  }
  for (; old_name != gone.end(); ++old_name)
    changes.push_back({"removed", key.first, *old_name, {}});
  for (; new_name != come.end(); ++new_name) changes.push_back({"added", key.first, {}, *new_name});
}

std::string kinds_text(const std::set<ValueKind>& kinds) {
  std::string out;
  for (const ValueKind kind : kinds)
    out += (out.empty() ? "" : "/") + std::string(value_kind_text(kind));
  return out;
}

std::vector<Change> changes_of(const DiffSide& before, const DiffSide& after) {
  std::vector<Change> changes;
  const auto old_names = by_key(before.names);
  const auto new_names = by_key(after.names);
  std::set<Key> keys;
  for (const auto& [key, name] : old_names) keys.insert(key);
  for (const auto& [key, name] : new_names) keys.insert(key);
  const auto find = [](const auto& map, const Key& key) {
    const auto found = map.find(key);
    return found == map.end() ? nullptr : found->second;
  };
  for (const Key& key : keys) compare(key, find(old_names, key), find(new_names, key), changes);
  for (const auto& [name, kinds] : before.totals.fields) {
    const auto now = after.totals.fields.find(name);
    if (now == after.totals.fields.end() || now->second == kinds) continue;
    changes.push_back({"retyped", name, kinds_text(kinds), kinds_text(now->second)});
  }
  return changes;
}

std::string change_text(const Change& change) {
  const std::string what = change.what;
  if (what == "added") return "  + " + change.after + " (" + change.from + ")\n";
  if (what == "removed") return "  - " + change.before + " (" + change.from + ")\n";
  if (what == "renamed") {
    return "  ~ " + change.before + " -> " + change.after + " (" + change.from + ")\n";
  }
  return "  ! " + change.from + ": " + change.before + " -> " + change.after + "\n";
}

std::string count_text(const char* what, uint64_t before, uint64_t after) {
  std::array<char, 120> text{};
  const double change =
      before > 0 ? (static_cast<double>(after) / static_cast<double>(before) - 1) : 0;
  std::snprintf(text.data(), text.size(), "%s %" PRIu64 " -> %" PRIu64, what, before, after);
  std::string out = text.data();
  if (before > 0) {
    std::snprintf(text.data(), text.size(), " (%+.1f%%)", 100 * change);
    out += text.data();
  }
  return out;
}

std::string as_json(const std::string& name, const std::vector<Change>& changes,
                    const DiffSide& before, const DiffSide& after) {
  JsonWriter json;
  json.begin_object()
      .member("schema_version", kJsonSchemaVersion)
      .member("destination", name)
      .member("in_old", before.destination != nullptr)
      .member("in_new", after.destination != nullptr)
      .key("changes")
      .begin_array();
  for (const Change& change : changes) {
    json.begin_object()
        .member("change", change.what)
        .member("from", change.from)
        .member("old", change.before)
        .member("new", change.after)
        .end_object();
  }
  json.end_array()
      .member("old_records", before.totals.records)
      .member("new_records", after.totals.records)
      .member("old_bytes", before.totals.bytes)
      .member("new_bytes", after.totals.bytes)
      .end_object();
  return json.out() + "\n";
}

}  // namespace

std::string difference(const std::string& name, const DiffSide& before, const DiffSide& after,
                       bool json) {
  const std::vector<Change> changes = changes_of(before, after);
  if (json) return as_json(name, changes, before, after);
  std::string out = name + ":";
  if (!before.destination) out += " is new";
  if (!after.destination) out += " is gone";
  out += "\n";
  for (const Change& change : changes) out += change_text(change);
  if (changes.empty()) out += "  the same fields\n";
  return out + "  " + count_text("records", before.totals.records, after.totals.records) + ", " +
         count_text("bytes", before.totals.bytes, after.totals.bytes) + "\n";
}

}  // namespace vek::tools
