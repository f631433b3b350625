#include "data/opaque_page_walk.h"

#include "tests/data/opaque_fixture.h"

namespace {

using namespace vek::test;
using vek::Bytes;
using vek::PageWriter;

const std::vector<std::string> kBlockFailed =
    prefixed({"Unable to handle a relevant opaque event", "events block processing failed"});

Image page_with(const std::vector<Event>& events, const Extraction& extraction) {
  PageWriter writer("source", "tag");
  extraction.add_block(writer, events);
  return writer.finish();
}

TEST(OpaquePageWalk, RefusesOtherVersions) {
  struct {
    uint8_t version, minor_version;
    bool accepted;
  } const cases[] = {{0, 7, false}, {2, 7, false},  {1, 6, false},  {1, 0, false},
                     {1, 7, true},  {1, 255, true}, {129, 7, false}};
  for (const auto& c : cases) {
    Extraction extraction;
    Image image = page_with({whole("x")}, extraction);
    image[0] = c.version;
    image[1] = c.minor_version;
    LogCapture log;
    EXPECT_EQ(extraction.process(image), c.accepted) << +c.version << "." << +c.minor_version;
    EXPECT_EQ(extraction.recorder.deliveries.size(), c.accepted ? 1u : 0u);
    if (!c.accepted) {
      EXPECT_EQ(
          log.lines(),
          (std::vector<LogLine>{{4, kPrefix + "Received incompatible data page. Skipping."}}));
    }
  }
}

TEST(OpaquePageWalk, RefusesAnEmptyPage) {
  Extraction extraction;
  Image image = page_with({whole("x")}, extraction);
  PageWriter::header_of(image)->filled = 720;
  LogCapture log;
  EXPECT_FALSE(extraction.process(image));
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>{{4, kPrefix + "Received empty data page. Skipping."}}));
  EXPECT_TRUE(extraction.recorder.deliveries.empty());
}

TEST(OpaquePageWalk, WalksToTotalWhateverFilledAndBlockSizeSay) {
  Extraction extraction;
  PageWriter writer("source", "tag");
  extraction.add_block(writer, {whole("one")});
  extraction.add_block(writer, {whole("two")});
  Image image = writer.finish();
  PageWriter::header_of(image)->filled = 721;
  PageWriter::header_of(image)->block_size = 5;
  EXPECT_TRUE(extraction.process(image));
  EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"one", "two"}));

  PageWriter::header_of(image)->filled = image.size();
  PageWriter::header_of(image)->total = 720 + 16 + 128;
  EXPECT_TRUE(extraction.process(image));
  EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"one", "two", "one"}));
}

TEST(OpaquePageWalk, ATotalWithinTheHeaderMeansNoBlocks) {
  for (const uint64_t total : {uint64_t{0}, uint64_t{719}, uint64_t{720}}) {
    Extraction extraction;
    Image image = page_with({whole("x")}, extraction);
    PageWriter::header_of(image)->total = total;
    LogCapture log;
    EXPECT_TRUE(extraction.process(image));
    EXPECT_TRUE(log.lines().empty());
    EXPECT_TRUE(extraction.recorder.deliveries.empty());
  }
}

TEST(OpaquePageWalk, HandsTheLastSchemasBlockToTheLookup) {
  Extraction extraction;
  PageWriter writer("source", "tag");
  const std::vector<std::vector<uint8_t>> ids = {std::vector<uint8_t>(16, 0x11)};
  extraction.add_block(writer, {});
  const size_t first_schemas = writer.size();
  writer.schemas_block(ids);
  const size_t second_schemas = writer.size();
  writer.schemas_block(ids);
  const size_t events = writer.size();
  extraction.add_block(writer, {whole("x")});
  const Image image = writer.finish();
  LogCapture log;
  ASSERT_TRUE(extraction.process(image));
  ASSERT_EQ(extraction.lookup.asked.size(), 2u);
  EXPECT_EQ(extraction.lookup.asked[0].first, nullptr);
  EXPECT_EQ(static_cast<const void*>(extraction.lookup.asked[0].second), &image[720]);
  EXPECT_EQ(static_cast<const void*>(extraction.lookup.asked[1].first), &image[second_schemas]);
  EXPECT_EQ(static_cast<const void*>(extraction.lookup.asked[1].second), &image[events]);
  EXPECT_NE(first_schemas, second_schemas);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{7, kPrefix + "VEK_SCHEMAS_BLOCK found"},
                                               {7, kPrefix + "VEK_SCHEMAS_BLOCK found"},
                                               {7, kPrefix + "event of 1 bytes extracted"}}));
}

TEST(OpaquePageWalk, ForgetsTheSchemasBlockWithItsPage) {
  Extraction extraction;
  PageWriter with_schemas("source", "tag");
  with_schemas.schemas_block(std::vector<std::vector<uint8_t>>{std::vector<uint8_t>(16)});
  ASSERT_TRUE(extraction.process(with_schemas.finish()));
  ASSERT_TRUE(extraction.send({whole("x")}));
  EXPECT_EQ(extraction.lookup.asked.at(0).first, nullptr);
}

TEST(OpaquePageWalk, ASchemasBlockOfABadLengthFailsThePage) {
  struct {
    uint16_t length;
    size_t block_bytes;
  } const cases[] = {{0, 32}, {15, 32}, {33, 32}, {0xFFFF, 32}, {16, 15}, {16, 5}, {16, 4}};
  for (const auto& c : cases) {
    Extraction extraction;
    PageWriter writer("source", "tag");
    extraction.add_block(writer, {whole("before")});
    std::vector<uint8_t> block(32);
    std::memcpy(block.data(), "VEKS", 4);
    std::memcpy(block.data() + 4, &c.length, 2);
    block.resize(c.block_bytes);
    writer.raw(block);
    LogCapture log;
    EXPECT_FALSE(extraction.process(writer.finish())) << c.length << "/" << c.block_bytes;
    ASSERT_EQ(log.errors().size(), 1u);
    EXPECT_TRUE(log.errors()[0].starts_with(kPrefix + "Bad schemas block")) << log.errors()[0];
    EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"before"}));
  }
}

TEST(OpaquePageWalk, ASchemasBlockMayBeBareOrReachExactlyToTheEnd) {
  for (const size_t ids : {size_t{0}, size_t{1}, size_t{14}}) {
    Extraction extraction;
    PageWriter writer("source", "tag");
    writer.schemas_block(std::vector<std::vector<uint8_t>>(ids, std::vector<uint8_t>(16)));
    LogCapture log;
    EXPECT_TRUE(extraction.process(writer.finish()));
    EXPECT_TRUE(log.errors().empty());
  }
}

TEST(OpaquePageWalk, ACountersBlockFailsThePage) {
  Extraction extraction;
  PageWriter writer("source", "tag");
  extraction.add_block(writer, {whole("before")});
  writer.counters_block(1, {});
  extraction.add_block(writer, {whole("behind")});
  LogCapture log;
  EXPECT_FALSE(extraction.process(writer.finish()));
  EXPECT_EQ(log.errors(), prefixed({"unexpected VEK_COUNTERS_BLOCK found"}));
  EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"before"}));
}

TEST(OpaquePageWalk, AnyOtherBlockEndsTheWalkWithSuccess) {
  struct {
    std::string magic;
    int type;
  } const cases[] = {{"VEKB", 3}, {"VEKC", 4}, {std::string(4, '\0'), 4}, {"VEKP", 5}, {"VEKX", 6},
                     {"V", 4},    {"VEK", 4}};
  for (const auto& c : cases) {
    Extraction extraction;
    PageWriter writer("source", "tag");
    extraction.add_block(writer, {whole("before")});
    writer.raw(as_bytes(c.magic));
    if (c.magic.size() == 4) extraction.add_block(writer, {whole("behind")});
    const Image image = writer.finish();
    LogCapture log;
    EXPECT_TRUE(extraction.process(image)) << c.magic;
    EXPECT_TRUE(log.has(7, kPrefix + "unexpected block type " + std::to_string(c.type) +
                               " (filled=" + std::to_string(image.size()) +
                               ", processed=144, total=" + std::to_string(image.size() - 720) +
                               ")"))
        << log.lines().back();
    EXPECT_TRUE(log.errors().empty());
    EXPECT_TRUE(log.warnings().empty());
    EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"before"}));
  }
}

TEST(OpaquePageWalk, LooksOnlyAtTheLetterOfAMagicValue) {
  Extraction extraction;
  Image image = page_with({whole("x")}, extraction);
  std::memcpy(&image[720], "???", 3);
  EXPECT_TRUE(extraction.process(image));
  EXPECT_EQ(extraction.recorder.deliveries.size(), 1u);
}

TEST(OpaquePageWalk, AnUnknownTypeFailsThePage) {
  Extraction extraction;
  extraction.lookup.others[0x0102] = nullptr;
  PageWriter writer("source", "tag");
  writer.events_block(7, 13, 0x0102, 0, {});
  extraction.add_block(writer, {whole("behind")});
  LogCapture log;
  EXPECT_FALSE(extraction.process(writer.finish()));
  EXPECT_EQ(log.errors(),
            prefixed({"Unable to get type_definition for schema_index:13 type_index:258",
                      "events block processing failed"}));
  EXPECT_TRUE(extraction.recorder.deliveries.empty());
}

TEST(OpaquePageWalk, StepsOverEventsOfOtherTypes) {
  vek_type_definition_t other{};
  std::string name = "opaque_events";
  other.name = name.data();
  other.size = 3;
  Extraction extraction;
  extraction.lookup.others[5] = &other;
  PageWriter writer("source", "tag");
  writer.events_block(7, 0, 5, 2, as_bytes("abcdef"));
  extraction.add_block(writer, {whole("x")});
  const Image image = writer.finish();
  LogCapture log;
  EXPECT_TRUE(extraction.process(image));
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{
                             {7, kPrefix + "opaque_events is not an opaque data page. Skipping."},
                             {7, kPrefix + "event of 1 bytes extracted"}}));
  EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"x"}));

  other.name = nullptr;
  EXPECT_TRUE(extraction.process(image));
  EXPECT_EQ(extraction.recorder.deliveries.size(), 2u);
}

TEST(OpaquePageWalk, TheBarePrefixIsATypeOfOpaqueEvents) {
  Extraction extraction;
  extraction.lookup.name = "opaque_event_";
  extraction.lookup.type.name = extraction.lookup.name.data();
  EXPECT_TRUE(extraction.send({whole("x")}));
  EXPECT_EQ(extraction.recorder.deliveries.size(), 1u);
}

TEST(OpaquePageWalk, AForeignBlockThatReachesPastTheEndEndsTheWalkWithSuccess) {
  vek_type_definition_t other{};
  std::string name = "power";
  other.name = name.data();
  Extraction extraction;
  extraction.lookup.others[5] = &other;
  PageWriter writer("source", "tag");
  extraction.add_block(writer, {whole("before")});
  writer.events_block(7, 0, 5, 255, as_bytes("abc"));
  const Image image = writer.finish();
  for (const uint64_t size : {uint64_t{1}, uint64_t{1} << 40, uint64_t{INT64_MAX} / 255 - 16}) {
    other.size = size;
    LogCapture log;
    EXPECT_TRUE(extraction.process(image)) << size;
    EXPECT_TRUE(log.errors().empty());
  }
}

TEST(OpaquePageWalk, ALengthThatIsNegativeAsASignedNumberFailsThePage) {
  vek_type_definition_t other{};
  std::string name = "power";
  other.name = name.data();
  Extraction extraction;
  extraction.lookup.others[5] = &other;
  PageWriter writer("source", "tag");
  writer.events_block(7, 0, 5, 2, as_bytes("abc"));
  const Image image = writer.finish();
  // The last one is 16 again when the product is cut to 64 bits.
  for (const uint64_t size : {uint64_t{1} << 62, uint64_t{INT64_MAX} / 2, uint64_t{1} << 63}) {
    other.size = size;
    LogCapture log;
    EXPECT_FALSE(extraction.process(image)) << size;
    EXPECT_EQ(log.errors(), prefixed({"events block processing failed"}));
  }
}

TEST(OpaquePageWalk, ABlockWithoutEventsIsSixteenBytes) {
  Extraction extraction;
  PageWriter writer("source", "tag");
  extraction.add_block(writer, {});
  extraction.add_block(writer, {whole("x")});
  extraction.add_block(writer, {});
  LogCapture log;
  EXPECT_TRUE(extraction.process(writer.finish()));
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{7, kPrefix + "event of 1 bytes extracted"}}));
}

TEST(OpaquePageWalk, EventsBeforeTheOneThatDoesNotFitAreDelivered) {
  Extraction extraction;
  Image image = page_with({whole("one"), whole("two"), whole("three")}, extraction);
  PageWriter::header_of(image)->total = image.size() - 1;
  LogCapture log;
  EXPECT_FALSE(extraction.process(image));
  EXPECT_EQ(log.errors(),
            prefixed({"Bad opaque event block (399 < 400)", "events block processing failed"}));
  EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"one", "two"}));
}

TEST(OpaquePageWalk, ABlockShorterThanItsHeaderFailsThePage) {
  Extraction extraction;
  PageWriter writer("source", "tag");
  writer.raw(as_bytes("VEKE56789012345"));
  LogCapture log;
  EXPECT_FALSE(extraction.process(writer.finish()));
  EXPECT_EQ(log.errors(),
            prefixed({"Bad opaque event block (15 < 16)", "events block processing failed"}));
  EXPECT_TRUE(extraction.lookup.asked.empty());
}

TEST(OpaquePageWalk, AnEventSizeThatWouldWrapAroundFailsThePage) {
  for (const uint64_t size : {UINT64_MAX, UINT64_MAX - 15, uint64_t{1} << 63}) {
    Extraction extraction;
    const Image image = page_with({whole("x")}, extraction);
    extraction.lookup.type.size = size;
    LogCapture log;
    EXPECT_FALSE(extraction.process(image));
    ASSERT_EQ(log.errors().size(), 2u);
    EXPECT_TRUE(log.errors()[0].starts_with(kPrefix + "Bad opaque event block (144 < "));
    EXPECT_TRUE(extraction.recorder.deliveries.empty());
  }
}

TEST(OpaquePageWalk, AFailureLeavesTheRestOfThePageAlone) {
  Extraction extraction;
  extraction.recorder.answer = false;
  PageWriter writer("source", "tag");
  extraction.add_block(writer, {whole("one"), whole("two")});
  extraction.add_block(writer, {whole("three")});
  LogCapture log;
  EXPECT_FALSE(extraction.process(writer.finish()));
  EXPECT_EQ(log.errors(), kBlockFailed);
  EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{"one"}));
  EXPECT_FALSE(log.has(7, kPrefix + "event of 3 bytes extracted"));
}

}  // namespace
