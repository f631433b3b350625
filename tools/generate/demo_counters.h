// The counters of the demonstration data: what a network switch's agent might sample of one port.
#ifndef VEK_TOOLS_GENERATE_DEMO_COUNTERS_H
#define VEK_TOOLS_GENERATE_DEMO_COUNTERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "counters/counters_schema.h"
#include "utils/owned.h"

namespace vek::tools {

// How a counter's value goes from one sample to the next.
enum class DemoBehaviour {
  // Running sums:
  kRate,    // grows by `level` a second at full load, with the source's load
  kSteady,  // grows by `level` a second
  kRare,    // grows by one now and then: `level` is how often a second
  // Values as they stand:
  kTemperature,  // `level` at rest, warmer under load
  kConstant,     // `level`
  kWander,       // around `level`, up and down
  kFlags,        // the bits of `level`; the lowest now and then flips
  kGuid,         // the source's own identifier plus `level`
  kFirmware,     // the source's firmware version
  kSerial,       // the source's serial number
};

struct DemoCounter {
  std::string name;
  std::string description;
  std::string units;
  uint32_t data_type;    // vek_data_type_t
  uint32_t text_length;  // of STRING counters
  DemoBehaviour behaviour;
  double level;
};

struct DemoGroup {
  std::string name;
  std::vector<DemoCounter> counters;
};

// Three groups: port traffic, temperatures, port identity; a hundred counters together.
std::vector<DemoGroup> demo_groups();

using OwnedCountersSchema = Owned<vek_counters_schema_t, vek_destroy_counters_schema>;

// The counters schema of these groups, offsets included; null when it cannot be made.
OwnedCountersSchema demo_counters_schema(const std::vector<DemoGroup>& groups);

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_DEMO_COUNTERS_H
