// State that is bounded, time that is linear, depth that costs no stack.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <climits>
#include <cstring>
#include <ctime>
#include <functional>
#include <set>

#include "data/opaque_events_extractor.h"
#include "data/opaque_events_writer.h"
#include "data/page_writer.h"
#include "data/schema_owned.h"
#include "dict_reader/bounded_stream_map.h"
#include "dict_reader/dict_reader_utils.h"
#include "dict_reader/dictionary_stream_writer.h"
#include "exporter/counter_set_cache.h"
#include "exporter/fluentbit_exporter.h"
#include "json/json_owned.h"
#include "raw_msgpack_api/record_walk.h"
#include "schema_manager/fillings.h"
#include "tests/hardening/clock_shift.h"
#include "tests/hardening/record_sink.h"
#include "tests/support/log_capture.h"
#include "tests/support/schema_documents.h"
#include "utils/limits.h"

namespace vek::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

double cpu_seconds(const std::function<void()>& work) {
  timespec before{};
  timespec after{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &before);
  work();
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &after);
  return static_cast<double>(after.tv_sec - before.tv_sec) +
         static_cast<double>(after.tv_nsec - before.tv_nsec) / 1e9;
}

// On a thread with the smallest stack that a host is likely to have.
void on_small_stack(const std::function<void()>& work) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  constexpr size_t kStack = 1 << 20;  // sanitizers' frames are larger
#elif defined(VEK_HAVE_PARSON)
  constexpr size_t kStack = 1 << 20;  // an installed parson calls itself 2048 times
#else
  constexpr size_t kStack = 64 << 10;
#endif
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStack), 0);
  pthread_t thread{};
  const auto run = [](void* body) -> void* {
    (*static_cast<const std::function<void()>*>(body))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

constexpr size_t kDeep = 100'000;

TEST(Depth, DocumentsOfManyLevelsEndWithAnErrorOnASmallStack) {
  const LogCapture log;
  const std::string arrays(kDeep, '[');
  std::string objects;
  for (size_t i = 0; i < kDeep; ++i) objects += "{\"a\":";
  const std::string schema = "{\"version\":\"1.5.0\",\"counter_groups\":" + arrays;
  on_small_stack([&] {
    for (const std::string& text : {arrays, objects, schema}) {
      EXPECT_EQ(json_parse_string(text.c_str()), nullptr);
      EXPECT_EQ(vek_type_system_deserialize(text.c_str()), nullptr);
      EXPECT_EQ(vek_counters_schema_deserialize(text.c_str()), nullptr);
    }
  });
}

TEST(Depth, RecordsOfManyLevelsAreDroppedAlone) {
  std::vector<uint8_t> bytes(kDeep, 0x91);
  bytes.push_back(0xc0);
  std::vector<uint8_t> record = {0x92, 0x01, 0x81, 0xa1, 'a'};
  record.insert(record.end(), bytes.begin(), bytes.end());
  record.insert(record.end(), {0x81, 0xa1, 'b', 0x01});
  on_small_stack([&] {
    engine::RecordWalk walk(record);
    EXPECT_EQ(walk.next(), engine::RecordWalk::Step::kDropped);
    EXPECT_EQ(walk.next(), engine::RecordWalk::Step::kRecord);
    EXPECT_EQ(walk.next(), engine::RecordWalk::Step::kEnd);
  });
}

TEST(Depth, DictionariesOfManyLevelsArriveWholeOnASmallStack) {
  DictionaryStreamWriter writer({.source_id = "s", .tag = "dict_x", .event_size = 64});
  ASSERT_TRUE(writer.new_collection(1) && writer.dict_start());
  for (size_t i = 0; i < kDeep; ++i) ASSERT_TRUE(writer.dict_start("k"));
  for (size_t i = 0; i <= kDeep; ++i) ASSERT_TRUE(writer.dict_end());
  const auto pages = writer.take_pages();
  const LogCapture log(3);
  size_t size = 0;
  on_small_stack([&] {
    vek_exporter_schema_manager_t lookup{};
    lookup.find_event_type = [](void* type, const vek_schema_block_t*, const vek_event_header_t*) {
      return static_cast<const vek_type_definition_t*>(type);
    };
    lookup.context = const_cast<vek_type_definition_t*>(writer.schema().type());
    const auto take = [](dict_reader_user_ctx* context, const void*, size_t bytes) {
      *reinterpret_cast<size_t*>(context) = bytes;
      return true;
    };
    data_dict_reader_user_t user = {nullptr, reinterpret_cast<dict_reader_user_ctx*>(&size), true,
                                    true};
    unsigned char any[VEK_APP_ID_SIZE] = {};
    DataDictionaryReader reader(&user, any, DataDictionaryReader::kTreeDecoder);
    reader.PackRecords(take);
    for (const auto& page : pages) {
      EXPECT_TRUE(reader.ReadPage(reinterpret_cast<const vek_data_page_t*>(page.data()), &lookup));
    }
  });
  EXPECT_GE(size, kDeep * 3);
}

class Walk : public ::testing::Test {
 protected:
  Walk() : exporter_(sink_.api()) {
    exporter_.createFieldSet(nullptr, nullptr);
    exporter_.connectToFlb();
    vek_exporter_schema_manager_from_type_system(types_.get(), &schemas_);
  }
  void send(const std::vector<uint8_t>& image) {
    exporter_.exportDataPage(reinterpret_cast<const vek_data_page_t*>(image.data()), &schemas_);
  }

  OwnedTypeSystem types_ = typeSystem({"rx"});
  vek_exporter_schema_manager_t schemas_{};
  RecordSink sink_;
  FluentBitExporter exporter_;
  LogCapture log_{3};
};

TEST_F(Walk, TakesTimeLinearInTinyBlocks) {
  const auto page_of = [](size_t blocks) {
    PageWriter writer("s", "", 5);
    for (size_t i = 0; i < blocks; ++i) writer.raw(std::vector<uint8_t>{'V', 'E', 'K', 'D', 0});
    return writer.finish();
  };
  const auto some = page_of(65'535 / 4);
  const auto many = page_of(65'535);
  send(some);
  const double fourth = cpu_seconds([&] { send(some); });
  const double whole = cpu_seconds([&] { send(many); });
  EXPECT_LT(whole, 12 * fourth + 0.05) << fourth;
  EXPECT_LT(whole, 1.0);
  EXPECT_EQ(sink_.text(), "");
}

// `total`, `filled` and `block_size` of every size against each other: whatever they claim, no
// record is made of bytes beyond the smaller of the first two.
TEST_F(Walk, HeadersThatContradictThemselvesSendNoMoreThanThereIs) {
  PageWriter writer("s", "", 32);
  for (int i = 0; i < 4; ++i) {
    writer.counters_block(1'500'000, values({7}));
    writer.next_block();
  }
  const std::vector<uint8_t> whole = writer.finish();
  const uint64_t end = whole.size();
  const std::vector<uint64_t> odd = {
      0,   1,       5,          719,     720,      721,        744,        752,         end - 1,
      end, end + 1, UINT16_MAX, 1 << 16, 1u << 31, UINT32_MAX, 1ull << 32, ~0ull - 719, ~0ull};
  for (const uint64_t filled : odd) {
    for (const uint64_t block_size : odd) {
      for (const uint64_t total : {uint64_t{0}, uint64_t{719}, uint64_t{720}, uint64_t{744}, end}) {
        std::vector<uint8_t> image(
            whole.begin(), whole.begin() + static_cast<long>(std::max<uint64_t>(total, 720)));
        vek_data_page_t& header = *PageWriter::header_of(image);
        header.filled = filled;
        header.block_size = block_size;
        header.total = total;
        const size_t before = sink_.text().size();
        send(image);
        const size_t records = (sink_.text().size() - before) / std::strlen("[1.5,{}]");
        const uint64_t used = std::min(filled, total);
        EXPECT_LE(records, used <= 720 ? 0 : 50u) << total << " " << filled << " " << block_size;
      }
    }
  }
}

// One context a pair of source and tag; the one that was asked for longest ago goes first.
TEST(Streams, AreBoundedAndTheIdleOnesGiveWay) {
  BoundedStreamMap<std::string> map(100);
  const auto get = [&](int i) {
    return map.get(std::to_string(i).c_str(), "dict_x", [](const char* source, const char*) {
      return std::make_unique<std::string>(source);
    });
  };
  for (int i = 0; i < 100; ++i) get(i);
  EXPECT_EQ(map.given_up(), 0u);
  const std::string* const kept = get(0);  // asked for again
  for (int i = 100; i < 199; ++i) get(i);
  EXPECT_EQ(map.size(), 100u);
  EXPECT_EQ(map.given_up(), 99u);
  EXPECT_EQ(get(0), kept);
  get(1);  // made anew
  EXPECT_EQ(map.given_up(), 100u);
}

TEST(Streams, AMillionPairsTakeLinearTimeAndBoundedMemory) {
  BoundedStreamMap<int> map(limits::kStreams);
  const auto run = [&](int from, int to) {
    return cpu_seconds([&] {
      for (int i = from; i < to; ++i) {
        char source[16];
        char tag[8] = "dict_a";
        std::snprintf(source, sizeof source, "s%d", i / 10);
        tag[5] = static_cast<char>('a' + i % 10);
        map.get(source, tag, [](const char*, const char*) { return std::make_unique<int>(0); });
      }
    });
  };
  const double first = run(0, 250'000);
  const double last = run(750'000, 1'000'000);
  EXPECT_EQ(map.size(), limits::kStreams);
  EXPECT_LT(last, 5 * first + 0.2);
}

TEST(Streams, KeepSoManyKeysAndNoMore) {
  LogCapture log(3);
  dict_reader_utils::IdToKeyMap map;
  map.reserve(limits::kKeysOfStream);
  for (uint32_t i = 0; i < limits::kKeysOfStream; ++i) map.emplace(i, nullptr);
  EXPECT_TRUE(dict_reader_utils::hasRoomForKey(map, 7));  // known: its name may change
  EXPECT_FALSE(dict_reader_utils::hasRoomForKey(map, UINT32_MAX));
  EXPECT_THAT(log.errors(), Contains(HasSubstr("a stream has 1048576 keys at most")));
}

struct Extractor {
  Extractor() {
    recipient.on_event = [](vek_opaque_events_extractor_recipient_ctx* context, const char*,
                            const char*, const vek_custom_options*, const unsigned char*,
                            unsigned long, unsigned long, const void*, unsigned int) {
      ++*reinterpret_cast<size_t*>(context);
      return true;
    };
    recipient.context = reinterpret_cast<vek_opaque_events_extractor_recipient_ctx*>(&delivered);
    const unsigned char any[VEK_APP_ID_SIZE] = {};
    extractor.reset(vek_opaque_events_extractor_create(any, &recipient));
  }
  void read(const OpaqueEventSchema& schema, const std::vector<uint8_t>& image) {
    const vek_opaque_type_lookup_t lookup = {
        [](void* type, const vek_schema_block_t*, const vek_event_header_t*) {
          return static_cast<const vek_type_definition_t*>(type);
        },
        const_cast<vek_type_definition_t*>(schema.type())};
    vek_opaque_events_extractor_process_data_page(
        extractor.get(), reinterpret_cast<const vek_data_page_t*>(image.data()), &lookup);
  }

  size_t delivered = 0;
  vek_opaque_events_extractor_recipient_t recipient{};
  Owned<vek_opaque_events_extractor_t, vek_opaque_events_extractor_delete> extractor;
};

// Starts without their chunks, of more sources than are remembered: the first are given up, the
// last can still be finished.
TEST(UnfinishedEvents, AreBoundedAndTheOldestGiveWay) {
  LogCapture log(4);
  OpaqueEventsWriter writer({.source_id = "", .tag = "x", .event_size = 200});
  const std::vector<uint8_t> payload(100, 'x');
  ASSERT_TRUE(writer.start(1, {1, 2}, {{"k", "v"}}, 100));
  writer.next_page();
  ASSERT_TRUE(writer.chunk(1, 0, payload));
  auto pages = writer.take_pages();
  ASSERT_EQ(pages.size(), 2u);
  std::vector<uint8_t>& start = pages[0];
  std::vector<uint8_t>& chunk = pages[1];
  Extractor extractor;
  for (size_t i = 0; i < limits::kUnfinishedEvents + 3; ++i) {
    std::snprintf(PageWriter::header_of(start)->data_source.source_id, VEK_PAGE_SOURCE_ID_SIZE,
                  "%zu", i);
    extractor.read(writer.schema(), start);
  }
  EXPECT_THAT(log.warnings(), Contains(HasSubstr("too many unfinished events (65536")));
  const auto finish = [&](size_t source) {
    std::snprintf(PageWriter::header_of(chunk)->data_source.source_id, VEK_PAGE_SOURCE_ID_SIZE,
                  "%zu", source);
    extractor.read(writer.schema(), chunk);
    return extractor.delivered;
  };
  EXPECT_EQ(finish(0), 0u);
  EXPECT_EQ(finish(2), 0u);
  EXPECT_EQ(finish(3), 1u);
  EXPECT_EQ(finish(limits::kUnfinishedEvents), 2u);
}

// What was replaced or delivered holds no memory, so that any number of them may follow.
TEST(UnfinishedEvents, CountTheMemoryThatTheyHoldNow) {
  shift_clock(11);  // rate-limited messages are due again
  const LogCapture log(4);
  constexpr uint32_t kChunk = 4 << 20;
  OpaqueEventsWriter writer({.source_id = "s", .tag = "x", .event_size = kChunk});
  ASSERT_TRUE(writer.start(1, {1, 2}, {}, 2 * kChunk));
  writer.next_page();
  ASSERT_TRUE(writer.chunk(1, 0, std::vector<uint8_t>(writer.capacity() - 100, 'x')));
  const auto pages = writer.take_pages();
  Extractor extractor;
  for (size_t held = 0; held < limits::kUnfinishedBytes + 2 * kChunk; held += kChunk - 200) {
    for (const auto& page : pages) extractor.read(writer.schema(), page);
  }
  EXPECT_THAT(log.warnings(), Not(Contains(HasSubstr("too many unfinished events"))));
}

TEST(CounterSets, AreBoundedAndMadeAnew) {
  LogCapture log(4);
  CounterSetCache cache;
  for (size_t i = 0; i <= limits::kCounterSets; ++i) {
    const auto schema = countersSchema({"c" + std::to_string(i)});
    ASSERT_NE(cache.get(schema.get(), nullptr).set, nullptr);
    if (i < limits::kCounterSets) {
      ASSERT_TRUE(log.warnings().empty()) << i;
    }
  }
  EXPECT_THAT(log.warnings(), Contains(HasSubstr("more than 4096 counters schemas")));
  const auto again = countersSchema({"c0"});
  EXPECT_NE(cache.get_for_page(again.get(), nullptr).set, nullptr);
}

}  // namespace
}  // namespace vek::test
