#include "raw_msgpack_api/parameters.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <vector>

#include "utils/logger.h"

namespace vek::engine {
namespace {

// What the engine itself reads for every destination.
constexpr std::array<std::string_view, 8> kCommon = {"Tag",
                                                     "Alias",
                                                     "Mem_Buf_Limit",
                                                     "vek.engine",
                                                     "vek.grace",
                                                     "storage.path",
                                                     "storage.total_limit_size",
                                                     "vek.fsync"};
// Names that any output of a log processor takes. They have no meaning for a destination inside
// this process, but configurations that are moved from one output to another keep working.
constexpr std::array<std::string_view, 8> kGeneric = {
    "Match", "Match_Regex", "Host", "Port", "Retry_Limit", "Log_Level", "Workers", "tls"};
constexpr std::array<std::string_view, 3> kGenericPrefixes = {"tls.", "net.", "storage."};

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool starts_with_ignoring_case(std::string_view text, std::string_view prefix) {
  return equals_ignoring_case(text.substr(0, prefix.size()), prefix);
}

bool contains(std::span<const std::string_view> names, std::string_view name) {
  return std::any_of(names.begin(), names.end(),
                     [&](std::string_view known) { return equals_ignoring_case(known, name); });
}

// A destination that reads some name of a family knows which there are: a slip of the finger in
// "tls.verify" must not be taken for a name that somebody else reads.
bool is_generic(std::string_view name, std::span<const std::string_view> own) {
  if (contains(kGeneric, name)) return true;
  return std::any_of(kGenericPrefixes.begin(), kGenericPrefixes.end(), [&](std::string_view p) {
    const bool is_owned = std::any_of(own.begin(), own.end(), [&](std::string_view known) {
      return starts_with_ignoring_case(known, p);
    });
    return !is_owned && starts_with_ignoring_case(name, p);
  });
}

// Levenshtein's distance, case ignored.
size_t distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 0; i < a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i + 1;
    for (size_t j = 0; j < b.size(); ++j) {
      const size_t replaced = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j + 1] + 1, row[j] + 1});
    }
  }
  return row[b.size()];
}

std::string_view nearest(std::string_view name, std::span<const std::string_view> own) {
  constexpr size_t kLongestName = 64;  // what is longer is no slip of the finger
  std::string_view best = own.empty() ? kCommon.front() : own.front();
  size_t best_distance = SIZE_MAX;
  for (const auto names : {own, std::span<const std::string_view>(kCommon),
                           std::span<const std::string_view>(kGeneric)}) {
    for (const std::string_view known : names) {
      const size_t d = distance(name.substr(0, kLongestName), known);
      if (d < best_distance) {
        best_distance = d;
        best = known;
      }
    }
  }
  return best;
}

}  // namespace

bool equals_ignoring_case(std::string_view a, std::string_view b) noexcept {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [](char x, char y) { return lower(x) == lower(y); });
}

std::optional<std::string_view> Parameters::find(std::string_view name) const {
  if (!list_) return std::nullopt;
  for (int32_t i = list_->count - 1; i >= 0; --i) {
    const fluentbit_export_parameter_t& parameter = list_->params[i];
    if (parameter.name && equals_ignoring_case(parameter.name, name)) {
      return parameter.value ? std::string_view(parameter.value) : std::string_view();
    }
  }
  return std::nullopt;
}

std::string_view Parameters::text(std::string_view name, std::string_view fallback) const {
  const auto value = find(name);
  return value && !value->empty() ? *value : fallback;
}

std::vector<std::pair<std::string_view, std::string_view>> Parameters::all() const {
  std::vector<std::pair<std::string_view, std::string_view>> pairs;
  for (int32_t i = 0; list_ && i < list_->count; ++i) {
    const fluentbit_export_parameter_t& parameter = list_->params[i];
    if (parameter.name) pairs.emplace_back(parameter.name, parameter.value ? parameter.value : "");
  }
  return pairs;
}

bool Parameters::refuse_stranger(std::string_view plugin, const char* name,
                                 std::span<const std::string_view> own) const {
  const std::string_view guess = nearest(name, own);
  VEK_LOGE("[raw msgpack API] output '%.*s' has no parameter '%s'; did you mean '%.*s'?",
           static_cast<int>(plugin.size()), plugin.data(), name, static_cast<int>(guess.size()),
           guess.data());
  return false;
}

bool Parameters::all_engine_names_known(std::string_view plugin,
                                        std::span<const std::string_view> own) const {
  for (int32_t i = 0; list_ && i < list_->count; ++i) {
    const char* name = list_->params[i].name;
    if (!name || !starts_with_ignoring_case(name, "vek.")) continue;
    if (!contains(own, name) && !contains(kCommon, name)) return refuse_stranger(plugin, name, own);
  }
  return true;
}

bool Parameters::all_known(std::string_view plugin, std::span<const std::string_view> own) const {
  for (int32_t i = 0; list_ && i < list_->count; ++i) {
    const char* name = list_->params[i].name;
    if (!name || contains(own, name) || contains(kCommon, name)) continue;
    if (is_generic(name, own)) {
      VEK_LOGD("[raw msgpack API] '%s' has no meaning for output '%.*s'", name,
               static_cast<int>(plugin.size()), plugin.data());
      continue;
    }
    return refuse_stranger(plugin, name, own);
  }
  return true;
}

std::optional<size_t> parse_size(std::string_view text) {
  uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || number == 0) return std::nullopt;
  std::string_view unit = text.substr(static_cast<size_t>(end - text.data()));
  uint64_t factor = 1;
  if (!unit.empty()) {
    switch (lower(unit.front())) {
      case 'k':
        factor = 1'000;
        break;
      case 'm':
        factor = 1'000'000;
        break;
      case 'g':
        factor = 1'000'000'000;
        break;
      default:
        return std::nullopt;
    }
    unit.remove_prefix(1);
    if (!unit.empty() && !equals_ignoring_case(unit, "b")) return std::nullopt;
  }
  if (number > SIZE_MAX / factor) return std::nullopt;
  return number * factor;
}

std::optional<double> parse_seconds(std::string_view text) {
  constexpr double kHour = 3600;
  double seconds = 0;
  const char* text_end = text.data() + text.size();
  const auto [end, error] =
      std::from_chars(text.data(), text_end, seconds, std::chars_format::fixed);
  if (error != std::errc{} || end != text_end) return std::nullopt;
  if (!(seconds >= 0 && seconds <= kHour)) return std::nullopt;
  return seconds;
}

}  // namespace vek::engine
