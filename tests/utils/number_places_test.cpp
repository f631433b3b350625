#include "utils/number_places.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "tests/utils/record_rewriting.h"

namespace vek::test {
namespace {

struct Width {
  uint8_t bytes;
  bool is_signed;
};

constexpr Width kWidths[] = {{1, false}, {1, true}, {2, false}, {2, true},
                             {4, false}, {4, true}, {8, false}, {8, true}};

constexpr uint64_t kValues[] = {0,
                                1,
                                0x7f,
                                0x80,
                                0xdf,
                                0xe0,
                                0xff,
                                0x100,
                                0x7fff,
                                0x8000,
                                0xff7f,
                                0xffff,
                                0x1'0000,
                                0x7fff'ffff,
                                0x8000'0000,
                                0xffff'7fff,
                                0xffff'ffff,
                                0x1'0000'0000,
                                0x7fff'ffff'ffff'ffff,
                                0x8000'0000'0000'0000,
                                0xffff'ffff'7fff'ffff,
                                0xffff'ffff'ffff'ffff};

// Five numbers of one width, so that a whole group of four and a part of one are written, so many
// bytes apart, in the order of the record or the other way round. One of them ends with the input,
// so that it is read with what stands before it.
class Numbers {
 public:
  Numbers(Width width, NumberRead read, uint64_t apart, bool backwards = false)
      : bytes_(4 * apart + width.bytes, '\x5a') {
    PlanSectionWriter(head_, bytes_.size()).finish();
    PlanSectionWriter out(body_, bytes_.size());
    for (uint64_t i = 0; i < 5; ++i) {
      out.text(std::string(i, 'k'));
      offsets_[i] = apart * (backwards ? 4 - i : i);
      out.number(offsets_[i], read);
    }
    out.text("what stands behind the last one");
    out.finish();
  }

  std::string with(const Width& width, uint64_t value, bool only_two) const {
    std::string bytes = bytes_;
    for (size_t i = 0; i < 5; ++i) {
      const uint64_t here = only_two && i < 3 ? i : value;
      std::memcpy(&bytes[offsets_[i]], &here, width.bytes);
    }
    return bytes;
  }

  const PlanSection& head() const { return head_; }
  const PlanSection& body() const { return body_; }

 private:
  PlanSection head_;
  PlanSection body_;
  std::string bytes_;
  uint64_t offsets_[5] = {};
};

PlanInput input_of(const std::string& bytes) {
  PlanInput input;
  input.bytes = bytes.data();
  return input;
}

TEST(NumberPlaces, TakeEveryValueOfEveryWidthWhereverItIsRead) {
  for (const Width width : kWidths) {
    for (const uint64_t apart : {uint64_t{width.bytes} + 8, uint64_t{13}}) {
      const Numbers numbers(width, NumberRead::integer(width.bytes, width.is_signed), apart);
      for (const uint64_t from : kValues) {
        for (const uint64_t to : kValues) {
          SCOPED_TRACE(testing::Message() << int{width.bytes} << " bytes, signed "
                                          << width.is_signed << ": " << from << " to " << to);
          const std::string one = numbers.with(width, from, /*only_two=*/true);
          const std::string other = numbers.with(width, to, /*only_two=*/true);
          expect_rewritten(numbers.head(), numbers.body(), input_of(one), input_of(other));
          if (testing::Test::HasFatalFailure()) return;
        }
      }
    }
  }
}

TEST(NumberPlaces, TakeEveryReal) {
  for (const Width width : {Width{4, false}, Width{8, false}}) {
    const NumberRead read = width.bytes == 4 ? NumberRead::float32() : NumberRead::float64();
    const Numbers numbers(width, read, 11);
    for (const uint64_t from : kValues) {
      for (const uint64_t to : kValues) {
        const std::string one = numbers.with(width, from, /*only_two=*/false);
        const std::string other = numbers.with(width, to, /*only_two=*/false);
        expect_rewritten(numbers.head(), numbers.body(), input_of(one), input_of(other));
        if (testing::Test::HasFatalFailure()) return;
      }
    }
  }
}

// Two that are read together: side by side, with room between them, and the later one first, as
// aliases have it.
TEST(NumberPlaces, TakeNeighboursInAnyOrder) {
  for (const Width width : kWidths) {
    const uint64_t least = std::max<uint64_t>(width.bytes, 2);  // or no word is readable
    for (const uint64_t apart : {least, uint64_t{width.bytes} + 3}) {
      for (const bool backwards : {false, true}) {
        SCOPED_TRACE(testing::Message() << int{width.bytes} << " bytes, " << apart << " apart"
                                        << (backwards ? ", backwards" : ""));
        const Numbers numbers(width, NumberRead::integer(width.bytes, width.is_signed), apart,
                              backwards);
        const std::string one = numbers.with(width, 1, /*only_two=*/true);
        const std::string other = numbers.with(width, 0x5b, /*only_two=*/true);
        expect_rewritten(numbers.head(), numbers.body(), input_of(one), input_of(other));
        if (testing::Test::HasFatalFailure()) return;
      }
    }
  }
}

// A race on purpose, which ThreadSanitizer would rightly tell of.
#if !defined(__SANITIZE_THREAD__)
TEST(NumberPlaces, OfAPageThatIsStillWrittenMakeRecordsThatAreWhole) {
  constexpr size_t kCount = 8;
  constexpr uint64_t kSmall = 5;
  constexpr uint64_t kLarge = 0x1'0000'0000'0000;
  PlanSection head;
  PlanSection body;
  alignas(8) uint64_t values[kCount] = {};
  PlanSectionWriter(head, sizeof(values)).finish();
  PlanSectionWriter out(body, sizeof(values));
  for (size_t i = 0; i < kCount; ++i) out.number(i * 8, NumberRead::integer(8, false));
  out.finish();
  PlanInput input;
  input.bytes = reinterpret_cast<const char*>(values);
  const auto packed_with = [&](uint64_t value) {
    values[kCount - 1] = value;
    return packed_anew(head, body, input);
  };
  const std::string large = packed_with(kLarge);
  const std::string small = packed_with(kSmall);

  std::atomic<bool> is_over = false;
  std::thread producer([&] {
    const std::atomic_ref<uint64_t> last(values[kCount - 1]);
    while (!is_over) {
      for (int i = 0; i < 100; ++i) last.store(i % 2 == 0 ? kLarge : kSmall);
    }
  });
  MsgpackBuffer buffer;
  size_t rewritten = 0;
  size_t others = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
  while (std::chrono::steady_clock::now() < end) {
    const size_t size = pack_record(buffer, head, body, input, 4096);
    RecordPlaces places;
    if (!places.learn(head, body, input, buffer.data(), size, buffer.capacity())) continue;
    for (int i = 0; i < 1000 && places.rewrite(input); ++i) {
      ++rewritten;
      others += places.record() != large && places.record() != small ? 1 : 0;
    }
  }
  is_over = true;
  producer.join();
  EXPECT_GT(rewritten, 0);
  EXPECT_EQ(others, 0);
}
#endif

}  // namespace
}  // namespace vek::test
