#include "utils/msgpack_buffer.h"

#include <gtest/gtest.h>
#include <msgpack.h>

#include <string>

#include "tests/support/fail_allocation.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

// What was written, handed over and printed.
std::string text_of(MsgpackBuffer& buffer, const MsgpackWriter& writer) {
  msgpack_sbuffer out;
  buffer.hand_over(writer.size(), out);
  const std::string text = msgpack_to_text(out.data, out.size);
  EXPECT_LE(out.size, out.alloc);
  msgpack_sbuffer_destroy(&out);
  return text;
}

TEST(MsgpackWriter, WritesWhatItIsTold) {
  MsgpackBuffer buffer;
  MsgpackWriter writer(buffer, 64);
  writer.array_header(2);
  writer.real(1.5);
  writer.map_header(3);
  writer.pair("n", uint64_t{300});
  writer.pair("t", std::string_view("text"));
  if (writer.key("i", kMsgpackMaxNumber)) writer.value(int64_t{-5});
  EXPECT_EQ(text_of(buffer, writer), R"([1.5,{"n":300,"t":"text","i":-5}])");
}

TEST(MsgpackWriter, StartsWithTheRoomAskedFor) {
  MsgpackBuffer buffer;
  const MsgpackWriter writer(buffer, 8192);
  EXPECT_EQ(buffer.capacity(), 8192u);
  EXPECT_EQ(writer.size(), 0u);
}

TEST(MsgpackWriter, GrowsFromNothing) {
  for (size_t first = 0; first < 70; ++first) {
    MsgpackBuffer buffer;
    MsgpackWriter writer(buffer, first);
    std::string expected = "{";
    writer.map_header(20);
    for (int i = 0; i < 20; ++i) {
      const std::string key = "key" + std::to_string(i);
      writer.pair(key, uint64_t{1} << i);
      expected += (i ? ",\"" : "\"") + key + "\":" + std::to_string(1 << i);
    }
    ASSERT_EQ(text_of(buffer, writer), expected + "}") << first;
  }
}

TEST(MsgpackWriter, ContinuesFromACopy) {
  MsgpackBuffer buffer;
  MsgpackWriter writer(buffer, 8);
  writer.map_header(2);
  MsgpackWriter copy = writer;
  copy.pair("a", std::string_view("a text that makes the buffer grow"));
  writer = copy;
  writer.pair("b", uint64_t{2});
  EXPECT_EQ(text_of(buffer, writer), R"({"a":"a text that makes the buffer grow","b":2})");
}

TEST(MsgpackWriter, WritesNothingBehindAGap) {
  if (!FailAllocation::available()) GTEST_SKIP();
  const std::string long_text(100, 'b');
  MsgpackBuffer buffer;
  MsgpackWriter writer(buffer, 64);
  writer.map_header(3);
  writer.pair("a", uint64_t{1});
  {
    FailAllocation failing(1);
    writer.pair("b", long_text);
    EXPECT_TRUE(failing.disarm());
  }
  writer.pair("c", uint64_t{3});
  EXPECT_EQ(text_of(buffer, writer), R"({"a":1,...2 missing})");
}

TEST(MsgpackBuffer, RefusesASizeThatOverflows) {
  MsgpackBuffer buffer;
  EXPECT_FALSE(buffer.grow(0, SIZE_MAX));
  EXPECT_FALSE(buffer.grow(0, 1)) << "for ever";
}

}  // namespace
}  // namespace vek::test
