#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/raw_msgpack_api/forward_receiver.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Short times, so that what goes wrong goes wrong soon.
ParameterPairs quick(const ForwardReceiver& receiver, const ParameterPairs& more = {}) {
  ParameterPairs all = {{"Port", receiver.port()},        {"vek.retry_base", "0.005"},
                        {"vek.retry_cap", "0.02"},        {"vek.ack_timeout", "0.2"},
                        {"vek.handshake_timeout", "0.2"}, {"vek.grace", "10"}};
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

std::vector<uint64_t> counted(uint64_t count) {
  std::vector<uint64_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

void add_numbered(Engine& engine, uint64_t first, uint64_t end) {
  for (uint64_t i = first; i < end; ++i) EXPECT_EQ(engine.add(numbered_record(i)), 0);
}

// Everything that was accepted is delivered, there, and in order.
void expect_all(Engine& engine, const ForwardReceiver& receiver, uint64_t count) {
  EXPECT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("accepted"), count);
  EXPECT_EQ(engine.stat("delivered"), count);
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(receiver.numbers(), counted(count));
}

TEST(ForwardDestination, DeliversFramesThatAreAcknowledged) {
  const ForwardReceiver receiver;
  Engine engine("forward", quick(receiver, {{"Tag", "site.a"}}));
  ASSERT_NE(engine.context(), nullptr);
  add_numbered(engine, 0, 1000);
  expect_all(engine, receiver, 1000);
  for (const ReceivedFrame& frame : receiver.frames()) {
    EXPECT_EQ(frame.tag, "site.a");
    EXPECT_EQ(frame.chunk.size(), 32u);
    EXPECT_FALSE(frame.compressed);
  }
  EXPECT_EQ(receiver.events()[7], "[ext(0,000000011dcd6500),{\"n\":7}]");
  EXPECT_EQ(receiver.connections(), 1);
}

}  // namespace
}  // namespace vek::test
