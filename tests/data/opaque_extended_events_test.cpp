#include "data/opaque_extended_events.h"

#include <algorithm>
#include <fstream>

#include "tests/data/opaque_fixture.h"
#include "tests/support/fail_allocation.h"
#include "utils/logger.h"

namespace {

using namespace vek::test;

const std::string kHandled = kPrefix + "Unable to handle a relevant opaque event";

// Assembled or handed over as chunks: the rules are the same.
class OpaqueExtendedEvents : public testing::TestWithParam<Mode> {
 protected:
  Extraction extraction_{GetParam()};
  LogCapture log_;

  std::vector<std::string> payloads() const { return extraction_.recorder.payloads(); }
  bool send(const std::vector<Event>& events, std::string_view source = "source",
            std::string_view tag = "tag") {
    return extraction_.send(events, source, tag);
  }
};

INSTANTIATE_TEST_SUITE_P(Modes, OpaqueExtendedEvents,
                         testing::Values(Mode::kAssembling, Mode::kChunkList),
                         [](const auto& param) {
                           return param.param == Mode::kAssembling ? "Assembling" : "ChunkList";
                         });

TEST_P(OpaqueExtendedEvents, AreDeliveredWithTheLastChunk) {
  Event begin = start(77, 8, std::string("format=json\0host=leaf01\0", 24));
  begin.first = 0x0102030405060708;
  begin.second = 0xF1F2F3F4F5F6F7F8;
  begin.app_id = {9, 8, 7};
  ASSERT_TRUE(send({begin, chunk(77, 0, "abc"), chunk(77, 3, "defg")}));
  EXPECT_TRUE(payloads().empty());
  ASSERT_TRUE(send({chunk(77, 7, "h")}));
  Delivery expected;
  expected.source_id = "source";
  expected.tag = "tag";
  expected.has_options = true;
  expected.options = {{"format", "json"}, {"host", "leaf01"}};
  expected.app_id = {9, 8, 7};
  expected.first = 0x0102030405060708;
  expected.second = 0xF1F2F3F4F5F6F7F8;
  expected.data = "abcdefgh";
  if (GetParam() == Mode::kChunkList) expected.chunks = {"abc", "defg", "h"};
  EXPECT_EQ(extraction_.recorder.deliveries, (std::vector<Delivery>{expected}));
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{7, kPrefix + "event of 24 bytes extracted"},
                                                {7, kPrefix + "event of 3 bytes extracted"},
                                                {7, kPrefix + "event of 4 bytes extracted"},
                                                {7, kPrefix + "event of 1 bytes extracted"}}));
}

TEST_P(OpaqueExtendedEvents, AreForgottenOnceDelivered) {
  ASSERT_TRUE(send({start(1, 1), chunk(1, 0, "a"), chunk(1, 0, "b"), chunk(1, 1, "")}));
  EXPECT_EQ(payloads(), (std::vector<std::string>{"a"}));
  EXPECT_EQ(log_.count(4, kPrefix + "Chunk event from unknown source: source:tag. Skipped"), 2u);
}

TEST_P(OpaqueExtendedEvents, TheStartsOwnDataIsNoPayload) {
  ASSERT_TRUE(send({start(1, 3, std::string("k=v\0", 4)), chunk(1, 0, "abc")}));
  EXPECT_EQ(payloads(), (std::vector<std::string>{"abc"}));
}

TEST_P(OpaqueExtendedEvents, OptionsAreGivenEvenWhenEmpty) {
  ASSERT_TRUE(send({start(1, 1), chunk(1, 0, "a")}));
  ASSERT_EQ(payloads().size(), 1u);
  EXPECT_TRUE(extraction_.recorder.deliveries[0].has_options);
  EXPECT_TRUE(extraction_.recorder.deliveries[0].options.empty());
}

TEST_P(OpaqueExtendedEvents, AnEmptyTotalWaitsForAnEmptyChunk) {
  ASSERT_TRUE(send({start(1, 0)}));
  EXPECT_TRUE(payloads().empty());
  ASSERT_TRUE(send({chunk(1, 0, "")}));
  EXPECT_EQ(payloads(), (std::vector<std::string>{""}));
  EXPECT_TRUE(log_.warnings().empty());
}

TEST_P(OpaqueExtendedEvents, EmptyChunksInBetweenChangeNothing) {
  ASSERT_TRUE(
      send({start(1, 2), chunk(1, 0, ""), chunk(1, 0, "a"), chunk(1, 1, ""), chunk(1, 1, "b")}));
  EXPECT_EQ(payloads(), (std::vector<std::string>{"ab"}));
  if (GetParam() == Mode::kChunkList) {
    EXPECT_EQ(extraction_.recorder.deliveries[0].chunks,
              (std::vector<std::string>{"", "a", "", "b"}));
  }
}

TEST_P(OpaqueExtendedEvents, AChunkThatSkipsAheadDropsTheWholeEvent) {
  ASSERT_TRUE(send({start(1, 6), chunk(1, 0, "ab"), chunk(1, 3, "d"), chunk(1, 2, "cdef")}));
  EXPECT_TRUE(payloads().empty());
  EXPECT_EQ(log_.warnings(), prefixed({"Chunk event with bad offset 3!=2. Skipped",
                                       "Chunk event from unknown source: source:tag. Skipped"}));
  EXPECT_EQ(log_.count(7, kPrefix + "event of 1 bytes extracted"), 1u);
}

TEST_P(OpaqueExtendedEvents, ARepeatedChunkDropsTheWholeEvent) {
  ASSERT_TRUE(send({start(1, 4), chunk(1, 0, "ab"), chunk(1, 0, "ab"), chunk(1, 2, "cd")}));
  EXPECT_TRUE(payloads().empty());
  EXPECT_TRUE(log_.has(4, kPrefix + "Chunk event with bad offset 0!=2. Skipped"));
}

TEST_P(OpaqueExtendedEvents, AChunkBeyondTheTotalDropsTheWholeEvent) {
  ASSERT_TRUE(send({start(1, 3), chunk(1, 0, "ab"), chunk(1, 2, "cd"), chunk(1, 2, "c")}));
  EXPECT_TRUE(payloads().empty());
  EXPECT_EQ(log_.warnings(), prefixed({"Chunk event with bad offset 2!=2. Skipped",
                                       "Chunk event from unknown source: source:tag. Skipped"}));
}

TEST_P(OpaqueExtendedEvents, AnEmptyTotalTakesNoBytes) {
  ASSERT_TRUE(send({start(1, 0), chunk(1, 0, "x")}));
  EXPECT_TRUE(payloads().empty());
  EXPECT_EQ(log_.warnings(), prefixed({"Chunk event with bad offset 0!=0. Skipped"}));
}

TEST_P(OpaqueExtendedEvents, AChunkOfAnotherIdIsPassedOver) {
  ASSERT_TRUE(send({start(1, 2), chunk(1, 0, "a"), chunk(2, 1, "X"), chunk(1, 1, "b")}));
  EXPECT_EQ(payloads(), (std::vector<std::string>{"ab"}));
  EXPECT_EQ(log_.warnings(), prefixed({"Chunk event with unknown id 2. Skipped"}));
}

TEST_P(OpaqueExtendedEvents, AChunkWithoutAStartIsPassedOver) {
  ASSERT_TRUE(send({chunk(1, 0, "a"), whole("w")}, "leaf02", ""));
  EXPECT_EQ(payloads(), (std::vector<std::string>{"w"}));
  EXPECT_EQ(log_.warnings(), prefixed({"Chunk event from unknown source: leaf02:. Skipped"}));
}

TEST_P(OpaqueExtendedEvents, ANewStartReplacesTheUnfinishedOne) {
  ASSERT_TRUE(
      send({start(1, 9), chunk(1, 0, "abc"), start(2, 2), chunk(1, 3, "d"), chunk(2, 0, "xy")}));
  EXPECT_EQ(payloads(), (std::vector<std::string>{"xy"}));
  EXPECT_EQ(log_.warnings(),
            prefixed({"unfinished event deleted (src=source tag=tag id=1 offs=3 size=9)",
                      "Chunk event with unknown id 1. Skipped"}));
}

TEST_P(OpaqueExtendedEvents, AStartThatFailsHasReplacedTheUnfinishedOne) {
  ASSERT_TRUE(send({start(1, 2), chunk(1, 0, "a")}));
  EXPECT_FALSE(send({start(2, 2, "bad")}));
  EXPECT_TRUE(send({chunk(1, 1, "b"), chunk(2, 0, "xy")}));
  EXPECT_TRUE(payloads().empty());
  EXPECT_EQ(log_.count(4, kPrefix + "Chunk event from unknown source: source:tag. Skipped"), 2u);
}

TEST_P(OpaqueExtendedEvents, SourcesAndTagsAreApart) {
  const std::string full_source(64, 's');
  const std::string full_tag(16, 't');
  const std::pair<std::string, std::string> pairs[] = {
      {"a", "t1"},       {"a", "t2"},
      {"b", "t1"},       {"a", ""},
      {"", "a"},         {"", ""},
      {"at", "1"},       {full_source, full_tag},
      {full_source, ""}, {full_source.substr(1), full_tag}};
  for (const auto& [source, tag] : pairs) ASSERT_TRUE(send({start(5, 4)}, source, tag));
  for (const char* half : {"L", "R"}) {
    for (const auto& [source, tag] : pairs) {
      const uint32_t offset = *half == 'L' ? 0 : 2;
      ASSERT_TRUE(send({chunk(5, offset, half + std::to_string(source.size() % 10))}, source, tag));
    }
  }
  EXPECT_TRUE(log_.warnings().empty());
  ASSERT_EQ(payloads().size(), std::size(pairs));
  for (size_t i = 0; i < std::size(pairs); ++i) {
    const std::string digit = std::to_string(pairs[i].first.size() % 10);
    EXPECT_EQ(payloads()[i], "L" + digit + "R" + digit);
    EXPECT_EQ(extraction_.recorder.deliveries[i].source_id, pairs[i].first);
    EXPECT_EQ(extraction_.recorder.deliveries[i].tag, pairs[i].second);
  }
}

TEST_P(OpaqueExtendedEvents, BytesBehindTheNulOfASourceDoNotCount) {
  vek::PageWriter first("source", "tag");
  extraction_.add_block(first, {start(1, 1)});
  vek::PageWriter second("source", "tag");
  extraction_.add_block(second, {chunk(1, 0, "a")});
  second.header()->data_source.source_id[10] = 'x';
  second.header()->data_source.tag[15] = 'y';
  ASSERT_TRUE(extraction_.process(first.finish()));
  ASSERT_TRUE(extraction_.process(second.finish()));
  EXPECT_EQ(payloads(), (std::vector<std::string>{"a"}));
}

TEST_P(OpaqueExtendedEvents, WholeEventsDoNotDisturbThem) {
  ASSERT_TRUE(send({start(1, 2), whole("w"), chunk(1, 0, "a"), whole("v"), chunk(1, 1, "b")}));
  EXPECT_EQ(payloads(), (std::vector<std::string>{"w", "v", "ab"}));
}

TEST_P(OpaqueExtendedEvents, ARefusedDeliveryFailsThePageAndIsNotRepeated) {
  extraction_.recorder.answer = false;
  EXPECT_FALSE(send({start(1, 1), chunk(1, 0, "a"), whole("behind")}));
  EXPECT_EQ(payloads(), (std::vector<std::string>{"a"}));
  EXPECT_TRUE(log_.has(3, kHandled));
  EXPECT_TRUE(send({chunk(1, 0, "a")}));
  EXPECT_EQ(payloads().size(), 1u);
}

TEST_P(OpaqueExtendedEvents, AFailureElsewhereLeavesThemAsTheyStand) {
  ASSERT_TRUE(send({start(1, 2), chunk(1, 0, "a")}));
  Event odd = whole("odd");
  odd.kind = 9;
  EXPECT_FALSE(send({odd, chunk(1, 1, "X")}));
  EXPECT_TRUE(send({chunk(1, 1, "b")}));
  EXPECT_EQ(payloads(), (std::vector<std::string>{"ab"}));
}

TEST_P(OpaqueExtendedEvents, DeletingTheExtractorCallsNobody) {
  ASSERT_TRUE(send({start(1, 3, std::string("k=v\0", 4)), chunk(1, 0, "a"), chunk(1, 1, "b")}));
  ASSERT_TRUE(send({start(2, 3)}, "other"));
  extraction_.extractor.reset();
  EXPECT_TRUE(payloads().empty());
  EXPECT_TRUE(log_.warnings().empty());
}

// Bytes of address space in use: a total of 4 GiB would be seen even if it were never touched.
size_t address_space() {
  std::ifstream statm("/proc/self/statm");
  size_t pages = 0;
  statm >> pages;
  return pages * 4096;
}

TEST_P(OpaqueExtendedEvents, MemoryFollowsWhatArrivesNotWhatIsAnnounced) {
  const size_t before = address_space();
  ASSERT_GT(before, 0u);
  for (int i = 0; i < 200; ++i) {
    const std::string source = "source" + std::to_string(i);
    ASSERT_TRUE(send({start(1, UINT32_MAX), chunk(1, 0, "a few"), chunk(1, 5, "bytes")}, source));
  }
  EXPECT_LT(address_space() - before, size_t{256} << 20);
  EXPECT_TRUE(log_.warnings().empty());
  EXPECT_TRUE(payloads().empty());
}

TEST_P(OpaqueExtendedEvents, LargePayloadsArriveWhole) {
  std::string payload(300'000, '\0');
  for (size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<char>(i * 7 + i / 251);
  ASSERT_TRUE(send({start(1, static_cast<uint32_t>(payload.size()))}));
  for (size_t at = 0; at < payload.size(); at += 75) {
    ASSERT_TRUE(send({chunk(1, static_cast<uint32_t>(at), payload.substr(at, 75))}));
  }
  ASSERT_EQ(payloads().size(), 1u);
  EXPECT_TRUE(payloads()[0] == payload);
}

// What the extractor says of an allocation that fails, without the harness's own: the lines are
// compared by what this function notes, which allocates nothing.
enum Said : unsigned {
  kNoMeta = 1,
  kNoSource = 2,
  kNoKey = 4,
  kNoPair = 8,
  kNoChunk = 16,
  kNoChunkData = 32,
  kChunkSkipped = 64
};
unsigned g_said = 0;

void note(int /*priority*/, const char* format, ...) {
  const std::pair<const char*, unsigned> lines[] = {
      {"[opaque events extractor] Unable to allocate extended event sinfo's meta", kNoMeta},
      {"[opaque events extractor] Unable to allocate source info", kNoSource},
      {"[opaque events extractor] Cannot allocate key for %s", kNoKey},
      {"[opaque events extractor] Cannot add meta pair %s=%s", kNoPair},
      {"[opaque events extractor] Unable to allocate extended event chunk", kNoChunk},
      {"[opaque events extractor] Unable to allocate extended event chunk data buffer of %u bytes",
       kNoChunkData},
      {"[opaque events extractor] Cannot allocate a extended event chunk. Skipped...",
       kChunkSkipped}};
  for (const auto& [text, bit] : lines) {
    if (std::strcmp(format, text) == 0) g_said |= bit;
  }
}

bool count_call(vek_opaque_events_extractor_recipient_ctx* count, const char*, const char*,
                const vek_custom_options*, const unsigned char*, unsigned long, unsigned long,
                const void*, unsigned int) {
  ++*reinterpret_cast<int*>(count);
  return true;
}

bool count_chunks(vek_opaque_events_extractor_recipient_ctx* count, const char*, const char*,
                  const vek_custom_options*, const unsigned char*, unsigned long, unsigned long,
                  uint32_t, const vek_opaque_event_chunk_t*) {
  ++*reinterpret_cast<int*>(count);
  return true;
}

const vek_type_definition_t* find_without_noting(void* type, const vek_schema_block_t*,
                                                 const vek_event_header_t*) {
  return static_cast<const vek_type_definition_t*>(type);
}

TEST_P(OpaqueExtendedEvents, EveryAllocationMayFail) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  vek::PageWriter writer("source", "tag");
  extraction_.add_block(writer, {start(1, 2, std::string("k=v\0", 4)), chunk(1, 0, "ab")});
  const Image image = writer.finish();
  const vek_opaque_type_lookup_t lookup = {find_without_noting, &extraction_.lookup.type};
  int calls = 0;
  const vek_opaque_events_extractor_recipient_t recipient = {
      count_call, GetParam() == Mode::kChunkList ? count_chunks : nullptr,
      reinterpret_cast<vek_opaque_events_extractor_recipient_ctx*>(&calls)};

  std::vector<unsigned> said;
  vek_set_log_func(note, VEK_LOG_WARNING);
  for (unsigned n = 1;; ++n) {
    extraction_.extractor.reset(vek_opaque_events_extractor_create(kAnyApp.data(), &recipient));
    calls = 0;
    g_said = 0;
    FailAllocation failing(n);
    const bool processed = vek_opaque_events_extractor_process_data_page(
        extraction_.extractor.get(), reinterpret_cast<const vek_data_page_t*>(image.data()),
        &lookup);
    if (!failing.disarm()) {
      EXPECT_TRUE(processed);
      EXPECT_EQ(calls, 1);
      break;
    }
    // Only a chunk may be lost without failing the page.
    EXPECT_EQ(processed, (g_said & kChunkSkipped) != 0) << n;
    EXPECT_EQ(calls, 0) << n;
    said.push_back(g_said);
  }
  // Dictionary and table, text, key; then keys and values of the dictionary; then the record.
  const auto times = [&said](unsigned bits) { return std::count(said.begin(), said.end(), bits); };
  EXPECT_EQ(times(kNoMeta | kNoSource), 3);
  EXPECT_EQ(times(kNoKey | kNoSource), 1);
  EXPECT_GE(times(kNoPair | kNoSource), 2);
  EXPECT_GE(times(kNoSource), 1);
  EXPECT_EQ(times(kNoChunkData | kChunkSkipped), 1);
  EXPECT_EQ(times(kNoChunk | kChunkSkipped), GetParam() == Mode::kChunkList ? 1 : 0);
  const auto known = times(kNoMeta | kNoSource) + times(kNoKey | kNoSource) +
                     times(kNoPair | kNoSource) + times(kNoSource) +
                     times(kNoChunkData | kChunkSkipped) + times(kNoChunk | kChunkSkipped);
  EXPECT_EQ(known, static_cast<std::ptrdiff_t>(said.size()));
}

TEST_P(OpaqueExtendedEvents, AChunkLostForWantOfMemoryLeavesItsEventWaiting) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  ASSERT_TRUE(send({start(1, 2)}));
  vek::PageWriter writer("source", "tag");
  extraction_.add_block(writer, {chunk(1, 0, "ab")});
  const Image image = writer.finish();
  const vek_opaque_type_lookup_t lookup = {find_without_noting, &extraction_.lookup.type};
  vek_set_log_func(note, VEK_LOG_WARNING);
  {
    FailAllocation failing(1);
    EXPECT_TRUE(vek_opaque_events_extractor_process_data_page(
        extraction_.extractor.get(), reinterpret_cast<const vek_data_page_t*>(image.data()),
        &lookup));
    EXPECT_TRUE(failing.disarm());
  }
  EXPECT_TRUE(payloads().empty());
  ASSERT_TRUE(send({chunk(1, 0, "ab")}));
  EXPECT_EQ(payloads(), (std::vector<std::string>{"ab"}));
}

}  // namespace
