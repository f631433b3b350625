#include "bench/goals.h"

namespace vek::bench {
namespace {

constexpr Goal kGoals[] = {
    {"counters/flb_std/10/steady", 8.5, 4.0, 12.7},
    {"counters/flb_std/100/steady", 8.5, 4.0, 36.0},
    {"counters/flb_std/1000/steady", 8.5, 4.0, 48.7},
    {"counters/flb_std/10/random", 12, 0, 7.8},
    {"counters/flb_std/100/random", 12, 0, 10.9},
    {"counters/flb_std/1000/random", 12, 0, 11.4},
    {"events/flb_std/8/steady", 8, 2.4, 38.3},
    {"events/flb_std/40/steady", 5.5, 3.3, 44.7},
    {"events/flb_std/150/steady", 6, 3.1, 54.9},
    {"events/custom/8/random", 0, 0, 8.9},
    {"pages/type-system/100", 0, 1.5, 0, 1.5},
    {"pages/schema-manager/100", 0, 1.5, 0, 1.5},
    {"streams/fixed/20", 16, 2.7, 12.9},
    {"streams/fixed/240", 16, 2.7, 19.0},
    {"streams/fixed/4800", 16, 2.7, 16.3},
    {"streams/varying/20", 12, 0, 6.7},
    {"streams/varying/240", 12, 0, 8.8},
    {"streams/varying/4800", 12, 0, 9.5},
    {"streams/turns/240", 0, 0, 9.1},
    {"streams/gauges/240", 0, 0, 9.8},
};

}  // namespace

std::optional<Goal> goal_of(std::string_view workload) {
  for (const Goal& goal : kGoals) {
    if (workload == goal.workload) return goal;
  }
  return std::nullopt;
}

}  // namespace vek::bench
