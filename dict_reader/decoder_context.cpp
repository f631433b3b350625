#include "dict_reader/decoder_context.h"

#include <cstring>
#include <new>
#include <utility>

#include "dict_reader/dict_event.h"
#include "dict_reader/refusals.h"
#include "utils/logger.h"
#include "utils/unaligned.h"

using namespace dict_reader_utils;
using vek::kNoKeyId;
using vek::load_unaligned;

namespace {

vek::CString copyOf(const char* text, const char* what) {
  vek::CString copy(text ? strdup(text) : nullptr);
  if (!copy) VEK_LOGE("[vek_dictionary_reader] strdup error - could not copy source %s", what);
  return copy;
}

}  // namespace

DataDictionaryReader::DecoderContext::DecoderContext(const data_dict_reader_user_t* user,
                                                     const char* source_id, const char* tag)
    : source_id_(copyOf(source_id, "ID")), tag_(copyOf(tag, "tag")) {
  if (user) user_ = *user;
}

DataDictionaryReader::DecoderContext::~DecoderContext() {
  if (!current_) return;
  DataObject* root = current_;
  while (root->parent()) root = root->parent();
  delete root;
}

const std::string* DataDictionaryReader::DecoderContext::IDToKey(uint32_t key_id) const {
  return findKey(id_to_key_, key_id);
}

bool DataDictionaryReader::DecoderContext::OnID(uint32_t key_id, const void* data, uint32_t size) {
  if (!data || size == 0) return refuseEmptyKey(key_id);
  if (!hasRoomForKey(id_to_key_, key_id)) return false;
  // Room first: once the name is replaced it must not get lost while values refer to it.
  replaced_names_.emplace_back();
  auto& replaced = replaced_names_.back();
  replaced = upsertIdToKey(id_to_key_, key_id, data, size);
  if (!replaced) replaced_names_.pop_back();
  if (!current_) forgetReplacedNames();
  return true;
}

template <typename Make>
bool DataDictionaryReader::DecoderContext::addValue(const char* word, uint32_t key_id, Make make) {
  const std::string* const name = IDToKey(key_id);
  return name && Append(Item(make(name))) ? true : refuseItem(word);
}

template <typename Value, typename Number>
bool DataDictionaryReader::DecoderContext::addNumber(const char* word, uint32_t key_id,
                                                     const void* data, uint32_t size) {
  const std::string* const name = IDToKey(key_id);
  if (!name || !data || size < sizeof(Number)) return refuseItem(word);
  Item value(new (pool())
                 Value(name, load_unaligned<Number>(static_cast<const char*>(data)), false));
  return Append(std::move(value)) ? true : refuseItem(word);
}

bool DataDictionaryReader::DecoderContext::OnString(uint32_t key_id, const void* data,
                                                    uint32_t size) {
  return addValue("string", key_id, [&](const std::string* name) -> DataObject* {
    const std::string* const text = DataObjectPool::takeText(pool(), data, size);
    auto* const value = text ? new (pool()) StringDataObject(name, text, pool()) : nullptr;
    if (text && !value) DataObjectPool::giveBackText(pool(), text);
    return value;
  });
}

bool DataDictionaryReader::DecoderContext::OnDouble(uint32_t key_id, const void* data,
                                                    uint32_t size) {
  return addNumber<DoubleDataObject, double>("double", key_id, data, size);
}

bool DataDictionaryReader::DecoderContext::OnLong(uint32_t key_id, const void* data,
                                                  uint32_t size) {
  return addNumber<LongDataObject, int64_t>("long", key_id, data, size);
}

bool DataDictionaryReader::DecoderContext::OnBoolFalse(uint32_t key_id, const void* /*data*/,
                                                       uint32_t /*size*/) {
  return addValue("bool", key_id, [this](const std::string* name) {
    return new (pool()) BoolDataObject(name, false, false);
  });
}

bool DataDictionaryReader::DecoderContext::OnBoolTrue(uint32_t key_id, const void* /*data*/,
                                                      uint32_t /*size*/) {
  return addValue("bool", key_id, [this](const std::string* name) {
    return new (pool()) BoolDataObject(name, true, false);
  });
}

bool DataDictionaryReader::DecoderContext::OnNone(uint32_t key_id, const void* /*data*/,
                                                  uint32_t /*size*/) {
  return addValue("None", key_id, [this](const std::string* name) {
    return new (pool()) NoneDataObject(name, false);
  });
}

bool DataDictionaryReader::DecoderContext::Append(Item item) {
  if (!item) return refuseNullItem();
  if (!current_) {
    current_ = ContainerDataObject::from(item.get());
    if (!current_) return refuseItemWithoutParent();
  } else if (!current_->AddDataObject(item.get())) {
    VEK_LOGE("[vek_dictionary_reader] cannot add item to container");
    return false;
  }
  (void)item.release();  // the tree's now
  return true;
}

bool DataDictionaryReader::DecoderContext::openContainer(const char* word, uint32_t key_id,
                                                         data_item_e type) {
  const std::string* const name = key_id == kNoKeyId ? nullptr : IDToKey(key_id);
  if (!name && key_id != kNoKeyId) return refuseItem(word);
  auto* const container = new (pool()) ContainerDataObject(name, type, false);
  if (!Append(Item(container))) return refuseItem(word);
  current_ = container;
  return true;
}

bool DataDictionaryReader::DecoderContext::OnNewDict(uint32_t key_id, const void* /*data*/,
                                                     uint32_t /*size*/) {
  if (!openContainer("dictionary", key_id, DATA_ITEM_DICT)) return false;
  ++depth_;
  return true;
}

bool DataDictionaryReader::DecoderContext::OnNewList(uint32_t key_id, const void* /*data*/,
                                                     uint32_t /*size*/) {
  if (key_id == kNoKeyId && current_) return refuseListWithoutKey();
  return openContainer("list", key_id, DATA_ITEM_LIST);
}

bool DataDictionaryReader::DecoderContext::OnNewCollection(const void* data, uint32_t size) {
  if (current_) return refuseOpenCollection();
  if (!data || size != sizeof timestamp_) return refuseCollectionSize();
  timestamp_ = load_unaligned<uint64_t>(static_cast<const char*>(data));
  started_ = true;
  return true;
}
