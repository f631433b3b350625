#include "dict_reader/dictionary_stream_writer.h"

#include <limits>
#include <utility>

#include "utils/logger.h"

namespace vek {
namespace {

constexpr std::string_view kTagPrefix = "dict_";

// A text that fills its field has no NUL there, which readers accept.
bool is_good(const OpaqueEventsSource& source) {
  if (!source.tag.starts_with(kTagPrefix)) {
    VEK_LOGE("[vek_dictionary_writer] tag '%s' does not begin with 'dict_'", source.tag.c_str());
    return false;
  }
  if (source.tag.size() > VEK_PAGE_TAG_SIZE) {
    VEK_LOGE("[vek_dictionary_writer] tag '%s' is longer than %d bytes", source.tag.c_str(),
             VEK_PAGE_TAG_SIZE);
    return false;
  }
  if (source.source_id.size() > VEK_PAGE_SOURCE_ID_SIZE) {
    VEK_LOGE("[vek_dictionary_writer] source id '%s' is longer than %d bytes",
             source.source_id.c_str(), VEK_PAGE_SOURCE_ID_SIZE);
    return false;
  }
  return true;
}

bool refuse(python_event_type_t type, const char* why) {
  VEK_LOGE("[vek_dictionary_writer] %s refused: %s", python_event_type_to_string(type), why);
  return false;
}

template <typename T>
Bytes bytes_of(const T& value) {
  return {reinterpret_cast<const uint8_t*>(&value), sizeof(value)};
}

Bytes bytes_of_text(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

}  // namespace

DictionaryStreamWriter::DictionaryStreamWriter(OpaqueEventsSource source)
    : good_source_(is_good(source)), events_(std::move(source)) {}

bool DictionaryStreamWriter::new_collection(uint64_t timestamp_us) {
  if (!good_source_) return refuse(PYTHON_NEW_COLLECTION, "the source cannot be used");
  if (collecting_) return refuse(PYTHON_NEW_COLLECTION, "the collection before is not closed");
  events_.set_timestamp(timestamp_us);
  collecting_ = send(PYTHON_NEW_COLLECTION, 0, bytes_of(timestamp_us));
  return collecting_;
}

bool DictionaryStreamWriter::dict_start(std::string_view name) {
  return start(Container::kDict, name);
}

bool DictionaryStreamWriter::list_start(std::string_view name) {
  return start(Container::kList, name);
}

bool DictionaryStreamWriter::start(Container kind, std::string_view name) {
  if (!add(kind == Container::kDict ? PYTHON_DICT_START : PYTHON_LIST_START, name, {})) {
    return false;
  }
  open_.push_back(kind);
  return true;
}

bool DictionaryStreamWriter::add_string(std::string_view name, std::string_view value) {
  return add(PYTHON_STRING, name, bytes_of_text(value));
}

bool DictionaryStreamWriter::add_double(std::string_view name, double value) {
  return add(PYTHON_DOUBLE, name, bytes_of(value));
}

bool DictionaryStreamWriter::add_long(std::string_view name, int64_t value) {
  return add(PYTHON_LONG, name, bytes_of(value));
}

bool DictionaryStreamWriter::add_bool(std::string_view name, bool value) {
  return add(value ? PYTHON_BOOL_TRUE : PYTHON_BOOL_FALSE, name, {});
}

bool DictionaryStreamWriter::add_none(std::string_view name) { return add(PYTHON_NONE, name, {}); }

bool DictionaryStreamWriter::dict_end() { return end(Container::kDict); }
bool DictionaryStreamWriter::list_end() { return end(Container::kList); }

bool DictionaryStreamWriter::end(Container kind) {
  const python_event_type_t type = kind == Container::kDict ? PYTHON_DICT_END : PYTHON_LIST_END;
  if (open_.empty()) return refuse(type, "no container is open");
  if (open_.back() != kind) return refuse(type, "the innermost container is of the other kind");
  if (!send(type, kNoKeyId, {})) return false;
  open_.pop_back();
  collecting_ = !open_.empty();
  return true;
}

bool DictionaryStreamWriter::add(python_event_type_t type, std::string_view name, Bytes data) {
  if (!name_in_place(type, name)) return false;
  if (data.size() > std::numeric_limits<uint32_t>::max()) {
    return refuse(type, "the value is larger than an event can say");
  }
  uint32_t key_id = kNoKeyId;
  if (!name.empty() && !announce(name, key_id)) return false;
  return send(type, key_id, data);
}

bool DictionaryStreamWriter::name_in_place(python_event_type_t type, std::string_view& name) const {
  const bool container = type == PYTHON_DICT_START || type == PYTHON_LIST_START;
  if (!collecting_) return refuse(type, "no collection was begun");
  if (name.size() > std::numeric_limits<uint32_t>::max()) {
    return refuse(type, "the name is larger than an event can say");
  }
  if (open_.empty()) return container || refuse(type, "no container is open");
  if (open_.back() == Container::kDict) {
    return !name.empty() || refuse(type, "an item of a dictionary needs a name");
  }
  // Readers take a nameless item of a list only where it is a dictionary.
  if (name.empty() && type != PYTHON_DICT_START) name = kItemName;
  return true;
}

// Contexts that have not seen a collection begin drop every event, so names are announced inside
// collections, by their first use.
bool DictionaryStreamWriter::announce(std::string_view name, uint32_t& key_id) {
  auto known = names_.find(name);
  if (known == names_.end()) {
    if (names_.size() >= kNoKeyId) return refuse(PYTHON_ID, "all key ids are taken");
    known = names_.emplace(name, Name{static_cast<uint32_t>(names_.size()), 0}).first;
  }
  key_id = known->second.key_id;
  if (known->second.announcement == announcement_) return true;
  if (!send(PYTHON_ID, key_id, bytes_of_text(name))) return false;
  known->second.announcement = announcement_;
  return true;
}

bool DictionaryStreamWriter::send(python_event_type_t type, uint32_t key_id, Bytes data) {
  const OpaqueWords words = {0, packDictEventWord(type, key_id)};
  if (data.size() <= events_.capacity()) return events_.whole(words, data);
  return events_.extended(next_extended_id_++, words, {}, data);
}

}  // namespace vek
