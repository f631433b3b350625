#include "tools/replay/engine_ledger.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

#include "json/json.h"
#include "json/json_owned.h"

namespace vek::tools {
namespace {

using LedgerFunction = int(char* out, size_t size);
constexpr const char* kFunction = "raw_msgpack_api_ledger";
constexpr const char* kEntryPoint = "add_data";

uint64_t count_of(const JSON_Object* object, const char* name) {
  const double value = json_object_get_number(object, name);
  return value > 0 ? static_cast<uint64_t>(value) : 0;
}

std::string text_of(const JSON_Object* object, const char* name) {
  const char* text = json_object_get_string(object, name);
  return text ? text : "";
}

bool read_entry(const JSON_Object* object, DestinationAccount& out) {
  const JSON_Object* account = object ? json_object_get_object(object, "account") : nullptr;
  if (!account) return false;
  out.name = text_of(object, "name");
  out.output = text_of(object, "output");
  out.finalized = json_object_get_boolean(object, "finalized") == 1;
  out.accepted = count_of(account, "accepted");
  out.delivered = count_of(account, "delivered");
  out.spooled = count_of(account, "spooled");
  out.queued = count_of(account, "queued");
  out.mended = count_of(account, "mended");
  out.retried = count_of(account, "retried");
  const JSON_Object* dropped = json_object_get_object(account, "dropped");
  for (size_t i = 0; dropped && i < json_object_get_count(dropped); ++i) {
    const char* reason = json_object_get_name(dropped, i);
    out.dropped.emplace_back(reason, count_of(dropped, reason));
  }
  return true;
}

std::vector<std::string> loaded_libraries() {
  std::vector<std::string> paths;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* out) {
        if (info->dlpi_name && *info->dlpi_name) {
          static_cast<std::vector<std::string>*>(out)->emplace_back(info->dlpi_name);
        }
        return 0;
      },
      &paths);
  return paths;
}

struct LibraryHandle {
  explicit LibraryHandle(const std::string& path)
      : handle(dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD)) {}
  ~LibraryHandle() {
    if (handle) dlclose(handle);
  }
  LibraryHandle(const LibraryHandle&) = delete;
  LibraryHandle& operator=(const LibraryHandle&) = delete;
  void* find(const char* name) const { return handle ? dlsym(handle, name) : nullptr; }

  void* handle;
};

std::string ledger_json_of(LedgerFunction* function) {
  std::string text;
  // Accounts only grow longer, and not often.
  for (int length = 1024; length >= 0 && static_cast<size_t>(length) >= text.size();) {
    text.resize(static_cast<size_t>(length) + 1);
    // cppcheck-suppress AssignmentAddressToInteger ; it is a call
    length = function(text.data(), text.size());
    if (length >= 0 && static_cast<size_t>(length) < text.size()) {
      text.resize(static_cast<size_t>(length));
      return text;
    }
  }
  return {};
}

void append_row(std::string& out, const std::array<std::string, 8>& cells, size_t name_width,
                size_t output_width) {
  const auto padded = [](std::string text, size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
  };
  out += "  " + padded(cells[0], name_width) + "  " + padded(cells[1], output_width);
  for (size_t i = 2; i < cells.size(); ++i) {
    std::array<char, 32> number{};
    std::snprintf(number.data(), number.size(), "  %9s", cells[i].c_str());
    out += number.data();
  }
  out += '\n';
}

}  // namespace

uint64_t DestinationAccount::dropped_sum() const {
  uint64_t sum = 0;
  for (const auto& entry : dropped) sum += entry.second;
  return sum;
}

bool DestinationAccount::balances() const {
  return accepted == delivered + spooled + queued + dropped_sum();
}

std::optional<EngineLedger> parse_engine_ledger(const std::string& json) {
  const JsonValue root(json_parse_string(json.c_str()));
  const JSON_Array* entries = root ? json_value_get_array(root.get()) : nullptr;
  if (!entries) return std::nullopt;
  EngineLedger ledger;
  for (size_t i = 0; i < json_array_get_count(entries); ++i) {
    if (!read_entry(json_array_get_object(entries, i), ledger.emplace_back())) return std::nullopt;
  }
  return ledger;
}

std::optional<EngineLedger> read_engine_ledger(std::string& problem) {
  problem = "no engine library is loaded";
  for (const std::string& path : loaded_libraries()) {
    const LibraryHandle library(path);
    if (auto* function = reinterpret_cast<LedgerFunction*>(library.find(kFunction))) {
      std::optional<EngineLedger> ledger = parse_engine_ledger(ledger_json_of(function));
      if (!ledger) problem = path + ": its ledger cannot be read";
      return ledger;
    }
    if (library.find(kEntryPoint)) problem = path + " keeps no ledger (" + kFunction + ")";
  }
  return std::nullopt;
}

std::string ledger_text(const EngineLedger& ledger) {
  size_t name_width = 11;
  size_t output_width = 6;
  for (const DestinationAccount& entry : ledger) {
    name_width = std::max(name_width, entry.name.size());
    output_width = std::max(output_width, entry.output.size());
  }
  std::string out;
  append_row(out,
             {"destination", "output", "in", "delivered", "spooled", "queued", "dropped", "mended"},
             name_width, output_width);
  for (const DestinationAccount& entry : ledger) {
    append_row(
        out,
        {entry.name, entry.output, std::to_string(entry.accepted), std::to_string(entry.delivered),
         std::to_string(entry.spooled), std::to_string(entry.queued),
         std::to_string(entry.dropped_sum()), std::to_string(entry.mended)},
        name_width, output_width);
    if (entry.filtered) {
      for (const auto& [reason, count] : *entry.filtered) {
        out += "    filtered as " + reason + ": " + std::to_string(count) + "\n";
      }
    }
    for (const auto& [reason, count] : entry.dropped) {
      out += "    dropped as " + reason + ": " + std::to_string(count) + "\n";
    }
    if (!entry.balances()) out += "    does not balance: in is not the sum of what follows it\n";
  }
  return out;
}

void write_ledger(const EngineLedger& ledger, JsonWriter& json) {
  json.begin_array();
  for (const DestinationAccount& entry : ledger) {
    json.begin_object()
        .member("name", entry.name)
        .member("output", entry.output)
        .member("in", entry.accepted)
        .member("delivered", entry.delivered)
        .member("spooled", entry.spooled)
        .member("queued", entry.queued);
    json.key("dropped").begin_object();
    for (const auto& [reason, count] : entry.dropped) json.member(reason, count);
    json.end_object().key("filtered");
    if (entry.filtered) {
      json.begin_object();
      for (const auto& [reason, count] : *entry.filtered) json.member(reason, count);
      json.end_object();
    } else {
      json.null();
    }
    json.member("mended", entry.mended)
        .member("retried", entry.retried)
        .member("balances", entry.balances())
        .end_object();
  }
  json.end_array();
}

}  // namespace vek::tools
