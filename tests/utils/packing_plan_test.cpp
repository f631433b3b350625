#include "utils/packing_plan.h"

#include <gtest/gtest.h>
#include <msgpack.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

std::string pack_by(decltype(pack_section)& carry_out, const PlanSection& section,
                    const PlanInput& input) {
  std::string out(section_room(section, input), '\xEE');
  char* const end = carry_out(out.data(), section, input);
  out.resize(static_cast<size_t>(end - out.data()));
  return out;
}

// By both variants, which have to agree.
std::string pack(const PlanSection& section, const PlanInput& input) {
  const std::string out = pack_by(pack_section_baseline, section, input);
  EXPECT_EQ(pack_by(pack_section, section, input), out);
  return out;
}

// What msgpack-c writes for a number of this width and kind.
class Reference {
 public:
  Reference() { msgpack_packer_init(&packer_, &buffer_, msgpack_sbuffer_write); }
  ~Reference() { msgpack_sbuffer_destroy(&buffer_); }
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;

  msgpack_packer* packer() { return &packer_; }
  std::string bytes() const { return {buffer_.data, buffer_.size}; }

 private:
  msgpack_sbuffer buffer_ = {};
  msgpack_packer packer_;
};

std::string packed_integer(uint64_t bits, uint8_t width, bool is_signed) {
  Reference reference;
  const int unused = 64 - 8 * width;
  if (is_signed) {
    msgpack_pack_int64(reference.packer(), static_cast<int64_t>(bits << unused) >> unused);
  } else {
    msgpack_pack_uint64(reference.packer(), bits << unused >> unused);
  }
  return reference.bytes();
}

std::vector<uint64_t> boundaries() {
  std::vector<uint64_t> values = {0};
  for (int bit = 0; bit < 64; ++bit) {
    const uint64_t power = uint64_t{1} << bit;
    for (const uint64_t value : {power - 1, power, power + 1}) {
      values.push_back(value);
      values.push_back(~value);
      values.push_back(0 - value);
    }
  }
  return values;
}

// A number of every width at every place of inputs of every size, right before memory that cannot
// be read.
TEST(PackingPlan, ReadsIntegersWhereverTheyLie) {
  for (const uint8_t width : {uint8_t{1}, uint8_t{2}, uint8_t{4}, uint8_t{8}}) {
    for (size_t size = width; size <= 17; ++size) {
      for (size_t offset = 0; offset + width <= size; ++offset) {
        for (const bool is_signed : {false, true}) {
          PlanSection section;
          PlanSectionWriter writer(section, size);
          writer.number(offset, NumberRead::integer(width, is_signed));
          writer.finish();
          GuardedBytes bytes(std::vector<uint8_t>(size, 0xa5));
          PlanInput input;
          input.bytes = reinterpret_cast<const char*>(bytes.data());
          for (const uint64_t value : boundaries()) {
            std::memcpy(bytes.data() + offset, &value, width);
            ASSERT_EQ(pack(section, input), packed_integer(value, width, is_signed))
                << value << " of " << int{width} << " bytes at " << offset << " of " << size;
            if (size > 9 && offset > 0) break;  // the place matters there, not the value
          }
        }
      }
    }
  }
}

// As many flags as are packed at once, and more, right before memory that cannot be read.
TEST(PackingPlan, FlagsAreTrueUnlessTheirByteIsZero) {
  for (size_t count = 1; count <= 17; ++count) {
    PlanSection section;
    PlanSectionWriter writer(section, count);
    for (size_t i = 0; i < count; ++i) writer.number(i, NumberRead::flag());
    writer.finish();
    for (const uint8_t value : std::vector<uint8_t>{1, 2, 0x7f, 0x80, 0xff}) {
      for (size_t set = 0; set < count; ++set) {
        std::vector<uint8_t> bytes(count);
        bytes[set] = value;
        const GuardedBytes guarded(bytes);
        PlanInput input;
        input.bytes = reinterpret_cast<const char*>(guarded.data());
        std::string expected(count, '\xC2');
        expected[set] = '\xC3';
        ASSERT_EQ(pack(section, input), expected) << int{value} << " at " << set << " of " << count;
      }
    }
  }
}

TEST(PackingPlan, KeepsTheBitsOfRealNumbers) {
  for (const double value : {0.0, -0.0, 1.5, -1e300, std::nan(""), HUGE_VAL}) {
    const auto narrow = static_cast<float>(value);
    for (const size_t size : {size_t{12}, size_t{40}}) {
      std::vector<uint8_t> bytes(size);
      std::memcpy(bytes.data(), &value, 8);
      std::memcpy(bytes.data() + size - 4, &narrow, 4);
      PlanSection section;
      PlanSectionWriter writer(section, size);
      writer.number(0, NumberRead::float64());
      writer.number(size - 4, NumberRead::float32());
      writer.finish();
      const GuardedBytes guarded(bytes);
      PlanInput input;
      input.bytes = reinterpret_cast<const char*>(guarded.data());
      Reference reference;
      msgpack_pack_double(reference.packer(), value);
      msgpack_pack_float(reference.packer(), narrow);
      EXPECT_EQ(pack(section, input), reference.bytes()) << value;
    }
  }
}

TEST(PackingPlan, KeepsConstantsOfAnyLength) {
  for (const size_t size : {0u, 1u, 31u, 32u, 33u, 64u, 65'534u, 65'535u, 65'536u, 200'000u}) {
    const std::string text(size, 'k');
    PlanSection section;
    PlanSectionWriter writer(section, 8);
    writer.text(text);
    writer.number(0, NumberRead::integer(8, false));
    writer.text(text);
    writer.finish();
    const uint64_t value = 7;
    PlanInput input;
    input.bytes = reinterpret_cast<const char*>(&value);
    Reference reference;
    for (int i = 0; i < 2; ++i) {
      msgpack_pack_str(reference.packer(), size);
      msgpack_pack_str_body(reference.packer(), text.data(), size);
      if (i == 0) msgpack_pack_uint64(reference.packer(), value);
    }
    EXPECT_EQ(pack(section, input), reference.bytes()) << size;
  }
}

// Texts of every length and limit, with more and with less to read behind them than they hold.
TEST(PackingPlan, TextsEndAtTheirLimitOrTheirNul) {
  for (uint32_t limit = 0; limit <= 70; ++limit) {
    for (uint32_t length = 0; length <= limit + 1; ++length) {
      for (const size_t behind : {0u, 1u, 31u, 32u, 80u}) {
        std::vector<uint8_t> bytes(limit + behind, 'x');
        if (length < limit) bytes[length] = 0;
        const GuardedBytes guarded(bytes);
        PlanSection section;
        PlanSectionWriter writer(section, bytes.size());
        writer.text_value(StepValue::kText, 0, limit);
        writer.text("y");
        writer.finish();
        PlanInput input;
        input.bytes = reinterpret_cast<const char*>(guarded.data());
        Reference reference;
        const std::string text(std::min(length, limit), 'x');
        msgpack_pack_str(reference.packer(), text.size());
        msgpack_pack_str_body(reference.packer(), text.data(), text.size());
        msgpack_pack_str(reference.packer(), 1);
        msgpack_pack_str_body(reference.packer(), "y", 1);
        ASSERT_EQ(pack(section, input), reference.bytes())
            << length << " of " << limit << " with " << behind << " behind";
      }
    }
  }
}

TEST(PackingPlan, LeavesOutEmptyTextsAndSourcesWithTheirKeys) {
  const std::vector<uint8_t> bytes = {0, 'x'};
  PlanSection section;
  PlanSectionWriter writer(section, bytes.size());
  writer.text("e");
  writer.text_value(StepValue::kTextUnlessEmpty, 0, 1);
  writer.text("f");
  writer.text_value(StepValue::kTextUnlessEmpty, 1, 1);
  writer.text("s");
  writer.record_value(StepValue::kSource);
  writer.text("t");
  writer.record_value(StepValue::kSourceOrEmpty);
  writer.finish();
  PlanInput input;
  input.bytes = reinterpret_cast<const char*>(bytes.data());
  EXPECT_EQ(count_empty_texts(section, input), 1u);
  EXPECT_EQ(pack(section, input),
            "\xA1"
            "e\xA0\xA1"
            "f\xA1x\xA1t\xA0");
  input.leave_out_empty = true;
  input.source = "me";
  input.has_source = true;
  EXPECT_EQ(pack(section, input),
            "\xA1"
            "f\xA1x\xA1s\xA2me\xA1t\xA2me");
}

// Texts in a row, one of them empty or long, with keys of one step and of several.
TEST(PackingPlan, TextsInARowAreTakenOneByOneWhereTheyHaveTo) {
  constexpr uint32_t kField = 40;
  for (const size_t key_size : {size_t{3}, size_t{31}, size_t{32}, size_t{100}}) {
    for (size_t count = 1; count <= 9; ++count) {
      const std::string key(key_size, 'k');
      PlanSection section;
      PlanSectionWriter writer(section, kField * count);
      for (size_t i = 0; i < count; ++i) {
        writer.flush();
        writer.text(key);
        writer.text_value(StepValue::kTextUnlessEmpty, kField * i, kField);
      }
      writer.finish();
      for (size_t odd = 0; odd < count; ++odd) {
        for (const size_t length : {size_t{0}, size_t{31}, size_t{32}, size_t{kField}}) {
          std::string bytes(kField * count, '\0');
          Reference reference;
          for (size_t i = 0; i < count; ++i) {
            const std::string text(i == odd ? length : 5, 't');
            std::memcpy(&bytes[kField * i], text.data(), text.size());
            if (text.empty()) continue;
            msgpack_pack_str(reference.packer(), key.size());
            msgpack_pack_str_body(reference.packer(), key.data(), key.size());
            msgpack_pack_str(reference.packer(), text.size());
            msgpack_pack_str_body(reference.packer(), text.data(), text.size());
          }
          PlanInput input;
          input.bytes = bytes.data();
          input.leave_out_empty = true;
          ASSERT_EQ(pack(section, input), reference.bytes())
              << length << " bytes, text " << odd << " of " << count << ", keys of " << key_size;
        }
      }
    }
  }
}

TEST(PackingPlan, MeasuresTextsWhoseLongestWouldAskForMuch) {
  constexpr uint32_t kLong = 10'000'000;
  std::vector<uint8_t> bytes(kLong);
  bytes[0] = 'x';
  PlanSection section;
  PlanSectionWriter writer(section, bytes.size());
  writer.text_value(StepValue::kText, 0, kLong);
  writer.finish();
  PlanInput input;
  input.bytes = reinterpret_cast<const char*>(bytes.data());
  EXPECT_LT(section_room(section, input), 200u);
  std::memset(bytes.data(), 'y', bytes.size());
  EXPECT_GE(section_room(section, input), kLong);
  EXPECT_EQ(pack(section, input).size(), 5u + kLong);
}

TEST(PackingPlan, NotesCarryTheirNumber) {
  PlanSection section;
  PlanSectionWriter writer(section, 0);
  writer.text("a");
  writer.note(42);
  writer.finish();
  std::vector<uint64_t> seen;
  PlanInput input;
  input.context = &seen;
  input.note = [](const void* context, uint64_t index) {
    const_cast<std::vector<uint64_t>*>(static_cast<const std::vector<uint64_t>*>(context))
        ->push_back(index);
  };
  EXPECT_EQ(pack(section, input),
            "\xA1"
            "a");
  EXPECT_EQ(seen, (std::vector<uint64_t>{42, 42}));  // once a variant
}

}  // namespace
}  // namespace vek::test
