#include "dict_reader/dict_reader.h"

#include <array>
#include <bit>
#include <sstream>

#include "tests/dict_reader/dict_fixture.h"
#include "tests/dict_reader/stream_pages.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::array<unsigned char, VEK_APP_ID_SIZE> g_any_app{};

const std::string kWaiting = kReader + "ignoring an event - waiting to a 'start collection' event";

class DictReader : public ::testing::Test {
 protected:
  bool read(StreamPages& pages) { return read(pages, reader_); }
  bool read(StreamPages& pages, DataDictionaryReader& reader) {
    const auto lookup = lookup_of(pages.writer.schema());
    bool all = true;
    for (const Image& image : pages.writer.take_pages()) {
      const GuardedBytes page(image);
      all &= reader.ReadPage(page.as<vek_data_page_t>(), &lookup);
    }
    return all;
  }
  bool process(uint32_t type, uint32_t key_id, std::string_view data = {}) {
    return reader_.ProcessEvent("s", "dict_t", nullptr, nullptr, 0,
                                static_cast<uint64_t>(type) << 32 | key_id, data.data(),
                                static_cast<unsigned>(data.size()));
  }

  LogCapture log_;
  Receiver receiver_;
  data_dict_reader_user_t user_ = receiver_.user();
  DataDictionaryReader reader_{&user_, g_any_app.data(), DataDictionaryReader::kTreeDecoder};
};

void write_one(StreamPages& pages, int64_t value) {
  pages.id(1, "value");
  pages.dict();
  pages.integer(1, value);
  pages.end_dict();
}

TEST_F(DictReader, IsReadyWithItsExtractor) {
  EXPECT_TRUE(reader_.IsReady());
  EXPECT_THAT(log_.errors(), IsEmpty());
}

TEST_F(DictReader, KnowsOneTypeOfDecoder) {
  for (const int type : {1, -1, 77}) {
    log_.clear();
    DataDictionaryReader reader(&user_, g_any_app.data(),
                                static_cast<DataDictionaryReader::DecoderType_e>(type));
    EXPECT_FALSE(reader.IsReady());
    EXPECT_EQ(log_.errors(),
              std::vector<std::string>{kReader + "Unable to find decoder class for type " +
                                       std::to_string(type)});
    StreamPages pages("s", "dict_t");
    pages.collection(1);
    EXPECT_FALSE(read(pages, reader));
  }
}

TEST_F(DictReader, SaysSoWhenItHasNoExtractor) {
  const DataDictionaryReader reader(&user_, nullptr, DataDictionaryReader::kTreeDecoder);
  EXPECT_FALSE(reader.IsReady());
  const DataDictionaryReader fixed(nullptr, nullptr);
  EXPECT_FALSE(fixed.IsReady());
  EXPECT_EQ(log_.errors(), said({"Unable to allocate opaque events exporter",
                                 "Unable to allocate opaque events exporter"}));
}

TEST_F(DictReader, SaysSoWhenThereIsNoMemoryForItsExtractor) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  FailAllocation failing(1);
  const DataDictionaryReader reader(&user_, g_any_app.data(), DataDictionaryReader::kTreeDecoder);
  EXPECT_TRUE(failing.disarm());
  EXPECT_FALSE(reader.IsReady());
  EXPECT_TRUE(log_.has(3, kReader + "Unable to allocate opaque events exporter"));
}

TEST_F(DictReader, ReadsPages) {
  StreamPages pages("leaf01", "dict_t");
  pages.collection(7);
  write_one(pages, 1);
  EXPECT_TRUE(read(pages));
  EXPECT_THAT(receiver_.messages,
              ElementsAre(Receiver::Message{"leaf01", "dict_t", "{\"value\":1}", 7}));
  EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(DictReader, CopiesTheUserRecord) {
  user_ = {};
  StreamPages pages("s", "dict_t");
  pages.collection(7);
  write_one(pages, 1);
  EXPECT_TRUE(read(pages));
  EXPECT_THAT(receiver_.messages, SizeIs(1));
}

TEST_F(DictReader, GivesTheFlagsToItsContexts) {
  user_.send_root_only = true;
  DataDictionaryReader reader(&user_, g_any_app.data(), DataDictionaryReader::kTreeDecoder);
  StreamPages pages("s", "dict_t");
  pages.collection(7);
  pages.list();
  write_one(pages, 1);
  pages.end_list();
  EXPECT_TRUE(read(pages, reader));
  EXPECT_THAT(receiver_.roots(), ElementsAre("[{\"value\":1}]"));
}

TEST_F(DictReader, WithoutAUserDictionariesAreDropped) {
  DataDictionaryReader reader(nullptr, g_any_app.data(), DataDictionaryReader::kTreeDecoder);
  EXPECT_TRUE(reader.IsReady());
  StreamPages pages("s", "dict_t");
  pages.collection(7);
  write_one(pages, 1);
  EXPECT_TRUE(read(pages, reader));
}

TEST_F(DictReader, PassesOverPagesWithOtherTags) {
  for (const char* tag : {"", "dict", "dictx", "dict-x", "Dict_x", " dict_x", "xdict_"}) {
    StreamPages pages("s", tag);
    pages.event(static_cast<python_event_type_t>(99), 0);  // would fail if it were read
    pages.collection(1);
    EXPECT_TRUE(read(pages)) << tag;
  }
  EXPECT_THAT(log_.errors(), IsEmpty());
  EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(DictReader, ReadsEveryTagThatBeginsAsItShould) {
  for (const char* tag : {"dict_", "dict_x", "dict_0123456789a", "dict_0123456789ab"}) {
    StreamPages pages("s", tag);
    pages.collection(1);
    write_one(pages, 1);
    EXPECT_TRUE(read(pages)) << tag;
    EXPECT_EQ(receiver_.messages.back().tag, std::string(tag).substr(0, 16));
  }
}

TEST_F(DictReader, RefusesNull) {
  StreamPages pages("s", "dict_t");
  pages.collection(1);
  const Image image = pages.writer.take_pages()[0];
  const auto lookup = lookup_of(pages.writer.schema());
  EXPECT_FALSE(reader_.ReadPage(nullptr, &lookup));
  EXPECT_FALSE(reader_.ReadPage(reinterpret_cast<const vek_data_page_t*>(image.data()), nullptr));
}

TEST_F(DictReader, TakesEventsOfItsApplicationOnly) {
  std::array<unsigned char, VEK_APP_ID_SIZE> wanted{1, 2};
  DataDictionaryReader reader(&user_, wanted.data(), DataDictionaryReader::kTreeDecoder);
  StreamPages other("s", "dict_t");
  other.collection(1);
  write_one(other, 1);
  EXPECT_TRUE(read(other, reader));
  EXPECT_THAT(receiver_.messages, IsEmpty());
  StreamPages own({.source_id = "s", .tag = "dict_t", .app_id = {1, 2}, .event_size = 128});
  own.collection(1);
  write_one(own, 2);
  EXPECT_TRUE(read(own, reader));
  EXPECT_THAT(receiver_.roots(), ElementsAre("{\"value\":2}"));
}

TEST_F(DictReader, DropsEventsBeforeTheFirstCollectionAndThePageGoesOn) {
  StreamPages pages("s", "dict_t");
  write_one(pages, 1);
  pages.event(static_cast<python_event_type_t>(99), 0);
  EXPECT_TRUE(read(pages));
  EXPECT_THAT(receiver_.messages, IsEmpty());
  EXPECT_EQ(log_.warnings(), std::vector<std::string>(5, kWaiting));
  pages.collection(1);
  write_one(pages, 2);
  EXPECT_TRUE(read(pages));
  EXPECT_THAT(receiver_.roots(), ElementsAre("{\"value\":2}"));
}

TEST_F(DictReader, DropsEventsBehindACollection) {
  StreamPages pages("s", "dict_t");
  pages.collection(1);
  write_one(pages, 1);
  write_one(pages, 2);
  EXPECT_TRUE(read(pages));
  EXPECT_THAT(receiver_.roots(), ElementsAre("{\"value\":1}"));
  EXPECT_EQ(log_.warnings(), std::vector<std::string>(4, kWaiting));
}

TEST_F(DictReader, ACollectionThatIsRefusedFailsThePage) {
  StreamPages pages("s", "dict_t");
  pages.event(PYTHON_NEW_COLLECTION, kNoKeyId, "1234");
  EXPECT_FALSE(read(pages));
  EXPECT_EQ(log_.errors(), (std::vector<std::string>{
                               kReader + "'new collection' invalid size",
                               "[opaque events extractor] Unable to handle a relevant opaque event",
                               "[opaque events extractor] events block processing failed"}));
}

TEST_F(DictReader, AnEventThatIsRefusedFailsItsPageAndTheTreeGoesOnWithTheNext) {
  StreamPages pages("s", "dict_t");
  pages.id(1, "value");
  pages.collection(1);
  pages.id(1, "value");
  pages.dict();
  pages.integer(1, 1);
  pages.end_list();
  pages.integer(1, 99);  // not read any more
  EXPECT_FALSE(read(pages));
  pages.integer(1, 2);
  pages.end_dict();
  EXPECT_TRUE(read(pages));
  EXPECT_THAT(receiver_.roots(), ElementsAre("{\"value\":1,\"value\":2}"));
}

TEST_F(DictReader, ACallbackThatRefusesFailsThePage) {
  receiver_.answer = false;
  StreamPages pages("s", "dict_t");
  pages.collection(1);
  write_one(pages, 1);
  EXPECT_FALSE(read(pages));
  EXPECT_THAT(receiver_.messages, SizeIs(1));
}

TEST_F(DictReader, UnknownTypesOfEventsAreRefused) {
  ASSERT_TRUE(process(PYTHON_NEW_COLLECTION, 0, std::string(8, '\0')));
  for (const uint32_t type : {12u, 0x80000000u, 0xFFFFFFFFu}) {
    log_.clear();
    EXPECT_FALSE(process(type, 1));
    EXPECT_EQ(log_.errors(), std::vector<std::string>{kReader + "got an event of unknown type " +
                                                      std::to_string(type)});
  }
}

TEST_F(DictReader, SourcesAndTagsHaveContextsOfTheirOwn) {
  const std::pair<std::string, std::string> pairs[] = {{"a", "dict_1"},
                                                       {"a", "dict_2"},
                                                       {"b", "dict_1"},
                                                       {"", "dict_1"},
                                                       {std::string(64, 's'), "dict_1"}};
  std::vector<StreamPages> all;
  for (const auto& [source, tag] : pairs) all.emplace_back(source, tag);
  for (size_t i = 0; i < all.size(); ++i) {
    all[i].collection(i);
    all[i].id(1, "key" + std::to_string(i));
    all[i].id(1, "key" + std::to_string(i));
    all[i].dict();
    EXPECT_TRUE(read(all[i]));
  }
  for (StreamPages& pages : all) {
    pages.none(1);
    pages.end_dict();
    EXPECT_TRUE(read(pages));
  }
  ASSERT_THAT(receiver_.messages, SizeIs(all.size()));
  for (size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(receiver_.messages[i],
              (Receiver::Message{pairs[i].first, pairs[i].second,
                                 "{\"key" + std::to_string(i) + "\":none}", i}));
  }
}

TEST_F(DictReader, PutsEventsTogetherThatComeInChunksOverPages) {
  StreamPages pages("s", "dict_t", 64);
  const std::string name(150, 'n');
  const std::string text(5000, 't');
  pages.collection(1);
  pages.id(1, name);
  pages.writer.next_page();
  pages.dict();
  pages.chunked(PYTHON_STRING, 1, text, {1, 5, 11});
  pages.writer.next_page();
  pages.chunked(PYTHON_LONG, 1, bytes_of(int64_t{-5}), {3});
  pages.end_dict();
  EXPECT_TRUE(read(pages));
  EXPECT_THAT(receiver_.roots(),
              ElementsAre("{\"" + name + "\":\"" + text + "\",\"" + name + "\":-5}"));
}

TEST_F(DictReader, APageCutAtAnyByteIsNeverReadBeyondItsEnd) {
  StreamPages pages("s", "dict_t", 61);
  pages.collection(1);
  pages.id(1, "value");
  pages.dict();
  pages.real(1, 1);
  pages.string(1, std::string(20, 's'));
  pages.end_dict();
  const Image image = pages.writer.take_pages()[0];
  const auto lookup = lookup_of(pages.writer.schema());
  size_t complete = 0;
  for (size_t length = 720; length <= image.size(); ++length) {
    Image cut(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(length));
    reinterpret_cast<vek_data_page_t*>(cut.data())->total = length;
    const GuardedBytes page(cut);
    DataDictionaryReader reader(&user_, g_any_app.data(), DataDictionaryReader::kTreeDecoder);
    reader.ReadPage(page.as<vek_data_page_t>(), &lookup);
    complete += receiver_.messages.size();
    receiver_.messages.clear();
    log_.clear();
  }
  EXPECT_EQ(complete, 1u);
}

TEST_F(DictReader, WithoutMemoryTheEventIsRefusedAndNothingIsThrown) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const std::string source(40, 's');
  const uint64_t collection = packDictEventWord(PYTHON_NEW_COLLECTION, 0);
  const uint64_t name = packDictEventWord(PYTHON_ID, 1);
  const auto process = [&](uint64_t word, std::string_view data) {
    return DataDictionaryReader::ProcessEventClb(
        reinterpret_cast<vek_opaque_events_extractor_recipient_ctx*>(&reader_), source.c_str(),
        "dict_t", nullptr, nullptr, 0, word, data.data(), static_cast<unsigned>(data.size()));
  };
  const std::string text(60, 'x');
  for (const auto& [word, data] : {std::pair(collection, std::string(8, '\1')), {name, text}}) {
    for (unsigned n = 1;; ++n) {
      FailAllocation failing(n);
      const bool done = process(word, data);
      if (!failing.disarm()) {
        EXPECT_TRUE(done);
        break;
      }
      // A context can do without the copies of its texts.
      EXPECT_TRUE(done || log_.has(3, kReader + "Cannot process event"));
      log_.clear();
    }
  }
  EXPECT_TRUE(process(packDictEventWord(PYTHON_DICT_START, 1), {}));
}

TEST_F(DictReader, ItsCallbackNeedsARecipient) {
  EXPECT_FALSE(DataDictionaryReader::ProcessEventClb(nullptr, "s", "dict_t", nullptr, nullptr, 0, 0,
                                                     nullptr, 0));
  EXPECT_EQ(log_.errors(), said({"Cannot process event"}));
}

// Notes down what it is called with.
class Noting final : public DataDictionaryReader::DecoderContextInterface {
 public:
  bool OnID(uint32_t k, const void* d, uint32_t s) override { return note("OnID", k, d, s); }
  bool OnString(uint32_t k, const void* d, uint32_t s) override {
    return note("OnString", k, d, s);
  }
  bool OnDouble(uint32_t k, const void* d, uint32_t s) override {
    return note("OnDouble", k, d, s);
  }
  bool OnLong(uint32_t k, const void* d, uint32_t s) override { return note("OnLong", k, d, s); }
  bool OnBoolFalse(uint32_t k, const void* d, uint32_t s) override {
    return note("OnBoolFalse", k, d, s);
  }
  bool OnBoolTrue(uint32_t k, const void* d, uint32_t s) override {
    return note("OnBoolTrue", k, d, s);
  }
  bool OnNone(uint32_t k, const void* d, uint32_t s) override { return note("OnNone", k, d, s); }
  bool OnNewDict(uint32_t k, const void* d, uint32_t s) override {
    return note("OnNewDict", k, d, s);
  }
  bool OnEndDict(const void* d, uint32_t s) override { return note("OnEndDict", 0, d, s); }
  bool OnNewList(uint32_t k, const void* d, uint32_t s) override {
    return note("OnNewList", k, d, s);
  }
  bool OnEndList(const void* d, uint32_t s) override { return note("OnEndList", 0, d, s); }
  bool OnNewCollection(const void* d, uint32_t s) override {
    return note("OnNewCollection", 0, d, s);
  }
  bool wasStarted() const override { return started; }

  std::vector<std::string> calls;
  bool started = true;
  bool answer = true;

 private:
  bool note(const char* handler, uint32_t key_id, const void* data, uint32_t size) {
    std::ostringstream text;
    text << handler << " " << key_id << " " << std::string(static_cast<const char*>(data), size);
    calls.push_back(text.str());
    return answer;
  }
};

TEST(DictReaderWithAFixedContext, GivesItEveryEventOfEverySource) {
  const LogCapture log;
  Noting context;
  DataDictionaryReader reader(g_any_app.data(), &context);
  EXPECT_TRUE(reader.IsReady());
  for (uint32_t type = 0; type <= 11; ++type) {
    EXPECT_TRUE(reader.ProcessEvent(type % 2 ? "s" : nullptr, nullptr, nullptr, nullptr, 7,
                                    static_cast<uint64_t>(type) << 32 | 5, "data!", 4));
  }
  EXPECT_THAT(context.calls,
              ElementsAre("OnID 5 data", "OnString 5 data", "OnDouble 5 data", "OnLong 5 data",
                          "OnNewDict 5 data", "OnEndDict 0 data", "OnNewList 5 data",
                          "OnEndList 0 data", "OnBoolFalse 5 data", "OnBoolTrue 5 data",
                          "OnNewCollection 0 data", "OnNone 5 data"));
  context.answer = false;
  EXPECT_FALSE(reader.ProcessEvent("s", "t", nullptr, nullptr, 0, 0, "x", 1));
}

TEST(DictReaderWithAFixedContext, GivesItOnlyTheBeginningUntilItHasStarted) {
  const LogCapture log;
  Noting context;
  context.started = false;
  DataDictionaryReader reader(g_any_app.data(), &context);
  for (uint32_t type = 0; type <= 12; ++type) {
    EXPECT_TRUE(reader.ProcessEvent("s", "t", nullptr, nullptr, 0,
                                    static_cast<uint64_t>(type) << 32, "data", 4));
  }
  EXPECT_THAT(context.calls, ElementsAre("OnNewCollection 0 data"));
  EXPECT_EQ(log.warnings(), std::vector<std::string>(12, kWaiting));
}

// Where a virtual function stands in its class's table.
template <typename Function>
size_t slot_of(Function function) {
  return (std::bit_cast<std::array<size_t, 2>>(function)[0] - 1) / sizeof(void*);
}

TEST(DecoderContextInterface, HasItsSlotsInTheOrderThatOtherProgramsKnow) {
  using Interface = DataDictionaryReader::DecoderContextInterface;
  const size_t slots[] = {slot_of(&Interface::OnID),        slot_of(&Interface::OnString),
                          slot_of(&Interface::OnDouble),    slot_of(&Interface::OnLong),
                          slot_of(&Interface::OnBoolFalse), slot_of(&Interface::OnBoolTrue),
                          slot_of(&Interface::OnNone),      slot_of(&Interface::OnNewDict),
                          slot_of(&Interface::OnEndDict),   slot_of(&Interface::OnNewList),
                          slot_of(&Interface::OnEndList),   slot_of(&Interface::OnNewCollection),
                          slot_of(&Interface::wasStarted)};
  for (size_t i = 0; i < std::size(slots); ++i) EXPECT_EQ(slots[i], i);
  EXPECT_EQ(slot_of(&DataObject::getHashName), 2u) << "behind both destructors";
}

TEST(DecoderContextMapper, KeepsOneContextForEachSourceAndTag) {
  DataDictionaryReader::DecoderContextMapper mapper;
  auto* const first = mapper.get("s", "t", nullptr);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(mapper.get(std::string("s").c_str(), std::string("t").c_str(), nullptr), first);
  EXPECT_NE(mapper.get("s", "u", nullptr), first);
  EXPECT_NE(mapper.get("t", "s", nullptr), first);
  EXPECT_EQ(mapper.get(nullptr, nullptr, nullptr), mapper.get("", "", nullptr));
  EXPECT_EQ(mapper.get("s", nullptr, nullptr), mapper.get("s", "", nullptr));
  EXPECT_EQ(mapper.get("s", "t", nullptr), first);
}

}  // namespace
}  // namespace vek::test
