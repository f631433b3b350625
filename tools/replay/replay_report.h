// What a replay tells at its end: a summary, the ledger of every destination, and a status.
#ifndef VEK_TOOLS_REPLAY_REPLAY_REPORT_H
#define VEK_TOOLS_REPLAY_REPLAY_REPORT_H

#include <optional>
#include <string>

#include "tools/base/exit_status.h"
#include "tools/replay/engine_ledger.h"
#include "tools/replay/replay_run.h"

namespace vek::tools {

struct ReplayReport {
  ReplayLedger run;
  uint64_t errors = 0;  // logged by the plug-in
  double seconds = 0;
  std::optional<EngineLedger> destinations;
  std::string no_ledger;  // why there are none
  bool endless = false;   // an interruption was its way to end

  bool all_delivered() const;
  // Says, where it is not good, why.
  ExitStatus status() const;
  void print() const;
  // One object, a line.
  std::string json() const;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_REPLAY_REPORT_H
