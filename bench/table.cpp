#include "bench/table.h"

#include "bench/goals.h"

namespace vek::bench {
namespace {

constexpr double kNoise = 0.005;  // allocations of something else, spread over many records

void print_ratio(std::FILE* out, double ratio, double goal, const char* sign) {
  if (ratio == 0) {
    std::fprintf(out, " %8s %8s", "", "");
  } else if (goal == 0) {
    std::fprintf(out, " %8.2f %8s", ratio, "");
  } else {
    std::fprintf(out, " %8.2f %s%7.4g", ratio, sign, goal);
  }
}

}  // namespace

const Figures* Table::Row::find(const char* variant) const {
  const auto found = variants.find(variant);
  return found == variants.end() ? nullptr : &found->second;
}

double Table::Row::ratio(const char* over, const char* under) const {
  const Figures* top = find(over);
  const Figures* bottom = find(under);
  return top && bottom && bottom->cost > 0 ? top->cost / bottom->cost : 0;
}

const Table::Row* Table::find(std::string_view workload) const {
  for (const Row& row : rows_) {
    if (row.workload == workload) return &row;
  }
  return nullptr;
}

const Figures* Table::find(const std::string& workload, const std::string& variant) const {
  const Row* row = find(workload);
  return row ? row->find(variant.c_str()) : nullptr;
}

void Table::add(const std::string& workload, const std::string& variant, const Figures& figures) {
  for (Row& row : rows_) {
    if (row.workload == workload) {
      row.variants[variant] = figures;
      return;
    }
  }
  rows_.push_back({workload, {{variant, figures}}});
}

const char* Table::unit_name() const {
  return unit_ == Unit::kInstructions ? "instructions" : "ns";
}

double Table::least_times_plain(const Goal& goal) const {
  return unit_ == Unit::kInstructions ? goal.least_by_instructions : goal.least_times_plain;
}

double Table::most_times_floor(const Goal& goal) const {
  return unit_ == Unit::kInstructions ? goal.most_by_instructions : goal.most_times_floor;
}

double Table::growth() const {
  const Row* small = find(kGrowthSmall);
  const Row* large = find(kGrowthLarge);
  if (!small || !large || !small->find("ours") || !large->find("ours")) return 0;
  return large->find("ours")->cost / small->find("ours")->cost / kGrowthFields;
}

void Table::print(std::FILE* out) const {
  std::fprintf(out, "\nOne record, in %s: the least of all repetitions\n", unit_name());
  std::fprintf(out, "%-30s %8s %10s %10s %10s %17s %17s %7s\n", "workload", "bytes", "ours",
               "plain", "floor", "plain/ours (goal)", "ours/floor (goal)", "allocs");
  for (const Row& row : rows_) {
    const Figures* ours = row.find("ours");
    if (!ours) continue;
    std::fprintf(out, "%-30s %8.0f %10.1f", row.workload.c_str(), ours->bytes, ours->cost);
    for (const char* variant : {"plain", "floor"}) {
      const Figures* figures = row.find(variant);
      std::fprintf(out, " %10.1f", figures ? figures->cost : 0);
    }
    const Goal goal = goal_of(row.workload).value_or(Goal{});
    print_ratio(out, row.ratio("plain", "ours"), least_times_plain(goal), ">");
    print_ratio(out, row.ratio("ours", "floor"), most_times_floor(goal), "<");
    std::fprintf(out, " %7.2f\n", ours->allocations);
  }
  if (growth() > 0) {
    std::fprintf(out, "a counter of 10,000 costs %.2f times one of 100 (goal: at most %.2f)\n",
                 growth(), kMostGrowth);
  }
}

void Table::print_json(std::FILE* out) const {
  std::fprintf(out, "{\"schema_version\": 1, \"unit\": \"%s\", \"growth\": %.4f, \"rows\": [",
               unit_name(), growth());
  const char* separator = "\n";
  for (const Row& row : rows_) {
    const Goal goal = goal_of(row.workload).value_or(Goal{});
    std::fprintf(out, "%s{\"workload\": \"%s\"", separator, row.workload.c_str());
    for (const auto& [variant, figures] : row.variants) {
      std::fprintf(out, ", \"%s\": %.3f", variant.c_str(), figures.cost);
    }
    if (const Figures* ours = row.find("ours")) {
      std::fprintf(out, ", \"bytes\": %.1f, \"allocations\": %.4f", ours->bytes, ours->allocations);
    }
    std::fprintf(out, ", \"plain_over_ours\": %.4f, \"ours_over_floor\": %.4f",
                 row.ratio("plain", "ours"), row.ratio("ours", "floor"));
    std::fprintf(out, ", \"least_plain_over_ours\": %g, \"most_ours_over_floor\": %g}",
                 least_times_plain(goal), most_times_floor(goal));
    separator = ",\n";
  }
  std::fprintf(out, "\n]}\n");
}

bool Table::check() const {
  bool good = true;
  const auto miss = [&](const std::string& workload, const char* what, double is, double goal) {
    std::fprintf(stderr, "vek_bench: %s: %s is %.2f, which misses the goal of %.4g\n",
                 workload.c_str(), what, is, goal);
    good = false;
  };
  for (const Row& row : rows_) {
    const std::optional<Goal> goal = goal_of(row.workload);
    if (!goal) continue;
    const double plain = row.ratio("plain", "ours");
    const double floor = row.ratio("ours", "floor");
    if (least_times_plain(*goal) > 0 && plain > 0 && plain < least_times_plain(*goal)) {
      miss(row.workload, "plain/ours", plain, least_times_plain(*goal));
    }
    const double most = most_times_floor(*goal);
    if (most > 0 && floor > most) {
      miss(row.workload, "ours/floor", floor, most);
    }
    const Figures* ours = row.find("ours");
    if (ours && ours->allocations > kNoise) {
      miss(row.workload, "allocations a record", ours->allocations, 0);
    }
  }
  if (growth() > kMostGrowth) miss(kGrowthLarge, "growth", growth(), kMostGrowth);
  return good;
}

}  // namespace vek::bench
