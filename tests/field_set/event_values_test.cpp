// Records are decoded again and compared with the values that were put into the events.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <random>
#include <utility>

#include "data/builtin_types.h"
#include "tests/field_set/events_fixture.h"

namespace vek::test {
namespace {

class Decoded {
 public:
  explicit Decoded(Record bytes) : record_(std::move(bytes)) {
    msgpack_unpacked_init(&unpacked_);
    size_t used = 0;
    complete_ = msgpack_unpack_next(&unpacked_, reinterpret_cast<const char*>(record_.data()),
                                    record_.size(), &used) == MSGPACK_UNPACK_SUCCESS &&
                used == record_.size();
  }
  ~Decoded() { msgpack_unpacked_destroy(&unpacked_); }
  Decoded(const Decoded&) = delete;
  Decoded& operator=(const Decoded&) = delete;

  bool complete() const { return complete_; }
  const msgpack_object& root() const { return unpacked_.data; }

 private:
  Record record_;  // decoded texts point into it
  msgpack_unpacked unpacked_;
  bool complete_ = false;
};

std::map<std::string, msgpack_object> pairs_of(const msgpack_object& map) {
  std::map<std::string, msgpack_object> pairs;
  for (uint32_t i = 0; i < map.via.map.size; ++i) {
    const msgpack_object_kv& pair = map.via.map.ptr[i];
    pairs.emplace(std::string(pair.key.via.str.ptr, pair.key.via.str.size), pair.val);
  }
  return pairs;
}

template <typename T>
T load(const uint8_t* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof(value));
  return value;
}

void expect_signed(const msgpack_object& value, int64_t number) {
  if (number < 0) {
    ASSERT_EQ(value.type, MSGPACK_OBJECT_NEGATIVE_INTEGER);
    EXPECT_EQ(value.via.i64, number);
  } else {
    ASSERT_EQ(value.type, MSGPACK_OBJECT_POSITIVE_INTEGER);
    EXPECT_EQ(value.via.u64, static_cast<uint64_t>(number));
  }
}

void expect_unsigned(const msgpack_object& value, uint64_t number) {
  ASSERT_EQ(value.type, MSGPACK_OBJECT_POSITIVE_INTEGER);
  EXPECT_EQ(value.via.u64, number);
}

void expect_real(const msgpack_object& value, msgpack_object_type type, double number) {
  ASSERT_EQ(value.type, type);
  if (std::isnan(number)) {
    EXPECT_TRUE(std::isnan(value.via.f64));
  } else {
    EXPECT_EQ(value.via.f64, number);
  }
}

void expect_value(const msgpack_object& value, uint32_t type, const uint8_t* bytes) {
  switch (type) {
    case VEK_TYPE_BOOL:
      ASSERT_EQ(value.type, MSGPACK_OBJECT_BOOLEAN);
      EXPECT_EQ(value.via.boolean, *bytes != 0);
      break;
    case VEK_TYPE_CHAR:
      ASSERT_EQ(value.type, MSGPACK_OBJECT_STR);
      EXPECT_EQ(std::string(value.via.str.ptr, value.via.str.size),
                std::string(reinterpret_cast<const char*>(bytes), *bytes ? 1 : 0));
      break;
    case VEK_TYPE_UNSIGNED_CHAR:
      ASSERT_EQ(value.type, MSGPACK_OBJECT_STR);
      EXPECT_EQ(value.via.str.size, 0u);
      break;
    case VEK_TYPE_FLOAT:
      expect_real(value, MSGPACK_OBJECT_FLOAT32, static_cast<double>(load<float>(bytes)));
      break;
    case VEK_TYPE_DOUBLE:
      expect_real(value, MSGPACK_OBJECT_FLOAT64, load<double>(bytes));
      break;
    case VEK_TYPE_INT8:
      expect_signed(value, load<int8_t>(bytes));
      break;
    case VEK_TYPE_SHORT:
    case VEK_TYPE_INT16:
      expect_signed(value, load<int16_t>(bytes));
      break;
    case VEK_TYPE_INT:
    case VEK_TYPE_INT32:
      expect_signed(value, load<int32_t>(bytes));
      break;
    case VEK_TYPE_LONG:
    case VEK_TYPE_LONG_LONG:
    case VEK_TYPE_INT64:
      expect_signed(value, load<int64_t>(bytes));
      break;
    case VEK_TYPE_UINT8:
      expect_unsigned(value, load<uint8_t>(bytes));
      break;
    case VEK_TYPE_UNSIGNED_SHORT:
    case VEK_TYPE_UINT16:
      expect_unsigned(value, load<uint16_t>(bytes));
      break;
    case VEK_TYPE_UNSIGNED_INT:
    case VEK_TYPE_UINT32:
      expect_unsigned(value, load<uint32_t>(bytes));
      break;
    default:
      expect_unsigned(value, load<uint64_t>(bytes));
      break;
  }
}

class EventValues : public EventsTest {
 protected:
  EventValues() {
    std::vector<FieldSpec> fields;
    for (uint32_t id = 1; id <= 22; ++id) {
      fields.push_back({"f" + std::to_string(id), vek_builtin_type_name(id)});
    }
    index_ = type("all", fields);
    nested_ = type("nested", {{"x", "all", 3}});
  }

  void expect_values(const msgpack_object& map, const std::string& prefix, const uint8_t* event) {
    const auto pairs = pairs_of(map);
    uint64_t offset = 0;
    for (uint32_t id = 1; id <= 22; ++id) {
      SCOPED_TRACE(prefix + vek_builtin_type_name(id));
      const auto found = pairs.find(prefix + "f" + std::to_string(id));
      ASSERT_NE(found, pairs.end());
      expect_value(found->second, id, event + offset);
      offset += vek_builtin_type_size(id);
    }
  }

  uint8_t index_ = 0;
  uint8_t nested_ = 0;
};

TEST_F(EventValues, ComeOutAsTheyWentIn) {
  bind();
  std::mt19937 engine(11);
  for (int round = 0; round < 300; ++round) {
    const uint64_t size = schema_->types[nested_]->size;
    Record event(size);
    // Mostly small and mostly negative numbers have forms of their own.
    for (uint8_t& byte : event) {
      const auto draw = static_cast<uint8_t>(engine());
      byte = round % 3 == 0 ? draw : draw < 100 ? 0 : draw < 200 ? 0xff : draw;
    }
    const Decoded custom(pack(nested_, event, "src", "custom"));
    ASSERT_TRUE(custom.complete());
    ASSERT_EQ(custom.root().type, MSGPACK_OBJECT_MAP);
    const auto outer = pairs_of(custom.root());
    EXPECT_EQ(outer.size(), 5u);
    const msgpack_object& values = outer.at("values");
    EXPECT_EQ(values.via.map.size, 66u);

    const Decoded flb(pack(nested_, event));
    ASSERT_TRUE(flb.complete());
    ASSERT_EQ(flb.root().type, MSGPACK_OBJECT_ARRAY);
    const msgpack_object& record = flb.root().via.array.ptr[1];
    EXPECT_EQ(record.via.map.size, 66u + 4u);

    for (uint64_t i = 0; i < 3; ++i) {
      const std::string prefix = "x." + std::to_string(i) + ".";
      expect_values(values, prefix, event.data() + i * (size / 3));
      expect_values(record, prefix, event.data() + i * (size / 3));
    }
  }
}

}  // namespace
}  // namespace vek::test
