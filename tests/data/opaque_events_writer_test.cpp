#include "data/opaque_events_writer.h"

#include "data/md5.h"
#include "data/type_system.h"
#include "tests/data/opaque_fixture.h"
#include "tests/support/msgpack_json.h"

namespace {

using namespace vek::test;
using vek::Bytes;
using vek::OpaqueEventSchema;
using vek::OpaqueEventsSource;
using vek::OpaqueEventsWriter;

OpaqueEventsSource source_of(uint32_t event_size, uint64_t page_size = 64 << 10) {
  return {.source_id = "leaf01",
          .tag = "hall_a",
          .app_id = {1, 2, 3},
          .event_size = event_size,
          .page_size = page_size,
          .timestamp_us = 9};
}

const vek_event_header_t& block_at(const Image& page, size_t offset) {
  return *reinterpret_cast<const vek_event_header_t*>(page.data() + offset);
}

TEST(OpaqueEventSchema, IsNamedAndSizedAsReadersExpect) {
  const OpaqueEventSchema schema(512);
  EXPECT_STREQ(schema.type()->name, "opaque_event_512");
  EXPECT_EQ(schema.type()->size, 512u);
  EXPECT_EQ(schema.event_size(), 512u);
  const std::pair<const char*, uint64_t> offsets[] = {
      {"reserved", 0},    {"kind", 8},         {"offset_or_total", 9}, {"id", 13},  {"app_id", 17},
      {"first_word", 33}, {"second_word", 41}, {"data_size", 49},      {"data", 53}};
  ASSERT_EQ(schema.type()->num_fields, std::size(offsets));
  for (size_t i = 0; i < std::size(offsets); ++i) {
    EXPECT_STREQ(schema.type()->fields[i]->field_name, offsets[i].first);
    EXPECT_EQ(schema.type()->fields[i]->offset, offsets[i].second);
  }
}

TEST(OpaqueEventSchema, RaisesSizesThatCarryNothing) {
  for (const uint32_t size : {0u, 53u, 54u}) EXPECT_EQ(OpaqueEventSchema(size).event_size(), 54u);
}

TEST(OpaqueEventSchema, IsFoundByItsIdentifierInATypeSystemThatTookItsDocument) {
  const OpaqueEventSchema schema(100);
  const vek::Owned<vek_type_system_t, vek_destroy_type_system> type_system(
      vek_create_type_system());
  uint8_t index = 0;
  ASSERT_EQ(vek_type_system_add_schema_from_serialized_json(type_system.get(),
                                                            schema.document().c_str(), &index),
            0u);
  char id_text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(schema.id().data(), id_text);
  uint8_t found = 99;
  ASSERT_TRUE(vek_type_system_find_schema(type_system.get(), id_text, &found));
  EXPECT_EQ(found, index);
  EXPECT_EQ(type_system->schemas[index]->types[0]->size, 100u);
  EXPECT_STREQ(type_system->schemas[index]->types[0]->name, "opaque_event_100");
}

TEST(OpaqueEventsWriter, WritesAWholeEvent) {
  OpaqueEventsWriter writer(source_of(60));
  ASSERT_TRUE(writer.whole({0x1122, 0x3344}, as_bytes("data")));
  const auto pages = writer.take_pages();
  ASSERT_EQ(pages.size(), 1u);
  EXPECT_EQ(to_hex(Bytes(pages[0]).subspan(720)),
            "56454b53"
            "2000"
            "00000000000000000000" +
                to_hex(writer.schema().id()) +
                "56454b45"
                "0900000000000000"
                "00"
                "0000"
                "01"
                "0000000000000000"
                "00"
                "00000000"
                "00000000"
                "01020300000000000000000000000000"
                "2211000000000000"
                "4433000000000000"
                "04000000"
                "64617461"
                "000000");
}

TEST(OpaqueEventsWriter, WritesAnExtendedEvent) {
  OpaqueEventsWriter writer(source_of(57));
  ASSERT_TRUE(writer.extended(0xAABBCCDD, {5, 6}, {{"k", "v"}}, as_bytes("payload")));
  const auto pages = writer.take_pages();
  ASSERT_EQ(pages.size(), 1u);
  const std::string app_id = "01020300000000000000000000000000";
  const std::string no_words(32, '0');
  EXPECT_EQ(to_hex(Bytes(pages[0]).subspan(720 + 32 + 16)),
            "0000000000000000"
            "01"
            "07000000"
            "ddccbbaa" +
                app_id +
                "0500000000000000"
                "0600000000000000"
                "04000000"
                "6b3d7600"
                "0000000000000000"
                "02"
                "00000000"
                "ddccbbaa" +
                app_id + no_words +
                "04000000"
                "7061796c"
                "0000000000000000"
                "02"
                "04000000"
                "ddccbbaa" +
                app_id + no_words +
                "03000000"
                "6f616400");
}

TEST(OpaqueEventsWriter, RefusesWhatDoesNotFitOneEvent) {
  OpaqueEventsWriter writer(source_of(57));
  EXPECT_EQ(writer.capacity(), 4u);
  EXPECT_FALSE(writer.whole({}, as_bytes("12345")));
  EXPECT_FALSE(writer.chunk(1, 0, as_bytes("12345")));
  EXPECT_FALSE(writer.start(1, {}, {{"k", "vv"}}, 5));
  EXPECT_FALSE(writer.extended(1, {}, {{"k", "vv"}}, as_bytes("payload")));
  EXPECT_TRUE(writer.take_pages().empty());
}

TEST(OpaqueEventsWriter, AnEmptyPayloadArrivesToo) {
  OpaqueEventsWriter writer(source_of(64));
  ASSERT_TRUE(writer.extended(1, {}, {}, {}));
  Extraction extraction(Mode::kAssembling, kAnyApp, 64);
  for (const Image& page : writer.take_pages()) ASSERT_TRUE(extraction.process(page));
  EXPECT_EQ(extraction.recorder.payloads(), (std::vector<std::string>{""}));
}

TEST(OpaqueEventsWriter, ABlockHolds255Events) {
  OpaqueEventsWriter writer(source_of(54));
  for (int i = 0; i < 256; ++i) ASSERT_TRUE(writer.whole({}, {}));
  const auto pages = writer.take_pages();
  ASSERT_EQ(pages.size(), 1u);
  EXPECT_EQ(block_at(pages[0], 752).count, 255);
  EXPECT_EQ(block_at(pages[0], 752 + 16 + 255 * 54).count, 1);
  EXPECT_EQ(pages[0].size(), 752u + 16 + 255 * 54 + 16 + 54);
}

TEST(OpaqueEventsWriter, PagesKeepToTheirSize) {
  const uint64_t page_size = 720 + 32 + 16 + 3 * 64;
  OpaqueEventsWriter writer(source_of(64, page_size));
  for (int i = 0; i < 7; ++i) ASSERT_TRUE(writer.whole({}, {}));
  const auto pages = writer.take_pages();
  ASSERT_EQ(pages.size(), 3u);
  EXPECT_EQ(pages[0].size(), page_size);
  EXPECT_EQ(pages[1].size(), page_size);
  EXPECT_EQ(block_at(pages[2], 752).count, 1);
}

TEST(OpaqueEventsWriter, APageHoldsAtLeastOneEvent) {
  OpaqueEventsWriter writer(source_of(64, 1));
  ASSERT_TRUE(writer.whole({}, {}));
  ASSERT_TRUE(writer.whole({}, {}));
  EXPECT_EQ(writer.take_pages().size(), 2u);
}

TEST(OpaqueEventsWriter, GoesOnAfterPagesAreTaken) {
  OpaqueEventsWriter writer(source_of(64));
  writer.next_page();
  EXPECT_TRUE(writer.take_pages().empty());
  ASSERT_TRUE(writer.whole({}, as_bytes("one")));
  writer.next_page();
  writer.next_page();
  ASSERT_TRUE(writer.whole({}, as_bytes("two")));
  EXPECT_EQ(writer.take_pages().size(), 2u);
  ASSERT_TRUE(writer.whole({}, as_bytes("three")));
  const auto pages = writer.take_pages();
  ASSERT_EQ(pages.size(), 1u);
  EXPECT_EQ(block_at(pages[0], 752).count, 1);
}

TEST(OpaqueEventsWriter, ANewTimeBeginsABlock) {
  OpaqueEventsWriter writer(source_of(64));
  writer.set_timestamp(10);
  ASSERT_TRUE(writer.whole({}, {}));
  writer.set_timestamp(11);
  ASSERT_TRUE(writer.whole({}, {}));
  const auto pages = writer.take_pages();
  ASSERT_EQ(pages.size(), 1u);
  EXPECT_EQ(block_at(pages[0], 752).timestamp, 10u);
  EXPECT_EQ(block_at(pages[0], 752 + 16 + 64).timestamp, 11u);
}

TEST(OpaqueEventsWriter, WritesLiesAsTold) {
  OpaqueEventsWriter writer(source_of(56));
  vek_opaque_event_t header{};
  header.kind = 9;
  header.data_size = UINT32_MAX;
  writer.event(header, as_bytes("12345"));
  const Image page = writer.take_pages().at(0);
  EXPECT_EQ(page[768 + 8], 9);
  EXPECT_EQ(to_hex(Bytes(page).subspan(768 + 49)),
            "ffffffff"
            "313233");
}

}  // namespace
