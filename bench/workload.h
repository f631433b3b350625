// What is measured: one kind of work in several variants, under one name.
//
// "ours" is the code that is shipped; "plain" makes the same bytes the straightforward way; "floor"
// is a memcpy of the finished bytes, which nothing that writes them can beat. One list serves the
// clock (Google Benchmark) and the counting of instructions.
#ifndef VEK_BENCH_WORKLOAD_H
#define VEK_BENCH_WORKLOAD_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vek::bench {

// Does the work `count` times.
using Work = std::function<void(size_t count)>;

// What one variant is measured by, made when it is first needed: samples take megabytes.
struct Prepared {
  Work work;
  double bytes = 0;  // of one record, on average
};

struct Workload {
  std::string name;     // "counters/flb_std/100/steady"
  std::string variant;  // "ours", "plain", "floor"
  std::function<Prepared()> prepare;
};

// To be called before main().
bool add_workload(std::string name, std::string variant, std::function<Prepared()> prepare);
const std::vector<Workload>& workloads();

// Hands every workload to Google Benchmark, as NAME/VARIANT.
void register_benchmarks();

// Ends the program with a message: figures of work that goes wrong are worth nothing.
[[noreturn]] void fail(std::string_view name, std::string_view what);

}  // namespace vek::bench

#endif  // VEK_BENCH_WORKLOAD_H
