#include "tools/inspect/stream_inspection.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "data/page_view.h"
#include "exporter/fluent_aggr.h"
#include "tools/base/console.h"

namespace vek::tools {
namespace {

constexpr std::string_view kDictionaryTagPrefix = "dict_";
// What the reader says of events outside collections.
constexpr std::string_view kIgnoredText = "ignoring an event - waiting to a 'start collection'";

unsigned char* any_application() {
  static unsigned char id[VEK_APP_ID_SIZE] = {};
  return id;
}

}  // namespace

StreamInspection::StreamInspection(const vek_exporter_schema_manager_t& schemas,
                                   StreamPrinter& printer, LogTap& log, bool batch)
    : schemas_(schemas),
      printer_(printer),
      log_(log),
      user_(user_of(*this, batch)),
      reader_(&user_, any_application(), DataDictionaryReader::kTreeDecoder) {
  vek_opaque_events_extractor_recipient_t recipient{};
  recipient.on_event = on_event;
  recipient.context = reinterpret_cast<Recipient*>(this);
  extractor_.reset(vek_opaque_events_extractor_create(any_application(), &recipient));
}

data_dict_reader_user_t StreamInspection::user_of(StreamInspection& self, bool batch) {
  return {on_dictionary, reinterpret_cast<dict_reader_user_ctx*>(&self), batch, true};
}

bool StreamInspection::page(std::string_view file, uint64_t number, const vek_data_page_t* page) {
  const PageView view(page);
  holds_dictionaries_ = view.tag_text().starts_with(kDictionaryTagPrefix);
  if (!holds_dictionaries_ && view.tag_text() != kFluentAggrTag) return true;
  ++stream_pages_;
  // cppcheck-suppress danglingLifetime ; used in what follows alone
  place_ = {file, number, view.source_text(), view.tag_text()};
  const vek_opaque_type_lookup_t lookup = {schemas_.find_event_type, schemas_.context};
  const bool read = vek_opaque_events_extractor_process_data_page(extractor_.get(), page, &lookup);
  tell_problems(read);
  return read;
}

bool StreamInspection::on_event(Recipient* recipient, const char* source_id, const char* tag,
                                const vek_custom_options* options, const unsigned char* app_id,
                                unsigned long first_word, unsigned long second_word,
                                const void* data, unsigned int size) {
  auto& self = *reinterpret_cast<StreamInspection*>(recipient);
  StreamPlace place = self.place_;
  place.source_id = source_id;
  place.tag = tag;
  OpaquePayload payload;
  payload.app_id = app_id;
  payload.options = options;
  payload.first_word = first_word;
  payload.second_word = second_word;
  payload.size = size;
  payload.is_for_plugin = std::equal(kFluentAggrAppId.begin(), kFluentAggrAppId.end(), app_id);
  const Bytes bytes(static_cast<const uint8_t*>(data), size);
  if (self.holds_dictionaries_) return self.take_stream_event(place, payload, bytes);
  self.printer_.opaque(place, payload);
  return true;
}

bool StreamInspection::take_stream_event(const StreamPlace& place, const OpaquePayload& payload,
                                         Bytes data) {
  StreamEvent event;
  event.type = typeOfDictEventWord(payload.second_word);
  event.key_id = keyIdOfDictEventWord(payload.second_word);
  event.data = data;
  // The dictionary that an event completes is told behind the event.
  std::string before = std::exchange(printer_.text(), {});
  const bool taken = reader_.ProcessEvent(place.source_id.data(), place.tag.data(), payload.options,
                                          payload.app_id, payload.first_word, payload.second_word,
                                          data.data(), static_cast<unsigned int>(data.size()));
  const std::string dictionary = std::exchange(printer_.text(), std::move(before));
  event.fate = fate_of(taken);

  auto& names = names_[{std::string(place.source_id), std::string(place.tag)}];
  if (event.type == PYTHON_ID && event.fate == EventFate::kTaken) {
    dict_reader_utils::upsertIdToKey(names, event.key_id, data.data(),
                                     static_cast<uint32_t>(data.size()));
  }
  const auto name = names.find(event.key_id);
  if (name != names.end() && event.key_id != kNoKeyId) event.name = name->second.get();
  printer_.event(place, event);
  printer_.text() += dictionary;
  return taken;
}

EventFate StreamInspection::fate_of(bool taken) {
  bool ignored = false;
  for (TappedLine& line : log_.take()) {
    const bool says_ignored = line.text.find(kIgnoredText) != std::string::npos;
    ignored = ignored || says_ignored;
    if (!says_ignored) problems_.push_back(std::move(line));
  }
  if (!taken) return EventFate::kRefused;
  return ignored ? EventFate::kIgnored : EventFate::kTaken;
}

bool StreamInspection::on_dictionary(dict_reader_user_ctx* context,
                                     const data_dict_message_t* message) {
  auto& self = *reinterpret_cast<StreamInspection*>(context);
  StreamPlace place = self.place_;
  place.source_id = message->source_id ? message->source_id : "";
  place.tag = message->tag ? message->tag : "";
  self.printer_.dictionary(place, message->timestamp, *message->root);
  return true;
}

void StreamInspection::tell_problems(bool read) {
  for (TappedLine& line : log_.take()) problems_.push_back(std::move(line));
  if (!read) {
    problems_.push_back({true, "the plug-in fails this page; what stands behind is not looked at"});
  }
  const std::string where = std::string(place_.file) + ": page " + std::to_string(place_.page) +
                            " (source '" + std::string(place_.source_id) + "', tag '" +
                            std::string(place_.tag) + "')";
  for (const TappedLine& line : problems_) {
    printer_.problem(place_, line.error, line.text);
    if (line.error) {
      say_error("%s: %s", where.c_str(), line.text.c_str());
    } else {
      say_warning("%s: %s", where.c_str(), line.text.c_str());
    }
  }
  problems_.clear();
}

}  // namespace vek::tools
