// What a record costs on its way from add_data to a receiver on the same machine that reads,
// acknowledges and drops, against a plain loop that writes as many bytes; and the slowest of ten
// thousand calls of add_data, for receivers of several kinds.
//
// usage: vek_forward_bench ENGINE_LIBRARY
#include <arpa/inet.h>
#include <dlfcn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "utils/export_parameters.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kFrame = 256'000;

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

// Acknowledges every chunk id in what comes. Ids are texts of 32 bytes.
void acknowledge_all(int fd) {
  constexpr std::string_view kMark =
      "\xa5"
      "chunk\xd9\x20";
  constexpr size_t kIdSize = 32;
  std::string bytes;
  std::vector<char> buffer(1 << 20);
  for (;;) {
    const ssize_t count = read(fd, buffer.data(), buffer.size());
    if (count <= 0) return;
    bytes.append(buffer.data(), static_cast<size_t>(count));
    size_t done = 0;
    for (size_t at; (at = bytes.find(kMark, done)) != std::string::npos;) {
      if (at + kMark.size() + kIdSize > bytes.size()) break;
      const std::string reply =
          "\x81\xa3"
          "ack\xd9\x20" +
          bytes.substr(at + kMark.size(), kIdSize);
      if (write(fd, reply.data(), reply.size()) < 0) return;
      done = at + kMark.size() + kIdSize;
    }
    bytes.erase(0, std::max(done, bytes.size() - std::min(bytes.size(), kMark.size() + kIdSize)));
  }
}

enum class Manner { kReads, kStalls, kIsGone };

// A process of its own, so that its time is not counted.
class Receiver {
 public:
  explicit Receiver(Manner manner = Manner::kReads) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    bind(listener, reinterpret_cast<sockaddr*>(&address), size);
    listen(listener, 4);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    address_ = address;
    child_ = manner == Manner::kIsGone ? -1 : fork();
    if (child_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (;;) {
        const int fd = accept(listener, nullptr, nullptr);
        if (manner == Manner::kStalls) pause();
        acknowledge_all(fd);
        close(fd);
      }
    }
    close(listener);
  }
  ~Receiver() {
    if (child_ < 0) return;
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  std::string port() const { return std::to_string(ntohs(address_.sin_port)); }
  const sockaddr_in& address() const { return address_; }

 private:
  sockaddr_in address_{};
  pid_t child_ = -1;
};

// [time, {"counter_0000": number, ...}]
std::string make_record(size_t counters) {
  std::string record = "\x92\xcb\x41\xd9\x55\x55\x55\x55\x55\x55\xde";
  record += static_cast<char>(counters >> 8);
  record += static_cast<char>(counters);
  for (size_t i = 0; i < counters; ++i) {
    const std::string digits = std::to_string(10'000 + i).substr(1);
    record +=
        "\xac"
        "counter_" +
        digits + "\xce\x12\x34\x56" + static_cast<char>(i);
  }
  return record;
}

double processor_seconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double seconds_since(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

struct Cost {
  double wall = 1e9;       // seconds in all
  double processor = 1e9;  // likewise
};

Cost least(const Cost& a, const Cost& b) {
  return {std::min(a.wall, b.wall), std::min(a.processor, b.processor)};
}

uint64_t delivered(const EngineCalls& engine, void* context) {
  char text[1000];
  engine.stats(context, text, sizeof(text));
  const std::string_view all = text;
  return std::strtoull(text + all.find("\"delivered\":") + 12, nullptr, 10);
}

// What is measured is records that arrive, as fast as they do: no more than the sender has in
// flight are offered ahead.
Cost send(const EngineCalls& engine, const Receiver& receiver, const std::string& record,
          size_t count) {
  constexpr size_t kAhead = 2'000'000;
  const size_t step = std::max<size_t>(1, kAhead / 4 / record.size());
  fluentbit_export_parameters_t none{};
  void* context =
      engine.init("forward", "127.0.0.1", receiver.port().c_str(), &none, "cntr", "evnt");
  const auto begin = Clock::now();
  const double processor = processor_seconds();
  for (size_t i = 1; i <= count; ++i) {
    engine.add_data(context, record.data(), record.size());
    if (i % step != 0) continue;
    while ((i - delivered(engine, context)) * record.size() > kAhead) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  }
  while (delivered(engine, context) < count) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  const Cost cost = {seconds_since(begin), processor_seconds() - processor};
  engine.finalize(context);
  return cost;
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

Cost write_plainly(const Receiver& receiver, size_t bytes) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&receiver.address()),
              sizeof(receiver.address())) != 0) {
    std::exit(4);
  }
  const std::string frame(kFrame, 'x');
  const auto begin = Clock::now();
  const double processor = processor_seconds();
  while (bytes > 0) {
    const ssize_t count = write(fd, frame.data(), std::min(bytes, frame.size()));
    if (count <= 0) std::exit(4);
    bytes -= static_cast<size_t>(count);
  }
  const Cost cost = {seconds_since(begin), processor_seconds() - processor};
  close(fd);
  return cost;
}

void measure(const EngineCalls& engine, size_t counters) {
  constexpr int kRepetitions = 7;
  constexpr size_t kBytes = 200'000'000;
  const std::string record = make_record(counters);
  const size_t count = kBytes / record.size();
  const Receiver receiver;
  Cost ours;
  Cost plain;
  for (int i = 0; i < kRepetitions; ++i) {
    ours = least(ours, send(engine, receiver, record, count));
    plain = least(plain, write_plainly(receiver, count * (record.size() + 1)));
  }
  const double n = static_cast<double>(count);
  std::printf(
      "%4zu counters, %5zu bytes: %8.0f records/s, %6.0f ns of processor time each; plain "
      "%6.0f ns, ratio %.2f\n",
      counters, record.size(), n / ours.wall, ours.processor / n * 1e9, plain.processor / n * 1e9,
      ours.processor / plain.processor);
}

void print_slowest(const char* what, const std::vector<double>& slowest) {
  std::printf("%s: slowest of 10,000: median %.0f us, worst %.0f us\n", what,
              slowest[slowest.size() / 2], slowest.back());
}

// How long the machine itself holds up a program that only looks at the clock.
void measure_machine() {
  print_slowest("no call at all", slowest_calls([] {}));
}

void measure_calls(const EngineCalls& engine, Manner manner, const char* name) {
  const Receiver receiver(manner);
  const std::string record = make_record(100);
  fluentbit_export_parameters_t none{};
  void* context =
      engine.init("forward", "127.0.0.1", receiver.port().c_str(), &none, "cntr", "evnt");
  print_slowest(name,
                slowest_calls([&] { engine.add_data(context, record.data(), record.size()); }));
  engine.finalize(context);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: vek_forward_bench ENGINE_LIBRARY\n");
    return 2;
  }
  setenv("VEK_RAW_MSGPACK_LOG_LEVEL", "3", 1);
  const EngineCalls engine = load(argv[1]);
  for (const size_t counters : {10, 100, 1000}) measure(engine, counters);
  measure_machine();
  measure_calls(engine, Manner::kReads, "add_data, a receiver that reads");
  measure_calls(engine, Manner::kStalls, "add_data, one that accepts and reads nothing");
  measure_calls(engine, Manner::kIsGone, "add_data, one that is not there");
  return 0;
}
