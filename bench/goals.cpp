#include "bench/goals.h"

namespace vek::bench {
namespace {

constexpr Goal kGoals[] = {
    {"counters/flb_std/10/steady", 8.5, 4.0},
    {"counters/flb_std/100/steady", 8.5, 4.0},
    {"counters/flb_std/1000/steady", 8.5, 4.0},
    {"counters/flb_std/10/random", 12, 0},
    {"counters/flb_std/100/random", 12, 0},
    {"counters/flb_std/1000/random", 12, 0},
    {"events/flb_std/8", 8, 2.4},
    {"events/flb_std/40", 5.5, 3.3},
    {"events/flb_std/150", 6, 3.1},
    {"streams/fixed/20", 16, 2.7},
    {"streams/fixed/240", 16, 2.7},
    {"streams/fixed/4800", 16, 2.7},
    {"streams/varying/20", 12, 0},
    {"streams/varying/240", 12, 0},
    {"streams/varying/4800", 12, 0},
    {"pages/type-system/100", 0, 1.5},
    {"pages/schema-manager/100", 0, 1.5},
};

}  // namespace

std::optional<Goal> goal_of(std::string_view workload) {
  for (const Goal& goal : kGoals) {
    if (workload == goal.workload) return goal;
  }
  return std::nullopt;
}

}  // namespace vek::bench
