// Dictionaries as the data pages in which they arrive.
#ifndef VEK_BENCH_DICTIONARY_SAMPLES_H
#define VEK_BENCH_DICTIONARY_SAMPLES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "data/data_page.h"
#include "data/opaque_events_writer.h"

namespace vek::bench {

enum class Structure {
  kFixed,    // every dictionary has the same keys, containers and types; values grow by a little
  kVarying,  // keys, containers, their sizes, types and values are drawn anew for each
  kTurns,    // two such dictionaries take turns
  kGauges,   // fixed, but for the magnitudes of whole numbers, which are drawn anew for each
  kFlat,     // fixed, every leaf in the root
  kNested    // fixed, one leaf and one dictionary in each dictionary
};

// Root dictionaries of groups of groups of leaves, or of groups of leaves where there are few.
// Leaves are mostly numbers, some short texts, a flag or nothing now and then.
class DictionarySamples {
 public:
  // Of about `leaves` leaves; exactly where the structure is fixed. `long_names`: no key and no
  // text is short.
  DictionarySamples(uint32_t leaves, Structure structure, bool long_names = false);

  using Image = std::vector<uint8_t>;
  // What defines the keys; to be read once.
  const std::vector<Image>& keys() const { return keys_; }
  // The pages of some dictionaries, which begin and end with them.
  struct Group {
    std::vector<Image> pages;
  };
  // Dictionaries in each.
  size_t per_group() const { return per_group_; }
  const std::vector<Group>& groups() const { return groups_; }
  const Group& next() {
    if (++current_ == groups_.size()) current_ = 0;
    return groups_[current_];
  }

  const vek_type_definition_t* type() const { return writer_.schema().type(); }

 private:
  OpaqueEventsWriter writer_;
  std::vector<Image> keys_;
  std::vector<Group> groups_;
  size_t per_group_ = 1;
  size_t current_ = 0;
};

}  // namespace vek::bench

#endif  // VEK_BENCH_DICTIONARY_SAMPLES_H
