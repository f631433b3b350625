// Dictionary events: pages whose tag begins with "dict_".
#include <new>

#include "dict_reader/dict_msgpack.h"
#include "exporter/fluentbit_exporter.h"
#include "exporter/record_buffer.h"
#include "utils/logger.h"

namespace vek {

bool FluentBitExporter::exportDictionaryDataPage(
    const vek_data_page_t* page, const vek_exporter_schema_manager_t* schema_manager) {
  if (!custom_layout_allowed_) {
    VEK_LOGD("[Fluent Bit Export] [%s] No export made - unsupported output format",
             "exportDictionaryDataPage");
    return true;
  }
  if (!dict_reader_) dict_reader_ = initDictReader();
  if (!dict_reader_) {
    VEK_LOGE("[Fluent bit Export] Could not create dict reader");
    return false;
  }
  if (dict_reader_->ReadPage(page, schema_manager)) return true;
  VEK_LOGE("[Fluent bit Export] Could not export dictionary");
  return false;
}

std::unique_ptr<DataDictionaryReader> FluentBitExporter::initDictReader() {
  const Owned<data_dict_reader_user_t, data_dict_reader_user_destroy> user(
      data_dict_reader_user_init());
  if (!user) {
    VEK_LOGE("[Fluent bit Export] error creating data_dict_reader_user_t");
    return nullptr;
  }
  user->send_root_only = batch_mode_;
  user->callback = onDataDictClb;
  user->context = reinterpret_cast<dict_reader_user_ctx*>(this);
  // Dictionaries are taken from every application.
  unsigned char any_application[VEK_APP_ID_SIZE] = {};
  std::unique_ptr<DataDictionaryReader> reader(new (std::nothrow) DataDictionaryReader(
      user.get(), any_application, DataDictionaryReader::kTreeDecoder));
  if (!reader) {
    VEK_LOGE("[Fluent bit Export] Error allocating DataDictionaryReader");
  } else if (!reader->IsReady()) {
    VEK_LOGE("[Fluent bit Export] Could not set DataDictionaryReader");
    reader.reset();
  } else {
    reader->PackRecords(onDictRecordClb);
  }
  return reader;
}

bool FluentBitExporter::onDataDictClb(dict_reader_user_ctx* context,
                                      const data_dict_message_t* message) {
  if (!context || !message) {
    VEK_LOGE("[Fluent bit Export] [%s] Invalid input", "onDataDictClb");
    return false;
  }
  return reinterpret_cast<FluentBitExporter*>(context)->exportAndDeleteDataDict(message);
}

bool FluentBitExporter::exportAndDeleteDataDict(const data_dict_message_t* message) {
  RecordBuffer record;
  const bool packed = data_dict_pack_and_delete(message, record.get()) != 0;
  return exportDictRecord(packed ? record.get() : nullptr);
}

bool FluentBitExporter::onDictRecordClb(dict_reader_user_ctx* context, const void* record,
                                        size_t size) {
  msgpack_sbuffer lent{};
  lent.data = static_cast<char*>(const_cast<void*>(record));
  lent.size = lent.alloc = size;
  return reinterpret_cast<FluentBitExporter*>(context)->exportDictRecord(record ? &lent : nullptr);
}

bool FluentBitExporter::exportDictRecord(const msgpack_sbuffer* record) {
  if (!record) {
    VEK_LOGE("[Fluent bit Export] Cannot build msgpack buffer");
    return false;
  }
  if (exportMsgpackBuffer(record)) return true;
  VEK_LOGE("[Fluent bit Export] Cannot export msgpack buffer");
  return false;
}

}  // namespace vek
