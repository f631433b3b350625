// Faults of the demonstration's recordings, as networks, hosts and disks make them, each at a known
// place: for trying what readers make of them.
#ifndef VEK_TOOLS_GENERATE_DEMO_FAULTS_H
#define VEK_TOOLS_GENERATE_DEMO_FAULTS_H

#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tools/generate/demo_pages.h"

namespace vek::tools {

inline constexpr std::string_view kTruncatedPage = "truncated-page";
inline constexpr std::string_view kFlippedBit = "flipped-bit";
inline constexpr std::string_view kUnknownSchema = "unknown-schema";
inline constexpr std::string_view kMissingChunk = "missing-chunk";
inline constexpr std::string_view kReorderedChunk = "reordered-chunk";
inline constexpr std::string_view kCounterWrap = "counter-wrap";
inline constexpr std::string_view kClockJump = "clock-jump";

using FaultNames = std::set<std::string_view>;

// Of a list such as "flipped-bit,clock-jump", or of "all"; refuses a name that is none.
FaultNames take_fault_names(const std::string& text);

struct PlacedFault {
  std::string_view name;
  std::string file;
  uint64_t page = 0;    // from 1
  uint64_t offset = 0;  // in the file
  std::string what;
};

// The faults of pages.bin, each in a page of its own, far from the others. The truncated page comes
// last: a reader that stops there has met the others.
class PageFaults {
 public:
  static constexpr uint64_t kLeastPages = 60;  // fewer have no room for them all

  PageFaults(const FaultNames& names, uint64_t seed, uint64_t pages, const DemoSchemas& schemas);

  // Every page in its order; `offset` is where it will lie.
  void apply(uint64_t page, uint64_t offset, std::vector<uint8_t>& image);
  const std::vector<PlacedFault>& placed() const { return placed_; }

 private:
  // The first page of the source at or behind a place becomes a fault's.
  struct Target {
    std::string_view name;
    std::string_view source;
    uint64_t page;
    bool is_placed;
  };

  void find_wrap(Target& target, uint64_t seed, const DemoSchemas& schemas);
  void begin(const Target& target, std::vector<uint8_t>& image, PlacedFault& fault);
  void go_on(const Target& target, std::vector<uint8_t>& image) const;

  std::mt19937_64 random_;
  std::vector<Target> targets_;
  size_t wrap_place_ = 0;    // of the counter, in a page
  uint64_t wrap_shift_ = 0;  // added to it in every page of its source
  std::vector<PlacedFault> placed_;
};

// The faults of streams.bin: changes `pages`, adds to `placed`.
void add_stream_faults(const FaultNames& names, uint64_t seed, const vek_type_system_t& type_system,
                       std::vector<std::vector<uint8_t>>& pages, std::vector<PlacedFault>& placed);

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_DEMO_FAULTS_H
