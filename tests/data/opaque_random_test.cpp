// Random payloads, cut into chunks of random sizes, interleaved over sources, tags and pages.
#include <algorithm>
#include <memory>

#include "data/opaque_events_writer.h"
#include "tests/data/opaque_fixture.h"
#include "tests/support/dice.h"
#include "tests/support/guarded_bytes.h"

namespace {

using namespace vek::test;
using vek::OpaqueEventsWriter;
using vek::PageWriter;

// One source and tag: what it sends, and what has to come out of it.
struct Sender {
  std::unique_ptr<OpaqueEventsWriter> writer;
  std::vector<Delivery> expected;
};

void write_extended(Dice& dice, Mode mode, uint32_t id, Sender& sender, Delivery& expected) {
  expected.has_options = true;
  vek::OpaqueMeta meta;
  for (uint32_t i = dice.upto(3); i > 0; --i) {
    const std::string key = "k" + std::to_string(i);
    const std::string value(dice.upto(9), static_cast<char>('a' + dice.upto(25)));
    meta.emplace_back(key, value);
    expected.options[key] = value;
  }
  expected.data = dice.bytes(600);
  const auto total = static_cast<uint32_t>(expected.data.size());
  EXPECT_TRUE(sender.writer->start(id, {expected.first, expected.second}, meta, total));
  uint32_t at = 0;
  do {
    const uint32_t size = std::min(total - at, dice.upto(sender.writer->capacity()));
    const std::string part = expected.data.substr(at, size);
    EXPECT_TRUE(sender.writer->chunk(id, at, as_bytes(part)));
    if (mode == Mode::kChunkList) expected.chunks.push_back(part);
    at += size;
    if (dice.upto(9) == 0) sender.writer->next_page();
  } while (at < total);
}

Sender make_sender(Dice& dice, Mode mode, const std::string& source, const std::string& tag,
                   uint32_t event_size) {
  Sender sender;
  const AppId app_id = {static_cast<uint8_t>(dice.upto(255)), 2};
  sender.writer = std::make_unique<OpaqueEventsWriter>(
      vek::OpaqueEventsSource{.source_id = source,
                              .tag = tag,
                              .app_id = app_id,
                              .event_size = event_size,
                              .page_size = 1000 + dice.upto(5000)});
  for (uint32_t id = 0; id < 12; ++id) {
    Delivery expected;
    expected.source_id = source;
    expected.tag = tag;
    expected.app_id = app_id;
    expected.first = dice.upto(UINT32_MAX);
    expected.second = dice.upto(UINT32_MAX);
    if (dice.upto(2) == 0) {
      expected.data = dice.bytes(sender.writer->capacity());
      EXPECT_TRUE(sender.writer->whole({expected.first, expected.second}, as_bytes(expected.data)));
    } else {
      write_extended(dice, mode, dice.upto(3), sender, expected);
    }
    sender.expected.push_back(std::move(expected));
  }
  return sender;
}

// Pages of one sender stay in order; those of different senders mix at random.
std::vector<Image> interleaved(Dice& dice, std::vector<Sender>& senders) {
  std::vector<std::vector<Image>> pages;
  std::vector<size_t> turns;
  for (size_t i = 0; i < senders.size(); ++i) {
    pages.push_back(senders[i].writer->take_pages());
    turns.insert(turns.end(), pages.back().size(), i);
  }
  dice.shuffle(turns);
  std::vector<size_t> next(senders.size());
  std::vector<Image> all;
  for (const size_t i : turns) all.push_back(std::move(pages[i][next[i]++]));
  return all;
}

std::vector<Delivery> of_source(const std::vector<Delivery>& all, const Delivery& like) {
  std::vector<Delivery> found;
  for (const Delivery& delivery : all) {
    if (delivery.source_id == like.source_id && delivery.tag == like.tag) found.push_back(delivery);
  }
  return found;
}

void expect_all_payloads_arrive(Mode mode, unsigned seed) {
  SCOPED_TRACE(seed);
  Dice dice(seed);
  const uint32_t event_size = 150 + dice.upto(200);
  std::vector<Sender> senders;
  for (const char* source : {"s1", "s2", ""}) {
    for (const char* tag : {"t1", "t2", ""}) {
      senders.push_back(make_sender(dice, mode, source, tag, event_size));
    }
  }
  Extraction extraction(mode, kAnyApp, event_size);
  LogCapture log;
  for (const Image& page : interleaved(dice, senders)) {
    const GuardedBytes guarded(page);
    ASSERT_TRUE(extraction.process(guarded.as<vek_data_page_t>()));
  }
  EXPECT_TRUE(log.errors().empty());
  EXPECT_TRUE(log.warnings().empty());
  size_t expected = 0;
  for (const Sender& sender : senders) {
    EXPECT_EQ(of_source(extraction.recorder.deliveries, sender.expected[0]), sender.expected);
    expected += sender.expected.size();
  }
  EXPECT_EQ(extraction.recorder.deliveries.size(), expected);
}

TEST(OpaqueRandom, AssembledPayloadsAreWhatWasPutIn) {
  for (unsigned seed = 1; seed <= 25; ++seed) expect_all_payloads_arrive(Mode::kAssembling, seed);
}

TEST(OpaqueRandom, ChunkListsAreWhatWasPutIn) {
  for (unsigned seed = 1; seed <= 25; ++seed) expect_all_payloads_arrive(Mode::kChunkList, seed);
}

Image every_kind_of_block(const Extraction& extraction) {
  PageWriter writer("source", "tag");
  writer.schemas_block(std::vector<std::vector<uint8_t>>(2, std::vector<uint8_t>(16, 1)));
  extraction.add_block(writer, {whole("whole"), start(1, 6, std::string("k=v\0", 4))});
  extraction.add_block(writer, {});
  extraction.add_block(writer, {chunk(1, 0, "abc"), chunk(1, 3, "def")});
  writer.raw(as_bytes("VEKX"));
  return writer.finish();
}

TEST(OpaqueRandom, APageCutAtAnyByteIsNeverReadBeyondItsEnd) {
  for (const Mode mode : {Mode::kAssembling, Mode::kChunkList}) {
    const Image image = every_kind_of_block(Extraction(mode, kAnyApp, 64));
    for (size_t length = 720; length <= image.size(); ++length) {
      Image cut(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(length));
      PageWriter::header_of(cut)->total = length;
      const GuardedBytes guarded(cut);
      Extraction extraction(mode, kAnyApp, 64);
      const LogCapture log;
      extraction.process(guarded.as<vek_data_page_t>());
      const size_t delivered = extraction.recorder.deliveries.size();
      EXPECT_EQ(delivered, (length >= 720 + 48 + 16 + 64 ? 1u : 0u) +
                               (length >= 720 + 48 + 16 + 128 + 16 + 16 + 128 ? 1u : 0u))
          << length;
    }
  }
}

TEST(OpaqueRandom, ChangedBytesAreNeverReadBeyondTheirEnd) {
  Dice dice(4711);
  for (const Mode mode : {Mode::kAssembling, Mode::kChunkList}) {
    Extraction extraction(mode, kAnyApp, 64);
    const Image image = every_kind_of_block(extraction);
    const LogCapture log(0);
    for (int round = 0; round < 3000; ++round) {
      GuardedBytes guarded(image);
      for (uint32_t i = 1 + dice.upto(3); i > 0; --i) {
        const uint32_t at = 720 + dice.upto(static_cast<uint32_t>(image.size() - 721));
        guarded.data()[at] = static_cast<uint8_t>(dice.upto(255));
      }
      extraction.process(guarded.as<vek_data_page_t>());
    }
    EXPECT_FALSE(extraction.recorder.deliveries.empty());
  }
}

}  // namespace
