// A picture of the table.
#ifndef VEK_BENCH_PLOT_H
#define VEK_BENCH_PLOT_H

#include <cstdio>

#include "bench/table.h"

namespace vek::bench {

// SVG: cost of a record against its number of counters, both logarithmic, for each variant.
void plot_counters(const Table& table, std::FILE* out);

}  // namespace vek::bench

#endif  // VEK_BENCH_PLOT_H
