#include "data/opaque_events_extractor.h"

#include <stdexcept>

#include "tests/data/opaque_fixture.h"
#include "tests/support/fail_allocation.h"

namespace {

using namespace vek::test;
using vek::PageWriter;

const AppId kApp = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07,
                    0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0xFF};

TEST(OpaqueEventsExtractor, DeliversAWholeEventAsItIs) {
  Extraction extraction;
  Event event = whole(std::string("a\0b", 3));
  event.first = 0x0102030405060708;
  event.second = 0xF1F2F3F4F5F6F7F8;
  event.app_id = kApp;
  LogCapture log;
  ASSERT_TRUE(extraction.send({event}, "leaf01", "hall_a"));
  ASSERT_EQ(extraction.recorder.deliveries.size(), 1u);
  const Delivery& delivery = extraction.recorder.deliveries[0];
  EXPECT_EQ(delivery.source_id, "leaf01");
  EXPECT_EQ(delivery.tag, "hall_a");
  EXPECT_FALSE(delivery.has_options);
  EXPECT_EQ(delivery.app_id, kApp);
  EXPECT_EQ(delivery.first, 0x0102030405060708u);
  EXPECT_EQ(delivery.second, 0xF1F2F3F4F5F6F7F8u);
  EXPECT_EQ(delivery.data, std::string("a\0b", 3));
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{7, kPrefix + "event of 3 bytes extracted"}}));
}

TEST(OpaqueEventsExtractor, GivesWholeEventsToTheEventCallbackInBothModes) {
  Extraction extraction(Mode::kChunkList);
  ASSERT_TRUE(extraction.send({whole("x"), whole("")}));
  ASSERT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"x", ""}));
  EXPECT_TRUE(extraction.recorder.deliveries[0].chunks.empty());
}

TEST(OpaqueEventsExtractor, BoundsTextsThatFillTheirFields) {
  Extraction extraction;
  ASSERT_TRUE(extraction.send({whole("x")}, std::string(64, 's'), std::string(16, 't')));
  EXPECT_EQ(extraction.recorder.deliveries[0].source_id, std::string(64, 's'));
  EXPECT_EQ(extraction.recorder.deliveries[0].tag, std::string(16, 't'));
}

TEST(OpaqueEventsExtractor, PassesOverEventsOfOtherApplications) {
  Extraction extraction(Mode::kAssembling, kApp);
  Event wanted = whole("wanted");
  wanted.app_id = kApp;
  Event foreign = whole("foreign");
  foreign.app_id = kApp;
  foreign.app_id[15] = 0xFE;
  Event unset = whole("unset");
  unset.app_id = kAnyApp;
  LogCapture log;
  ASSERT_TRUE(extraction.send({foreign, wanted, unset}));
  EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"wanted"}));
  const std::string not_wanted = kPrefix + "Not a desired app_id (";
  const std::string ours = "!= 00010203-0405-0607-0809-0a0b0c0d0eff), skipping...";
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>{{7, not_wanted + "00010203-0405-0607-0809-0a0b0c0d0efe" + ours},
                                  {7, kPrefix + "event of 7 bytes extracted"},
                                  {7, kPrefix + "event of 6 bytes extracted"},
                                  {7, not_wanted + "00000000-0000-0000-0000-000000000000" + ours},
                                  {7, kPrefix + "event of 5 bytes extracted"}}));
}

TEST(OpaqueEventsExtractor, AForeignEventIsPassedOverWhateverItHolds) {
  Extraction extraction(Mode::kAssembling, kApp);
  Event odd = whole("x");
  odd.kind = 9;
  odd.data_size = UINT32_MAX;
  LogCapture log;
  EXPECT_TRUE(extraction.send({odd}));
  EXPECT_TRUE(log.errors().empty());
  EXPECT_TRUE(log.has(7, kPrefix + "event of 4294967295 bytes extracted"));
}

TEST(OpaqueEventsExtractor, AZeroApplicationAcceptsAll) {
  Extraction extraction;
  Event one = whole("one");
  one.app_id = kApp;
  Event two = whole("two");
  two.app_id = kAnyApp;
  LogCapture log;
  ASSERT_TRUE(extraction.send({one, two}));
  EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"one", "two"}));
}

TEST(OpaqueEventsExtractor, TheApplicationFilterHoldsForStartsAndChunks) {
  Extraction extraction(Mode::kAssembling, kApp);
  Event begin = start(1, 2);
  Event part = chunk(1, 0, "ab");
  begin.app_id = kApp;
  LogCapture log;
  ASSERT_TRUE(extraction.send({begin, part}));
  EXPECT_TRUE(extraction.recorder.deliveries.empty());
  part.app_id = kApp;
  ASSERT_TRUE(extraction.send({part}));
  EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"ab"}));
}

TEST(OpaqueEventsExtractor, AnUnknownKindFailsThePage) {
  for (const uint8_t kind : {uint8_t{3}, uint8_t{255}}) {
    Extraction extraction;
    Event odd = whole("odd");
    odd.kind = kind;
    LogCapture log;
    EXPECT_FALSE(extraction.send({odd, whole("behind")}));
    EXPECT_EQ(log.errors(), prefixed({"Unknown opaque event type: " + std::to_string(kind),
                                      "Unable to handle a relevant opaque event",
                                      "events block processing failed"}));
    EXPECT_TRUE(extraction.recorder.deliveries.empty());
  }
}

TEST(OpaqueEventsExtractor, DataMayFillTheEventButNotLeaveIt) {
  for (const uint8_t kind : {VEK_OPAQUE_WHOLE, VEK_OPAQUE_START, VEK_OPAQUE_CHUNK}) {
    for (const int64_t size : {int64_t{75}, int64_t{76}, int64_t{UINT32_MAX}}) {
      Extraction extraction;
      ASSERT_TRUE(extraction.send({start(1, 100)}));
      Event event = whole("k=" + std::string(73, 'v'));
      event.kind = kind;
      event.id = 1;
      event.data_size = size;
      LogCapture log;
      EXPECT_EQ(extraction.send({event, whole("behind")}), size == 75) << +kind << " " << size;
      EXPECT_EQ(log.errors().size(), size == 75 ? 0u : 3u);
    }
  }
}

TEST(OpaqueEventsExtractor, AnEventWithoutRoomForItsHeaderFailsThePage) {
  for (const uint64_t size : {uint64_t{0}, uint64_t{1}, uint64_t{52}}) {
    Extraction extraction(Mode::kAssembling, kAnyApp, size);
    LogCapture log;
    EXPECT_FALSE(extraction.send({whole("")}));
    EXPECT_EQ(log.errors().size(), 3u);
    EXPECT_TRUE(extraction.recorder.deliveries.empty());
  }
  Extraction bare(Mode::kAssembling, kAnyApp, 53);
  EXPECT_TRUE(bare.send({whole("")}));
  EXPECT_EQ(bare.recorder.payloads(), (std::vector<std::string>{""}));
}

TEST(OpaqueEventsExtractor, ReadsTheBytesAtTheirPlaces) {
  std::vector<uint8_t> bytes(55);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(0x10 + i);
  bytes[8] = 0;                                          // whole
  bytes[49] = 2, bytes[50] = bytes[51] = bytes[52] = 0;  // data size
  Extraction extraction(Mode::kAssembling, kAnyApp, bytes.size());
  PageWriter writer("s", "t");
  writer.events_block(7, 0, 0, 1, bytes);
  ASSERT_TRUE(extraction.process(writer.finish()));
  const Delivery& delivery = extraction.recorder.deliveries.at(0);
  EXPECT_EQ(delivery.app_id[0], 0x10 + 17);
  EXPECT_EQ(delivery.first, 0x3837363534333231u);
  EXPECT_EQ(delivery.second, 0x403F3E3D3C3B3A39u);
  EXPECT_EQ(delivery.data, "\x45\x46");
}

TEST(OpaqueEventsExtractor, RefusesNullArguments) {
  const vek_opaque_events_extractor_recipient_t good = {Recorder::on_event, nullptr, nullptr};
  const vek_opaque_events_extractor_recipient_t bad = {nullptr, Recorder::on_chunks, nullptr};
  EXPECT_EQ(vek_opaque_events_extractor_create(nullptr, &good), nullptr);
  EXPECT_EQ(vek_opaque_events_extractor_create(kApp.data(), nullptr), nullptr);
  EXPECT_EQ(vek_opaque_events_extractor_create(kApp.data(), &bad), nullptr);

  Extraction extraction;
  const Image image = PageWriter("s", "t").finish();
  const auto* page = reinterpret_cast<const vek_data_page_t*>(image.data());
  const vek_opaque_type_lookup_t lookup = extraction.lookup.record();
  const vek_opaque_type_lookup_t no_function = {nullptr, nullptr};
  auto* extractor = extraction.extractor.get();
  EXPECT_FALSE(vek_opaque_events_extractor_process_data_page(nullptr, page, &lookup));
  EXPECT_FALSE(vek_opaque_events_extractor_process_data_page(extractor, nullptr, &lookup));
  EXPECT_FALSE(vek_opaque_events_extractor_process_data_page(extractor, page, nullptr));
  EXPECT_FALSE(vek_opaque_events_extractor_process_data_page(extractor, page, &no_function));
  vek_opaque_events_extractor_delete(nullptr);
}

TEST(OpaqueEventsExtractor, CopiesRecipientAndApplication) {
  Recorder recorder;
  AppId app_id = kApp;
  vek_opaque_events_extractor_recipient_t recipient = {Recorder::on_event, nullptr,
                                                       recorder.context()};
  Extraction extraction;
  extraction.extractor.reset(vek_opaque_events_extractor_create(app_id.data(), &recipient));
  recipient = {};
  app_id = kAnyApp;
  Event event = whole("x");
  event.app_id = kApp;
  ASSERT_TRUE(extraction.send({event, whole("foreign")}));
  EXPECT_EQ(recorder.payloads(), (std::vector<std::string>{"x"}));
}

TEST(OpaqueEventsExtractor, SaysSoWhenItCannotBeMade) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const vek_opaque_events_extractor_recipient_t recipient = {Recorder::on_event, nullptr, nullptr};
  LogCapture log;
  FailAllocation failing(1);
  EXPECT_EQ(vek_opaque_events_extractor_create(kApp.data(), &recipient), nullptr);
  EXPECT_TRUE(failing.disarm());
  EXPECT_EQ(log.errors(), prefixed({"cannot allocate extractor"}));
}

bool throwing_event(vek_opaque_events_extractor_recipient_ctx*, const char*, const char*,
                    const vek_custom_options*, const unsigned char*, unsigned long, unsigned long,
                    const void*, unsigned int) {
  throw std::runtime_error("from the recipient");
}

TEST(OpaqueEventsExtractor, ARecipientThatThrowsFailsThePage) {
  const vek_opaque_events_extractor_recipient_t recipient = {throwing_event, nullptr, nullptr};
  Extraction extraction;
  extraction.extractor.reset(vek_opaque_events_extractor_create(kAnyApp.data(), &recipient));
  LogCapture log;
  EXPECT_FALSE(extraction.send({whole("x")}));
  EXPECT_FALSE(extraction.send({start(1, 1), chunk(1, 0, "x")}));
  EXPECT_EQ(log.errors().size(), 2u);
  // The extended event is gone with its delivery.
  EXPECT_TRUE(extraction.send({chunk(1, 0, "x")}));
  EXPECT_TRUE(log.has(4, kPrefix + "Chunk event from unknown source: source:tag. Skipped"));
}

}  // namespace
