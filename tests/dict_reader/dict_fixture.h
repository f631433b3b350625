// Events handed to a decoder context one by one, trees as text, and a user that notes down the
// messages that it is given.
#ifndef VEK_TESTS_DICT_READER_DICT_FIXTURE_H
#define VEK_TESTS_DICT_READER_DICT_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "dict_reader/data_dict.h"
#include "dict_reader/data_object.h"
#include "dict_reader/decoder_context.h"
#include "dict_reader/dict_event.h"
#include "dict_reader/dict_reader.h"
#include "tests/support/log_capture.h"
#include "utils/owned.h"

namespace vek::test {

inline const std::string kReader = "[vek_dictionary_reader] ";

inline std::vector<std::string> said(std::initializer_list<const char*> lines) {
  std::vector<std::string> all;
  for (const char* line : lines) all.push_back(kReader + line);
  return all;
}

template <typename T>
std::string bytes_of(T value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

// {"key":"text","real":1.500000,"list":[...]}; a child without a key has "(none)" there.
inline std::string text_of(DataObject* object) {
  switch (object->type()) {
    case DATA_ITEM_STRING:
      return '"' + *static_cast<StringDataObject*>(object)->value() + '"';
    case DATA_ITEM_DOUBLE:
      return std::to_string(static_cast<DoubleDataObject*>(object)->value());
    case DATA_ITEM_LONG:
      return std::to_string(static_cast<LongDataObject*>(object)->value());
    case DATA_ITEM_BOOL:
      return static_cast<BoolDataObject*>(object)->value() ? "true" : "false";
    case DATA_ITEM_NONE:
      return "none";
    default:
      break;
  }
  const auto* container = static_cast<ContainerDataObject*>(object);
  const bool dict = object->type() == DATA_ITEM_DICT;
  std::string text;
  for (DataObject* child = container->first(); child; child = child->next()) {
    EXPECT_EQ(child->parent(), container);
    if (!text.empty()) text += ',';
    if (dict) text += (child->name() ? '"' + *child->name() + '"' : "(none)") + ":";
    text += text_of(child);
  }
  return dict ? "{" + text + "}" : "[" + text + "]";
}

using OwnedMessage = Owned<const data_dict_message_t, data_dict_message_destroy>;

// The user of a context or reader.
struct Receiver {
  struct Message {
    std::string source_id;
    std::string tag;
    std::string root;
    uint64_t timestamp;
    bool operator==(const Message&) const = default;
  };
  std::vector<Message> messages;
  bool answer = true;
  bool keep = false;
  std::vector<OwnedMessage> kept;

  std::vector<std::string> roots() const {
    std::vector<std::string> all;
    for (const Message& message : messages) all.push_back(message.root);
    return all;
  }

  data_dict_reader_user_t user(bool send_root_only = false) {
    return {receive, reinterpret_cast<dict_reader_user_ctx*>(this), send_root_only, !keep};
  }
  static bool receive(dict_reader_user_ctx* context, const data_dict_message_t* message) {
    auto& self = *reinterpret_cast<Receiver*>(context);
    EXPECT_EQ(message->root->parent(), nullptr);
    self.messages.push_back({message->source_id ? message->source_id : "(null)",
                             message->tag ? message->tag : "(null)", text_of(message->root),
                             message->timestamp});
    if (self.keep) self.kept.emplace_back(message);
    return self.answer;
  }
};

// The events of one source, given straight to a context.
class Events {
 public:
  explicit Events(DataDictionaryReader::DecoderContextInterface& context) : context_(&context) {}

  bool id(uint32_t key_id, std::string_view name) {
    return context_->OnID(key_id, name.data(), size_of(name));
  }
  bool string(uint32_t key_id, std::string_view text) {
    return context_->OnString(key_id, text.data(), size_of(text));
  }
  bool real(uint32_t key_id, double value) {
    return context_->OnDouble(key_id, &value, sizeof value);
  }
  bool integer(uint32_t key_id, int64_t value) {
    return context_->OnLong(key_id, &value, sizeof value);
  }
  bool boolean(uint32_t key_id, bool value) {
    return value ? context_->OnBoolTrue(key_id, nullptr, 0)
                 : context_->OnBoolFalse(key_id, nullptr, 0);
  }
  bool none(uint32_t key_id) { return context_->OnNone(key_id, nullptr, 0); }
  bool dict(uint32_t key_id = kNoKeyId) { return context_->OnNewDict(key_id, nullptr, 0); }
  bool list(uint32_t key_id = kNoKeyId) { return context_->OnNewList(key_id, nullptr, 0); }
  bool end_dict() { return context_->OnEndDict(nullptr, 0); }
  bool end_list() { return context_->OnEndList(nullptr, 0); }
  bool collection(uint64_t timestamp) {
    return context_->OnNewCollection(&timestamp, sizeof timestamp);
  }

 private:
  static uint32_t size_of(std::string_view text) { return static_cast<uint32_t>(text.size()); }

  DataDictionaryReader::DecoderContextInterface* context_;
};

// A context whose keys 1 to 4 are a to d; the collection is not begun.
class ContextTest : public ::testing::Test {
 protected:
  explicit ContextTest(bool send_root_only = false, bool keep = false)
      : receiver_{.messages = {}, .keep = keep, .kept = {}},
        user_(receiver_.user(send_root_only)),
        context_(&user_, "leaf01", "dict_t"),
        events_(context_) {
    for (uint32_t i = 1; i <= 4; ++i) events_.id(i, std::string(1, static_cast<char>('`' + i)));
    log_.clear();
  }

  LogCapture log_;
  Receiver receiver_;
  data_dict_reader_user_t user_;
  DataDictionaryReader::DecoderContext context_;
  Events events_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_DICT_READER_DICT_FIXTURE_H
