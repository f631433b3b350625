// RecordingSummary: what a page file holds, without converting it.
#ifndef VEK_TOOLS_INSPECT_RECORDING_SUMMARY_H
#define VEK_TOOLS_INSPECT_RECORDING_SUMMARY_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "tools/pages/inspected_page.h"
#include "tools/pages/page_salvager.h"

namespace vek::tools {

class RecordingSummary {
 public:
  // With schemas every block is seen; without them an events block hides those behind it.
  void add(const InspectedPage& page);
  // What was passed over is counted, from now on also when it is nothing.
  void count_losses() { counts_losses_ = true; }
  void add_lost(const LostBytes& lost);
  // "file: page 3 at byte ...": the file could not be read beyond it.
  void set_damage(std::string text) { damage_ = std::move(text); }

  std::string text(const std::string& file) const;
  std::string json(const std::string& file) const;

 private:
  struct Source {
    uint64_t pages = 0;
    uint64_t bytes = 0;
    uint64_t counters_blocks = 0;
    uint64_t events = 0;
    std::optional<uint64_t> first_time_us;
    std::optional<uint64_t> last_time_us;
  };

  // A page's times, which are not in order from page to page.
  static void widen(const PageSummary& page, std::optional<uint64_t>& first,
                    std::optional<uint64_t>& last);

  struct Losses {
    uint64_t places = 0;
    uint64_t bytes = 0;
    uint64_t cut_pages = 0;
  };

  Source all_;
  uint64_t broken_pages_ = 0;
  std::string first_broken_;  // where, and what
  bool counts_losses_ = false;
  Losses losses_;
  uint64_t empty_pages_ = 0;
  PageSummary blocks_;                                             // sums
  std::map<std::pair<std::string, std::string>, Source> sources_;  // by source id and tag
  std::string damage_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_INSPECT_RECORDING_SUMMARY_H
