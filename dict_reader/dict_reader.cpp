#include "dict_reader/dict_reader.h"

#include <new>
#include <string_view>

#include "data/opaque_runs.h"
#include "data/page_view.h"
#include "dict_reader/bounded_stream_map.h"
#include "dict_reader/decoder_context.h"
#include "dict_reader/event_dispatch.h"
#include "dict_reader/stream_packer.h"
#include "utils/clock.h"
#include "utils/limits.h"
#include "utils/logger.h"

namespace {

constexpr std::string_view kTagPrefix = "dict_";

// What an exception becomes where the caller may be C.
template <typename Process, typename Result>
Result orRefused(Process process, Result refused) {
  try {
    return process();
  } catch (const std::bad_alloc&) {
    VEK_LOGE("[vek_dictionary_reader] Cannot process event");
    return refused;
  }
}

}  // namespace

DataDictionaryReader::DecoderContextInterface::~DecoderContextInterface() = default;

DataDictionaryReader::DecoderContextMapper::DecoderContextMapper() = default;
DataDictionaryReader::DecoderContextMapper::~DecoderContextMapper() = default;

DataDictionaryReader::DecoderContext* DataDictionaryReader::DecoderContextMapper::get(
    const char* source_id, const char* tag, const data_dict_reader_user_t* user) {
  return contexts_.get(source_id, tag, [user](const char* source_text, const char* tag_text) {
    return std::make_unique<DecoderContext>(user, source_text, tag_text);
  });
}

// The streams of a reader that hands out records.
class DataDictionaryReader::Packers final : public vek::OpaqueRunTaker {
 public:
  Packers(const data_dict_reader_user_t& user, data_dict_record_callback_t callback)
      : user_(user), callback_(callback) {}

  StreamPacker& get(const char* source_id, const char* tag) {
    StreamPacker* const packer = packers_.get(source_id, tag, [this](const char*, const char*) {
      return std::make_unique<StreamPacker>(user_, callback_);
    });
    if (packers_.given_up() != told_) tell();
    return *packer;
  }

  Taken take(const vek::PageView& page, vek::Bytes events, uint64_t event_size) override {
    return orRefused(
        [&] { return get(page.source_id.data(), page.tag.data()).takeRun(events, event_size); },
        Taken{0, false});
  }

 private:
  void tell() {
    static vek::LogRateLimit limit;
    if (!limit.due_at_level(VEK_LOG_WARNING)) return;
    told_ = packers_.given_up();
    VEK_LOGW("[vek_dictionary_reader] more than %zu streams: %llu idle ones given up",
             vek::limits::kStreams, static_cast<unsigned long long>(told_));
  }

  data_dict_reader_user_t user_;
  data_dict_record_callback_t callback_;
  BoundedStreamMap<StreamPacker> packers_{vek::limits::kStreams};
  uint64_t told_ = 0;  // of those given up
};

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

void DataDictionaryReader::PackRecords(data_dict_record_callback_t callback) {
  packers_ = std::make_unique<Packers>(user_, callback);
  vek::set_opaque_run_taker(extractor_.get(), packers_.get());
}

DataDictionaryReader::DecoderContextInterface& DataDictionaryReader::contextOf(
    const char* source_id, const char* tag) {
  if (fixed_context_) return *fixed_context_;
  if (packers_) return packers_->get(source_id, tag);
  return *contexts_.get(source_id, tag, &user_);
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
  return orRefused(
      [&] {
        return reinterpret_cast<DataDictionaryReader*>(recipient)->ProcessEvent(
            source_id, tag, options, app_id, first_word, second_word, data, size);
      },
      false);
}

bool DataDictionaryReader::ProcessEvent(const char* source_id, const char* tag,
                                        const vek_custom_options* /*options*/,
                                        const unsigned char* /*app_id*/,
                                        unsigned long /*first_word*/, unsigned long second_word,
                                        const void* data, unsigned int size) {
  return dict_reader_utils::dispatchStreamEvent(contextOf(source_id, tag), second_word, data, size);
}
