#include "dict_reader/stream_packer.h"

#include <gmock/gmock.h>

#include <limits>

#include "tests/dict_reader/both_readers.h"
#include "tests/dict_reader/dict_fixture.h"
#include "tests/support/dice.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

using ::testing::Each;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// The records of both readers, which accept every page of the stream and say nothing.
std::vector<std::string> recordsOfBoth(StreamPages& stream, bool send_root_only = false) {
  const Outcome outcome = readByBoth(pagesOf(stream), {.send_root_only = send_root_only});
  EXPECT_THAT(outcome.pages, Each(true));
  EXPECT_THAT(outcome.lines, IsEmpty());
  return outcome.records;
}

StreamPages begun(uint32_t event_size = 128) {
  StreamPages stream("s", "dict_", event_size);
  stream.collection(500'000);
  stream.id(1, "a");
  stream.id(2, "b");
  return stream;
}

void fill(StreamPages& stream, uint32_t children) {
  for (uint32_t i = 0; i < children; ++i) stream.integer(1, i);
}

TEST(StreamPacker, HeadersAreAsWideAsTheyHaveToBe) {
  StreamPages stream = begun(64);
  constexpr uint32_t kCounts[] = {0, 15, 16, 15, 65'535, 65'536, 65'535, 16, 0};
  for (const uint32_t count : kCounts) {
    stream.collection(1);
    stream.dict();
    stream.list(1);
    fill(stream, count);
    stream.end_list();
    stream.dict(2);
    fill(stream, count);
    stream.end_dict();
    fill(stream, count);
    stream.end_dict();
  }
  EXPECT_THAT(recordsOfBoth(stream), SizeIs(std::size(kCounts)));
}

TEST(StreamPacker, RootListsTooHaveSuchHeaders) {
  StreamPages stream = begun(64);
  for (const uint32_t count : {0u, 15u, 16u, 65'536u, 1u}) {
    stream.collection(1);
    stream.list();
    fill(stream, count);
    stream.end_list();
  }
  EXPECT_THAT(recordsOfBoth(stream, true), SizeIs(5));
}

// Each level is kept room for as if it were long, and none is.
TEST(StreamPacker, DepthCostsNeitherStackNorTime) {
  constexpr int kLevels = 100'000;
  StreamPages stream = begun(64);
  for (const bool deep : {false, true, true}) {
    stream.collection(1);
    stream.dict();
    for (int i = 0; i < (deep ? kLevels : 40); ++i) {
      i % 2 ? stream.dict(1) : stream.list(2);
      if (!deep) fill(stream, 20);
    }
    for (int i = (deep ? kLevels : 40) - 1; i >= 0; --i)
      i % 2 ? stream.end_dict() : stream.end_list();
    stream.end_dict();
  }
  EXPECT_THAT(recordsOfBoth(stream), SizeIs(3));
}

TEST(StreamPacker, KeysAndTextsOfEveryLength) {
  StreamPages stream = begun(400);
  stream.dict();
  for (uint32_t length = 1; length <= 300; length += length < 40 ? 1 : 31) {
    stream.id(1, std::string(length, 'k'));
    stream.string(1, std::string(length, 't'));
    stream.string(2, std::string(length, 'u'));
    stream.integer(1, length);
    stream.dict(1);
    stream.end_dict();
  }
  stream.string(1, "");
  stream.end_dict();
  EXPECT_THAT(recordsOfBoth(stream), SizeIs(1));
}

TEST(StreamPacker, NumbersOfEveryRange) {
  StreamPages stream = begun();
  stream.dict();
  for (int shift = 0; shift < 64; ++shift) {
    const uint64_t power = uint64_t{1} << shift;
    for (const uint64_t bits : {power - 1, power, power + 1, ~power, -power, -(power + 1)}) {
      stream.integer(1, static_cast<int64_t>(bits));
      stream.real(2, std::bit_cast<double>(bits));
    }
  }
  stream.end_dict();
  EXPECT_THAT(recordsOfBoth(stream), SizeIs(1));
}

// The last events of a page lie nearer to its end than a window is wide.
TEST(StreamPacker, EventsOfEverySizeUpToThePagesEnd) {
  for (uint32_t event_size = 54; event_size <= 100; ++event_size) {
    SCOPED_TRACE(event_size);
    StreamPages stream = begun(event_size);
    stream.dict();
    for (uint32_t i = 0; i < 5; ++i) {
      stream.integer(1, i);
      stream.writer.next_page();
      stream.boolean(1, true);
      stream.string(2, std::string(std::min(stream.writer.capacity(), 31u), 't'));
      stream.writer.next_page();
    }
    stream.end_dict();
    EXPECT_THAT(recordsOfBoth(stream), SizeIs(1));
  }
}

TEST(StreamPacker, EventsThatClaimMoreDataThanTheyHave) {
  for (uint32_t event_size = 54; event_size <= 100; ++event_size) {
    for (const auto type : {PYTHON_STRING, PYTHON_LONG, PYTHON_NONE, PYTHON_DICT_END, PYTHON_ID}) {
      SCOPED_TRACE(event_size);
      StreamPages stream = begun(event_size);
      stream.dict();
      vek_opaque_event_t header{};
      header.second_word = packDictEventWord(type, 1);
      header.data_size = stream.writer.capacity() + 1;
      stream.writer.event(header, {});
      for (int i = 0; i < 5; ++i) stream.boolean(1, true);  // behind it in the page
      stream.writer.next_page();
      stream.end_dict();
      const Outcome outcome = readByBoth(pagesOf(stream), {});
      EXPECT_EQ(outcome.pages.front(), false);
      EXPECT_THAT(outcome.records, SizeIs(1));
    }
  }
}

TEST(StreamPacker, KeyIdsNeedNotBeDense) {
  StreamPages stream = begun();
  const uint32_t ids[] = {kNoKeyId - 1, 1u << 31, 70'000, 300, 257, 256, 255, 3};
  for (int round = 0; round < 3; ++round) {
    stream.collection(1);
    stream.dict();
    for (const uint32_t id : ids) {
      stream.id(id, "key-" + std::to_string(id + static_cast<uint32_t>(round)));
      stream.integer(id, id);
      stream.list(id);
      stream.end_list();
    }
    stream.end_dict();
  }
  EXPECT_THAT(recordsOfBoth(stream), SizeIs(3));
}

TEST(StreamPacker, AValueKeepsTheNameThatItArrivedWith) {
  StreamPages stream = begun();
  stream.dict();
  stream.integer(1, 1);
  stream.id(1, "another");
  stream.integer(1, 2);
  stream.id(1, "an");  // the beginning of the name that is there: kept
  stream.integer(1, 3);
  stream.end_dict();
  const std::vector<std::string> records = recordsOfBoth(stream);
  ASSERT_THAT(records, SizeIs(1));
  EXPECT_EQ(msgpack_to_text(as_bytes(records[0])), "[0.5,{\"a\":1,\"another\":2,\"another\":3}]");
}

// Every event in every state of a stream, whatever comes of it.
TEST(StreamPacker, EveryEventInEveryState) {
  const auto event = [](StreamPages& stream, uint32_t i) {
    constexpr uint32_t kKeys[] = {1, 9, kNoKeyId};
    const std::string data = i % 2 ? "12345678" : "";
    stream.event(static_cast<python_event_type_t>(i / 6), kKeys[i / 2 % 3], data);
    stream.writer.next_page();
  };
  constexpr uint32_t kEvents = 13 * 6;
  constexpr uint32_t kStates = 8;
  for (const bool send_root_only : {false, true}) {
    for (uint32_t i = 0; i < kStates * kEvents; ++i) {
      SCOPED_TRACE(i);
      StreamPages stream("s", "dict_");
      const uint32_t state = i / kEvents;
      if (state > 0) stream.collection(7);
      stream.id(1, "a");
      if (state == 2 || state > 5) stream.dict();
      if (state == 3 || state == 4 || state == 5) stream.list();
      if (state == 4 || state == 6) stream.dict(1);
      if (state == 5 || state == 7) stream.list(1);
      stream.writer.next_page();
      event(stream, i % kEvents);
      stream.integer(1, 5);
      stream.writer.next_page();
      for (int n = 0; n < 3; ++n) {
        stream.end_list();
        stream.writer.next_page();
        stream.end_dict();
        stream.writer.next_page();
      }
      for (const uint32_t level : {6u, 7u}) {
        readByBoth(pagesOf(stream), {.send_root_only = send_root_only, .log_level = level});
        ASSERT_FALSE(::testing::Test::HasFailure());
      }
    }
  }
}

// Events in one row, as they lie in a page.
std::vector<uint8_t> rowOf(Dice& dice, size_t event_size) {
  // More ends than starts: those that do not fit end nothing.
  constexpr uint32_t kTypes[] = {PYTHON_ID,         PYTHON_STRING,        PYTHON_DOUBLE,
                                 PYTHON_LONG,       PYTHON_LONG,          PYTHON_BOOL_FALSE,
                                 PYTHON_BOOL_TRUE,  PYTHON_NONE,          PYTHON_DICT_START,
                                 PYTHON_LIST_START, PYTHON_DICT_END,      PYTHON_DICT_END,
                                 PYTHON_LIST_END,   PYTHON_LIST_END,      PYTHON_DICT_END,
                                 PYTHON_LIST_END,   PYTHON_NEW_COLLECTION};
  const auto header = [&](size_t i) {
    vek_opaque_event_t drawn{};
    const uint32_t type = i == 0 ? PYTHON_NEW_COLLECTION : kTypes[dice.upto(std::size(kTypes) - 1)];
    drawn.data_size = type == PYTHON_STRING ? dice.upto(20) : 8;
    drawn.second_word =
        packDictEventWord(static_cast<python_event_type_t>(type), dice.upto(9) ? 1 : kNoKeyId);
    return drawn;
  };
  // Every other row repeats itself, but for what its numbers are.
  const size_t period = dice.upto(1) ? 1000 : 20 + dice.upto(100);
  std::vector<vek_opaque_event_t> headers;
  std::vector<uint8_t> row;
  for (size_t i = 0; i < 1000; ++i) {
    headers.push_back(i < period ? header(i) : headers[i - period]);
    const size_t at = row.size();
    row.resize(at + event_size);
    std::memcpy(row.data() + at, &headers.back(), sizeof headers.back());
    const bool is_id = typeOfDictEventWord(headers.back().second_word) == PYTHON_ID;
    const uint64_t bits = is_id ? 0x4141414141414141 : dice.word() >> dice.upto(63);
    std::memcpy(row.data() + at + sizeof headers.back(), &bits, sizeof bits);
  }
  return row;
}

TEST(StreamPacker, EveryProcessorMakesTheSame) {
  const LogCapture log(0);
  using Records = std::vector<std::string>;
  const auto receive = [](dict_reader_user_ctx* context, const void* record, size_t size) {
    reinterpret_cast<Records*>(context)->emplace_back(static_cast<const char*>(record), size);
    return true;
  };
  size_t records = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    Dice dice(seed);
    const size_t event_size = 62 + dice.upto(70);
    const std::vector<uint8_t> row = rowOf(dice, event_size);
    const auto run = [&](bool baseline) {
      Records out;
      data_dict_reader_user_t user = {nullptr, reinterpret_cast<dict_reader_user_ctx*>(&out),
                                      seed % 2 == 0, true};
      StreamPacker packer(user, receive);
      for (Bytes left(row); left.size() >= event_size;) {
        const auto taken =
            baseline ? packer.takeRunBaseline(left, event_size) : packer.takeRun(left, event_size);
        if (taken.events == 0) break;
        left = left.subspan(taken.events * event_size);
      }
      return out;
    };
    const Records expected = run(true);
    EXPECT_EQ(run(false), expected);
    records += expected.size();
  }
  EXPECT_GT(records, 100u);
}

// A reader and a stream of like dictionaries, of which each is a page.
class Steady {
 public:
  Steady() {
    std::array<unsigned char, VEK_APP_ID_SIZE> any_app{};
    data_dict_reader_user_t user = {nullptr, reinterpret_cast<dict_reader_user_ctx*>(this), false,
                                    true};
    reader_ = std::make_unique<DataDictionaryReader>(&user, any_app.data(),
                                                     DataDictionaryReader::kTreeDecoder);
    reader_->PackRecords(receive);
    stream_.collection(1);
    stream_.id(1, "a");
    stream_.id(2, std::string(50, 'b'));
    stream_.writer.next_page();
    for (int i = 0; i < 3; ++i) {
      stream_.collection(1);
      stream_.dict();
      stream_.list(1);
      for (int k = 0; k < 40; ++k) stream_.string(2, "some text that is longer than a window is");
      stream_.end_list();
      fill(stream_, 100);
      stream_.end_dict();
      stream_.writer.next_page();
    }
    stream_.end_list();
    stream_.writer.next_page();
    stream_.end_dict();
    pages_ = pagesOf(stream_);
  }
  // Whatever is open.
  void closeAll() {
    read(4);
    read(5);
  }
  bool read(size_t page) {
    return reader_->ReadPage(reinterpret_cast<const vek_data_page_t*>(pages_[page].image.data()),
                             &pages_[page].lookup);
  }
  size_t records = 0;
  size_t record_size = 0;

 private:
  static bool receive(dict_reader_user_ctx* context, const void* record, size_t size) {
    auto& self = *reinterpret_cast<Steady*>(context);
    if (!record) return false;
    ++self.records;
    self.record_size = size;
    return true;
  }
  StreamPages stream_{"s", "dict_"};
  std::vector<ReadPage> pages_;
  std::unique_ptr<DataDictionaryReader> reader_;
};

TEST(StreamPacker, SteadyStreamsTakeNoMemory) {
  if (!FailAllocation::available()) GTEST_SKIP();
  const LogCapture log(6);
  Steady steady;
  EXPECT_TRUE(steady.read(0));
  EXPECT_TRUE(steady.read(1));
  FailAllocation failing(1);
  const bool read = steady.read(2) && steady.read(3);
  EXPECT_FALSE(failing.disarm());
  EXPECT_TRUE(read);
  EXPECT_EQ(steady.records, 3u);
}

TEST(StreamPacker, WhenMemoryRunsOutTheNextDictionaryIsWholeAgain) {
  if (!FailAllocation::available()) GTEST_SKIP();
  const LogCapture log(0);
  for (unsigned n = 1;; ++n) {
    ASSERT_LT(n, 200u);
    Steady steady;
    bool failed = false;
    {
      FailAllocation failing(n);
      steady.read(0);
      steady.read(1);
      failed = failing.disarm();
    }
    steady.closeAll();
    EXPECT_TRUE(steady.read(0));
    // Page 0 begins a collection, which page 1 may begin again.
    EXPECT_TRUE(steady.read(1));
    EXPECT_TRUE(steady.read(2));
    const size_t size = steady.record_size;
    EXPECT_TRUE(steady.read(3));
    EXPECT_EQ(steady.record_size, size);
    if (!failed) break;
  }
}

}  // namespace
}  // namespace vek::test
