#include "raw_msgpack_api/record_walk.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/raw_msgpack_api/pack.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/msgpack_json.h"

namespace vek::engine {
namespace {

using test::GuardedBytes;
using test::Pack;
using test::operator+;
using Buffer = std::vector<uint8_t>;

// What a walk finds, one word a step: "record(size)", "mended(pairs)", or the reason of a drop.
std::string walked(const Buffer& buffer) {
  const GuardedBytes guarded(buffer);
  RecordWalk walk(guarded.bytes());
  std::string text;
  for (;;) {
    const RecordWalk::Step step = walk.next();
    if (step == RecordWalk::Step::kEnd) return text;
    if (!text.empty()) text += ' ';
    if (step == RecordWalk::Step::kDropped) {
      text += drop_reason_row(walk.reason()).name;
    } else if (walk.mended()) {
      text += "mended(" + std::to_string(walk.pairs()) + ")";
    } else {
      text += "record(" + std::to_string(walk.record().bytes.size()) + ")";
    }
  }
}

std::string record_of(const Buffer& buffer) {
  return "record(" + std::to_string(buffer.size()) + ")";
}

Buffer timed_map() { return Pack().array(2).f64(1.5).map(1).str("a").u(1).bytes(); }

TEST(RecordWalk, TakesTheThreeShapes) {
  for (const Buffer& record :
       {timed_map(), Pack().map(1).str("a").u(1).bytes(), Pack().map(0).bytes(),
        Pack().array(2).f64(1).array(2).map(0).map(0).bytes(), Pack().array(2).u(1).map(0).bytes(),
        Pack().array(2).i(-1).map(0).bytes(), Pack().array(2).f32(1).map(0).bytes(),
        Pack().array(2).ext(0, "12345678").map(0).bytes(),
        Pack().raw({0xdc, 0, 2, 1, 0x80}).bytes(),
        Pack().raw({0xdd, 0, 0, 0, 2, 1, 0x80}).bytes()}) {
    EXPECT_EQ(walked(record), record_of(record)) << test::to_hex(record);
  }
}

TEST(RecordWalk, NamesShapeTimeAndBody) {
  const auto view_of = [](const Buffer& buffer) {
    RecordWalk walk{Bytes(buffer)};
    EXPECT_EQ(walk.next(), RecordWalk::Step::kRecord);
    return walk.record();
  };
  const Buffer map = timed_map();
  EXPECT_EQ(view_of(map).shape, RecordShape::kTimedMap);
  EXPECT_EQ(test::msgpack_to_text(view_of(map).time()), "1.5");
  EXPECT_EQ(test::msgpack_to_text(view_of(map).body()),
            test::msgpack_to_text(Pack().map(1).str("a").u(1).bytes()));
  const Buffer list = Pack().raw({0xdc, 0, 2, 7, 0x91, 0x80}).bytes();
  EXPECT_EQ(view_of(list).shape, RecordShape::kTimedList);
  EXPECT_EQ(test::to_hex(view_of(list).time()), "07");
  EXPECT_EQ(test::to_hex(view_of(list).body()), "9180");
  const Buffer bare = Pack().map(0).bytes();
  EXPECT_EQ(view_of(bare).shape, RecordShape::kBareMap);
  EXPECT_EQ(view_of(bare).body().size(), 1u);
}

TEST(RecordWalk, DropsOtherShapesAlone) {
  for (const Buffer& odd :
       {Pack().u(1).bytes(), Pack().str("text").bytes(), Pack().nil().bytes(),
        Pack().array(0).bytes(), Pack().array(1).f64(1).bytes(),
        Pack().array(3).f64(1).map(0).map(0).bytes(), Pack().array(2).str("1").map(0).bytes(),
        Pack().array(2).f64(1).str("x").bytes(), Pack().array(2).f64(1).nil().bytes(),
        Pack().array(2).map(0).map(0).bytes(), Pack().array(2).ext(1, "12345678").map(0).bytes(),
        Pack().array(2).ext(0, "1234").map(0).bytes(),
        Pack().array(2).boolean(true).map(0).bytes()}) {
    EXPECT_EQ(walked(timed_map() + odd + timed_map()),
              record_of(timed_map()) + " wrong_shape " + record_of(timed_map()))
        << test::to_hex(odd);
  }
}

TEST(RecordWalk, EndsAtTheReservedByteButKeepsWhatCameBefore) {
  const Buffer broken = Pack().array(2).f64(1).map(1).str("a").raw({0xc1}).bytes();
  EXPECT_EQ(walked(timed_map() + broken + timed_map()), record_of(timed_map()) + " broken");
  EXPECT_EQ(walked(Buffer{0xc1} + timed_map()), "broken");
  EXPECT_EQ(walked(Pack().array(2).str("x").raw({0xc1}).bytes()), "broken");
}

TEST(RecordWalk, HasNothingToSayAboutAnEmptyBuffer) { EXPECT_EQ(walked({}), ""); }

// Cut anywhere but behind a pair, a record is gone, and nothing behind the cut is read.
TEST(RecordWalk, SurvivesACutAtEveryByte) {
  const Buffer record = Pack()
                            .array(2)
                            .f64(1.5)
                            .map(3)
                            .str("list")
                            .array(2)
                            .map(1)
                            .str("x")
                            .bin("yz")
                            .ext(5, "123")
                            .str("text")
                            .str("0123456789012345678901234567890123456789")
                            .u(70'000)
                            .nil()
                            .bytes();
  // Where a pair of the record's own map ends.
  const size_t first_pair = Pack()
                                .array(2)
                                .f64(1.5)
                                .map(3)
                                .str("list")
                                .array(2)
                                .map(1)
                                .str("x")
                                .bin("yz")
                                .ext(5, "123")
                                .size();
  const size_t second_pair =
      first_pair + Pack().str("text").str("0123456789012345678901234567890123456789").size();
  EXPECT_EQ(walked(record), record_of(record));
  for (size_t size = 1; size < record.size(); ++size) {
    const Buffer cut(record.begin(), record.begin() + static_cast<long>(size));
    const std::string expected = size == first_pair    ? "mended(1)"
                                 : size == second_pair ? "mended(2)"
                                                       : "cut";
    EXPECT_EQ(walked(cut), expected) << size;
    EXPECT_EQ(walked(timed_map() + cut), record_of(timed_map()) + " " + expected) << size;
  }
}

TEST(RecordWalk, MendsAMapThatAnnouncesMoreThanTheBufferHolds) {
  for (const Buffer& record :
       {Pack().array(2).f64(1).map(3).str("a").u(1).str("b").u(2).bytes(),
        Pack().map(3).str("a").u(1).str("b").map(1).str("c").nil().bytes()}) {
    EXPECT_EQ(walked(record), "mended(2)");
    EXPECT_EQ(walked(timed_map() + record), record_of(timed_map()) + " mended(2)");
  }
}

TEST(RecordWalk, MendsNothingButTheRecordsOwnMapAndOnlyAtTheBuffersEnd) {
  // An inner map, an array, a map without any pair, a key without its value.
  EXPECT_EQ(walked(Pack().map(1).str("a").map(2).str("b").u(1).bytes()), "cut");
  EXPECT_EQ(walked(Pack().array(2).f64(1).array(3).map(0).map(0).bytes()), "cut");
  EXPECT_EQ(walked(Pack().array(2).f64(1).map(1).bytes()), "cut");
  EXPECT_EQ(walked(Pack().map(2).str("a").u(1).str("b").bytes()), "cut");
  // With a record behind it, that record's bytes are taken for the missing pair.
  const Buffer two =
      Pack().map(2).str("a").u(1).bytes() + Pack().map(0).bytes() + Pack().map(0).bytes();
  EXPECT_EQ(walked(two), record_of(two));
}

TEST(RecordWalk, MendsWideHeadersToo) {
  const auto pairs = [](std::vector<uint8_t> header, int count) {
    Pack pack;
    pack.array(2).f64(1).raw(std::move(header));
    for (int i = 0; i < count; ++i) pack.u(1).u(2);
    return pack.bytes();
  };
  EXPECT_EQ(walked(pairs({0xde, 0, 16}, 15)), "mended(15)");
  EXPECT_EQ(walked(pairs({0xde, 1, 0}, 255)), "mended(255)");
  EXPECT_EQ(walked(pairs({0xdf, 0xff, 0xff, 0xff, 0xff}, 300)), "mended(300)");
}

TEST(SetMapCount, KeepsTheFormOfTheHeader) {
  Buffer fix = {0x8f, 1}, map16 = {0xde, 0xff, 0xff, 1}, map32 = {0xdf, 9, 9, 9, 9, 1};
  set_map_count(fix, 3);
  set_map_count(map16, 0x102);
  set_map_count(map32, 0x10203);
  EXPECT_EQ(test::to_hex(fix), "8301");
  EXPECT_EQ(test::to_hex(map16), "de010201");
  EXPECT_EQ(test::to_hex(map32), "df0001020301");
}

Buffer nested(size_t containers) {
  // [seconds, {"k": [[...]]}]: the first two containers are the record's own.
  Pack pack;
  pack.array(2).f64(1).map(1).str("k");
  for (size_t i = 2; i < containers; ++i) pack.array(i + 1 < containers ? 1 : 0);
  if (containers == 2) pack.nil();
  return pack.bytes();
}

TEST(RecordWalk, TakesSixtyFourContainersAndPassesOverMore) {
  EXPECT_EQ(walked(nested(64)), record_of(nested(64)));
  EXPECT_EQ(walked(nested(65) + timed_map()), "too_deep " + record_of(timed_map()));
  EXPECT_EQ(walked(nested(100'000) + timed_map()), "too_deep " + record_of(timed_map()));
  Buffer cut = nested(100);
  cut.pop_back();
  EXPECT_EQ(walked(timed_map() + cut), record_of(timed_map()) + " cut");
}

TEST(RecordWalk, CountsABareMapAsOneContainer) {
  Pack pack;
  pack.map(1).nil();
  for (int i = 0; i < 62; ++i) pack.array(1);
  pack.array(0);
  EXPECT_EQ(walked(pack.bytes()), record_of(pack.bytes()));
  Pack deeper;
  deeper.map(1).nil();
  for (int i = 0; i < 63; ++i) deeper.array(1);
  deeper.array(0);
  EXPECT_EQ(walked(deeper.bytes()), "too_deep");
}

TEST(RecordWalk, RefusesLengthsThatLie) {
  for (const Buffer& lie :
       {Buffer{0x92, 1, 0x81, 0xdb, 0xff, 0xff, 0xff, 0xff, 'x'},
        Buffer{0x92, 1, 0x81, 0xa1, 'k', 0xc6, 0x7f, 0xff, 0xff, 0xff},
        Buffer{0x92, 1, 0x81, 0xa1, 'k', 0xdd, 0xff, 0xff, 0xff, 0xff, 1},
        Buffer{0x92, 1, 0x81, 0xa1, 'k', 0xdf, 0xff, 0xff, 0xff, 0xff, 1, 2},
        Buffer{0xdd, 0xff, 0xff, 0xff, 0xff}, Buffer{0xdf, 0xff, 0xff, 0xff, 0xff}}) {
    EXPECT_EQ(walked(timed_map() + lie), record_of(timed_map()) + " cut") << test::to_hex(lie);
  }
}

TEST(RecordWalk, EndsOnRunsOfEveryByteValue) {
  for (int byte = 0; byte < 256; ++byte) {
    const Buffer noise(4096, static_cast<uint8_t>(byte));
    EXPECT_NE(walked(noise), "") << byte;
  }
}

}  // namespace
}  // namespace vek::engine
