#include "utils/text_places.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "tests/support/guarded_bytes.h"
#include "tests/utils/record_rewriting.h"

namespace vek::test {
namespace {

// Texts between other values, close enough for the window of one to reach over those behind it.
class Texts {
 public:
  explicit Texts(uint32_t limit, StepValue kind = StepValue::kText) : limit_(limit) {
    PlanSectionWriter head(head_, kSize);
    head.text("time");
    head.record_value(StepValue::kTime);
    head.finish();
    PlanSectionWriter out(body_, kSize);
    out.text("number");
    out.number(kNumber, NumberRead::integer(8, false));
    out.flush();
    out.text("state_1");
    out.text_value(kind, kFirst, limit);
    out.text("flag");
    out.number(kFlag, NumberRead::flag());
    out.flush();
    out.text("state_2");
    out.text_value(kind, kSecond, limit);
    out.text("x");
    out.number(kNumber, NumberRead::integer(8, false));
    out.text("guid");
    out.hex(kNumber);
    out.finish();
  }

  std::string with(size_t first, size_t second, uint64_t number) const {
    std::string bytes(kSize, '\0');
    std::memcpy(&bytes[kNumber], &number, sizeof(number));
    bytes[kFlag] = static_cast<char>(number & 1);
    std::memset(&bytes[kFirst], 'a', first);
    std::memset(&bytes[kSecond], 'b', second);
    return bytes;
  }

  PlanInput input(const std::string& bytes) const {
    PlanInput input;
    input.bytes = bytes.data();
    input.time_us = 1'700'000'000'000'000 + static_cast<uint8_t>(bytes[kNumber]);
    return input;
  }

  const PlanSection& head() const { return head_; }
  const PlanSection& body() const { return body_; }
  uint32_t limit() const { return limit_; }

 private:
  static constexpr size_t kNumber = 0;
  static constexpr size_t kFlag = 8;
  static constexpr size_t kFirst = 16;
  static constexpr size_t kSecond = 80;
  static constexpr size_t kSize = 144;

  uint32_t limit_;
  PlanSection head_;
  PlanSection body_;
};

TEST(TextPlaces, TakeTextsOfEveryLength) {
  for (const uint32_t limit : {1u, 31u, 32u, 33u, 40u}) {
    const Texts texts(limit);
    for (size_t from = 0; from <= limit; ++from) {
      for (size_t to = 0; to <= limit; ++to) {
        SCOPED_TRACE(testing::Message() << "limit " << limit << ": " << from << " to " << to);
        const std::string one = texts.with(from, to, 200);
        const std::string other = texts.with(to, from, 201);
        expect_rewritten(texts.head(), texts.body(), texts.input(one), texts.input(other));
        if (testing::Test::HasFatalFailure()) return;
      }
    }
  }
}

// Two texts of a limit at the end of an input, behind which nothing is readable.
class LastTexts {
 public:
  LastTexts(uint32_t limit, size_t behind) : limit_(limit), size_(kFirst + 2 * limit + behind) {
    PlanSectionWriter head(head_, size_);
    head.array_header(2);
    head.record_value(StepValue::kSeconds);
    head.finish();
    PlanSectionWriter out(body_, size_);
    for (const uint64_t offset : {kFirst, kFirst + limit}) {
      out.text("a text");
      out.text_value(StepValue::kText, offset, limit);
    }
    out.finish();
  }

  // Filled with no NUL but those behind the texts.
  std::unique_ptr<GuardedBytes> with(size_t first, size_t second) const {
    std::string bytes(size_, 'x');
    if (first < limit_) bytes[kFirst + first] = '\0';
    if (second < limit_) bytes[kFirst + limit_ + second] = '\0';
    return std::make_unique<GuardedBytes>(bytes.data(), bytes.size());
  }
  static PlanInput input(const GuardedBytes& bytes) {
    PlanInput input;
    input.bytes = bytes.as<char>();
    input.time_us = 1'700'000'000'000'000;
    return input;
  }
  // Of texts of so many bytes, behind the head.
  static std::string body_with(size_t first, size_t second) {
    std::string body;
    for (const size_t size : {first, second}) {
      body +=
          "\xa6"
          "a text" +
          std::string(1, static_cast<char>(0xa0 | size)) + std::string(size, 'x');
    }
    return body;
  }

  const PlanSection& head() const { return head_; }
  const PlanSection& body() const { return body_; }

 private:
  static constexpr uint64_t kFirst = 3;  // at no multiple of a word

  uint32_t limit_;
  size_t size_;
  PlanSection head_;
  PlanSection body_;
};

TEST(TextPlaces, ReadNothingBehindTheInput) {
  constexpr size_t kHead = 10;
  for (uint32_t limit = 0; limit < 32; ++limit) {
    for (size_t behind = 0; behind < 4; ++behind) {
      const LastTexts texts(limit, behind);
      const auto one = texts.with(limit, limit / 2);
      for (size_t first = 0; first <= limit; ++first) {
        const size_t second = limit - first;
        SCOPED_TRACE(testing::Message()
                     << "limit " << limit << ", " << behind << " behind: " << first);
        const auto other = texts.with(first, second);
        const PlanInput input = LastTexts::input(*other);
        ASSERT_EQ(packed_anew(texts.head(), texts.body(), input).substr(kHead),
                  LastTexts::body_with(first, second));
        expect_rewritten(texts.head(), texts.body(), LastTexts::input(*one), input);
        if (testing::Test::HasFatalFailure()) return;
      }
    }
  }
}

// What stands behind a text changes with its next neighbours only, the text does not.
TEST(TextPlaces, LeaveWhatStandsBehindThemAsItIs) {
  const Texts texts(32);
  for (const size_t length : {size_t{0}, size_t{5}, size_t{31}}) {
    for (const uint64_t number : {uint64_t{1}, uint64_t{300}, uint64_t{70'000}, ~uint64_t{0}}) {
      const std::string one = texts.with(length, length, 7);
      const std::string other = texts.with(length, length, number);
      expect_rewritten(texts.head(), texts.body(), texts.input(one), texts.input(other));
      if (testing::Test::HasFatalFailure()) return;
    }
  }
}

TEST(TextPlaces, DoNotKeepATextThatIsLeftOutNow) {
  const Texts texts(20, StepValue::kTextUnlessEmpty);
  const std::string full = texts.with(5, 5, 1);
  const std::string empty = texts.with(5, 0, 1);
  PlanInput input = texts.input(full);
  input.leave_out_empty = true;
  MsgpackBuffer buffer;
  const size_t size = pack_record(buffer, texts.head(), texts.body(), input);
  RecordPlaces places;
  ASSERT_TRUE(
      places.learn(texts.head(), texts.body(), input, buffer.data(), size, buffer.capacity()));
  input = texts.input(empty);
  input.leave_out_empty = true;
  EXPECT_FALSE(places.rewrite(input));
}

}  // namespace
}  // namespace vek::test
