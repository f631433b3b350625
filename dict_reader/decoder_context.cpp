#include "dict_reader/decoder_context.h"

#include <cstring>
#include <new>
#include <utility>

#include "dict_reader/dict_event.h"
#include "utils/logger.h"

using vek::kNoKeyId;

namespace {

vek::CString copyOf(const char* text, const char* what) {
  vek::CString copy(text ? strdup(text) : nullptr);
  if (!copy) VEK_LOGE("[vek_dictionary_reader] strdup error - could not copy source %s", what);
  return copy;
}

bool refuse(const char* word) {
  VEK_LOGE("[vek_dictionary_reader] could not add %s item", word);
  return false;
}

// Event data lies in a page or in a payload: unaligned.
template <typename T>
T read(const void* data) {
  T value;
  std::memcpy(&value, data, sizeof value);
  return value;
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
  if (key_id == kNoKeyId) return nullptr;
  const auto found = id_to_key_.find(key_id);
  if (found != id_to_key_.end()) return found->second.get();
  VEK_LOGE("[vek_dictionary_reader] could not find key_id %u", key_id);
  return nullptr;
}

bool DataDictionaryReader::DecoderContext::OnID(uint32_t key_id, const void* data, uint32_t size) {
  if (!data || size == 0) {
    VEK_LOGE("[vek_dictionary_reader] no data in key ID event for ID %u", key_id);
    return false;
  }
  // Room first: once the name is replaced it must not get lost while values refer to it.
  replaced_names_.emplace_back();
  auto& replaced = replaced_names_.back();
  replaced = dict_reader_utils::upsertIdToKey(id_to_key_, key_id, data, size);
  if (!replaced) replaced_names_.pop_back();
  if (!current_) forgetReplacedNames();
  return true;
}

template <typename Make>
bool DataDictionaryReader::DecoderContext::addValue(const char* word, uint32_t key_id, Make make) {
  const std::string* const name = IDToKey(key_id);
  return name && Append(Item(make(name))) ? true : refuse(word);
}

template <typename Value, typename Number>
bool DataDictionaryReader::DecoderContext::addNumber(const char* word, uint32_t key_id,
                                                     const void* data, uint32_t size) {
  const std::string* const name = IDToKey(key_id);
  if (!name || !data || size < sizeof(Number)) return refuse(word);
  Item value(new (pool()) Value(name, read<Number>(data), false));
  return Append(std::move(value)) ? true : refuse(word);
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
  if (!item) {
    VEK_LOGE("[vek_dictionary_reader] [%s] got a null item", "Append");
    return false;
  }
  if (!current_) {
    current_ = ContainerDataObject::from(item.get());
    if (!current_) {
      VEK_LOGE("[vek_dictionary_reader] cannot add item - no parent container");
      return false;
    }
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
  if (!name && key_id != kNoKeyId) return refuse(word);
  auto* const container = new (pool()) ContainerDataObject(name, type, false);
  if (!Append(Item(container))) return refuse(word);
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
  if (key_id == kNoKeyId && current_) {
    VEK_LOGE("[vek_dictionary_reader] got an inner list without a key");
    return false;
  }
  return openContainer("list", key_id, DATA_ITEM_LIST);
}

bool DataDictionaryReader::DecoderContext::OnNewCollection(const void* data, uint32_t size) {
  if (current_) {
    VEK_LOGE("[vek_dictionary_reader] 'new collection' event does not fit collected data");
    return false;
  }
  if (!data || size != sizeof timestamp_) {
    VEK_LOGE("[vek_dictionary_reader] 'new collection' invalid size");
    return false;
  }
  timestamp_ = read<uint64_t>(data);
  started_ = true;
  return true;
}
