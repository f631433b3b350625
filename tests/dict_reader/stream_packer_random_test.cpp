// Random streams, right and wrong ones, through both readers.
//
// VEK_TEST_STREAMS is how many; the default takes seconds.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <memory>

#include "tests/dict_reader/both_readers.h"
#include "tests/dict_reader/dict_fixture.h"
#include "tests/support/dice.h"

namespace vek::test {
namespace {

// One source and tag, which knows what would be right to send and sends something else now and
// then.
class RandomStream {
 public:
  RandomStream(Dice& dice, std::string source, std::string tag)
      : dice_(dice),
        pages_({.source_id = std::move(source),
                .tag = std::move(tag),
                .app_id = {static_cast<uint8_t>(dice.upto(1))},
                .event_size = 54 + (dice.upto(2) ? dice.upto(150) : dice.upto(10)),
                .page_size = 1000 + dice.upto(12'000)}),
        num_keys_(1 + dice.upto(dice.upto(3) ? 8 : 60)),
        first_key_(dice.upto(3) ? dice.upto(300) : dice.upto(UINT32_MAX - 100)),
        // One event of so many is a mistake.
        care_(dice.upto(3) ? 300 + dice.upto(3000) : 10 + dice.upto(90)) {}

  void step() {
    if (dice_.upto(care_) == 0) return mistake();
    if (open_.empty()) return last_.empty() || dice_.upto(2) == 0 ? begin() : repeat();
    const uint32_t what = dice_.upto(19);
    if (what == 0) return define(keyId());
    if (what <= 3) return end();
    if (what <= 5) return start(dice_.upto(1) == 0);
    // Some containers are long.
    for (uint32_t n = dice_.upto(30) ? 1 : dice_.upto(40); n > 0; --n) value();
  }

  std::vector<ReadPage> takePages() { return pagesOf(pages_); }

 private:
  struct Sent {
    python_event_type_t type;
    uint32_t key_id;
    std::string data;
  };

  uint32_t keyId() { return first_key_ + dice_.upto(num_keys_ - 1); }
  uint32_t unusualKeyId() {
    constexpr uint32_t kUnusual[] = {kNoKeyId, kNoKeyId - 1, 255, 256, 257, 70'000};
    return kUnusual[dice_.upto(5)];
  }

  void begin() {
    if (!defined_) {
      for (uint32_t i = 0; i < num_keys_; ++i) define(first_key_ + i);
      defined_ = true;
    }
    event(PYTHON_NEW_COLLECTION, 0, bytes_of(dice_.word() >> dice_.upto(63)));
    if (dice_.upto(3) == 0) define(keyId());
    sent_.clear();
    start(dice_.upto(2) != 0);
  }

  // The last dictionary that was right, several times over, with a change here and there.
  void repeat() {
    const uint32_t changes = dice_.upto(3);  // none, or in more and more of them
    for (uint32_t times = 1 + dice_.upto(4); times > 0; --times) {
      if (dice_.upto(3) < changes) change();
      event(PYTHON_NEW_COLLECTION, 0, bytes_of(dice_.word()));
      const bool turns_page = dice_.upto(3) == 0;
      const size_t turn = dice_.upto(static_cast<uint32_t>(last_.size()));
      for (size_t i = 0; i < last_.size(); ++i) {
        if (turns_page && i == turn) pages_.writer.next_page();
        event(last_[i].type, last_[i].key_id, last_[i].data);
      }
    }
  }

  void change() {
    const size_t at = dice_.upto(static_cast<uint32_t>(last_.size() - 1));
    Sent& sent = last_[at];
    const bool is_value = std::ranges::find(kValueTypes, sent.type) != kValueTypes.end();
    const auto here = last_.begin() + static_cast<std::ptrdiff_t>(at);
    switch (is_value ? dice_.upto(6) : 5 + dice_.upto(1)) {
      case 0:
        sent.type = kValueTypes[dice_.upto(5)];
        [[fallthrough]];
      case 1:
        sent.data = dataOf(sent.type);
        return;
      case 2:
        sent.key_id = keyId();
        return;
      case 3:
        last_.insert(here, Sent(sent));
        return;
      case 4:
        last_.erase(here);
        return;
      case 5:
        sent.data += 'x';
        return;
      default:
        return define(keyId());
    }
  }

  // Some names are beginnings of others.
  void define(uint32_t key_id) {
    constexpr uint32_t kLengths[] = {1, 2, 5, 30, 31, 32, 33, 255, 256, 300};
    const uint32_t length = dice_.upto(3) ? 1 + dice_.upto(20) : kLengths[dice_.upto(9)];
    std::string name(length, static_cast<char>('a' + dice_.upto(1)));
    if (dice_.upto(1)) name = dice_.bytes(30) + "x";
    if (dice_.upto(3) == 0 && names_.contains(key_id)) name = names_[key_id];
    names_[key_id] = name;
    event(PYTHON_ID, key_id, name);
  }

  void start(bool is_dict) {
    const bool named = open_.empty() ? dice_.upto(4) == 0 : !is_dict || dice_.upto(2) != 0;
    event(is_dict ? PYTHON_DICT_START : PYTHON_LIST_START, named ? keyId() : kNoKeyId, {});
    open_.push_back(is_dict);
  }

  void end() {
    event(open_.back() ? PYTHON_DICT_END : PYTHON_LIST_END, kNoKeyId, {});
    open_.pop_back();
    if (open_.empty()) last_ = sent_;
  }

  void value() {
    const python_event_type_t type = kValueTypes[dice_.upto(5)];
    event(type, keyId(), dataOf(type));
  }

  std::string dataOf(python_event_type_t type) {
    std::string data;
    if (type == PYTHON_STRING) data = text();
    if (type == PYTHON_LONG) {
      const uint64_t bits = dice_.word() >> dice_.upto(63);
      data = bytes_of(dice_.upto(1) ? bits : ~bits);
    }
    if (type == PYTHON_DOUBLE) data = bytes_of(dice_.word());
    if (dice_.upto(40) == 0) data += dice_.bytes(5);
    return data;
  }

  std::string text() {
    if (dice_.upto(9)) return dice_.bytes(dice_.upto(3) ? 12 : 40);
    constexpr uint32_t kLengths[] = {0, 31, 32, 33, 255, 256, 65'535, 65'536};
    const bool huge = pages_.writer.capacity() > 40 && dice_.upto(20) == 0;
    return std::string(kLengths[dice_.upto(huge ? 7 : 5)], 't');
  }

  // Any event: what a producer that has lost its way, or memory, may send.
  void mistake() {
    last_.clear();
    const std::string data = dice_.bytes(dice_.upto(9) ? 16 : 60);
    const uint32_t type = dice_.upto(9) ? dice_.upto(11) : dice_.upto(UINT32_MAX);
    event(static_cast<python_event_type_t>(type), dice_.upto(2) ? keyId() : unusualKeyId(), data);
    if (dice_.upto(3) == 0) lie(data);
    if (dice_.upto(9) == 0) open_.clear();
  }

  // An event that claims other data than it has, or to be of another kind.
  void lie(const std::string& data) {
    vek_opaque_event_t header{};
    header.kind = static_cast<uint8_t>(dice_.upto(3));
    header.second_word =
        packDictEventWord(static_cast<python_event_type_t>(dice_.upto(12)), keyId());
    header.data_size = dice_.upto(1) ? dice_.upto(300) : dice_.upto(UINT32_MAX);
    pages_.writer.event(header, as_bytes(data));
  }

  void event(python_event_type_t type, uint32_t key_id, std::string_view data) {
    sent_.push_back({type, key_id, std::string(data)});
    if (dice_.upto(30)) return pages_.event(type, key_id, data);
    const uint32_t capacity = pages_.writer.capacity();
    pages_.chunked(type, key_id, data, {dice_.upto(capacity), 1 + dice_.upto(capacity - 1)});
    if (dice_.upto(5) == 0) pages_.writer.next_page();
  }

  static constexpr std::array kValueTypes = {PYTHON_LONG,       PYTHON_DOUBLE,    PYTHON_STRING,
                                             PYTHON_BOOL_FALSE, PYTHON_BOOL_TRUE, PYTHON_NONE};

  Dice& dice_;
  StreamPages pages_;
  uint32_t num_keys_;
  uint32_t first_key_;
  uint32_t care_;
  bool defined_ = false;
  std::vector<bool> open_;  // true for dictionaries
  std::map<uint32_t, std::string> names_;
  std::vector<Sent> sent_;  // of this dictionary
  std::vector<Sent> last_;
};

// Bytes behind the page's header change.
void harm(Dice& dice, Image& image) {
  if (image.size() <= VEK_PAGE_HEADER_SIZE) return;
  const auto blocks = static_cast<uint32_t>(image.size() - VEK_PAGE_HEADER_SIZE);
  for (uint32_t n = dice.upto(3); n > 0; --n) {
    image[VEK_PAGE_HEADER_SIZE + dice.upto(blocks - 1)] = static_cast<uint8_t>(dice.upto(255));
  }
}

size_t compare(unsigned seed) {
  SCOPED_TRACE(seed);
  Dice dice(seed);
  std::vector<std::unique_ptr<RandomStream>> streams;
  std::vector<std::vector<ReadPage>> pages;
  std::vector<size_t> turns;
  const uint32_t num_streams = 1 + dice.upto(3);
  for (uint32_t i = 0; i < num_streams; ++i) {
    streams.push_back(std::make_unique<RandomStream>(dice, std::string(1 + i / 2, 's'),
                                                     i % 2 ? "dict_a" : "dict_"));
    for (uint32_t steps = 50 + dice.upto(300); steps > 0; --steps) streams.back()->step();
    pages.push_back(streams.back()->takePages());
    turns.insert(turns.end(), pages.back().size(), i);
  }
  // Pages of one stream stay in order.
  dice.shuffle(turns);
  const bool harms = dice.upto(5) == 0;
  std::vector<size_t> next(streams.size());
  std::vector<ReadPage> all;
  for (const size_t i : turns) {
    all.push_back(pages[i][next[i]++]);
    if (harms && dice.upto(3) == 0) harm(dice, all.back().image);
  }
  const ReadOptions options = {.send_root_only = dice.upto(1) == 0,
                               .log_level = dice.upto(4) ? 6u : 7u,
                               .refuse_each = dice.upto(3) ? SIZE_MAX : 1 + dice.upto(9)};
  return readByBoth(all, options).records.size();
}

TEST(StreamPackerRandom, DoesWhatTreesDo) {
  const char* const wanted = std::getenv("VEK_TEST_STREAMS");
  const unsigned streams = wanted ? static_cast<unsigned>(std::atoi(wanted)) : 70;
  size_t records = 0;
  for (unsigned seed = 1; seed <= streams && !HasFailure(); ++seed) records += compare(seed);
  // Mistakes must not hide what is right.
  EXPECT_GT(records, streams * size_t{5});
  RecordProperty("records", static_cast<int>(records));
  if (wanted) std::printf("%u seeds, %zu records\n", streams, records);
}

}  // namespace
}  // namespace vek::test
