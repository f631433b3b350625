// What packs records, part by part: one buffer for many events, meta fields, single values.
#include "field_set/event_msgpack.h"

#include <gmock/gmock.h>
#include <msgpack.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/field_set/events_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"
#include "tests/support/msgpack_json.h"
#include "utils/msgpack_buffer.h"
#include "utils/record_layout.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;

class ReusedBuffer : public EventsTest {};

TEST_F(ReusedBuffer, HoldsOneRecordAfterTheOther) {
  const uint8_t small = type("s", {{"a", "uint8_t"}});
  const uint8_t large = type("l", {{"t", "char", 4000}});
  bind();
  MsgpackBuffer buffer;
  const auto record = [&](uint8_t index, const Record& bytes) {
    const vek_event_header_t header = header_of(index, timestamp_us_);
    const size_t size = FieldSet::packEvent(buffer, *set_.findPlan(&header), bytes.data(),
                                            timestamp_us_, "src", "flb_std");
    return to_hex(buffer.data(), size);
  };
  EXPECT_EQ(record(small, {7}), to_hex(pack(small, {7})));
  const Record text_event = text(std::string(4000, 'y'), 4000);
  EXPECT_EQ(record(large, text_event), to_hex(pack(large, text_event)));
  const size_t capacity = buffer.capacity();
  EXPECT_EQ(record(small, {8}), to_hex(pack(small, {8})));
  EXPECT_EQ(buffer.capacity(), capacity);
}

// Sources that stay, change and come again, in both layouts and in any order.
TEST_F(ReusedBuffer, NamesTheSourceOfEachEvent) {
  const uint8_t index = type("t", {{"guid", "uint64_t"}, {"a", "uint32_t"}, {"t", "char", 40}});
  bind({"meta_field_alias:source=host", "guid", "a", "t"});
  const vek_event_header_t header = header_of(index, timestamp_us_);
  EventPlan* const plan = set_.findPlan(&header);
  ASSERT_NE(plan, nullptr);
  uint32_t number = 0;
  for (const uint64_t guid : {7, 7, 7, 8, 8, 7, 0x1234567, 0x1234567, 0x7654321, 7, 7}) {
    for (const char* layout : {"flb_std", "custom", "custom", "flb_std", "flb_std"}) {
      ++number;
      const Record bytes = event({le(guid), le(number), text("some text", 40)});
      MsgpackBuffer buffer;
      const size_t size =
          FieldSet::packEvent(buffer, *plan, bytes.data(), timestamp_us_, "src", layout);
      const std::string_view next =
          FieldSet::packNextEvent(*plan, bytes.data(), timestamp_us_, "src", layout_named(layout));
      ASSERT_FALSE(next.empty());
      ASSERT_EQ(to_hex(next.data(), next.size()), to_hex(buffer.data(), size))
          << "event " << number;
    }
  }
}

// Schemas come from other machines.
TEST_F(ReusedBuffer, TakesNoMemoryForEventsThatNobodySent) {
  const uint8_t index =
      type("kelvra_smi_event_x", {{"b", "char", uint32_t{1} << 30}, {"a", "char", 8}});
  const auto most_memory = [] {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;  // in KB
  };
  const long before = most_memory();
  bind({"[kelvra_smi_event_x]", "a", "b"});
  const vek_event_header_t header = header_of(index, timestamp_us_);
  EXPECT_NE(set_.findPlan(&header), nullptr);
  EXPECT_LT(most_memory() - before, 100'000);
}

// A race on purpose, which ThreadSanitizer would rightly tell of.
#if !defined(__SANITIZE_THREAD__)
bool is_one_record(std::string_view record) {
  msgpack_unpacked unpacked;
  msgpack_unpacked_init(&unpacked);
  size_t at = 0;
  const auto result = msgpack_unpack_next(&unpacked, record.data(), record.size(), &at);
  msgpack_unpacked_destroy(&unpacked);
  return result == MSGPACK_UNPACK_SUCCESS && at == record.size();
}

TEST_F(ReusedBuffer, CountsWhatItLeavesOutOfAPageThatIsStillWritten) {
  for (const uint32_t size : {1000u, 3000u}) {
    const uint8_t index =
        type("kelvra_smi_event_x" + std::to_string(size), {{"b", "char", size}, {"a", "char", 8}});
    bind({"[kelvra_smi_event_x" + std::to_string(size) + "]", "a", "b"});
    const vek_event_header_t header = header_of(index, timestamp_us_);
    EventPlan* const plan = set_.findPlan(&header);
    ASSERT_NE(plan, nullptr);
    Record bytes = event({text(std::string(size, 'b'), size), text("a", 8)});
    std::atomic<bool> is_over = false;
    std::thread producer([&] {
      const std::atomic_ref<uint8_t> first(bytes[size]);
      while (!is_over) {
        for (int i = 0; i < 100; ++i) first.store(i % 2 == 0 ? 'a' : 0);
      }
    });
    size_t broken = 0;
    MsgpackBuffer buffer;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
    while (std::chrono::steady_clock::now() < end) {
      const std::string_view next =
          FieldSet::packNextEvent(*plan, bytes.data(), timestamp_us_, "src", RecordLayout::kFlbStd);
      broken += is_one_record(next) ? 0 : 1;
      const size_t alone =
          FieldSet::packEvent(buffer, *plan, bytes.data(), timestamp_us_, "src", "flb_std");
      broken += is_one_record({buffer.data(), alone}) ? 0 : 1;
    }
    is_over = true;
    producer.join();
    EXPECT_EQ(broken, 0u) << "texts of " << size;
  }
}
#endif

TEST_F(ReusedBuffer, NeedsNoAllocationInSteadyState) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the allocator is not ours";
  const uint8_t index = type("kelvra_smi_event", {{"guid", "uint64_t"}, {"t", "char", 40}});
  bind({"[kelvra_smi_event]", "x=t", "meta_field_add:k=v", "meta_field_alias:source=host", "guid"});
  MsgpackBuffer buffer;
  const vek_event_header_t header = header_of(index);
  const Record bytes = event({le<uint64_t>(9), text("text", 40)});
  const auto pack_one = [&] {
    return set_.GetTypeSize(&header) == bytes.size() &&
           FieldSet::packEvent(buffer, *set_.findPlan(&header), bytes.data(), 1, "s", "flb_std") >
               0;
  };
  ASSERT_TRUE(pack_one());
  FailAllocation failing(1);
  const bool packed_again = pack_one();
  EXPECT_FALSE(failing.disarm()) << "something was allocated";
  EXPECT_TRUE(packed_again);
}

TEST_F(ReusedBuffer, OneAllocationMakesARecordOfItsOwn) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the allocator is not ours";
  const uint8_t index = type("t", {{"a", "uint64_t", 20}, {"t", "char", 40}});
  bind();
  const vek_event_header_t header = header_of(index);
  const Record bytes(200);
  msgpack_sbuffer buffer;
  set_.MsgPackToSimpleBuffer(&buffer, bytes.data(), &header, "s", "flb_std");
  std::free(buffer.data);
  {
    FailAllocation failing(1);
    set_.MsgPackToSimpleBuffer(&buffer, bytes.data(), &header, "s", "flb_std");
    EXPECT_TRUE(failing.disarm());
    EXPECT_EQ(buffer.size, 0u);
    EXPECT_EQ(buffer.data, nullptr);
  }
  FailAllocation failing(2);
  set_.MsgPackToSimpleBuffer(&buffer, bytes.data(), &header, "s", "flb_std");
  EXPECT_FALSE(failing.disarm());
  EXPECT_GT(buffer.size, 0u);
  std::free(buffer.data);
}

class MetaFields : public ::testing::Test {
 protected:
  std::string pack(int index, const char* alias, const std::map<std::string, bool>& used = {},
                   const char* source = "src") {
    msgpack_sbuffer buffer;
    msgpack_sbuffer_init(&buffer);
    msgpack_packer packer;
    msgpack_packer_init(&packer, &buffer, msgpack_sbuffer_write);
    FieldSet::msgpackMetaField(&packer, index, alias, used, "link", 300, source);
    std::string text = msgpack_to_text(buffer.data, buffer.size);
    msgpack_sbuffer_destroy(&buffer);
    return text;
  }
};

TEST_F(MetaFields, HaveDefaultNamesAndAliases) {
  EXPECT_EQ(pack(0, nullptr), R"("timestamp" 300)");
  EXPECT_EQ(pack(1, nullptr), R"("type" "events")");
  EXPECT_EQ(pack(2, nullptr), R"("type_name" "link")");
  EXPECT_EQ(pack(3, nullptr), R"("source" "src")");
  EXPECT_EQ(pack(0, "t"), R"("t" 300)");
  EXPECT_EQ(pack(3, "host"), R"("host" "src")");
  EXPECT_EQ(pack(3, nullptr, {}, nullptr), "");
  EXPECT_EQ(pack(3, nullptr, {}, ""), R"("source" "")");
}

TEST_F(MetaFields, GiveWayToFieldsOfTheirName) {
  EXPECT_EQ(pack(0, nullptr, {{"timestamp", true}}), "");
  EXPECT_EQ(pack(0, nullptr, {{"timestamp", false}}), R"("timestamp" 300)");
  EXPECT_EQ(pack(0, "t", {{"timestamp", true}}), R"("t" 300)");
  EXPECT_EQ(pack(0, "t", {{"t", true}}), "");
}

TEST_F(MetaFields, ReportEmptyAliasesAndUnknownIndexes) {
  const LogCapture log(3);
  EXPECT_EQ(pack(0, ""), "");
  EXPECT_EQ(pack(4, nullptr), "");
  EXPECT_EQ(pack(-1, "x"), "");
  EXPECT_THAT(log.errors(), ElementsAre("[field_set] [msgpackMetaField] alias name is empty!",
                                        "[field_set] Unknown meta_field index 4 in fieldset!",
                                        "[field_set] Unknown meta_field index -1 in fieldset!"));
}

class SingleValues : public ::testing::Test {
 protected:
  template <typename Pack>
  std::string hex(Pack pack) {
    msgpack_sbuffer buffer;
    msgpack_sbuffer_init(&buffer);
    msgpack_packer packer;
    msgpack_packer_init(&packer, &buffer, msgpack_sbuffer_write);
    pack(&packer);
    std::string result = to_hex(buffer.data, buffer.size);
    msgpack_sbuffer_destroy(&buffer);
    return result;
  }
};

TEST_F(SingleValues, OfUnknownTypesAreTheTextZero) {
  const uint8_t byte = 7;
  for (const int id : {0, 23, -1, 1000}) {
    EXPECT_EQ(hex([&](auto* packer) { fset_pack_builtin_type(packer, id, &byte, 1, "f"); }), "a130")
        << id;
  }
}

TEST_F(SingleValues, TextsEndAtTheirFirstNul) {
  const GuardedBytes chars("ab\0cd", 5);
  const auto of_length = [&](size_t length) {
    return hex([&](auto* packer) { fset_pack_string_type(packer, chars.data(), length); });
  };
  EXPECT_EQ(of_length(0), "a0");
  EXPECT_EQ(of_length(1), "a161");
  EXPECT_EQ(of_length(5), "a26162");
  EXPECT_EQ(hex([](auto* packer) { fset_pack_string_type(packer, nullptr, 0); }), "a0");
}

TEST_F(SingleValues, TextsAreCutAt65535Bytes) {
  const std::vector<uint8_t> bytes(65540, 'x');
  const GuardedBytes chars(bytes);
  for (const size_t length : {size_t{65535}, size_t{65536}, size_t{65540}}) {
    const std::string text =
        hex([&](auto* packer) { fset_pack_string_type(packer, chars.data(), length); });
    EXPECT_EQ(text.substr(0, 6), "daffff");
    EXPECT_EQ(text.size(), 2 * (3 + 65535u));
  }
}

TEST_F(SingleValues, GuidNamesTurnNumbersIntoText) {
  const auto bytes = le<uint64_t>(255);
  for (const char* name : {"port_guid", "node_guid", "GUID"}) {
    EXPECT_EQ(hex([&](auto* p) { fset_pack_builtin_type(p, 21, bytes.data(), 0, name); }),
              "a430786666");
    EXPECT_EQ(hex([&](auto* p) { fset_pack_builtin_type(p, 10, bytes.data(), 0, name); }), "ccff");
  }
  for (const char* name : {"guid", "PORT_GUID", "x.port_guid"}) {
    EXPECT_EQ(hex([&](auto* p) { fset_pack_builtin_type(p, 21, bytes.data(), 0, name); }), "ccff");
  }
}

}  // namespace
}  // namespace vek::test
