// What each workload has to reach, against the plain packer and against the floor.
#ifndef VEK_BENCH_GOALS_H
#define VEK_BENCH_GOALS_H

#include <optional>
#include <string_view>

namespace vek::bench {

struct Goal {
  const char* workload;
  double least_times_plain;  // plain / ours; 0: no goal
  double most_times_floor;   // ours / floor; 0: no goal
  // What plain / ours was by instructions when this was written, less a little. Branches that
  // cannot be predicted are as cheap as others there, so it is another ratio; it must not get
  // worse.
  double least_by_instructions;
  // The same for ours / floor, where the floor is a conversion and counts instructions, too.
  double most_by_instructions = 0;
};

std::optional<Goal> goal_of(std::string_view workload);

// Cost of a field at the larger count, over that at the smaller one.
inline constexpr const char* kGrowthSmall = "counters/flb_std/100/steady";
inline constexpr const char* kGrowthLarge = "counters/flb_std/10000/steady";
inline constexpr double kGrowthFields = 100;  // times as many
inline constexpr double kMostGrowth = 1.25;

}  // namespace vek::bench

#endif  // VEK_BENCH_GOALS_H
