// StreamInspection: reads recorded streams as the plug-in does, and tells every step.
//
// Pages tagged "dict_..." go through the dictionary reader, event by event; on pages tagged
// "fluent_aggr" each complete opaque event is told. Other pages hold no streams and are passed
// over. Streams go on from page to page and from file to file.
#ifndef VEK_TOOLS_INSPECT_STREAM_INSPECTION_H
#define VEK_TOOLS_INSPECT_STREAM_INSPECTION_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "data/exporter_schema_manager.h"
#include "data/opaque_events_extractor.h"
#include "dict_reader/dict_reader.h"
#include "dict_reader/dict_reader_utils.h"
#include "tools/base/log_tap.h"
#include "tools/inspect/stream_printer.h"
#include "utils/owned.h"

namespace vek::tools {

class StreamInspection {
 public:
  // All borrowed. With `batch`, whole root containers are told, as with "batch_mode = 1".
  StreamInspection(const vek_exporter_schema_manager_t& schemas, StreamPrinter& printer,
                   LogTap& log, bool batch);
  StreamInspection(const StreamInspection&) = delete;
  StreamInspection& operator=(const StreamInspection&) = delete;

  bool is_ready() const { return reader_.IsReady() && extractor_ != nullptr; }
  // False when the plug-in would report this page as failed.
  bool page(std::string_view file, uint64_t number, const vek_data_page_t* page);
  // How many of the pages held streams.
  uint64_t stream_pages() const { return stream_pages_; }

 private:
  using Recipient = vek_opaque_events_extractor_recipient_ctx;

  static data_dict_reader_user_t user_of(StreamInspection& self, bool batch);
  static bool on_event(Recipient* recipient, const char* source_id, const char* tag,
                       const vek_custom_options* options, const unsigned char* app_id,
                       unsigned long first_word, unsigned long second_word, const void* data,
                       unsigned int size);
  static bool on_dictionary(dict_reader_user_ctx* context, const data_dict_message_t* message);

  bool take_stream_event(const StreamPlace& place, const OpaquePayload& payload, Bytes data);
  EventFate fate_of(bool taken);
  void tell_problems(bool read);

  vek_exporter_schema_manager_t schemas_;
  StreamPrinter& printer_;
  LogTap& log_;
  data_dict_reader_user_t user_;
  DataDictionaryReader reader_;
  Owned<vek_opaque_events_extractor_t, vek_opaque_events_extractor_delete> extractor_;
  // By source id and tag, as the reader keeps them.
  std::map<std::pair<std::string, std::string>, dict_reader_utils::IdToKeyMap> names_;
  // Of the page that is being read:
  StreamPlace place_;
  bool holds_dictionaries_ = false;  // else an aggregator's events
  std::vector<TappedLine> problems_;

  uint64_t stream_pages_ = 0;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_INSPECT_STREAM_INSPECTION_H
