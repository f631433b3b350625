#include "utils/msgpack_encode.h"

#include <gtest/gtest.h>
#include <msgpack.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "tests/support/guarded_bytes.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

using Put = std::function<char*(char*)>;
using Pack = std::function<void(msgpack_packer*)>;

// The bytes written, which must stay inside the room given.
std::string written(size_t room, const Put& put) {
  std::vector<char> memory(room + 16, '\x55');
  char* const start = memory.data() + 8;
  const char* const end = put(start);
  for (size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(memory[i], '\x55') << "in front of the room";
    EXPECT_EQ(memory[8 + room + i], '\x55') << "behind the room";
  }
  return to_hex(start, static_cast<size_t>(end - start));
}

std::string packed(const Pack& pack) {
  msgpack_sbuffer buffer = {};
  msgpack_packer packer;
  msgpack_packer_init(&packer, &buffer, msgpack_sbuffer_write);
  pack(&packer);
  const std::string hex = to_hex(buffer.data, buffer.size);
  msgpack_sbuffer_destroy(&buffer);
  return hex;
}

// Every power of two and what lies next to it, then numbers of every width.
std::vector<uint64_t> numbers() {
  std::vector<uint64_t> result = {0, UINT64_MAX};
  std::mt19937_64 random(7);
  for (int bit = 0; bit < 64; ++bit) {
    for (uint64_t delta = 0; delta < 5; ++delta) {
      const uint64_t value = (uint64_t{1} << bit) + delta - 2;
      result.push_back(value);
      result.push_back(~value);
    }
    for (int i = 0; i < 200; ++i) result.push_back(random() >> bit);
  }
  return result;
}

TEST(MsgpackEncode, WritesUnsignedNumbersAsThePackerDoes) {
  for (const uint64_t value : numbers()) {
    ASSERT_EQ(written(kMsgpackMaxNumber, [&](char* p) { return put_uint(p, value); }),
              packed([&](msgpack_packer* to) { msgpack_pack_uint64(to, value); }))
        << value;
  }
}

TEST(MsgpackEncode, WritesSignedNumbersAsThePackerDoes) {
  for (const uint64_t bits : numbers()) {
    const auto value = static_cast<int64_t>(bits);
    ASSERT_EQ(written(kMsgpackMaxNumber, [&](char* p) { return put_int(p, value); }),
              packed([&](msgpack_packer* to) { msgpack_pack_int64(to, value); }))
        << value;
  }
}

TEST(MsgpackEncode, WritesDoublesAsThePackerDoes) {
  for (const uint64_t bits : numbers()) {
    const auto value = std::bit_cast<double>(bits);
    ASSERT_EQ(written(kMsgpackMaxNumber, [&](char* p) { return put_double(p, value); }),
              packed([&](msgpack_packer* to) { msgpack_pack_double(to, value); }))
        << bits;
  }
}

TEST(MsgpackEncode, WritesHeadersAsThePackerDoes) {
  for (const uint32_t n : {0u, 1u, 15u, 16u, 31u, 32u, 255u, 256u, 65535u, 65536u, UINT32_MAX}) {
    EXPECT_EQ(written(kMsgpackMaxHeader, [&](char* p) { return put_str_header(p, n); }),
              packed([&](msgpack_packer* to) { msgpack_pack_str(to, n); }))
        << n;
    EXPECT_EQ(written(kMsgpackMaxHeader, [&](char* p) { return put_map_header(p, n); }),
              packed([&](msgpack_packer* to) { msgpack_pack_map(to, n); }))
        << n;
    EXPECT_EQ(written(kMsgpackMaxHeader, [&](char* p) { return put_array_header(p, n); }),
              packed([&](msgpack_packer* to) { msgpack_pack_array(to, n); }))
        << n;
  }
}

TEST(MsgpackEncode, WritesTextsOfEveryLengthAndReadsNoByteMore) {
  std::string text;
  for (uint32_t size = 0; size < 300; ++size) {
    const GuardedBytes source(text.data(), text.size());
    const char* from = source.as<char>();
    ASSERT_EQ(written(kMsgpackMaxHeader + size, [&](char* p) { return put_str(p, from, size); }),
              packed([&](msgpack_packer* to) {
                msgpack_pack_str(to, size);
                msgpack_pack_str_body(to, text.data(), size);
              }))
        << size;
    text += static_cast<char>('a' + size % 26);
  }
}

}  // namespace
}  // namespace vek::test
