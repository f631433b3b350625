// DemoSource: one device of the demonstration data, whose counters go on from sample to sample.
//
// The same seed gives the same bytes, whatever compiler built the tool: only the 64-bit Mersenne
// twister, whose output is standardised, and plain arithmetic are used.
#ifndef VEK_TOOLS_GENERATE_DEMO_SOURCE_H
#define VEK_TOOLS_GENERATE_DEMO_SOURCE_H

#include <cstdint>
#include <random>
#include <vector>

#include "data/byte_reader.h"
#include "tools/generate/demo_counters.h"

namespace vek::tools {

// The identifier of a device's port; of the device itself for port 0. Locally administered, so that
// no maker's real device bears it.
constexpr uint64_t demo_guid(uint32_t device, uint64_t port) {
  return uint64_t{0x0200'5eff'fe00'0000} + uint64_t{device} * 16 + port;
}

class DemoSource {
 public:
  // `schema` is the schema of `groups`; both are borrowed.
  DemoSource(uint64_t seed, uint32_t number, const std::vector<DemoGroup>& groups,
             const vek_counters_schema_t& schema);

  // One second passes.
  void advance();
  // The values area of a counters block. Valid until the next call of advance().
  Bytes values() const { return values_; }

 private:
  struct Slot {
    const DemoCounter* counter;
    uint32_t offset;
    uint64_t sum;      // of running sums
    double deviation;  // of wandering values
  };

  double random_unit();  // [0, 1)
  double random_between(double low, double high);
  void write(Slot& slot);
  void write_text(const Slot& slot);
  template <typename T>
  void put(const Slot& slot, T value);
  uint64_t next_sum(Slot& slot);
  uint64_t flags(const Slot& slot);

  std::mt19937_64 random_;
  uint32_t number_;
  double load_;  // 0 to 1
  std::vector<Slot> slots_;
  std::vector<uint8_t> values_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_DEMO_SOURCE_H
