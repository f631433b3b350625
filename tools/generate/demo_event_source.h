// DemoEventSource: the events that a reporter of the demonstration data sends, one block at a time.
//
// The same seed gives the same bytes, as for DemoSource.
#ifndef VEK_TOOLS_GENERATE_DEMO_EVENT_SOURCE_H
#define VEK_TOOLS_GENERATE_DEMO_EVENT_SOURCE_H

#include <cstdint>
#include <random>
#include <string_view>
#include <vector>

#include "tools/generate/demo_events.h"

namespace vek::tools {

class DemoEventSource {
 public:
  struct Block {
    DemoEventType type{};
    uint8_t count = 0;
    std::vector<uint8_t> events;  // back to back
  };
  static constexpr uint32_t kMostEvents = 3;  // of one block

  // `number` is the reporter's; `devices` is how many devices there are to report about.
  DemoEventSource(uint64_t seed, uint32_t number, uint32_t devices)
      : random_(seed * 1000 + 500 + number), devices_(devices) {}

  // One to three events of one type, noticed shortly before `time_us`.
  Block next(uint64_t time_us);

 private:
  uint64_t below(uint64_t limit) { return random_() % limit; }
  bool one_in(uint64_t times) { return below(times) == 0; }
  void link_state_change(uint64_t time_us);
  void alarm();
  void process_start(uint64_t time_us);
  void device_health();
  template <typename T>
  void put(T value);
  void text(std::string_view text, size_t size);

  std::mt19937_64 random_;
  uint32_t devices_;
  int32_t last_pid_ = 4000;
  std::vector<uint8_t> events_;  // of the block at hand
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_DEMO_EVENT_SOURCE_H
