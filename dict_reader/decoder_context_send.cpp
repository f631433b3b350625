// DecoderContext: what becomes of a container when it ends.
#include <utility>

#include "dict_reader/decoder_context.h"
#include "dict_reader/refusals.h"

bool DataDictionaryReader::DecoderContext::OnEndDict(const void* /*data*/, uint32_t /*size*/) {
  if (!current_ || current_->type() != DATA_ITEM_DICT) return dict_reader_utils::refuseDictEnd();
  --depth_;
  if (ShouldSendDict()) return SendData();
  current_ = current_->parent();
  return true;
}

bool DataDictionaryReader::DecoderContext::OnEndList(const void* /*data*/, uint32_t /*size*/) {
  if (!current_ || current_->type() != DATA_ITEM_LIST) return dict_reader_utils::refuseListEnd();
  ContainerDataObject* const list = current_;
  if (!list->parent() && user_.send_root_only) return SendData();
  current_ = list->parent();
  if (!current_) {
    // Its dictionaries went out one by one; what is left is nobody's.
    delete list;
    forgetReplacedNames();
  }
  return true;
}

bool DataDictionaryReader::DecoderContext::ShouldSendDict() const {
  if (depth_ > 0) return false;
  return !user_.send_root_only || !current_->parent();
}

bool DataDictionaryReader::DecoderContext::SendData() {
  Item tree(current_);
  ContainerDataObject* const parent = current_->parent();
  const uint64_t timestamp = timestamp_;
  // Out of the parent first: the receiver releases what it gets.
  if (parent) parent->Remove(current_);
  current_ = parent;
  if (!parent) {
    started_ = false;
    timestamp_ = 0;
  }
  const bool handled = deliver(std::move(tree), timestamp);
  if (!parent) forgetReplacedNames();
  return handled;
}

bool DataDictionaryReader::DecoderContext::deliver(Item tree, uint64_t timestamp) {
  if (!user_.callback) return true;
  data_dict_message_t* const message = data_dict_message_init(source_id_.get(), tag_.get());
  if (!message) return true;
  message->root = tree.release();
  message->timestamp = timestamp;
  const vek::Owned<data_dict_message_t, data_dict_message_destroy> released(
      user_.release_messages ? message : nullptr);
  return user_.callback(user_.context, message);
}

// Messages that their receivers keep may refer to names for as long as this context lives.
void DataDictionaryReader::DecoderContext::forgetReplacedNames() {
  if (user_.release_messages || !user_.callback) replaced_names_.clear();
}
