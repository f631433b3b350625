// What a record costs on its way from add_data to a receiver on the same machine that reads,
// acknowledges and drops, against a plain loop that writes the same bytes; and the slowest of ten
// thousand calls of add_data, for receivers of several kinds.
//
// The plain loop has the frames ready, in memory that no cache near a core holds, and writes one
// after the other. So its cost is the kernel's. The engine gets the same records out of memory
// like that. The sending process has one processor, the receiver another; its own time counts
// alone.
//
// usage: vek_forward_bench ENGINE_LIBRARY [RUNS]
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "bench/forward_peer.h"
#include "bench/forward_records.h"
#include "utils/export_parameters.h"

namespace {

using vek::bench::FramePool;
using vek::bench::Manner;
using vek::bench::PlainConnection;
using vek::bench::Receiver;
using vek::bench::ReceiversApart;
using vek::bench::RecordPool;
using Clock = std::chrono::steady_clock;

struct EngineCalls {
  void* (*init)(const char*, const char*, const char*, const fluentbit_export_parameters_t*,
                const char*, const char*) = nullptr;
  int (*add_data)(void*, const void*, size_t) = nullptr;
  int (*finalize)(void*) = nullptr;
  int (*stats)(void*, char*, size_t) = nullptr;
};

EngineCalls load(const char* path) {
  void* library = dlopen(path, RTLD_NOW);
  if (!library) {
    std::fprintf(stderr, "%s\n", dlerror());
    std::exit(4);
  }
  EngineCalls calls;
  calls.init = reinterpret_cast<decltype(calls.init)>(dlsym(library, "init"));
  calls.add_data = reinterpret_cast<decltype(calls.add_data)>(dlsym(library, "add_data"));
  calls.finalize = reinterpret_cast<decltype(calls.finalize)>(dlsym(library, "finalize"));
  calls.stats = reinterpret_cast<decltype(calls.stats)>(dlsym(library, "raw_msgpack_api_stats"));
  return calls;
}

void* start(const EngineCalls& engine, const Receiver& receiver) {
  fluentbit_export_parameters_t none{};
  return engine.init("forward", "127.0.0.1", receiver.port().c_str(), &none, "cntr", "evnt");
}

double seconds_of(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double seconds_since(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

// Seconds in all.
struct Cost {
  double wall = 1e9;
  double caller = 1e9;  // of processor time, in add_data
  double sender = 1e9;  // likewise, in the engine's thread
  double processor() const { return caller + sender; }
};

uint64_t delivered(const EngineCalls& engine, void* context) {
  char text[1000];
  engine.stats(context, text, sizeof(text));
  const std::string_view all = text;
  return std::strtoull(text + all.find("\"delivered\":") + 12, nullptr, 10);
}

// Adds records, and sees to it that what is measured is records that arrive, as fast as they do: no
// more than a few are offered ahead. What that takes is not counted.
class Feeder {
 public:
  Feeder(const EngineCalls& engine, void* context, const RecordPool& pool)
      : engine_(engine), context_(context), pool_(pool) {}

  // So many more, until they have arrived. The processor time in add_data.
  double feed(size_t count) {
    constexpr size_t kAhead = 4'000'000;
    const size_t step = std::max<size_t>(1, kAhead / 8 / pool_.record_size);
    double caller = 0;
    for (const size_t end = added_ + count; added_ < end;) {
      caller -= seconds_of(CLOCK_THREAD_CPUTIME_ID);
      for (const size_t next = std::min(end, added_ + step); added_ < next; ++added_) {
        const std::string_view record = pool_[added_];
        engine_.add_data(context_, record.data(), record.size());
      }
      caller += seconds_of(CLOCK_THREAD_CPUTIME_ID);
      wait_for_less_than(added_ < end ? kAhead : 1);
    }
    return caller;
  }

 private:
  void wait_for_less_than(size_t bytes) {
    while ((added_ - delivered(engine_, context_)) * pool_.record_size >= bytes) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  }

  const EngineCalls& engine_;
  void* context_;
  const RecordPool& pool_;
  size_t added_ = 0;
};

Cost send(const EngineCalls& engine, const Receiver& receiver, const RecordPool& pool,
          size_t count) {
  void* context = start(engine, receiver);
  Feeder feeder(engine, context, pool);
  feeder.feed(pool.size());  // to have everything in place
  const auto begin = Clock::now();
  const double all = seconds_of(CLOCK_PROCESS_CPUTIME_ID);
  const double own = seconds_of(CLOCK_THREAD_CPUTIME_ID);
  Cost cost;
  cost.caller = feeder.feed(count);
  cost.wall = seconds_since(begin);
  cost.sender =
      seconds_of(CLOCK_PROCESS_CPUTIME_ID) - all - (seconds_of(CLOCK_THREAD_CPUTIME_ID) - own);
  engine.finalize(context);
  return cost;
}

Cost write_plainly(const Receiver& receiver, const FramePool& pool, size_t count) {
  PlainConnection connection(receiver);
  const auto write = [&](size_t records) {
    for (size_t i = 0; records > 0; ++i) {
      const FramePool::Place& frame = pool.frames[i % pool.frames.size()];
      connection.send(pool.bytes(frame));
      records -= std::min(records, frame.records);
    }
    connection.await_replies();
  };
  write(1);
  const auto begin = Clock::now();
  const double processor = seconds_of(CLOCK_PROCESS_CPUTIME_ID);
  write(count);
  return {seconds_since(begin), seconds_of(CLOCK_PROCESS_CPUTIME_ID) - processor, 0};
}

template <typename Value>
double median_of(const std::vector<Cost>& costs, Value value) {
  std::vector<double> values;
  for (const Cost& cost : costs) values.push_back(value(cost));
  std::nth_element(values.begin(), values.begin() + static_cast<ptrdiff_t>(values.size() / 2),
                   values.end());
  return values[values.size() / 2];
}

void measure(const EngineCalls& engine, size_t counters, int runs) {
  constexpr size_t kBytes = 200'000'000;
  const RecordPool records(counters);
  const FramePool frames(records);
  const size_t count = kBytes / records.record_size;
  const ReceiversApart apart;
  const Receiver receiver;
  std::vector<Cost> ours;
  std::vector<Cost> plain;
  for (int i = 0; i < runs; ++i) {
    ours.push_back(send(engine, receiver, records, count));
    plain.push_back(write_plainly(receiver, frames, count));
  }
  const double n = static_cast<double>(count);
  const auto each = [&](const std::vector<Cost>& costs, auto value) {
    return median_of(costs, value) / n * 1e9;
  };
  const double processor = each(ours, [](const Cost& cost) { return cost.processor(); });
  const double plainly = each(plain, [](const Cost& cost) { return cost.processor(); });
  std::printf(
      "%4zu counters, %5zu bytes: %8.0f records/s, %6.0f ns of processor time each, of it %6.0f "
      "in add_data; plain %8.0f records/s, %6.0f ns, ratio %.2f\n",
      counters, records.record_size, 1e9 / each(ours, [](const Cost& cost) { return cost.wall; }),
      processor, each(ours, [](const Cost& cost) { return cost.caller; }),
      1e9 / each(plain, [](const Cost& cost) { return cost.wall; }), plainly, processor / plainly);
  std::fflush(stdout);
}

// The slowest call of each ten thousand, in microseconds, where records come one by one, as they do
// from a page every now and then.
template <typename Call>
std::vector<double> slowest_calls(Call call) {
  constexpr size_t kWindow = 10'000;
  constexpr size_t kWindows = 5;
  constexpr auto kPause = std::chrono::microseconds(50);
  std::vector<double> slowest;
  double window = 0;
  for (size_t i = 1; i <= kWindow * kWindows; ++i) {
    std::this_thread::sleep_for(kPause);
    const auto before = Clock::now();
    call();
    window = std::max(window, seconds_since(before) * 1e6);
    if (i % kWindow == 0) slowest.push_back(std::exchange(window, 0));
  }
  std::sort(slowest.begin(), slowest.end());
  return slowest;
}

void print_slowest(const char* what, const std::vector<double>& slowest) {
  std::printf("%s: slowest of 10,000: least %.0f us, median %.0f us, worst %.0f us\n", what,
              slowest.front(), slowest[slowest.size() / 2], slowest.back());
  std::fflush(stdout);
}

// How long the machine itself holds up a program that only looks at the clock, for as long as a
// call takes.
void measure_machine() {
  print_slowest("only the clock", slowest_calls([] {
                  const auto begin = Clock::now();
                  while (Clock::now() - begin < std::chrono::microseconds(1)) {
                  }
                }));
}

void measure_calls(const EngineCalls& engine, Manner manner, const char* name) {
  const Receiver receiver(manner);
  const std::string record = vek::bench::make_record(100, 0);
  void* context = start(engine, receiver);
  print_slowest(name,
                slowest_calls([&] { engine.add_data(context, record.data(), record.size()); }));
  engine.finalize(context);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::fprintf(stderr, "usage: vek_forward_bench ENGINE_LIBRARY [RUNS]\n");
    return 2;
  }
  setenv("VEK_RAW_MSGPACK_LOG_LEVEL", "3", 1);
  const EngineCalls engine = load(argv[1]);
  const int runs = argc == 3 ? std::max(1, std::atoi(argv[2])) : 7;
  for (const size_t counters : {size_t{10}, size_t{100}, size_t{1000}})
    measure(engine, counters, runs);
  measure_machine();
  measure_calls(engine, Manner::kReads, "add_data, a receiver that reads");
  measure_calls(engine, Manner::kStalls, "add_data, one that accepts and reads nothing");
  measure_calls(engine, Manner::kIsGone, "add_data, one that is not there");
  measure_machine();
  return 0;
}
