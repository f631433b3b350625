// RecordHead: the first section of a record that is still there from the record before.
//
// Heads hold times, sources and constants. From record to record the times change, which have one
// size, and the source for another one, which often has, so that packing a record anew can begin
// behind its head. Half of the cost of a record of few values would be its head.
#ifndef VEK_UTILS_RECORD_HEAD_H
#define VEK_UTILS_RECORD_HEAD_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "utils/packing_plan.h"

namespace vek {

class RecordHead {
 public:
  // `record` begins with `size` bytes that were packed by the section from this input.
  void learn(const PlanSection& section, const PlanInput& input, size_t size) noexcept;
  // Makes the head of this input out of the one that was learnt and is still there; its size, or 0
  // when it has to be packed anew.
  size_t renew(char* record, const PlanSection& section, const PlanInput& input) const noexcept;

 private:
  struct Time {
    size_t at;
    bool in_seconds;
  };

  bool take(const PlanStep& step, const PlanInput& input, size_t& at) noexcept;

  const PlanSection* section_ = nullptr;
  size_t size_ = 0;
  bool has_source_ = false;
  size_t source_size_ = 0;
  size_t num_sources_ = 0;
  std::array<size_t, 4> sources_ = {};  // behind their headers
  size_t num_times_ = 0;
  std::array<Time, 4> times_ = {};
};

}  // namespace vek

#endif  // VEK_UTILS_RECORD_HEAD_H
