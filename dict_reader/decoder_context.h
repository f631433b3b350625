// DataDictionaryReader::DecoderContext: one source and tag. Builds a tree of values from its stream
// events and hands it to the user's callback when it is complete.
#ifndef VEK_DICT_READER_DECODER_CONTEXT_H
#define VEK_DICT_READER_DECODER_CONTEXT_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dict_reader/data_object.h"
#include "dict_reader/data_object_pool.h"
#include "dict_reader/dict_reader.h"
#include "dict_reader/dict_reader_utils.h"
#include "utils/owned.h"

// A refused event leaves the open tree as it is; the producer's next events continue on it.
// OnID may throw std::bad_alloc, and OnEndDict and OnEndList what the callback throws.
class VEK_API DataDictionaryReader::DecoderContext final
    : public DataDictionaryReader::DecoderContextInterface {
 public:
  // The user record and both texts are copied.
  DecoderContext(const data_dict_reader_user_t* user, const char* source_id, const char* tag);
  ~DecoderContext() override;
  DecoderContext(const DecoderContext&) = delete;
  DecoderContext& operator=(const DecoderContext&) = delete;

  bool OnID(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnString(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnDouble(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnLong(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnBoolFalse(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnBoolTrue(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnNone(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnNewDict(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnEndDict(const void* data, uint32_t size) override;
  bool OnNewList(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnEndList(const void* data, uint32_t size) override;
  bool OnNewCollection(const void* data, uint32_t size) override;
  bool wasStarted() const override { return started_; }

  // The name of a key id, null when there is none; borrowed.
  const std::string* IDToKey(uint32_t key_id) const;

 private:
  using Item = std::unique_ptr<DataObject>;

  // Answers false after its message, which says `word`. `make` takes the name and answers the
  // value, null when there is no memory for it.
  template <typename Make>
  bool addValue(const char* word, uint32_t key_id, Make make);
  template <typename Value, typename Number>
  bool addNumber(const char* word, uint32_t key_id, const void* data, uint32_t size);
  bool openContainer(const char* word, uint32_t key_id, data_item_e type);
  bool Append(Item item);

  bool ShouldSendDict() const;
  bool SendData();
  bool deliver(Item tree, uint64_t timestamp);
  void forgetReplacedNames();

  // Where values come from: messages that outlive their call take nothing from the pool.
  DataObjectPool* pool() { return user_.release_messages ? &pool_ : nullptr; }

  DataObjectPool pool_;
  dict_reader_utils::IdToKeyMap id_to_key_;
  ContainerDataObject* current_ = nullptr;  // null: no tree is open
  uint64_t timestamp_ = 0;
  uint32_t depth_ = 0;  // open dictionaries
  bool started_ = false;
  data_dict_reader_user_t user_{};
  vek::CString source_id_;
  vek::CString tag_;
  // Names that were replaced while values refer to them.
  std::vector<std::unique_ptr<std::string>> replaced_names_;
};

#endif  // VEK_DICT_READER_DECODER_CONTEXT_H
