#include "dict_reader/dict_msgpack.h"

#include <memory>

#include "tests/dict_reader/dict_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kKeys[] = {"a", "b", "c", std::string(40, 'k'), std::string("n\0l", 3)};

// Frees what a converter wrote.
struct Buffer {
  Buffer() { msgpack_sbuffer_init(&sbuffer); }
  ~Buffer() { msgpack_sbuffer_destroy(&sbuffer); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  std::string hex() const { return to_hex(sbuffer.data, sbuffer.size); }
  std::string text() const { return msgpack_to_text(sbuffer.data, sbuffer.size); }

  msgpack_sbuffer sbuffer;
};

class DictMsgpack : public ::testing::Test {
 protected:
  DictMsgpack() { begin(DATA_ITEM_DICT); }

  ContainerDataObject& begin(data_item_e type) {
    message_.reset(data_dict_message_init("s", "t"));
    root_ = new ContainerDataObject(nullptr, type, false);
    message_->root = root_;
    message_->timestamp = 1'500'000;
    return *root_;
  }
  static void add(ContainerDataObject& to, DataObject* item) { to.AddDataObject(item); }
  static DataObject* integer(const std::string* key, int64_t value) {
    return new LongDataObject(key, value, false);
  }
  static DataObject* string(const std::string* key, const std::string& text) {
    return new StringDataObject(key, new std::string(text), true, false);
  }
  // Behind the two-element array and the float of 1.5 seconds.
  std::string packed() {
    Buffer buffer;
    EXPECT_EQ(data_dict_pack_and_delete(message_.get(), &buffer.sbuffer), 1u);
    const std::string hex = buffer.hex();
    EXPECT_EQ(hex.substr(0, 20), "92cb3ff8000000000000");
    EXPECT_EQ(root_->count(), 0u) << "the root is empty";
    EXPECT_EQ(root_->first(), nullptr);
    EXPECT_EQ(message_->root, root_) << "and still there";
    return hex.substr(20);
  }

  LogCapture log_;
  Owned<data_dict_message_t, data_dict_message_destroy> message_;
  ContainerDataObject* root_ = nullptr;
};

TEST_F(DictMsgpack, PacksARootListOfThreeLongs) {
  ContainerDataObject& list = begin(DATA_ITEM_LIST);
  for (const int64_t value : {1, 2, 3}) add(list, integer(nullptr, value));
  EXPECT_EQ(packed(), "93010203");
}

TEST_F(DictMsgpack, PacksEmptyRoots) {
  EXPECT_EQ(packed(), "80");
  begin(DATA_ITEM_LIST);
  EXPECT_EQ(packed(), "90");
}

TEST_F(DictMsgpack, PacksEveryKindOfValue) {
  add(*root_, string(&kKeys[0], "text"));
  add(*root_, new DoubleDataObject(&kKeys[1], -0.5, false));
  add(*root_, integer(&kKeys[2], 300));
  add(*root_, new BoolDataObject(&kKeys[0], true, false));
  add(*root_, new BoolDataObject(&kKeys[0], false, false));
  add(*root_, new NoneDataObject(&kKeys[0], false));
  auto* const dict = new ContainerDataObject(&kKeys[1], DATA_ITEM_DICT, false);
  auto* const list = new ContainerDataObject(&kKeys[2], DATA_ITEM_LIST, false);
  add(*root_, dict);
  add(*dict, integer(&kKeys[0], -1));
  add(*root_, list);
  add(*list, string(&kKeys[0], ""));
  add(*list, new ContainerDataObject(&kKeys[0], DATA_ITEM_DICT, false));
  EXPECT_EQ(packed(),
            "88"
            "a161a474657874"
            "a162cbbfe0000000000000"
            "a163cd012c"
            "a161c3"
            "a161c2"
            "a161c0"
            "a16281a161ff"
            "a16392a080");
}

TEST_F(DictMsgpack, PacksLongsInTheirSmallestForm) {
  const std::pair<int64_t, const char*> cases[] = {{0, "00"},
                                                   {127, "7f"},
                                                   {128, "cc80"},
                                                   {255, "ccff"},
                                                   {256, "cd0100"},
                                                   {65535, "cdffff"},
                                                   {65536, "ce00010000"},
                                                   {4294967295, "ceffffffff"},
                                                   {4294967296, "cf0000000100000000"},
                                                   {INT64_MAX, "cf7fffffffffffffff"},
                                                   {-1, "ff"},
                                                   {-32, "e0"},
                                                   {-33, "d0df"},
                                                   {-128, "d080"},
                                                   {-129, "d1ff7f"},
                                                   {-32768, "d18000"},
                                                   {-32769, "d2ffff7fff"},
                                                   {INT32_MIN, "d280000000"},
                                                   {-2147483649, "d3ffffffff7fffffff"},
                                                   {INT64_MIN, "d38000000000000000"}};
  for (const auto& [value, hex] : cases) {
    add(begin(DATA_ITEM_LIST), integer(nullptr, value));
    EXPECT_EQ(packed(), std::string("91") + hex) << value;
  }
}

TEST_F(DictMsgpack, PacksStringsWithTheirLengths) {
  add(*root_, string(&kKeys[3], std::string(256, 'v')));
  EXPECT_EQ(
      packed(), "81d928" + to_hex(kKeys[3].data(), 40) + "da0100" + [] {
        const std::string value(256, 'v');
        return to_hex(value.data(), value.size());
      }());
  add(begin(DATA_ITEM_DICT), string(&kKeys[4], std::string("a\0b", 3)));
  EXPECT_EQ(packed(), "81a36e006ca3610062") << "NULs are bytes like others";
}

TEST_F(DictMsgpack, AChildWithoutAKeyIsPackedUnderTheEmptyOne) {
  add(*root_, new ContainerDataObject(nullptr, DATA_ITEM_DICT, false));
  EXPECT_EQ(packed(), "81a080");
}

TEST_F(DictMsgpack, SecondsAreTheTimestampDividedOnce) {
  for (const uint64_t timestamp :
       {uint64_t{0}, uint64_t{1}, uint64_t{1'700'000'000'123'457}, UINT64_MAX}) {
    begin(DATA_ITEM_LIST);
    message_->timestamp = timestamp;
    Buffer buffer;
    ASSERT_EQ(data_dict_pack_and_delete(message_.get(), &buffer.sbuffer), 1u);
    const auto seconds =
        __builtin_bswap64(std::bit_cast<uint64_t>(static_cast<double>(timestamp) / 1000000.0));
    EXPECT_EQ(buffer.hex(), "92cb" + to_hex(&seconds, 8) + "90") << timestamp;
  }
}

TEST_F(DictMsgpack, WideContainersHaveWideHeaders) {
  ContainerDataObject& list = begin(DATA_ITEM_LIST);
  auto* const dict = new ContainerDataObject(nullptr, DATA_ITEM_DICT, false);
  for (int i = 0; i < 70'000; ++i) add(*dict, new NoneDataObject(&kKeys[0], false));
  add(list, dict);
  for (int i = 0; i < 16; ++i) add(list, integer(nullptr, 1));
  const std::string hex = packed();
  EXPECT_EQ(hex.substr(0, 16), "dc0011df00011170");
  EXPECT_EQ(hex.size(), 16 + 70'000u * 6 + 16 * 2);
}

TEST_F(DictMsgpack, WhatTheBufferHeldIsDropped) {
  Buffer old;
  msgpack_sbuffer_write(&old.sbuffer, "old", 3);
  msgpack_sbuffer buffer = old.sbuffer;
  ASSERT_EQ(data_dict_pack_and_delete(message_.get(), &buffer), 1u);
  EXPECT_EQ(to_hex(buffer.data, buffer.size), "92cb3ff800000000000080");
  EXPECT_NE(buffer.data, old.sbuffer.data) << "and not freed: the caller brings a fresh buffer";
  msgpack_sbuffer_destroy(&buffer);
}

TEST_F(DictMsgpack, RefusesRootsThatAreNoContainers) {
  const std::string text = "t";
  std::unique_ptr<DataObject> roots[] = {
      nullptr, std::make_unique<LongDataObject>(nullptr, 1, false),
      std::make_unique<ContainerDataObject>(nullptr, DATA_ITEM_NONE, false)};
  log_.clear();
  for (auto& root : roots) {
    data_dict_message_t message = {"s", "t", root.get(), 0};
    Buffer buffer;
    EXPECT_EQ(data_dict_pack_and_delete(&message, &buffer.sbuffer), 0u);
  }
  EXPECT_EQ(log_.errors(),
            std::vector<std::string>(3, "[msgpacker data dict] Got invalid data type"));
}

// Of a type that nobody knows.
class Odd final : public DataObject {
 public:
  explicit Odd(uint32_t type) : DataObject(nullptr, static_cast<data_item_e>(type), false) {}
};

TEST_F(DictMsgpack, StopsAtAnUnknownTypeAndLeavesTheRest) {
  for (const uint32_t type : {0u, 8u, 99u}) {
    log_.clear();
    add(begin(DATA_ITEM_DICT), integer(&kKeys[0], 1));
    add(*root_, new Odd(type));
    add(*root_, integer(&kKeys[1], 2));
    Buffer buffer;
    EXPECT_EQ(data_dict_pack_and_delete(message_.get(), &buffer.sbuffer), 0u);
    EXPECT_EQ(root_->count(), 2u);
    EXPECT_EQ(static_cast<uint32_t>(root_->first()->type()), type);
    EXPECT_EQ(buffer.hex().substr(20), "83a16101a0") << "cut behind the key";
    EXPECT_THAT(log_.errors(),
                ElementsAre("[msgpacker data dict] [addAndDelete] Did not find matching case",
                            "[msgpacker data dict] [addAndDeleteDictItems] Error while adding "
                            "value"));
  }
}

TEST_F(DictMsgpack, EveryContainerAroundAFailureSaysSo) {
  auto* const list = new ContainerDataObject(&kKeys[0], DATA_ITEM_LIST, false);
  auto* const dict = new ContainerDataObject(&kKeys[1], DATA_ITEM_DICT, false);
  add(*root_, list);
  add(*root_, integer(&kKeys[2], 3));
  add(*list, integer(nullptr, 1));
  add(*list, dict);
  add(*list, integer(nullptr, 2));
  add(*dict, new Odd(5));  // says that it is a dictionary
  Buffer buffer;
  EXPECT_EQ(data_dict_pack_and_delete(message_.get(), &buffer.sbuffer), 0u);
  EXPECT_THAT(
      log_.errors(),
      ElementsAre("[msgpacker data dict] [addAndDelete] Did not find matching case",
                  "[msgpacker data dict] [addAndDeleteDictItems] Error while adding value",
                  "[msgpacker data dict] [addAndDeleteListItems] Error while adding value",
                  "[msgpacker data dict] [addAndDeleteDictItems] Error while adding value"));
  EXPECT_EQ(root_->count(), 2u);
  EXPECT_EQ(list->count(), 2u);
  EXPECT_EQ(dict->count(), 1u);
}

TEST_F(DictMsgpack, AContainerOfAWrongTypeIsNotPacked) {
  auto* const wrong = new ContainerDataObject(&kKeys[0], static_cast<data_item_e>(9), false);
  add(*wrong, integer(&kKeys[0], 1));
  add(*root_, wrong);
  log_.clear();
  Buffer buffer;
  EXPECT_EQ(data_dict_pack_and_delete(message_.get(), &buffer.sbuffer), 0u);
  EXPECT_EQ(wrong->count(), 1u);
  EXPECT_TRUE(log_.has(3, "[msgpacker data dict] [addAndDelete] Did not find matching case"));
}

TEST_F(DictMsgpack, RefusesNull) {
  Buffer buffer;
  EXPECT_EQ(data_dict_pack_and_delete(nullptr, &buffer.sbuffer), 0u);
  EXPECT_EQ(data_dict_pack_and_delete(message_.get(), nullptr), 0u);
}

TEST_F(DictMsgpack, DepthIsNoMatter) {
  ContainerDataObject* at = root_;
  for (int i = 0; i < 100'000; ++i) {
    auto* const inner =
        new ContainerDataObject(&kKeys[0], i % 2 ? DATA_ITEM_DICT : DATA_ITEM_LIST, false);
    add(*at, inner);
    at = inner;
  }
  add(*at, integer(&kKeys[0], 7));
  const std::string hex = packed();
  EXPECT_EQ(hex.substr(0, 12), "81a1619181a1");
  EXPECT_EQ(hex.substr(hex.size() - 8), "81a16107");
  EXPECT_EQ(hex.size(), 100'001u * 2 + 50'001u * 4 + 2);
}

TEST_F(DictMsgpack, ARecordWithAGapIsAFailure) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const auto fill = [this] {
    begin(DATA_ITEM_DICT);
    for (int i = 0; i < 3; ++i) add(*root_, string(&kKeys[3], std::string(10'000, 'v')));
  };
  unsigned failures = 0;
  for (unsigned n = 1;; ++n) {
    fill();
    Buffer buffer;
    FailAllocation failing(n);
    const uint32_t done = data_dict_pack_and_delete(message_.get(), &buffer.sbuffer);
    if (!failing.disarm()) {
      EXPECT_EQ(done, 1u);
      break;
    }
    EXPECT_EQ(done, 0u) << n;
    ++failures;
  }
  EXPECT_GE(failures, 3u);
}

}  // namespace
}  // namespace vek::test
