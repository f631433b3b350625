// What tests of the destination "forward" share.
#ifndef VEK_TESTS_RAW_MSGPACK_API_FORWARD_FIXTURE_H
#define VEK_TESTS_RAW_MSGPACK_API_FORWARD_FIXTURE_H

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "raw_msgpack_api/sanitizers.h"
#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/raw_msgpack_api/forward_receiver.h"

namespace vek::test {

// What a receiver may take for an answer. One that ThreadSanitizer watches takes long.
inline constexpr const char* kAnswerTimeout = VEK_THREAD_SANITIZER ? "3" : "0.2";

// Parameters with short times, so that what goes wrong goes wrong soon.
inline ParameterPairs quick(const ParameterPairs& more = {}) {
  ParameterPairs all = {{"vek.retry_base", "0.005"},
                        {"vek.retry_cap", "0.02"},
                        {"vek.ack_timeout", kAnswerTimeout},
                        {"vek.handshake_timeout", kAnswerTimeout},
                        {"vek.grace", "10"}};
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

inline ParameterPairs quick(const ForwardReceiver& receiver, const ParameterPairs& more = {}) {
  ParameterPairs all = quick(more);
  all.emplace_back("Port", receiver.port());
  return all;
}

inline std::vector<uint64_t> counted(uint64_t count) {
  std::vector<uint64_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

inline void add_numbered(Engine& engine, uint64_t first, uint64_t end) {
  for (uint64_t i = first; i < end; ++i) EXPECT_EQ(engine.add(numbered_record(i)), 0);
}

// In one look at the account: the sender goes on in the meantime.
inline void expect_balance(const Engine& engine) {
  const std::string text = engine.stats();
  uint64_t sum = 0;
  for (const char* name : {"delivered", "queued", "spooled"}) sum += number_in(text, name);
  const size_t begin = text.find("\"dropped\":{") + 10;
  const size_t end = text.find('}', begin);
  for (size_t at = text.find(':', begin + 1); at < end; at = text.find(':', at + 1)) {
    sum += std::stoull(text.substr(at + 1));
  }
  EXPECT_EQ(number_in(text, "accepted"), sum) << text;
}

// Everything that was accepted is delivered, is there, and in order.
inline void expect_all(Engine& engine, const ForwardReceiver& receiver, uint64_t count) {
  EXPECT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("accepted"), count);
  EXPECT_EQ(engine.stat("delivered"), count);
  expect_balance(engine);
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(receiver.numbers(), counted(count));
}

}  // namespace vek::test

#endif  // VEK_TESTS_RAW_MSGPACK_API_FORWARD_FIXTURE_H
