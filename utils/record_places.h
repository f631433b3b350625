// RecordPlaces: where each value of a packed record stands, so that the next record can be made by
// writing other values there.
//
// While every value keeps its size, all other bytes stay as they are. For a few values that changed
// it, what stands behind them is moved.
#ifndef VEK_UTILS_RECORD_PLACES_H
#define VEK_UTILS_RECORD_PLACES_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "utils/number_places.h"
#include "utils/packing_plan.h"
#include "utils/text_places.h"

namespace vek {

class RecordPlaces {
 public:
  // From `record`, which was packed from this input by these sections, in memory of `capacity`
  // bytes that have room for every such record. False, and of no use, when a step of theirs has no
  // place or memory runs out.
  bool learn(const PlanSection& head, const PlanSection& body, const PlanInput& input, char* record,
             size_t size, size_t capacity) noexcept;
  // Makes the record of this input out of the one that was learnt or made last. False, with a
  // spoilt record and of no further use, when too much has changed.
  bool rewrite(const PlanInput& input) noexcept;
  // The same with instructions that every processor of the kind has.
  bool rewrite_baseline(const PlanInput& input) noexcept;

  std::string_view record() const { return {record_, size_}; }
  // How often what stands behind a value was moved for this record.
  unsigned moves() const { return kMostMoves - moves_left_; }
  size_t values() const { return numbers_.size() + texts_.size() + flags_.size(); }

 private:
  static constexpr unsigned kMostMoves = 4;  // one costs as much as many numbers packed anew

  // Any other value's place, or the place where it would be when it was left out.
  struct Other {
    const PlanStep* step;
    uint32_t out;   // of its first byte
    uint32_t text;  // size of a text, without its header
    bool is_left_out;
    uint64_t guid;  // the identifier that is there as text
  };
  using Others = std::vector<Other>;
  struct Flag {
    uint32_t in;
    uint32_t out;
  };
  class Learner;

  bool rewrite_by(bool is_modern, const PlanInput& input) noexcept;
  bool rewrite_numbers_from(size_t first, bool is_modern, const char* bytes) noexcept;
  bool rewrite_texts_from(size_t first, bool is_modern, const PlanInput& input) noexcept;
  bool rewrite_times(uint64_t time_us) noexcept;
  void rewrite_flags(const char* bytes) noexcept;
  bool rewrite_sources(const PlanInput& input) noexcept;
  bool rewrite_guids(const char* bytes) noexcept;
  bool rewrite_guid(Other& other, uint64_t guid) noexcept;
  bool rewrite_others(const PlanInput& input) noexcept;
  bool rewrite_text(Other& other, std::string_view text) noexcept;
  bool resize_other(Other& other, std::string_view text) noexcept;
  bool resize(size_t number, const char* bytes) noexcept;
  bool resize_text(size_t text, const PlanInput& input) noexcept;
  void renew_tails_before(uint32_t place) noexcept;
  bool move(uint32_t old_end, uint32_t new_end) noexcept;

  char* record_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
  unsigned moves_left_ = kMostMoves;  // for the record at hand
  // Each in the order of the record.
  NumberPlaces numbers_;
  TextPlaces texts_;
  std::vector<Flag> flags_;
  Others sources_;
  Others guids_;
  Others others_;  // long texts, and those that are left out
  Others times_;
  uint64_t time_us_ = 0;                 // that times_ say
  bool times_are_out_of_reach_ = false;  // of texts and numbers
};

}  // namespace vek

#endif  // VEK_UTILS_RECORD_PLACES_H
