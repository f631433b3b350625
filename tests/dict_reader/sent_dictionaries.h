// Dictionaries as the events that send them, and streams of them.
#ifndef VEK_TESTS_DICT_READER_SENT_DICTIONARIES_H
#define VEK_TESTS_DICT_READER_SENT_DICTIONARIES_H

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/dict_reader/both_readers.h"
#include "tests/dict_reader/dict_fixture.h"

namespace vek::test {

struct Sent {
  python_event_type_t type;
  uint32_t key_id = kNoKeyId;
  std::string data = {};
};
using Dictionary = std::vector<Sent>;

// Values of every type, in dictionaries and lists.
inline Dictionary sample() {
  const std::string number = bytes_of(uint64_t{300});
  return {{PYTHON_DICT_START},      {PYTHON_LONG, 1, number},
          {PYTHON_STRING, 2, "ok"}, {PYTHON_LIST_START, 1},
          {PYTHON_LONG, 1, number}, {PYTHON_DOUBLE, 2, bytes_of(0.5)},
          {PYTHON_LIST_END},        {PYTHON_DICT_START, 2},
          {PYTHON_LONG, 1, number}, {PYTHON_DOUBLE, 2, bytes_of(0.5)},
          {PYTHON_BOOL_TRUE, 1},    {PYTHON_NONE, 2},
          {PYTHON_DICT_START},      {PYTHON_STRING, 1, std::string(40, 't')},
          {PYTHON_DICT_END},        {PYTHON_BOOL_FALSE, 3},
          {PYTHON_DICT_END},        {PYTHON_LONG, 2, bytes_of(~uint64_t{0})},
          {PYTHON_DICT_END}};
}

// So that a change of the sample is a small one.
inline Dictionary longSample() {
  Dictionary dictionary = sample();
  for (uint32_t i = 0; i < 40; ++i) {
    dictionary.insert(dictionary.end() - 1, {PYTHON_LONG, 1 + i % 3, bytes_of(uint64_t{i})});
  }
  return dictionary;
}

class Stream {
 public:
  Stream() {
    pages_.collection(1);
    for (uint32_t id = 1; id <= 3; ++id) pages_.id(id, "key" + std::to_string(id));
  }
  // A page ends in front of that event.
  void send(const Dictionary& dictionary, size_t turn = SIZE_MAX) {
    pages_.collection(++sent_);
    for (size_t i = 0; i < dictionary.size(); ++i) {
      if (i == turn) pages_.writer.next_page();
      pages_.event(dictionary[i].type, dictionary[i].key_id, dictionary[i].data);
    }
  }
  // The records are as many as the dictionaries.
  void expectRecordsOfBoth(bool send_root_only = false) {
    const Outcome outcome = readByBoth(pagesOf(pages_), {.send_root_only = send_root_only});
    EXPECT_THAT(outcome.pages, ::testing::Each(true));
    EXPECT_THAT(outcome.lines, ::testing::IsEmpty());
    EXPECT_THAT(outcome.records, ::testing::SizeIs(sent_));
  }

 private:
  StreamPages pages_{"s", "dict_"};
  uint64_t sent_ = 0;
};

inline bool isValue(const Sent& sent) {
  constexpr python_event_type_t kOthers[] = {PYTHON_DICT_START, PYTHON_DICT_END, PYTHON_LIST_START,
                                             PYTHON_LIST_END};
  return std::ranges::find(kOthers, sent.type) == std::end(kOthers);
}

// What may become of one value.
using Change = void (*)(Dictionary&, size_t at);
inline constexpr Change kChanges[] = {
    [](Dictionary& in, size_t at) {
      in[at] = {PYTHON_LONG, 1, bytes_of(uint64_t{7})};
    },
    [](Dictionary& in, size_t at) {
      in[at] = {PYTHON_LONG, 1, bytes_of(~uint64_t{200})};
    },
    [](Dictionary& in, size_t at) {
      in[at] = {PYTHON_DOUBLE, 1, bytes_of(7.5)};
    },
    [](Dictionary& in, size_t at) {
      in[at] = {PYTHON_STRING, 2, "longer"};
    },
    [](Dictionary& in, size_t at) {
      in[at] = {PYTHON_BOOL_FALSE, 1};
    },
    [](Dictionary& in, size_t at) { in[at].key_id = 3; },
    [](Dictionary& in, size_t at) { in[at].data += "more"; },
    [](Dictionary& in, size_t at) { in.insert(in.begin() + static_cast<long>(at), Sent(in[at])); },
    [](Dictionary& in, size_t at) { in.erase(in.begin() + static_cast<long>(at)); }};

}  // namespace vek::test

#endif  // VEK_TESTS_DICT_READER_SENT_DICTIONARIES_H
