// A counters block to a record: the conversion, a plain loop over msgpack-c's packer, and a memcpy
// of the finished bytes, which nothing that writes them can beat.
#include <benchmark/benchmark.h>
#include <msgpack.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/allocation_count.h"
#include "bench/counter_samples.h"
#include "counters/counters_msgpack.h"
#include "tests/counters/plain_packer.h"

namespace vek::bench {
namespace {

constexpr char kSource[] = "node-0017.rack-4";

using Pack = void (*)(msgpack_sbuffer*, const void*, const vek_counter_set_t*, const char*,
                      const char*);

std::vector<char> record_of(Pack pack, const void* block, const CounterSamples& samples,
                            const char* layout) {
  msgpack_sbuffer buffer;
  pack(&buffer, block, samples.set(), kSource, layout);
  std::vector<char> record(buffer.data, buffer.data + buffer.size);
  msgpack_sbuffer_destroy(&buffer);
  return record;
}

// Speed counts only where the bytes are right.
bool same_records(const CounterSamples& samples, const char* layout) {
  for (const auto& block : samples.blocks()) {
    if (record_of(vek_counter_block_to_msgpack_filtered, block.data(), samples, layout) !=
        record_of(test::plain_pack, block.data(), samples, layout)) {
      return false;
    }
  }
  return true;
}

void report(benchmark::State& state, uint64_t allocations_before, size_t record_bytes) {
  const auto records = static_cast<double>(state.iterations());
  const uint64_t allocations = allocation_count() - allocations_before;
  state.counters["allocs"] = static_cast<double>(allocations) / records;
  state.counters["bytes"] = static_cast<double>(record_bytes);
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(record_bytes));
}

void pack_records(benchmark::State& state, Pack pack, CounterSamples& samples, const char* layout) {
  if (!same_records(samples, layout)) {
    state.SkipWithError("the records differ");
    return;
  }
  const size_t bytes = record_of(pack, samples.blocks()[0].data(), samples, layout).size();
  const uint64_t allocations = allocation_count();
  for (auto _ : state) {
    msgpack_sbuffer buffer;
    pack(&buffer, samples.next_block(), samples.set(), kSource, layout);
    benchmark::DoNotOptimize(buffer.data);
    benchmark::ClobberMemory();
    msgpack_sbuffer_destroy(&buffer);
  }
  report(state, allocations, bytes);
}

void copy_records(benchmark::State& state, CounterSamples& samples, const char* layout) {
  std::vector<std::vector<char>> records;
  for (const auto& block : samples.blocks()) {
    records.push_back(record_of(test::plain_pack, block.data(), samples, layout));
  }
  std::vector<char> target(2 * records[0].size());
  size_t current = 0;
  const uint64_t allocations = allocation_count();
  for (auto _ : state) {
    current = (current + 1) % records.size();
    std::memcpy(target.data(), records[current].data(), records[current].size());
    benchmark::DoNotOptimize(target.data());
    benchmark::ClobberMemory();
  }
  report(state, allocations, records[0].size());
}

bool register_all() {
  for (const char* layout : {"flb_std", "custom"}) {
    for (const size_t count : {size_t{10}, size_t{100}, size_t{1000}}) {
      const auto samples = std::make_shared<CounterSamples>(count);
      const std::string name = std::string("counters/") + layout + "/" + std::to_string(count);
      benchmark::RegisterBenchmark((name + "/ours").c_str(), [=](benchmark::State& state) {
        pack_records(state, vek_counter_block_to_msgpack_filtered, *samples, layout);
      });
      benchmark::RegisterBenchmark((name + "/plain").c_str(), [=](benchmark::State& state) {
        pack_records(state, test::plain_pack, *samples, layout);
      });
      benchmark::RegisterBenchmark((name + "/memcpy").c_str(), [=](benchmark::State& state) {
        copy_records(state, *samples, layout);
      });
    }
  }
  return true;
}

const bool g_registered = register_all();

}  // namespace
}  // namespace vek::bench
