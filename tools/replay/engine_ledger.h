// The engine's ledger: where the records of every destination of this process went.
//
// The plug-in loads the engine and keeps the contexts to itself. The engine, once loaded, tells the
// accounts of all its contexts to whoever asks; the tool finds it among the libraries that the
// process has loaded, so that neither the plug-in nor its search for the engine notices.
#ifndef VEK_TOOLS_REPLAY_ENGINE_LEDGER_H
#define VEK_TOOLS_REPLAY_ENGINE_LEDGER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/base/json_writer.h"

namespace vek::tools {

struct DestinationAccount {
  std::string name;  // the output's name, or its "Alias"
  std::string output;
  bool finalized = false;
  // By reason, records that its rules kept from it; none where that is not known.
  std::optional<std::vector<std::pair<std::string, uint64_t>>> filtered;
  uint64_t accepted = 0;
  uint64_t delivered = 0;
  uint64_t spooled = 0;
  uint64_t queued = 0;
  std::vector<std::pair<std::string, uint64_t>> dropped;  // by reason
  uint64_t mended = 0;
  uint64_t retried = 0;

  uint64_t dropped_sum() const;
  bool balances() const;
  // Everything arrived, or waits on disk for the next start.
  bool is_whole() const { return balances() && dropped_sum() == 0 && queued == 0; }
};

using EngineLedger = std::vector<DestinationAccount>;

// None when the text is no ledger.
std::optional<EngineLedger> parse_engine_ledger(const std::string& json);

// Of the engine that this process has loaded; none, with `problem` set, where there is none or
// where it keeps no ledger.
std::optional<EngineLedger> read_engine_ledger(std::string& problem);

// The table, a line per destination and one per reason of a loss; ends in a line feed.
std::string ledger_text(const EngineLedger& ledger);
// An array of objects.
void write_ledger(const EngineLedger& ledger, JsonWriter& json);

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_ENGINE_LEDGER_H
