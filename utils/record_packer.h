// RecordPacker: one record after the other by the same plan, each made out of the one before it.
//
// Most values keep their size from record to record: a counter grows, but seldom beyond its number
// of bytes. While all but a few do, packing is writing the values to their places (RecordPlaces);
// otherwise the record is packed anew, and a packer whose values keep changing size stops trying
// for a while.
//
// A packer belongs to one thread at a time. The sections must stay as they are for as long as the
// packer may meet them.
#ifndef VEK_UTILS_RECORD_PACKER_H
#define VEK_UTILS_RECORD_PACKER_H

#include <cstddef>
#include <string_view>

#include "utils/msgpack_buffer.h"
#include "utils/packing_plan.h"
#include "utils/record_head.h"
#include "utils/record_places.h"

namespace vek {

// Writes a record of two sections from the start of a buffer, which gets `least_capacity` bytes if
// it needs any; the record's size, or 0 when memory runs out.
size_t pack_record(MsgpackBuffer& buffer, const PlanSection& head, const PlanSection& body,
                   const PlanInput& input, size_t least_capacity = 0) noexcept;

// Tells, now and then, that memory ran out for a record.
void report_lost_record() noexcept;

class RecordPacker {
 public:
  // The record, valid until the next call; empty when memory runs out.
  std::string_view pack(const PlanSection& head, const PlanSection& body,
                        const PlanInput& input) noexcept {
    const bool has_places = head_ == &head && body_ == &body;
    if (has_places && places_.rewrite(input)) [[likely]] {
      if (places_.moves() > 0 || debt_ > 0) [[unlikely]] {
        account_for_moves();
      } else {
        misses_ = 0;
      }
      return places_.record();
    }
    if (has_places) stop_for_a_while();
    return pack_and_learn(head, body, input);
  }
  // The same, for sections that will not come again.
  std::string_view pack_once(const PlanSection& head, const PlanSection& body,
                             const PlanInput& input) noexcept;

 private:
  std::string_view pack_and_learn(const PlanSection& head, const PlanSection& body,
                                  const PlanInput& input) noexcept;
  std::string_view pack_copy(const PlanSection& head, const PlanSection& body,
                             PlanInput input) noexcept;
  std::string_view pack_stable(const PlanSection& head, const PlanSection& body,
                               const PlanInput& input) noexcept;
  std::string_view pack_anew(const PlanSection& head, const PlanSection& body,
                             const PlanInput& input) noexcept;
  bool make_room(const PlanSection& head, const PlanSection& body, const PlanInput& input) noexcept;
  void account_for_moves() noexcept;
  void stop_for_a_while() noexcept;

  MsgpackBuffer buffer_;
  MsgpackBuffer copy_;                 // of an input whose texts are measured
  const PlanSection* head_ = nullptr;  // of the record whose places are known; null: none
  const PlanSection* body_ = nullptr;
  RecordPlaces places_;
  // Of the record in the buffer, when it was packed anew: its head, and its body, for which there
  // is room behind such a head whatever the values are. Null: the head is not kept.
  RecordHead kept_head_;
  const PlanSection* kept_body_ = nullptr;
  size_t debt_ = 0;      // what moves have cost beyond what places have saved
  unsigned misses_ = 0;  // in a row
  unsigned pause_ = 0;   // records to pack before places are looked at again
};

}  // namespace vek

#endif  // VEK_UTILS_RECORD_PACKER_H
