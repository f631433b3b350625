// vek::FluentBitExporter: one destination.
//
// It owns the loaded raw msgpack library's handle, the Fluent Bit context, and what decides the
// contents of records: counter sets, source tags, layout. Every method runs on the thread that
// exports the page; nothing locks and nothing throws except for lack of memory.
#ifndef VEK_EXPORTER_FLUENTBIT_EXPORTER_H
#define VEK_EXPORTER_FLUENTBIT_EXPORTER_H

#include <msgpack.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "counters/counter_set.h"
#include "data/data_page.h"
#include "data/exporter_schema_manager.h"
#include "data/page_view.h"
#include "data/type_system.h"
#include "utils/export.h"
#include "utils/export_parameters.h"
#include "utils/owned.h"
#include "utils/string_array.h"

namespace vek {

using RawMsgpackInit = void* (*)(const char* plugin, const char* host, const char* port,
                                 const fluentbit_export_parameters_t* params, const char* kind,
                                 const char* second_tag);
using RawMsgpackAddData = int (*)(void* context, const void* data, size_t size);
using RawMsgpackFinalize = int (*)(void* context);

class VEK_API FluentBitExporter {
 public:
  // Finds and loads the raw msgpack library; see SharedObjectAPILoaded().
  FluentBitExporter();
  ~FluentBitExporter();
  FluentBitExporter(const FluentBitExporter&) = delete;
  FluentBitExporter& operator=(const FluentBitExporter&) = delete;

  bool SharedObjectAPILoaded() const { return api_handle_ != nullptr; }

  void setPluginWithDefaultHostAndPort(const char* plugin);
  void setHostAndPort(const char* host, unsigned short port);
  void setExportParams(void* params);  // borrowed: fluentbit_export_parameters_t
  void setMsgpackDataLayout(const char* layout);
  void setCountersetFile(const char* file) { counterset_file_ = file; }  // borrowed
  void setFieldsetFile(const char* file) { fieldset_file_ = file; }      // borrowed
  void setBatchMode(bool batch_mode) { batch_mode_ = batch_mode; }
  void setSourceTagList(const vek_string_array_t* list);
  void OpenDumpFile();

  bool connectToFlb();
  bool closeConnection();
  bool exportMsgpackBuffer(const msgpack_sbuffer* buffer);

  bool exportDataPage(const vek_data_page_t* page,
                      const vek_exporter_schema_manager_t* schema_manager);
  bool exportVekDataPage(const vek_data_page_t* page,
                         const vek_exporter_schema_manager_t* schema_manager);
  bool exportVekDataPage_kix(const vek_data_page_t* page, SchemaManager* schema_manager);

  vek_counter_set_t* getCset(const vek_counters_schema_t* schema, const char* counterset_file);
  void createCounterSet(const vek_counters_schema_t* schema, const char* counterset_file);
  void freeCounterSets();
  void freeCounterSet();

 private:
  CString plugin_name_;
  CString host_;
  std::vector<std::string> source_tags_;
  bool counters_in_source_tags_ = false;
  uint16_t port_ = 24224;
  const fluentbit_export_parameters_t* export_params_ = nullptr;  // borrowed
  CString msgpack_data_layout_;
  void* flb_ctx_ = nullptr;
  void* api_handle_ = nullptr;
  RawMsgpackInit init_fn_ = nullptr;
  RawMsgpackAddData add_data_fn_ = nullptr;
  RawMsgpackFinalize finalize_fn_ = nullptr;
  vek_counter_set_t* counter_set_ = nullptr;  // one of csets_
  uint64_t fluent_bit_checks_ = 0;
  CString dump_file_path_;
  File dump_file_;
  bool connected_ = false;
  const char* counterset_file_ = nullptr;  // borrowed
  std::vector<vek_counter_set_t*> csets_;  // owned; see freeCounterSets()
  std::map<std::string, int32_t> cset_index_by_schema_id_;
  const char* fieldset_file_ = nullptr;  // borrowed
  bool custom_layout_allowed_ = false;
  bool batch_mode_ = false;
};

}  // namespace vek

#endif  // VEK_EXPORTER_FLUENTBIT_EXPORTER_H
