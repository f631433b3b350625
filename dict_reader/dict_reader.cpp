#include "dict_reader/dict_reader.h"

#include <new>
#include <string_view>

#include "data/page_view.h"
#include "dict_reader/decoder_context.h"
#include "dict_reader/dict_event.h"
#include "utils/logger.h"

namespace {

constexpr std::string_view kTagPrefix = "dict_";

std::string_view textOf(const char* text) { return text ? text : ""; }

}  // namespace

DataDictionaryReader::DecoderContextInterface::~DecoderContextInterface() = default;

DataDictionaryReader::DecoderContextMapper::DecoderContextMapper() = default;
DataDictionaryReader::DecoderContextMapper::~DecoderContextMapper() = default;

DataDictionaryReader::DecoderContext* DataDictionaryReader::DecoderContextMapper::get(
    const char* source_id, const char* tag, const data_dict_reader_user_t* user) {
  auto source = contexts_.find(textOf(source_id));
  if (source == contexts_.end())
    source = contexts_.try_emplace(std::string(textOf(source_id))).first;
  ContextsByTag& by_tag = source->second;
  auto found = by_tag.find(textOf(tag));
  if (found == by_tag.end()) {
    auto context =
        std::make_unique<DecoderContext>(user, textOf(source_id).data(), textOf(tag).data());
    found = by_tag.emplace(textOf(tag), std::move(context)).first;
  }
  return found->second.get();
}

DataDictionaryReader::DataDictionaryReader(data_dict_reader_user_t* user, unsigned char* app_id,
                                           DecoderType_e type) {
  if (user) user_ = *user;
  if (type != kTreeDecoder) {
    VEK_LOGE("[vek_dictionary_reader] Unable to find decoder class for type %d",
             static_cast<int>(type));
    return;
  }
  createExtractor(app_id);
}

DataDictionaryReader::DataDictionaryReader(unsigned char* app_id, DecoderContextInterface* context)
    : fixed_context_(context) {
  createExtractor(app_id);
}

DataDictionaryReader::~DataDictionaryReader() = default;

void DataDictionaryReader::createExtractor(const unsigned char* app_id) {
  vek_opaque_events_extractor_recipient_t recipient{};
  recipient.on_event = ProcessEventClb;
  recipient.context = reinterpret_cast<vek_opaque_events_extractor_recipient_ctx*>(this);
  extractor_.reset(vek_opaque_events_extractor_create(app_id, &recipient));
  ready_ = extractor_ != nullptr;
  if (!ready_) VEK_LOGE("[vek_dictionary_reader] Unable to allocate opaque events exporter");
}

bool DataDictionaryReader::ReadPage(const vek_data_page_t* page,
                                    const vek_exporter_schema_manager_t* lookup) {
  if (!page) return false;
  const std::string_view tag(page->data_source.tag, VEK_PAGE_TAG_SIZE);
  if (!tag.starts_with(kTagPrefix)) return true;
  vek_opaque_type_lookup_t types{};
  if (lookup) types = {lookup->find_event_type, lookup->context};
  return vek_opaque_events_extractor_process_data_page(extractor_.get(), page, &types);
}

bool DataDictionaryReader::ProcessEventClb(vek_opaque_events_extractor_recipient_ctx* recipient,
                                           const char* source_id, const char* tag,
                                           const vek_custom_options* options,
                                           const unsigned char* app_id, unsigned long first_word,
                                           unsigned long second_word, const void* data,
                                           unsigned int size) {
  if (!recipient) {
    VEK_LOGE("[vek_dictionary_reader] Cannot process event");
    return false;
  }
  try {
    return reinterpret_cast<DataDictionaryReader*>(recipient)->ProcessEvent(
        source_id, tag, options, app_id, first_word, second_word, data, size);
  } catch (const std::bad_alloc&) {
    VEK_LOGE("[vek_dictionary_reader] Cannot process event");
    return false;
  }
}

bool DataDictionaryReader::ProcessEvent(const char* source_id, const char* tag,
                                        const vek_custom_options* /*options*/,
                                        const unsigned char* /*app_id*/,
                                        unsigned long /*first_word*/, unsigned long second_word,
                                        const void* data, unsigned int size) {
  DecoderContextInterface& context =
      fixed_context_ ? *fixed_context_ : *contexts_.get(source_id, tag, &user_);
  const python_event_type_t type = vek::typeOfDictEventWord(second_word);
  if (!context.wasStarted() && type != PYTHON_NEW_COLLECTION) {
    VEK_LOGW("[vek_dictionary_reader] ignoring an event - waiting to a 'start collection' event");
    return true;
  }
  return dispatch(context, type, vek::keyIdOfDictEventWord(second_word), data, size);
}

bool DataDictionaryReader::dispatch(DecoderContextInterface& context, python_event_type_t type,
                                    uint32_t key_id, const void* data, uint32_t size) {
  switch (type) {
    case PYTHON_ID:
      return context.OnID(key_id, data, size);
    case PYTHON_STRING:
      return context.OnString(key_id, data, size);
    case PYTHON_DOUBLE:
      return context.OnDouble(key_id, data, size);
    case PYTHON_LONG:
      return context.OnLong(key_id, data, size);
    case PYTHON_DICT_START:
      return context.OnNewDict(key_id, data, size);
    case PYTHON_DICT_END:
      return context.OnEndDict(data, size);
    case PYTHON_LIST_START:
      return context.OnNewList(key_id, data, size);
    case PYTHON_LIST_END:
      return context.OnEndList(data, size);
    case PYTHON_BOOL_FALSE:
      return context.OnBoolFalse(key_id, data, size);
    case PYTHON_BOOL_TRUE:
      return context.OnBoolTrue(key_id, data, size);
    case PYTHON_NEW_COLLECTION:
      return context.OnNewCollection(data, size);
    case PYTHON_NONE:
      return context.OnNone(key_id, data, size);
  }
  VEK_LOGE("[vek_dictionary_reader] got an event of unknown type %u", static_cast<uint32_t>(type));
  return false;
}
