// DataDictionaryReader: takes the stream events out of data pages and gives each to the decoder
// context of its source and tag.
//
// Not locked: one reader serves one exporter, on the thread that exports pages. Nothing is thrown
// but std::bad_alloc from the constructors.
#ifndef VEK_DICT_READER_DICT_READER_H
#define VEK_DICT_READER_DICT_READER_H

#include <cstdint>
#include <memory>

#include "data/data_page.h"
#include "data/exporter_schema_manager.h"
#include "data/opaque_events_extractor.h"
#include "dict_reader/data_dict.h"
#include "dict_reader/dict_event.h"
#include "dict_reader/stream_map.h"
#include "utils/export.h"
#include "utils/owned.h"

class VEK_API DataDictionaryReader {
 public:
  enum DecoderType_e : int { kTreeDecoder = 0 };

  // What becomes of stream events. Data is lent for the call only; true = accepted.
  class VEK_API DecoderContextInterface {
   public:
    virtual bool OnID(uint32_t key_id, const void* data, uint32_t size) = 0;
    virtual bool OnString(uint32_t key_id, const void* data, uint32_t size) = 0;
    virtual bool OnDouble(uint32_t key_id, const void* data, uint32_t size) = 0;
    virtual bool OnLong(uint32_t key_id, const void* data, uint32_t size) = 0;
    virtual bool OnBoolFalse(uint32_t key_id, const void* data, uint32_t size) = 0;
    virtual bool OnBoolTrue(uint32_t key_id, const void* data, uint32_t size) = 0;
    virtual bool OnNone(uint32_t key_id, const void* data, uint32_t size) = 0;
    virtual bool OnNewDict(uint32_t key_id, const void* data, uint32_t size) = 0;
    virtual bool OnEndDict(const void* data, uint32_t size) = 0;
    virtual bool OnNewList(uint32_t key_id, const void* data, uint32_t size) = 0;
    virtual bool OnEndList(const void* data, uint32_t size) = 0;
    virtual bool OnNewCollection(const void* data, uint32_t size) = 0;
    // False until a collection begins: events other than OnNewCollection are not handed over.
    virtual bool wasStarted() const = 0;
    // Last, behind the handlers: other programs' contexts have their slots in this order.
    virtual ~DecoderContextInterface();
  };

  // Builds a tree of values and hands it to the user (dict_reader/decoder_context.h).
  class DecoderContext;

  // The contexts of all sources and tags; each lives as long as the mapper.
  class VEK_API DecoderContextMapper {
   public:
    DecoderContextMapper();
    ~DecoderContextMapper();
    DecoderContextMapper(const DecoderContextMapper&) = delete;
    DecoderContextMapper& operator=(const DecoderContextMapper&) = delete;

    // Makes the context on the first call for the pair; null texts count as empty ones. Throws
    // std::bad_alloc.
    DecoderContext* get(const char* source_id, const char* tag,
                        const data_dict_reader_user_t* user);

   private:
    StreamMap<DecoderContext> contexts_;
  };

  // The user record is copied; null means no callback and both flags false. `app_id` is 16 bytes,
  // all zero for any application.
  DataDictionaryReader(data_dict_reader_user_t* user, unsigned char* app_id, DecoderType_e type);
  // One context, borrowed, for the events of all sources and tags.
  DataDictionaryReader(unsigned char* app_id, DecoderContextInterface* context);
  ~DataDictionaryReader();
  DataDictionaryReader(const DataDictionaryReader&) = delete;
  DataDictionaryReader& operator=(const DataDictionaryReader&) = delete;

  bool IsReady() const { return ready_; }

  // Records instead of messages: from here on dictionaries are packed while they arrive, and the
  // callback gets their bytes, several times faster than it could pack messages. The user record's
  // context and send_root_only hold; its callback is not called any more. To be called before the
  // first page, on a reader that IsReady() and has no context of its own. Throws std::bad_alloc.
  void PackRecords(data_dict_record_callback_t callback);

  // Pages whose tag does not begin with "dict_" are passed over with true.
  bool ReadPage(const vek_data_page_t* page, const vek_exporter_schema_manager_t* lookup);

  // The extractor's callback; the recipient is the reader.
  static bool ProcessEventClb(vek_opaque_events_extractor_recipient_ctx* recipient,
                              const char* source_id, const char* tag,
                              const vek_custom_options* options, const unsigned char* app_id,
                              unsigned long first_word, unsigned long second_word, const void* data,
                              unsigned int size);
  bool ProcessEvent(const char* source_id, const char* tag, const vek_custom_options* options,
                    const unsigned char* app_id, unsigned long first_word,
                    unsigned long second_word, const void* data, unsigned int size);

 private:
  class Packers;

  void createExtractor(const unsigned char* app_id);
  DecoderContextInterface& contextOf(const char* source_id, const char* tag);

  DecoderContextMapper contexts_;
  std::unique_ptr<Packers> packers_;  // null: messages are wanted
  data_dict_reader_user_t user_{};
  vek::Owned<vek_opaque_events_extractor_t, vek_opaque_events_extractor_delete> extractor_;
  DecoderContextInterface* fixed_context_ = nullptr;  // borrowed
  bool ready_ = false;
};

#endif  // VEK_DICT_READER_DICT_READER_H
