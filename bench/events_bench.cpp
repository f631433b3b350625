// An event to a record: by its plan, rule by rule over msgpack-c's packer, and a memcpy of the
// finished bytes, which nothing that writes them can beat.
//
// "events" packs as page dispatch does, into a buffer that is used again; "events-own-buffer" makes
// each record memory of its own, as the interface that hands a simple buffer out has to.
#include <benchmark/benchmark.h>
#include <msgpack.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/allocation_count.h"
#include "bench/event_samples.h"
#include "field_set/event_plan.h"

namespace vek::bench {
namespace {

constexpr char kSource[] = "node-0017.rack-4";

using Record = std::vector<char>;

Record plain_record(EventSamples& samples, const uint8_t* event, const char* layout) {
  msgpack_sbuffer buffer;
  msgpack_sbuffer_init(&buffer);
  samples.plain_field_set().pack(&buffer, samples.plain_type(), event, samples.header().timestamp,
                                 kSource, layout);
  Record record(buffer.data, buffer.data + buffer.size);
  msgpack_sbuffer_destroy(&buffer);
  return record;
}

// Speed counts only where the bytes are right.
bool same_records(EventSamples& samples, const char* layout) {
  for (const auto& event : samples.events()) {
    msgpack_sbuffer buffer;
    samples.field_set().MsgPackToSimpleBuffer(&buffer, event.data(), &samples.header(), kSource,
                                              layout);
    const Record record(buffer.data, buffer.data + buffer.size);
    msgpack_sbuffer_destroy(&buffer);
    if (record.empty() || record != plain_record(samples, event.data(), layout)) return false;
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

template <typename PackOne>
void run(benchmark::State& state, EventSamples& samples, const char* layout, PackOne pack_one) {
  if (!same_records(samples, layout)) {
    state.SkipWithError("the records differ");
    return;
  }
  const size_t bytes = plain_record(samples, samples.events()[0].data(), layout).size();
  pack_one(samples.next_event());
  const uint64_t allocations = allocation_count();
  for (auto _ : state) {
    pack_one(samples.next_event());
    benchmark::ClobberMemory();
  }
  report(state, allocations, bytes);
}

void pack_reusing(benchmark::State& state, EventSamples& samples, const char* layout) {
  FieldSet& field_set = samples.field_set();
  MsgpackBuffer buffer;
  run(state, samples, layout, [&](const uint8_t* event) {
    const vek_event_header_t& header = samples.header();
    const EventPlan* plan = field_set.findPlan(&header);
    const size_t size =
        FieldSet::packEvent(buffer, *plan, event, header.timestamp, kSource, layout);
    benchmark::DoNotOptimize(buffer.data());
    benchmark::DoNotOptimize(size);
  });
}

void pack_own_buffer(benchmark::State& state, EventSamples& samples, const char* layout) {
  run(state, samples, layout, [&](const uint8_t* event) {
    msgpack_sbuffer buffer;
    samples.field_set().MsgPackToSimpleBuffer(&buffer, event, &samples.header(), kSource, layout);
    benchmark::DoNotOptimize(buffer.data);
    msgpack_sbuffer_destroy(&buffer);
  });
}

void pack_plain(benchmark::State& state, EventSamples& samples, const char* layout) {
  run(state, samples, layout, [&](const uint8_t* event) {
    msgpack_sbuffer buffer;
    msgpack_sbuffer_init(&buffer);
    samples.plain_field_set().pack(&buffer, samples.plain_type(), event, samples.header().timestamp,
                                   kSource, layout);
    benchmark::DoNotOptimize(buffer.data);
    msgpack_sbuffer_destroy(&buffer);
  });
}

void copy_records(benchmark::State& state, EventSamples& samples, const char* layout) {
  std::vector<Record> records;
  size_t largest = 0;
  for (const auto& event : samples.events()) {
    records.push_back(plain_record(samples, event.data(), layout));
    largest = std::max(largest, records.back().size());
  }
  std::vector<char> target(largest);
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

using Benchmark = void (*)(benchmark::State&, EventSamples&, const char*);

bool register_all() {
  for (const size_t count : {size_t{8}, size_t{40}, size_t{150}}) {
    const auto samples = std::make_shared<EventSamples>(count);
    const auto add = [&](const std::string& name, Benchmark benchmark, const char* layout) {
      benchmark::RegisterBenchmark(
          name.c_str(), [=](benchmark::State& state) { benchmark(state, *samples, layout); });
    };
    for (const char* layout : {"flb_std", "custom"}) {
      const std::string size = "/" + std::string(layout) + "/" + std::to_string(count);
      for (const auto& [family, ours] : {std::pair<const char*, Benchmark>{"events", pack_reusing},
                                         {"events-own-buffer", pack_own_buffer}}) {
        add(family + size + "/ours", ours, layout);
        add(family + size + "/plain", pack_plain, layout);
        add(family + size + "/memcpy", copy_records, layout);
      }
    }
  }
  return true;
}

const bool g_registered = register_all();

}  // namespace
}  // namespace vek::bench
