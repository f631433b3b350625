#include "bench/workload.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "tools/bench/allocation_count.h"

namespace vek::bench {
namespace {

// Records at a time, so that what calls the work is not measured with it.
constexpr size_t kBatch = 32;

std::vector<Workload>& list() {
  static std::vector<Workload> workloads;
  return workloads;
}

double minimum(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

void run(benchmark::State& state, const Prepared& prepared) {
  prepared.work(kBatch);
  const uint64_t before = tools::allocation_count();
  while (state.KeepRunningBatch(kBatch)) prepared.work(kBatch);
  const auto records = static_cast<double>(state.iterations());
  state.counters["allocs"] = static_cast<double>(tools::allocation_count() - before) / records;
  state.counters["bytes"] = prepared.bytes;
}

}  // namespace

bool add_workload(std::string name, std::string variant, std::function<Prepared()> prepare) {
  list().push_back({std::move(name), std::move(variant), std::move(prepare)});
  return true;
}

const std::vector<Workload>& workloads() { return list(); }

void register_benchmarks() {
  for (const Workload& workload : workloads()) {
    const auto prepared = std::make_shared<Prepared>();
    benchmark::RegisterBenchmark((workload.name + "/" + workload.variant).c_str(),
                                 [prepared, prepare = workload.prepare](benchmark::State& state) {
                                   if (!prepared->work) *prepared = prepare();
                                   run(state, *prepared);
                                 })
        ->ComputeStatistics("min", minimum);
  }
}

void fail(std::string_view name, std::string_view what) {
  std::fprintf(stderr, "vek_bench: %.*s: %.*s\n", static_cast<int>(name.size()), name.data(),
               static_cast<int>(what.size()), what.data());
  std::exit(1);
}

}  // namespace vek::bench
