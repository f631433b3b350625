// The second recording of the demonstration: dictionaries, in pieces, from two training hosts whose
// pages take turns, and finished records from an aggregator.
#ifndef VEK_TOOLS_GENERATE_DEMO_STREAMS_H
#define VEK_TOOLS_GENERATE_DEMO_STREAMS_H

#include <cstdint>
#include <vector>

#include "data/opaque_event_schema.h"

namespace vek::tools {

// Small, as are the pages, so that values travel in chunks and dictionaries over several pages.
constexpr uint32_t kDemoStreamEventSize = 128;
constexpr uint64_t kDemoStreamPageSize = 2048;

struct DemoStreams {
  std::vector<std::vector<uint8_t>> pages;
  uint64_t dictionaries = 0;
  uint64_t aggregated = 0;  // records of the aggregator
  uint64_t sources = 0;
};

// The same seed gives the same bytes, as for DemoSource.
DemoStreams make_demo_streams(uint64_t seed);

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_DEMO_STREAMS_H
