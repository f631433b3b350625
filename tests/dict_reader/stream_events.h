// Stream events as they come out of pages, in a form that reads like the stream:
// "<type> <key id> <data>".
#ifndef VEK_TESTS_DICT_READER_STREAM_EVENTS_H
#define VEK_TESTS_DICT_READER_STREAM_EVENTS_H

#include <cstring>
#include <string>
#include <vector>

#include "dict_reader/dict_event.h"
#include "tests/data/opaque_fixture.h"

namespace vek::test {

inline std::string number_in(const std::string& data, bool real) {
  int64_t whole = 0;
  double fraction = 0;
  if (data.size() != sizeof(whole)) return "!" + std::to_string(data.size()) + " bytes";
  std::memcpy(&whole, data.data(), sizeof(whole));
  std::memcpy(&fraction, data.data(), sizeof(fraction));
  return real ? std::to_string(fraction) : std::to_string(whole);
}

inline std::string event_text(const Delivery& event) {
  const python_event_type_t type = typeOfDictEventWord(event.second);
  const uint32_t key_id = keyIdOfDictEventWord(event.second);
  std::string text = python_event_type_to_string(type);
  text = text.substr(std::strlen("PYTHON_")) + " ";
  text += key_id == kNoKeyId ? "-" : std::to_string(key_id);
  if (type == PYTHON_LONG || type == PYTHON_NEW_COLLECTION) {
    text += " " + number_in(event.data, false);
  } else if (type == PYTHON_DOUBLE) {
    text += " " + number_in(event.data, true);
  } else if (!event.data.empty() || type == PYTHON_STRING) {
    text += " '" + event.data + "'";
  }
  return text;
}

inline std::vector<std::string> event_texts(const std::vector<Delivery>& events) {
  std::vector<std::string> texts;
  for (const Delivery& event : events) texts.push_back(event_text(event));
  return texts;
}

}  // namespace vek::test

#endif  // VEK_TESTS_DICT_READER_STREAM_EVENTS_H
