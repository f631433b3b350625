#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "counters/counters_msgpack.h"
#include "tests/counters/counters_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/msgpack_json.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using testing::ElementsAre;

// A packer over a buffer of its own.
class Packer {
 public:
  Packer() { msgpack_packer_init(&packer_, &buffer_, msgpack_sbuffer_write); }
  ~Packer() { msgpack_sbuffer_destroy(&buffer_); }
  Packer(const Packer&) = delete;
  Packer& operator=(const Packer&) = delete;

  msgpack_packer* get() { return &packer_; }
  std::string hex() const { return to_hex(buffer_.data, buffer_.size); }
  std::string text() const { return msgpack_to_text(buffer_.data, buffer_.size); }

 private:
  msgpack_sbuffer buffer_ = {};
  msgpack_packer packer_ = {};
};

std::string packed(const char* name, uint32_t data_type, uint32_t length, const void* block) {
  std::string copy = name;
  Packer packer;
  msgpack_counter(packer.get(), {copy.data(), copy.size(), data_type, length, 3},
                  static_cast<const char*>(block));
  return packer.text();
}

TEST(MsgpackCounter, PacksKeyAndValueOfEachType) {
  char block[16] = "...";
  const int64_t value = -40;
  std::memcpy(block + 3, &value, sizeof(value));
  EXPECT_EQ(packed("c", VEK_DATA_TYPE_INT64, 0, block), "\"c\" -40");
  EXPECT_EQ(packed("c", VEK_DATA_TYPE_UINT64, 0, block), "\"c\" 18446744073709551576");
  EXPECT_EQ(packed("GUID", VEK_DATA_TYPE_BIT64, 0, block), "\"GUID\" \"0xffffffffffffffd8\"");
  const double real = 0.5;
  std::memcpy(block + 3, &real, sizeof(real));
  EXPECT_EQ(packed("c", VEK_DATA_TYPE_FP64, 0, block), "\"c\" 0.5");
  EXPECT_EQ(packed("c", VEK_DATA_TYPE_STRING, 2, "...abc"), "\"c\" \"ab\"");
  EXPECT_EQ(packed("c", VEK_DATA_TYPE_STRING, 9, "...abc"), "\"c\" \"abc\"");
}

TEST(MsgpackCounter, WritesOnlyTheKeyOfAnUnknownType) {
  const LogCapture log(VEK_LOG_ERROR);
  EXPECT_EQ(packed("odd", 9, 0, "..........."), "\"odd\"");
  EXPECT_THAT(log.errors(), ElementsAre("[msgpack_counter] VEK_DATA_TYPE is unknown for counter "
                                        "'odd', should not be here!"));
}

TEST(PackKeyVal, PacksTheLengthsGiven) {
  Packer packer;
  pack_key_val_uint64(packer.get(), "keys", 3, 128);
  pack_key_val_str(packer.get(), "a\0b", 3, "value", 2);
  EXPECT_EQ(packer.hex(),
            "a36b6579cc80"
            "a3610062"
            "a27661");
}

TEST(IfDisplayHex, KnowsThreeNames) {
  for (const char* name : {"port_guid", "node_guid", "GUID"}) EXPECT_TRUE(if_display_hex(name));
  for (const char* name : {"", "guid", "Guid", "port_guid ", "PORT_GUID", "GUIDs"}) {
    EXPECT_FALSE(if_display_hex(name)) << name;
  }
  EXPECT_FALSE(if_display_hex(nullptr));
}

TEST(PackGuidHex, HasNoLeadingZeros) {
  Packer packer;
  pack_guid_hex(packer.get(), 0);
  pack_guid_hex(packer.get(), 0x00abcdef);
  pack_guid_hex(packer.get(), UINT64_MAX);
  EXPECT_EQ(packer.text(), "\"0x0\" \"0xabcdef\" \"0xffffffffffffffff\"");
}

TEST(PackerCalls, AcceptNull) {
  Packer packer;
  char name[] = "c";
  msgpack_counter(nullptr, {name, 1, VEK_DATA_TYPE_UINT64, 0, 0}, "12345678");
  msgpack_counter(packer.get(), {nullptr, 0, VEK_DATA_TYPE_UINT64, 0, 0}, "12345678");
  msgpack_counter(packer.get(), {name, 1, VEK_DATA_TYPE_UINT64, 0, 0}, nullptr);
  pack_key_val_uint64(nullptr, "k", 1, 1);
  pack_key_val_uint64(packer.get(), nullptr, 1, 1);
  pack_key_val_str(nullptr, "k", 1, "v", 1);
  pack_key_val_str(packer.get(), nullptr, 1, "v", 1);
  pack_guid_hex(nullptr, 1);
  EXPECT_EQ(packer.text(), "");
  pack_key_val_str(packer.get(), "k", 1, nullptr, 7);
  EXPECT_EQ(packer.text(), "\"k\" \"\"");
}

}  // namespace
}  // namespace vek::test
