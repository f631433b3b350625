#include "raw_msgpack_api/frame_writer.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include "tests/raw_msgpack_api/pack.h"
#include "tests/support/msgpack_json.h"

namespace vek::engine {
namespace {

using test::Pack;
using test::to_hex;

constexpr EventTime kArrival = {7, 8};
constexpr char kKnownId[] = "AAECAwQFBgcICQoLDA0ODwAAAAAAAAAA";

ChunkId known_id() {
  std::array<uint8_t, 16> prefix;
  for (size_t i = 0; i < prefix.size(); ++i) prefix[i] = static_cast<uint8_t>(i);
  return ChunkIds(prefix).next();
}

// Adds every record of the bytes; false when any was clamped.
bool add(FrameWriter& writer, const std::vector<uint8_t>& bytes) {
  bool all_fit = true;
  RecordWalk walk{Bytes(bytes)};
  while (walk.next() == RecordWalk::Step::kRecord) {
    all_fit = writer.add(walk.record(), kArrival) && all_fit;
  }
  return all_fit;
}

std::vector<uint8_t> finish(FrameWriter& writer, bool with_chunk = true) {
  std::vector<uint8_t> out;
  writer.finish(with_chunk ? std::optional(known_id()) : std::nullopt, out);
  return out;
}

std::string entries_of(const std::vector<uint8_t>& bytes) {
  FrameWriter writer("t", false);
  add(writer, bytes);
  const std::string frame = test::msgpack_to_text(finish(writer, false));
  const size_t end = frame.rfind(",{\"size\"");
  const size_t begin = std::string("[\"t\",").size();
  return end == std::string::npos ? frame : frame.substr(begin, end - begin);
}

TEST(FrameWriter, WritesForwardFrames) {
  FrameWriter writer("cntr", false);
  EXPECT_TRUE(add(writer, Pack().array(2).f64(1.5).map(1).str("a").u(1).bytes()));
  const std::string id = to_hex(kKnownId, 32);
  const std::string golden =
      "93a4636e7472"            // [ "cntr"
      "dd00000001"              //   [
      "92d700000000011dcd6500"  //     [ 1.5 s
      "81a16101"                //       {"a": 1}
      "82a56368756e6b"          //   {"chunk":
      "d920" +
      id + "a473697a6501";  //    id, "size": 1}
  EXPECT_EQ(to_hex(finish(writer)), golden);
  // The writer begins anew.
  EXPECT_EQ(writer.size(), 0u);
  add(writer, Pack().array(2).u(1).map(0).bytes());
  EXPECT_EQ(to_hex(finish(writer, false)),
            "93a4636e7472dd0000000192d7000000000100000000"
            "8081a473697a6501");
}

TEST(FrameWriter, GivesEveryShapeItsEvents) {
  const auto time = [](const char* hex) { return std::string("ext(0,") + hex + ")"; };
  const std::string second = time("0000000100000000");
  const std::string arrival = time("0000000700000008");
  const struct {
    std::vector<uint8_t> record;
    std::string entries;
  } cases[] = {
      {Pack().map(1).str("timestamp").u(2'000'003).bytes(),
       "[[" + time("0000000200000bb8") + ",{\"timestamp\":2000003}]]"},
      {Pack().map(1).str("a").u(1).bytes(), "[[" + arrival + ",{\"a\":1}]]"},
      {Pack().array(2).i(-1).map(0).bytes(), "[[" + arrival + ",{}]]"},
      {Pack().array(2).u(1).array(2).map(1).str("a").u(1).map(1).str("b").u(2).bytes(),
       "[[" + second + ",{\"a\":1}],[" + second + ",{\"b\":2}]]"},
      {Pack().array(2).u(1).array(2).map(0).u(2).bytes(), "[[" + second + ",{\"values\":[{},2]}]]"},
      {Pack().array(2).u(1).array(0).bytes(), "[[" + second + ",{\"values\":[]}]]"},
      {Pack().array(2).ext(0, std::string("\0\0\0\1\0\0\0\2", 8)).map(0).bytes(),
       "[[" + time("0000000100000002") + ",{}]]"},
  };
  for (const auto& [record, entries] : cases) EXPECT_EQ(entries_of(record), entries);
}

TEST(FrameWriter, CountsEventsAndNotRecords) {
  FrameWriter writer("t", false);
  add(writer, Pack().array(2).u(1).array(3).map(0).map(0).map(0).bytes());
  add(writer, Pack().map(0).bytes());
  const std::string frame = test::msgpack_to_text(finish(writer, false));
  EXPECT_NE(frame.find("{\"size\":4}"), std::string::npos) << frame;
}

TEST(FrameWriter, NeverWritesTheMarksThatReceiversForget) {
  const struct {
    uint64_t seconds;
    bool fits;
    const char* wire;
  } cases[] = {
      {0, true, "0000000000000000"},           {0xfffffffc, true, "fffffffc00000000"},
      {0xfffffffd, true, "fffffffd00000000"},  {0xfffffffe, false, "fffffffd3b9ac9ff"},
      {0xffffffff, false, "fffffffd3b9ac9ff"}, {0x100000000, false, "fffffffd3b9ac9ff"},
      {UINT64_MAX, false, "fffffffd3b9ac9ff"},
  };
  for (const auto& c : cases) {
    FrameWriter writer("t", false);
    EXPECT_EQ(add(writer, Pack().array(2).u(c.seconds).map(0).bytes()), c.fits) << c.seconds;
    const std::string frame = to_hex(finish(writer, false));
    EXPECT_NE(frame.find(std::string("d700") + c.wire), std::string::npos) << frame;
  }
}

TEST(FrameWriter, TakesTheLastRecordBack) {
  FrameWriter writer("t", false);
  const auto first = Pack().array(2).u(1).map(0).bytes();
  add(writer, first);
  const size_t size = writer.size();
  add(writer, Pack().array(2).u(2).array(2).map(0).map(0).bytes());
  writer.take_back();
  EXPECT_EQ(writer.size(), size);
  FrameWriter other("t", false);
  add(other, first);
  EXPECT_EQ(to_hex(finish(writer)), to_hex(finish(other)));
}

std::string gunzip(const uint8_t* data, size_t size) {
  z_stream stream{};
  inflateInit2(&stream, MAX_WBITS + 16);
  std::string out(1 << 20, '\0');
  stream.next_in = const_cast<uint8_t*>(data);
  stream.avail_in = static_cast<uInt>(size);
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  EXPECT_EQ(stream.avail_in, 0u) << "more than one member";
  out.resize(stream.total_out);
  inflateEnd(&stream);
  return out;
}

TEST(FrameWriter, PacksEntriesAsOneGzipMember) {
  FrameWriter writer("t", true);
  const auto record = Pack().array(2).u(1).map(1).str("a").str(std::string(100, 'x')).bytes();
  for (int round = 0; round < 2; ++round) {  // the compressor is used again
    add(writer, record);
    add(writer, record);
    const auto frame = finish(writer);
    ASSERT_EQ(to_hex(frame).substr(0, 8), "93a174c6");
    Token payload;
    ASSERT_EQ(read_token(Bytes(frame).subspan(3), payload), TokenStatus::kOk);
    EXPECT_LT(payload.payload_size, 80u);
    const std::string entries = gunzip(&frame[3 + payload.header_size], payload.payload_size);
    const std::string entry = "[ext(0,0000000100000000),{\"a\":\"" + std::string(100, 'x') + "\"}]";
    EXPECT_EQ(test::msgpack_to_text(entries.data(), entries.size()), entry + " " + entry);
    EXPECT_EQ(test::msgpack_to_text(Bytes(frame).subspan(3 + payload.size())),
              std::string("{\"chunk\":\"") + kKnownId + "\",\"size\":2,\"compressed\":\"gzip\"}");
  }
}

TEST(ChunkIds, NeverRepeat) {
  ChunkIds one;
  ChunkIds other;
  EXPECT_NE(one.next(), other.next());
  const auto second = one.next();
  EXPECT_NE(second, one.next());
  EXPECT_EQ(chunk_text(known_id()), kKnownId);
  std::array<uint8_t, 16> prefix{};
  ChunkIds counted(prefix);
  counted.next();
  EXPECT_EQ(chunk_text(counted.next()), "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAB");
}

}  // namespace
}  // namespace vek::engine
