#include "dict_reader/stream_packer.h"

#include <cstring>

#include "dict_reader/dict_event.h"
#include "dict_reader/refusals.h"
#include "utils/msgpack_encode.h"
#include "utils/unaligned.h"

using namespace dict_reader_utils;
using vek::kNoKeyId;
using vek::load_unaligned;

namespace {

constexpr char kNil = static_cast<char>(0xc0);
constexpr char kFalse = static_cast<char>(0xc2);
constexpr char kTrue = static_cast<char>(0xc3);

size_t roomOf(const std::string* name) {
  return vek::kMsgpackMaxHeader + (name ? name->size() : 0);
}

}  // namespace

bool StreamPacker::OnID(uint32_t key_id, const void* data, uint32_t size) {
  if (!data || size == 0) return refuseEmptyKey(key_id);
  if (!hasRoomForKey(id_to_key_, key_id)) return false;
  // Room first: once the name has changed, its slot must too.
  keys_.reserve(key_id, id_to_key_.size() + 1);
  // The old name dies behind the slot that may still refer to it.
  const auto replaced = upsertIdToKey(id_to_key_, key_id, data, size);
  keys_.put(key_id, *id_to_key_.find(key_id)->second);
  if (replaced) {
    settle();
    plan_.forget();
    places_.forget();
  }
  return true;
}

void StreamPacker::leavePlaces() noexcept {
  PackedRecord::Cursor& cursor = record_.cursor();
  const size_t taken = places_.taken();
  if (places_.isAtEnd()) {
    cursor.at = cursor.begin + places_.size();
    cursor.count = places_.children();
  } else {
    for (const StreamPlan::Step& step : plan_.steps().first(taken)) {
      cursor.at += step.end;
      if (!step.is_turn) {
        ++cursor.count;
      } else if (step.begins()) {
        cursor.open(step.key_id(), step.type() == PYTHON_DICT_START);
      } else {
        cursor.close();
      }
    }
  }
  plan_.skip(taken);
  places_.leave();
}

const std::string* StreamPacker::name(uint32_t key_id) { return findKey(id_to_key_, key_id); }

void StreamPacker::putKey(const std::string* name) {
  if (!record_.isDict()) return;
  PackedRecord::Cursor& cursor = record_.cursor();
  // A dictionary in a dictionary may come without a key: then it is the empty text.
  cursor.at = name ? vek::put_str(cursor.at, name->data(), static_cast<uint32_t>(name->size()))
                   : vek::put_str(cursor.at, "", 0);
}

template <typename Put>
bool StreamPacker::addValue(const char* word, uint32_t key_id, size_t room, Put put) {
  const std::string* const key = name(key_id);
  if (!key) return refuseItem(word);
  if (!isOpen()) {
    refuseItemWithoutParent();
    return refuseItem(word);
  }
  if (!record_.isOpen()) return true;  // of a list that is never sent
  settle();
  if (!record_.reserve(roomOf(key) + room)) {
    refuseNullItem();
    return refuseItem(word);
  }
  putKey(key);
  PackedRecord::Cursor& cursor = record_.cursor();
  cursor.at = put(cursor.at);
  ++cursor.count;
  return true;
}

template <typename Number, typename Put>
bool StreamPacker::addNumber(const char* word, uint32_t key_id, const void* data, uint32_t size,
                             Put put) {
  if (data && size >= sizeof(Number)) {
    return addValue(word, key_id, vek::kMsgpackMaxNumber, [&](char* p) {
      return put(p, load_unaligned<Number>(static_cast<const char*>(data)));
    });
  }
  (void)name(key_id);  // an unknown key is told all the same
  return refuseItem(word);
}

bool StreamPacker::OnString(uint32_t key_id, const void* data, uint32_t size) {
  const uint32_t length = data ? size : 0;
  return addValue("string", key_id, vek::kMsgpackMaxHeader + size_t{length},
                  [&](char* p) { return vek::put_str(p, static_cast<const char*>(data), length); });
}

bool StreamPacker::OnDouble(uint32_t key_id, const void* data, uint32_t size) {
  return addNumber<double>("double", key_id, data, size, vek::put_double);
}

bool StreamPacker::OnLong(uint32_t key_id, const void* data, uint32_t size) {
  return addNumber<int64_t>("long", key_id, data, size, vek::put_int);
}

bool StreamPacker::addByte(const char* word, uint32_t key_id, char byte) {
  return addValue(word, key_id, 1, [byte](char* p) {
    *p = byte;
    return p + 1;
  });
}

bool StreamPacker::OnBoolFalse(uint32_t key_id, const void* /*data*/, uint32_t /*size*/) {
  return addByte("bool", key_id, kFalse);
}

bool StreamPacker::OnBoolTrue(uint32_t key_id, const void* /*data*/, uint32_t /*size*/) {
  return addByte("bool", key_id, kTrue);
}

bool StreamPacker::OnNone(uint32_t key_id, const void* /*data*/, uint32_t /*size*/) {
  return addByte("None", key_id, kNil);
}

bool StreamPacker::openContainer(const char* word, uint32_t key_id, bool is_dict) {
  const std::string* const key = key_id == kNoKeyId ? nullptr : name(key_id);
  if (!key && key_id != kNoKeyId) return refuseItem(word);
  bool opened = true;
  settle();
  if (record_.isOpen()) {
    opened = record_.reserveContainer() && record_.reserve(roomOf(key) + PackedRecord::kMostHeader);
    if (opened) {
      putKey(key);
      record_.cursor().open(key_id, is_dict);
      plan_.leave();
    }
  } else if (is_dict || send_root_only_) {
    opened = record_.begin(timestamp_, is_dict);
    plan_.begin(is_dict);
    if (opened) places_.begin(plan_, is_dict, record_.size());
  } else {
    ++loose_lists_;
  }
  if (opened) return true;
  refuseNullItem();
  return refuseItem(word);
}

bool StreamPacker::OnNewDict(uint32_t key_id, const void* /*data*/, uint32_t /*size*/) {
  return openContainer("dictionary", key_id, true);
}

bool StreamPacker::OnNewList(uint32_t key_id, const void* /*data*/, uint32_t /*size*/) {
  if (key_id == kNoKeyId && isOpen()) return refuseListWithoutKey();
  return openContainer("list", key_id, false);
}

bool StreamPacker::OnEndDict(const void* /*data*/, uint32_t /*size*/) {
  settle();
  if (!record_.isOpen() || !record_.isDict()) return refuseDictEnd();
  if (record_.isRoot()) return send();
  record_.cursor().close();
  plan_.leave();
  return true;
}

bool StreamPacker::OnEndList(const void* /*data*/, uint32_t /*size*/) {
  settle();
  if (record_.isOpen()) {
    if (record_.isDict()) return refuseListEnd();
    if (record_.isRoot()) return send();
    record_.cursor().close();
    plan_.leave();
    return true;
  }
  if (loose_lists_ == 0) return refuseListEnd();
  // Its dictionaries went out one by one; the collection stays open for more.
  --loose_lists_;
  return true;
}

bool StreamPacker::OnNewCollection(const void* data, uint32_t size) {
  if (isOpen()) return refuseOpenCollection();
  if (!data || size != sizeof timestamp_) return refuseCollectionSize();
  timestamp_ = load_unaligned<uint64_t>(static_cast<const char*>(data));
  started_ = true;
  return true;
}

void StreamPacker::endCollection() {
  // A list around the record keeps it open.
  if (loose_lists_ > 0) return;
  started_ = false;
  timestamp_ = 0;
}

bool StreamPacker::send() {
  const std::string_view record = record_.finish();
  const std::span<char> memory = record_.memory();
  const bool is_in_place = record.data() == memory.data();
  const bool is_alike =
      is_in_place && places_.end(plan_, memory, record.size(), record_.children());
  // The header of its root is in the memory all the same.
  if (!is_in_place) places_.forget();
  plan_.end();
  endCollection();
  const bool handled = callback_(user_context_, record.data(), record.size());
  // One like the last needs what that needed.
  if (!is_alike && record_.trim(record.size())) places_.forget();
  return handled;
}

bool StreamPacker::sendPlaced() {
  const std::string_view record = record_.finishAlike(places_.size());
  plan_.end();
  places_.leave();
  endCollection();
  return callback_(user_context_, record.data(), record.size());
}

void StreamPacker::beginPlaced() noexcept {
  record_.beginAlike(timestamp_);
  plan_.begin(true);
  places_.begin(plan_, true, record_.size());
}
