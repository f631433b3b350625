#include "bench/instructions.h"

#include <sys/wait.h>
#include <unistd.h>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_TOGGLE_COLLECT
#define CALLGRIND_DUMP_STATS_AT(name) fail(name, "this was built without valgrind's headers")
#endif

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "bench/goals.h"
#include "bench/record_pool.h"
#include "bench/workload.h"
#include "tests/support/temp_dir.h"

namespace vek::bench {
namespace {

constexpr size_t kRecords = 100;
constexpr size_t kPoolBytes = 100'000;
constexpr char kName[] = "valgrind";

// A memcpy is a handful of instructions whatever it copies; only the floor of pages is work.
bool counts(const Workload& workload, std::string_view filter) {
  const bool has_goal = goal_of(workload.name) || workload.name == kGrowthLarge;
  const bool has_meaning = workload.variant != "floor" || workload.name.starts_with("pages/");
  return has_goal && has_meaning && workload.name.find(filter) != std::string::npos;
}

void run_valgrind(const char* program, const std::string& filter, const std::string& out) {
  const pid_t child = fork();
  if (child == 0) {
    execlp(kName, kName, "--tool=callgrind", "--collect-atstart=no", "-q",
           ("--callgrind-out-file=" + out).c_str(), program, "--under-callgrind",
           ("--filter=" + filter).c_str(), nullptr);
    _exit(127);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
    fail("--instructions", WIFEXITED(status) && WEXITSTATUS(status) == 127
                               ? "there is no valgrind; install it"
                               : "the run under valgrind failed");
  }
}

// Of one dump, the workload in "desc: Trigger: Client Request: NAME/VARIANT" and the sum in
// "summary: N" or "totals: N".
void read_dump(const std::filesystem::path& path, Table& table) {
  constexpr std::string_view kTrigger = "desc: Trigger: Client Request: ";
  std::ifstream in(path);
  std::string name;
  double sum = 0;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with(kTrigger)) name = line.substr(kTrigger.size());
    if (line.starts_with("summary: ") || line.starts_with("totals: ")) {
      sum = std::strtod(line.c_str() + line.find(' '), nullptr);
    }
  }
  const size_t slash = name.rfind('/');
  if (slash == std::string::npos) return;
  table.add(name.substr(0, slash), name.substr(slash + 1), {sum / kRecords, 0, 0});
}

}  // namespace

void run_under_callgrind(const std::string& filter) {
  g_pool_bytes = kPoolBytes;
  for (const Workload& workload : workloads()) {
    if (!counts(workload, filter)) continue;
    const Prepared prepared = workload.prepare();
    prepared.work(kRecords);
    CALLGRIND_ZERO_STATS;
    CALLGRIND_TOGGLE_COLLECT;
    prepared.work(kRecords);
    CALLGRIND_TOGGLE_COLLECT;
    // Read by valgrind after the request has returned.
    static std::string name;
    name = workload.name + "/" + workload.variant;
    CALLGRIND_DUMP_STATS_AT(name.c_str());
  }
}

Table count_instructions(const char* program, const std::string& filter) {
  const test::TempDir folder;
  run_valgrind(program, filter, folder.file("counts"));
  Table table(Table::Unit::kInstructions);
  for (const Workload& workload : workloads()) {
    if (counts(workload, filter)) table.add(workload.name, workload.variant, {});
  }
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    read_dump(entry.path(), table);
  }
  return table;
}

}  // namespace vek::bench
