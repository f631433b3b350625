#include "dict_reader/dict_msgpack.h"

#include "dict_reader/data_object.h"
#include "utils/logger.h"

namespace {

constexpr double kMicrosecondsPerSecond = 1e6;
constexpr size_t kPairElements = 2;

// A dictionary or list, null for anything else.
ContainerDataObject* asContainer(DataObject* object) {
  ContainerDataObject* const container = object ? ContainerDataObject::from(object) : nullptr;
  const bool sound = container && (container->type() == DATA_ITEM_DICT ||  //
                                   container->type() == DATA_ITEM_LIST);
  return sound ? container : nullptr;
}

// One line for each container that stays unfinished, from the inside out.
void reportFailure(const ContainerDataObject* at, const ContainerDataObject* root) {
  for (;; at = at->parent()) {
    const bool dict = at->type() == DATA_ITEM_DICT;
    VEK_LOGE("[msgpacker data dict] [%s] Error while adding value",
             dict ? "addAndDeleteDictItems" : "addAndDeleteListItems");
    if (at == root) return;
  }
}

}  // namespace

uint32_t data_dict_pack_and_delete(const data_dict_message_t* message, msgpack_sbuffer* buffer) {
  if (!message || !buffer) return 0;
  return DataDictToMsgpackConverter(buffer).convert(message) ? 1 : 0;
}

DataDictToMsgpackConverter::DataDictToMsgpackConverter(msgpack_sbuffer* buffer) : buffer_(buffer) {}
DataDictToMsgpackConverter::~DataDictToMsgpackConverter() = default;

bool DataDictToMsgpackConverter::convert(const data_dict_message_t* message) {
  msgpack_sbuffer_init(buffer_);
  msgpack_packer packer;
  msgpack_packer_init(&packer, buffer_, msgpack_sbuffer_write);
  packer_ = &packer;
  complete_ = true;
  note(msgpack_pack_array(packer_, kPairElements));
  note(msgpack_pack_double(packer_,
                           static_cast<double>(message->timestamp) / kMicrosecondsPerSecond));
  const bool packed = convertRoot(message->root);
  packer_ = nullptr;
  return packed && complete_;
}

bool DataDictToMsgpackConverter::convertRoot(DataObject* root) {
  if (ContainerDataObject* const container = asContainer(root)) {
    return container->type() == DATA_ITEM_DICT ? addAndDeleteDictItems(container)
                                               : addAndDeleteListItems(container);
  }
  VEK_LOGE("[msgpacker data dict] Got invalid data type");
  return false;
}

bool DataDictToMsgpackConverter::addAndDeleteDictItems(ContainerDataObject* dict) {
  packHeader(dict);
  return addAndDeleteItems(dict);
}

bool DataDictToMsgpackConverter::addAndDeleteListItems(ContainerDataObject* list) {
  packHeader(list);
  return addAndDeleteItems(list);
}

// Down into a container where it stands and back up to its parent, without recursion: producers may
// nest deeper than any stack.
bool DataDictToMsgpackConverter::addAndDeleteItems(ContainerDataObject* root) {
  ContainerDataObject* at = root;
  for (;;) {
    DataObject* const item = at->first();
    if (!item) {
      if (at == root) return true;
      ContainerDataObject* const done = at;
      at = done->parent();
      at->Remove(done);
      delete done;
      continue;
    }
    if (at->type() == DATA_ITEM_DICT) packString(item->name());
    ContainerDataObject* const inner = asContainer(item);
    if (inner) {
      packHeader(inner);
      at = inner;
    } else if (!addAndDelete(item)) {
      reportFailure(at, root);
      return false;
    }
  }
}

// Values only; containers are the walk's.
bool DataDictToMsgpackConverter::addAndDelete(DataObject* item) {
  bool added = false;
  switch (item->type()) {
    case DATA_ITEM_STRING:
      added = addString(static_cast<StringDataObject*>(item));
      break;
    case DATA_ITEM_DOUBLE:
      added = addDouble(static_cast<DoubleDataObject*>(item));
      break;
    case DATA_ITEM_LONG:
      added = addLong(static_cast<LongDataObject*>(item));
      break;
    case DATA_ITEM_BOOL:
      added = addBool(static_cast<BoolDataObject*>(item));
      break;
    case DATA_ITEM_NONE:
      added = addNull();
      break;
    default:
      VEK_LOGE("[msgpacker data dict] [%s] Did not find matching case", "addAndDelete");
      return false;
  }
  item->parent()->Remove(item);
  delete item;
  return added;
}

bool DataDictToMsgpackConverter::addString(const StringDataObject* item) {
  return packString(item->value());
}

bool DataDictToMsgpackConverter::addDouble(const DoubleDataObject* item) {
  note(msgpack_pack_double(packer_, item->value()));
  return true;
}

bool DataDictToMsgpackConverter::addLong(const LongDataObject* item) {
  note(msgpack_pack_int64(packer_, item->value()));
  return true;
}

bool DataDictToMsgpackConverter::addBool(const BoolDataObject* item) {
  note(item->value() ? msgpack_pack_true(packer_) : msgpack_pack_false(packer_));
  return true;
}

bool DataDictToMsgpackConverter::addNull() {
  note(msgpack_pack_nil(packer_));
  return true;
}

// No text is the empty text: a dictionary in a dictionary may come without a key.
bool DataDictToMsgpackConverter::packString(const std::string* text) {
  note(msgpack_pack_str(packer_, text ? text->size() : 0));
  if (text) note(msgpack_pack_str_body(packer_, text->data(), text->size()));
  return true;
}

void DataDictToMsgpackConverter::packHeader(const ContainerDataObject* container) {
  note(container->type() == DATA_ITEM_DICT ? msgpack_pack_map(packer_, container->count())
                                           : msgpack_pack_array(packer_, container->count()));
}
