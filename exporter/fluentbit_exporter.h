// vek::FluentBitExporter: one destination.
//
// It owns the loaded raw msgpack library's handle, the Fluent Bit context, and what decides the
// contents of records: counter sets, source tags, layout. Every method runs on the thread that
// exports the page; nothing locks and nothing throws except for lack of memory.
//
// Life: constructed (library found or not), configured by the setters, connected, closed; a closed
// exporter can be connected again. Its parts lie in files of their own: raw_msgpack_api (search),
// fluentbit_exporter (life and connection), page_dispatch (which way a page goes), block_walk and
// *_path (what becomes of it), counter_set_cache.
#ifndef VEK_EXPORTER_FLUENTBIT_EXPORTER_H
#define VEK_EXPORTER_FLUENTBIT_EXPORTER_H

#include <msgpack.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "counters/counter_set.h"
#include "data/byte_reader.h"
#include "data/data_page.h"
#include "data/exporter_schema_manager.h"
#include "data/opaque_events_extractor.h"
#include "data/page_view.h"
#include "data/schema_id.h"
#include "data/type_system.h"
#include "dict_reader/data_dict.h"
#include "dict_reader/dict_reader.h"
#include "exporter/counter_set_cache.h"
#include "exporter/raw_msgpack_api.h"
#include "field_set/field_set.h"
#include "utils/export.h"
#include "utils/export_parameters.h"
#include "utils/logger.h"
#include "utils/msgpack_buffer.h"
#include "utils/owned.h"
#include "utils/record_layout.h"
#include "utils/string_array.h"

namespace vek {

class BlockPath;
class BlockWalk;
struct BlockRecord;

class VEK_API FluentBitExporter {
 public:
  // Finds and loads the raw msgpack library; see SharedObjectAPILoaded().
  FluentBitExporter();
  // Uses these entry points instead, for tools that look at records. The handle, which must not be
  // null, is closed as that of a loaded library would be.
  explicit FluentBitExporter(const RawMsgpackApi& api);
  // Ends the connection and closes the library if it is still connected; a library that was
  // disconnected before stays open.
  ~FluentBitExporter();
  FluentBitExporter(const FluentBitExporter&) = delete;
  FluentBitExporter& operator=(const FluentBitExporter&) = delete;

  bool SharedObjectAPILoaded() const { return api_.handle != nullptr; }
  // The number in FLUENT_BIT_CHECKS when the exporter was made; nothing here depends on it.
  uint64_t fluentBitChecks() const { return fluent_bit_checks_; }

  void setPluginWithDefaultHostAndPort(const char* plugin);
  void setHostAndPort(const char* host, unsigned short port);
  void setExportParams(void* params);  // borrowed: fluentbit_export_parameters_t
  // Looks at the plug-in's name: set that first.
  void setMsgpackDataLayout(const char* layout);
  void setCountersetFile(const char* file) { counterset_file_ = file; }  // borrowed
  void setFieldsetFile(const char* file) { fieldset_file_ = file; }      // borrowed
  void setBatchMode(bool batch_mode) { batch_mode_ = batch_mode; }
  // Pages whose tag is not listed are passed over; "counters" lets pages without a tag through.
  void setSourceTagList(const vek_string_array_t* list);
  void OpenDumpFile();

  // Connecting announces "cntr" data when a counter set is in use, else "evnt".
  bool connectToFlb();
  bool closeConnection();
  bool exportMsgpackBuffer(const msgpack_sbuffer* buffer);

  // A page that a filter passes over counts as exported. Null pages fail; a null schema manager
  // record, or one without contents, means that no schema is known.
  bool exportDataPage(const vek_data_page_t* page,
                      const vek_exporter_schema_manager_t* schema_manager);
  bool exportVekDataPage(const vek_data_page_t* page,
                         const vek_exporter_schema_manager_t* schema_manager);
  bool exportVekDataPage_kix(const vek_data_page_t* page, SchemaManager* schema_manager);
  bool exportDictionaryDataPage(const vek_data_page_t* page,
                                const vek_exporter_schema_manager_t* schema_manager);

  // A reader that gives its dictionaries to this exporter, null after a message.
  std::unique_ptr<DataDictionaryReader> initDictReader();
  // The reader's callbacks; the context is the exporter. Pages come by records; messages are for
  // hosts that have a reader of their own.
  static bool onDataDictClb(dict_reader_user_ctx* context, const data_dict_message_t* message);
  static bool onDictRecordClb(dict_reader_user_ctx* context, const void* record, size_t size);
  // Sends the message as one record and empties its root; the reader releases the rest.
  bool exportAndDeleteDataDict(const data_dict_message_t* message);

  // Called once the library is loaded. Without an extractor pages of opaque events fail.
  bool StartOpaqueProcessing();
  // Sends one complete opaque event as it stands; the recipient is the exporter.
  static bool ProcessOpaqueEventClb(vek_opaque_events_extractor_recipient_ctx* recipient,
                                    const char* source_id, const char* tag,
                                    const vek_custom_options* options, const unsigned char* app_id,
                                    unsigned long first_word, unsigned long second_word,
                                    const void* data, unsigned int size);

  // The counter set of a schema's identifier, kept from the first call on; null for a null schema.
  vek_counter_set_t* getCset(const vek_counters_schema_t* schema, const char* counterset_file);
  void createCounterSet(const vek_counters_schema_t* schema, const char* counterset_file);
  void freeCounterSets();
  // Leaves no counter set in use; the sets themselves stay cached.
  void freeCounterSet();

  // Makes the field set from the file on the first call, and binds the type system's schemas to it
  // on every call; either may be null. Without a field set (its file cannot be opened) pages with
  // events are refused, so that nothing leaves that the operator meant to filter.
  void createFieldSet(const vek_type_system_t* type_system, const char* fieldset_file);
  void freeFieldSet() { field_set_.reset(); }
  void updateSetsWithTypeSystem(const vek_type_system_t* type_system);

 private:
  friend class TypeSystemPath;
  friend class SchemaManagerPath;

  // The counters schema that a manager had for the last page.
  struct PageSchema {
    uint64_t manager = 0;  // its serial number; 0: none
    std::array<uint8_t, VEK_SCHEMA_ID_SIZE> id{};
    const vek_counters_schema_t* schema = nullptr;
  };

  void setLayout(const char* name);
  bool takes(const PageView& page) const {
    VEK_LOGD("data_page->data_source.tag = '%s'", page.tag.data());
    return source_tags_.empty() || passesSourceTags(page);
  }
  bool passesSourceTags(const PageView& page) const;
  bool exportOpaqueDataPage(const vek_data_page_t* page,
                            const vek_exporter_schema_manager_t* schema_manager);
  bool exportOverTypeSystem(const PageView& page,
                            const vek_exporter_schema_manager_t* schema_manager);
  bool exportOverSchemaManager(const PageView& page, SchemaManager* schema_manager);
  bool exportBlocks(const PageView& page, BlockPath& path);
  void exportCountersBlock(const PageView& page, Bytes block, BlockPath& path);
  void takeSchemasBlock(const BlockRecord& record, BlockWalk& walk, BlockPath& path);
  bool exportEventsBlock(const PageView& page, const BlockRecord& record, BlockWalk& walk,
                         const BlockPath& path);
  void packEvents(EventPlan& plan, const vek_event_header_t& header, Bytes events,
                  const char* source);
  void send(std::string_view record);
  bool exportDictRecord(const msgpack_sbuffer* record);

  CString plugin_name_;
  CString host_;
  std::vector<std::string> source_tags_;
  bool counters_in_source_tags_ = false;
  uint16_t port_ = 24224;
  const fluentbit_export_parameters_t* export_params_ = nullptr;  // borrowed
  CString msgpack_data_layout_;
  RecordLayout record_layout_ = RecordLayout::kFlbStd;  // that it names
  void* flb_ctx_ = nullptr;                             // null while not connected
  RawMsgpackApi api_;
  vek_counter_set_t* counter_set_ = nullptr;  // in use; belongs to csets_
  uint64_t fluent_bit_checks_ = 0;
  CString dump_file_path_;
  File dump_file_;
  bool connected_ = false;
  const char* counterset_file_ = nullptr;  // borrowed
  CounterSetCache csets_;
  PageSchema page_schema_;
  const char* fieldset_file_ = nullptr;  // borrowed
  std::unique_ptr<FieldSet> field_set_;
  vek_schema_block_t last_schemas_block_{};  // of the page at hand
  bool custom_layout_allowed_ = false;
  bool batch_mode_ = false;
  std::unique_ptr<DataDictionaryReader> dict_reader_;  // from the first dictionary page on
  Owned<vek_opaque_events_extractor_t, vek_opaque_events_extractor_delete> opaque_extractor_;
};

}  // namespace vek

#endif  // VEK_EXPORTER_FLUENTBIT_EXPORTER_H
