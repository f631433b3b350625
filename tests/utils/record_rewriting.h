// A record that is made out of another one, by either set of instructions, against packing anew.
#ifndef VEK_TESTS_UTILS_RECORD_REWRITING_H
#define VEK_TESTS_UTILS_RECORD_REWRITING_H

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "utils/record_packer.h"
#include "utils/record_places.h"

namespace vek::test {

inline std::string packed_anew(const PlanSection& head, const PlanSection& body,
                               const PlanInput& input) {
  MsgpackBuffer buffer;
  const size_t size = pack_record(buffer, head, body, input);
  return {buffer.data(), size};
}

// Learns `from`, then makes `to` of it and `from` again.
inline void expect_rewritten(const PlanSection& head, const PlanSection& body,
                             const PlanInput& from, const PlanInput& to) {
  for (const bool baseline : {false, true}) {
    MsgpackBuffer buffer;
    const size_t size = pack_record(buffer, head, body, from, 4096);
    RecordPlaces places;
    ASSERT_TRUE(places.learn(head, body, from, buffer.data(), size, buffer.capacity()));
    for (const PlanInput* input : {&to, &from}) {
      ASSERT_TRUE(baseline ? places.rewrite_baseline(*input) : places.rewrite(*input));
      ASSERT_EQ(places.record(), packed_anew(head, body, *input)) << "baseline: " << baseline;
    }
  }
}

}  // namespace vek::test

#endif  // VEK_TESTS_UTILS_RECORD_REWRITING_H
