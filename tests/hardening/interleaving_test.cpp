// Sixteen threads that start contexts, add to them, ask for their accounts and finalize them, in
// random order: each account balances, and no record is counted twice or not at all.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "raw_msgpack_api/raw_msgpack_api.h"
#include "schema_manager/schema_manager.h"
#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/support/dice.h"
#include "tests/support/log_capture.h"
#include "tests/support/schema_documents.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

constexpr unsigned kThreads = 16;

// Contexts that all threads share: whoever finalizes one has it for itself.
class Shared {
 public:
  struct Context {
    void* handle = nullptr;
    std::atomic<uint64_t> added{0};
    std::mutex mutex;  // "finalize" is not called beside other calls of its context
  };

  Context& of(uint32_t index) { return contexts_[index % std::size(contexts_)]; }

 private:
  Context contexts_[8];
};

uint64_t accounted(const std::string& stats) {
  uint64_t sum = 0;
  for (const char* name : {"delivered", "queued", "spooled"}) sum += number_in(stats, name);
  return sum;
}

std::string stats_of(void* handle) {
  std::string text(4096, '\0');
  const int length = raw_msgpack_api_stats(handle, text.data(), text.size());
  text.resize(length > 0 ? static_cast<size_t>(length) : 0);
  return text;
}

void act(Shared::Context& context, Dice& dice, std::atomic<uint64_t>& finalized) {
  const std::lock_guard lock(context.mutex);
  if (!context.handle) {
    context.handle = init("null", "h", "0", nullptr, "evnt", "evnt");
    ASSERT_NE(context.handle, nullptr);
    return;
  }
  switch (dice.upto(9)) {
    case 0: {
      const std::string stats = stats_of(context.handle);
      EXPECT_EQ(number_in(stats, "accepted"), context.added.load());
      EXPECT_EQ(finalize(context.handle), 0);
      EXPECT_NE(finalize(context.handle), 0);  // once is enough
      context.handle = nullptr;
      context.added = 0;
      ++finalized;
      return;
    }
    case 1:
    case 2: {
      const std::string stats = stats_of(context.handle);
      EXPECT_EQ(number_in(stats, "accepted"), accounted(stats)) << stats;
      return;
    }
    case 3: {
      std::string text(1 << 16, '\0');
      EXPECT_GT(raw_msgpack_api_ledger(text.data(), text.size()), 0);
      return;
    }
    default: {
      const auto record = numbered_record(dice.upto(1000));
      EXPECT_EQ(add_data(context.handle, record.data(), record.size()), 0);
      ++context.added;
    }
  }
}

TEST(Interleaving, OfSixteenThreadsKeepsEveryAccount) {
  const LogCapture quiet(3);
  Shared shared;
  std::atomic<uint64_t> finalized{0};
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      Dice dice(t + 1);
      for (int i = 0; i < 400; ++i) act(shared.of(dice.upto(7)), dice, finalized);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(finalized, 50u);
  for (uint32_t i = 0; i < 8; ++i) {
    if (shared.of(i).handle) {
      EXPECT_EQ(finalize(shared.of(i).handle), 0);
    }
  }
}

// Producers that do not wait for each other: "add_data" and the account of one context at once.
TEST(Interleaving, OneContextServesSixteenThreadsAtOnce) {
  const LogCapture quiet(3);
  void* context = init("null", "h", "0", nullptr, "evnt", "evnt");
  ASSERT_NE(context, nullptr);
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < kThreads; ++t) {
    threads.emplace_back([context, t] {
      const auto record = numbered_record(t);
      for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(add_data(context, record.data(), record.size()), 0);
        if (i % 50 != 0) continue;
        const std::string stats = stats_of(context);
        EXPECT_EQ(number_in(stats, "accepted"), accounted(stats)) << stats;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(number_in(stats_of(context), "accepted"), kThreads * 300u);
  EXPECT_EQ(finalize(context), 0);
}

TEST(Interleaving, TheSchemaManagerAndTheLoggerServeSixteenThreadsAtOnce) {
  const LogCapture log(6);
  SchemaManager manager;
  const auto document = typeSystemDocument({"rx"}, "link");
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (unsigned i = 0; i < 30; ++i) {
        VEK_LOGI("thread %u", t);
        if (i % 10 == t % 10) manager.appendTypeSystem(document);
        EXPECT_LE(manager.getEventsSchemas().size(), 1u);
        uint8_t unknown[VEK_SCHEMA_ID_SIZE] = {static_cast<uint8_t>(t), 1};
        EXPECT_EQ(manager.getCountersSchema(data::SchemaId(unknown)), nullptr);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(manager.countEventsSchemas(), 1u);
  EXPECT_EQ(log.at(VEK_LOG_INFO).size() >= kThreads * 30u, true);
}

}  // namespace
}  // namespace vek::test
