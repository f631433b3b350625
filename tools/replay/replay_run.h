// ReplayRun: the pages of some files, sent through a connected plug-in, and the ledger of it.
#ifndef VEK_TOOLS_REPLAY_REPLAY_RUN_H
#define VEK_TOOLS_REPLAY_REPLAY_RUN_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/base/progress.h"
#include "tools/pages/page_file.h"
#include "tools/plugin/plugin_schemas.h"
#include "tools/plugin/plugin_session.h"
#include "tools/replay/filtered_records.h"
#include "tools/replay/pacer.h"
#include "tools/replay/replay.h"
#include "tools/replay/time_shift.h"

namespace vek::tools {

struct ReplayLedger {
  uint64_t pages = 0;
  uint64_t pages_left_out = 0;  // of times that were not asked for
  uint64_t bytes = 0;
  uint64_t failed_pages = 0;  // the plug-in said so, by its answer or in its log
  uint64_t records = 0;       // offered: counters blocks and events in the pages
  uint64_t chunk_pages = 0;   // pages whose records cannot be counted from outside
  OfferedRecords offered;     // the same, by the pages' tags
  uint64_t damaged_files = 0;
  bool unreadable = false;  // the system failed to read a file
  bool interrupted = false;
};

class ReplayRun {
 public:
  ReplayRun(PluginSession& session, const PluginSchemas& schemas, const ReplayOptions& options);

  // Every file, as often as asked. Damage is reported once a file, in the first round.
  void send_all();
  const ReplayLedger& ledger() const { return ledger_; }

 private:
  // False when the run is over.
  bool send_file(const std::string& path, bool first_round);
  bool send_page();
  bool send_round(bool first_round);

  PluginSession& session_;
  const PluginSchemas& schemas_;
  const ReplayOptions& options_;
  PageFile file_;
  Pacer pacer_;
  TimeShift shift_;
  std::vector<size_t> time_places_;
  Progress progress_;
  ReplayLedger ledger_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_REPLAY_RUN_H
