#include "utils/record_packer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace vek::test {
namespace {

// Sections, and inputs that change a little from record to record, drawn from a seed.
class RandomRecords {
 public:
  explicit RandomRecords(uint64_t seed) : random_(seed) {
    const size_t steps = 1 + draw(30);
    // Close together values share what they are read from, and bytes.
    const size_t apart = chance(2) ? 40 : 1 + draw(16);
    bytes_.resize(16 + apart * (steps - 1) + 8 + draw(33));
    PlanSectionWriter head(head_, bytes_.size());
    head.array_header(2);
    head.record_value(StepValue::kSeconds);
    if (chance(2)) {
      head.varying_map_header(steps);
      leaves_out_ = true;
    } else {
      head.map_header(steps);
    }
    head.text("time");
    head.record_value(StepValue::kTime);
    head.flush();
    head.text("source");
    head.record_value(chance(2) ? StepValue::kSource : StepValue::kSourceOrEmpty);
    head.finish();
    PlanSectionWriter body(body_, bytes_.size());
    for (size_t i = 0; i < steps; ++i) add_step(body, 16 + apart * i);
    body.finish();
    source_ = "leaf01";
    for (char& byte : bytes_) byte = static_cast<char>(draw(256));
  }

  const PlanSection& head() const { return head_; }
  const PlanSection& body() const { return body_; }

  PlanInput next() {
    time_us_ += draw(3'000'000);
    for (size_t changes = draw(4); changes > 0; --changes) change_a_value();
    if (chance(20)) source_.resize(draw(40), 'x');
    PlanInput input;
    input.bytes = bytes_.data();
    input.time_us = time_us_;
    input.source = source_;
    input.has_source = !source_.empty();
    input.leave_out_empty = leaves_out_;
    if (leaves_out_) input.left_out = count_empty_texts(body_, input);
    return input;
  }

 private:
  size_t draw(size_t below) { return static_cast<size_t>(random_() % below); }
  bool chance(size_t one_in) { return draw(one_in) == 0; }

  // Bytes of the value there; of the last one as many as are left, at least eight.
  size_t room(uint64_t offset) const { return std::min<size_t>(40, bytes_.size() - offset); }

  void add_step(PlanSectionWriter& out, uint64_t offset) {
    // Keys of any size: short ones let values reach into each other's words.
    out.flush();
    if (!chance(4)) out.text(std::string(draw(3) == 0 ? draw(60) : draw(4), 'k'));
    values_.push_back(offset);
    switch (draw(7)) {
      case 0:
        out.number(offset, NumberRead::flag());
        break;
      case 1:
        out.hex(offset);
        break;
      case 2:
        out.text_value(StepValue::kText, offset, static_cast<uint32_t>(draw(1 + room(offset))));
        break;
      case 3:
        out.text_value(StepValue::kTextUnlessEmpty, offset,
                       static_cast<uint32_t>(draw(1 + room(offset))));
        break;
      case 4:
        out.number(offset, chance(2) ? NumberRead::float64() : NumberRead::integer(8, true));
        break;
      default: {
        const auto width = static_cast<uint8_t>(1u << draw(4));
        out.number(offset, NumberRead::integer(width, chance(2)));
        break;
      }
    }
  }

  // A number of any magnitude and sign, or a text of any length.
  void change_a_value() {
    const uint64_t offset = values_[draw(values_.size())];
    char* const value = bytes_.data() + offset;
    uint64_t bits = random_() >> draw(64);
    if (chance(3)) bits = ~bits;
    std::memcpy(value, &bits, sizeof(bits));
    if (chance(4)) value[draw(room(offset))] = '\0';
    if (chance(4)) std::memset(value + 8, 't', draw(room(offset) - 7));
  }

  std::mt19937_64 random_;
  PlanSection head_;
  PlanSection body_;
  bool leaves_out_ = false;
  std::vector<uint64_t> values_;
  std::string bytes_;
  std::string source_;
  uint64_t time_us_ = 1'700'000'000'000'000;
};

// By both sets of instructions, which have to agree.
std::string packed_anew(const RandomRecords& records, const PlanInput& input) {
  MsgpackBuffer buffer;
  const size_t size = pack_record(buffer, records.head(), records.body(), input);
  const std::string_view record(buffer.data(), size);
  std::string other(section_room(records.head(), input) + section_room(records.body(), input), 0);
  char* end = pack_section_baseline(other.data(), records.head(), input);
  end = pack_section_baseline(end, records.body(), input);
  other.resize(static_cast<size_t>(end - other.data()));
  EXPECT_EQ(record, other);
  return other;
}

// VEK_RANDOM_RECORDS: how many, for long runs by hand.
size_t records_to_try() {
  const char* text = std::getenv("VEK_RANDOM_RECORDS");
  return text ? std::strtoull(text, nullptr, 10) : 200'000;
}

TEST(RecordPacker, MakesTheRecordsThatPackingAnewMakes) {
  constexpr size_t kRecordsOfASeed = 400;
  for (uint64_t seed = 0; seed < records_to_try() / kRecordsOfASeed; ++seed) {
    RandomRecords records(seed);
    RecordPacker packer;
    for (size_t i = 0; i < kRecordsOfASeed; ++i) {
      const PlanInput input = records.next();
      ASSERT_EQ(packer.pack(records.head(), records.body(), input), packed_anew(records, input))
          << "seed " << seed << ", record " << i;
    }
  }
}

TEST(RecordPlaces, AreWrittenAlikeByEveryProcessor) {
  for (uint64_t seed = 0; seed < 200; ++seed) {
    RandomRecords records(seed);
    MsgpackBuffer buffer;
    PlanInput input = records.next();
    const size_t size = pack_record(buffer, records.head(), records.body(), input);
    RecordPlaces places;
    ASSERT_TRUE(places.learn(records.head(), records.body(), input, buffer.data(), size,
                             buffer.capacity()));
    for (int i = 0; i < 100; ++i) {
      input = records.next();
      if (!places.rewrite_baseline(input)) break;
      ASSERT_EQ(places.record(), packed_anew(records, input)) << "seed " << seed;
    }
  }
}

TEST(RecordPlaces, TakeEveryRecordThatChangesALittle) {
  for (uint64_t seed = 0; seed < 200; ++seed) {
    RandomRecords records(seed);
    MsgpackBuffer buffer;
    PlanInput input = records.next();
    const size_t size = pack_record(buffer, records.head(), records.body(), input);
    RecordPlaces places;
    ASSERT_TRUE(places.learn(records.head(), records.body(), input, buffer.data(), size,
                             buffer.capacity()));
    ASSERT_TRUE(places.rewrite(input));
    EXPECT_EQ(places.record(), packed_anew(records, input));
  }
}

// One number: what it is, and what it becomes.
TEST(RecordPlaces, GiveNumbersTheirNewSize) {
  const int64_t values[] = {0,
                            1,
                            127,
                            128,
                            255,
                            256,
                            65'535,
                            65'536,
                            -1,
                            -32,
                            -33,
                            -128,
                            -129,
                            -32'768,
                            -32'769,
                            200,
                            -100,
                            4'294'967'295,
                            4'294'967'296,
                            INT64_MAX,
                            INT64_MIN,
                            -2'147'483'648,
                            -2'147'483'649};
  PlanSection head;
  PlanSection body;
  PlanSectionWriter(head, 24).finish();
  PlanSectionWriter out(body, 24);
  out.map_header(3);
  for (const uint64_t offset : {0U, 8U, 16U}) {
    out.text("k");
    out.number(offset, NumberRead::integer(8, true));
  }
  out.finish();
  for (const int64_t from : values) {
    for (const int64_t to : values) {
      int64_t numbers[3] = {7, from, 300};
      PlanInput input;
      input.bytes = reinterpret_cast<const char*>(numbers);
      MsgpackBuffer buffer;
      const size_t size = pack_record(buffer, head, body, input);
      RecordPlaces places;
      ASSERT_TRUE(places.learn(head, body, input, buffer.data(), size, buffer.capacity()));
      numbers[1] = to;
      ASSERT_TRUE(places.rewrite(input)) << from << " to " << to;
      MsgpackBuffer fresh;
      const size_t fresh_size = pack_record(fresh, head, body, input);
      EXPECT_EQ(places.record(), std::string_view(fresh.data(), fresh_size))
          << from << " to " << to;
      // The word of the first one reaches over the second.
      ASSERT_TRUE(places.rewrite(input));
      EXPECT_EQ(places.record(), std::string_view(fresh.data(), fresh_size))
          << from << " to " << to;
    }
  }
}

TEST(RecordPlaces, GiveUpWhenMuchHasChanged) {
  constexpr size_t kNumbers = 100;
  PlanSection head;
  PlanSection body;
  PlanSectionWriter(head, 8 * kNumbers).finish();
  PlanSectionWriter out(body, 8 * kNumbers);
  for (size_t i = 0; i < kNumbers; ++i) out.number(8 * i, NumberRead::integer(8, false));
  out.finish();
  std::vector<uint64_t> numbers(kNumbers, 1);
  PlanInput input;
  input.bytes = reinterpret_cast<const char*>(numbers.data());
  MsgpackBuffer buffer;
  const size_t size = pack_record(buffer, head, body, input);
  RecordPlaces places;
  ASSERT_TRUE(places.learn(head, body, input, buffer.data(), size, buffer.capacity()));
  numbers.assign(kNumbers, 1000);
  EXPECT_FALSE(places.rewrite(input));
}

TEST(RecordPacker, FollowsAChangeOfSections) {
  RandomRecords one(1);
  RandomRecords other(2);
  RecordPacker packer;
  for (size_t i = 0; i < 200; ++i) {
    RandomRecords& records = i % 7 < 4 ? one : other;
    const PlanInput input = records.next();
    ASSERT_EQ(packer.pack(records.head(), records.body(), input), packed_anew(records, input));
  }
}

TEST(RecordPacker, ForgetsWhatItPackedOnce) {
  RandomRecords records(3);
  RecordPacker packer;
  packer.pack(records.head(), records.body(), records.next());
  {
    RandomRecords passing(4);
    const PlanInput input = passing.next();
    EXPECT_EQ(packer.pack_once(passing.head(), passing.body(), input), packed_anew(passing, input));
  }
  const PlanInput input = records.next();
  EXPECT_EQ(packer.pack(records.head(), records.body(), input), packed_anew(records, input));
}

// A race on purpose, which ThreadSanitizer would rightly tell of.
#if !defined(__SANITIZE_THREAD__)
// Two texts that are too long for room to be kept for their longest, and grow while they are
// packed.
class GrowingTexts {
 public:
  GrowingTexts() : bytes_(2 * kLimit, 'x') {
    PlanSectionWriter head(head_, bytes_.size());
    head.array_header(2);
    head.finish();
    PlanSectionWriter body(body_, bytes_.size());
    for (const uint64_t offset : {uint64_t{0}, uint64_t{kLimit}}) {
      body.text_value(StepValue::kText, offset, kLimit);
    }
    body.finish();
    producer_ = std::thread([this] {
      const std::atomic_ref<char> first(bytes_[0]);
      const std::atomic_ref<char> second(bytes_[kLimit]);
      while (!is_over_) {
        for (const char byte : {'x', '\0'}) {
          first.store(byte);
          second.store(byte);
        }
      }
    });
  }
  ~GrowingTexts() {
    is_over_ = true;
    producer_.join();
  }

  // Each text is empty or as long as it may be.
  static bool is_whole(std::string_view record) {
    constexpr size_t kLong = 3 + kLimit;
    return record.size() == 3 || record.size() == 2 + kLong || record.size() == 1 + 2 * kLong;
  }

  const PlanSection& head() const { return head_; }
  const PlanSection& body() const { return body_; }
  PlanInput input() const {
    PlanInput input;
    input.bytes = bytes_.data();
    input.time_us = 1'700'000'000'000'000;  // heads are kept of such times
    return input;
  }

 private:
  static constexpr uint32_t kLimit = 65'535;

  PlanSection head_;
  PlanSection body_;
  std::string bytes_;
  std::atomic<bool> is_over_ = false;
  std::thread producer_;
};

TEST(RecordPacker, KeepsToItsRoomWhenTextsGrowMeanwhile) {
  const GrowingTexts texts;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
  while (std::chrono::steady_clock::now() < end) {
    RecordPacker packer;
    for (int i = 0; i < 10; ++i) {
      ASSERT_TRUE(texts.is_whole(packer.pack(texts.head(), texts.body(), texts.input())));
    }
    ASSERT_TRUE(texts.is_whole(packer.pack_once(texts.head(), texts.body(), texts.input())));
  }
}
#endif

}  // namespace
}  // namespace vek::test
