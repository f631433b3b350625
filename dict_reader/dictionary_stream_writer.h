// DictionaryStreamWriter: writes nested dictionaries as the event stream that dictionary readers
// put together again, for providers, tools and tests.
//
// A collection is one tree: a root dictionary or list, opened, filled and closed, with one
// timestamp. Values that fit one opaque event travel whole, longer ones as a start and chunks; a
// new page is begun when one is full.
//
//   vek::DictionaryStreamWriter writer({.source_id = "agent-7", .tag = "dict_power"});
//   bool good = writer.new_collection(now_us) && writer.dict_start() &&
//               writer.add_string("host", "leaf01") && writer.list_start("watts") &&
//               writer.add_long({}, 310) && writer.add_long({}, 295) && writer.list_end() &&
//               writer.dict_end();
//   for (const auto& page : writer.take_pages()) send(page);
//
// Names travel as numbers: the first use of a name in a stream announces it. Readers remember them
// by source and tag, and keep a name when the new one for its number is its beginning: a provider
// that starts again under the same source and tag should use its names in the same order.
//
// A call that does not fit what came before (a value outside a container, an end that closes
// nothing or the wrong thing) answers false, logs an error and writes nothing, so the stream stays
// good. Not locked. Functions throw std::bad_alloc when memory runs out.
#ifndef VEK_DICT_READER_DICTIONARY_STREAM_WRITER_H
#define VEK_DICT_READER_DICTIONARY_STREAM_WRITER_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "data/opaque_events_writer.h"
#include "dict_reader/dict_event.h"

namespace vek {

class VEK_API DictionaryStreamWriter {
 public:
  // The name of list items that are given none: readers refuse values without a name.
  static constexpr std::string_view kItemName = "item";

  // `source` says where pages come from, how large they and their events are, and its tag begins
  // with "dict_". A tag or source id that does not fit its field of a page would be cut and could
  // then be taken for another; with such a source every call answers false.
  explicit DictionaryStreamWriter(OpaqueEventsSource source);

  const OpaqueEventSchema& schema() const { return events_.schema(); }

  // Begins a collection; the one before has been closed. The time, in microseconds since the Unix
  // epoch, becomes its record's time and that of the blocks that hold it.
  [[nodiscard]] bool new_collection(uint64_t timestamp_us);

  // Names are needed in dictionaries, and only there: a root needs none, and list items are called
  // "item" unless they are named.
  [[nodiscard]] bool dict_start(std::string_view name = {});
  [[nodiscard]] bool list_start(std::string_view name = {});
  [[nodiscard]] bool add_string(std::string_view name, std::string_view value);
  [[nodiscard]] bool add_double(std::string_view name, double value);
  [[nodiscard]] bool add_long(std::string_view name, int64_t value);
  [[nodiscard]] bool add_bool(std::string_view name, bool value);
  [[nodiscard]] bool add_none(std::string_view name);
  // Each closes the innermost container, which is of that kind. Closing the root ends the
  // collection.
  [[nodiscard]] bool dict_end();
  [[nodiscard]] bool list_end();

  // Names are announced again on their next use, for readers that may have joined, or lost pages,
  // since they were first announced.
  void announce_names_again() { ++announcement_; }
  // How many containers are open.
  size_t depth() const { return open_.size(); }

  // Closes the current page, even if it is not full; nothing when no event was written to it.
  void next_page() { events_.next_page(); }
  // The pages so far, the current one included; the stream goes on with a new page.
  std::vector<std::vector<uint8_t>> take_pages() { return events_.take_pages(); }

 private:
  enum class Container : bool { kDict, kList };
  struct Name {
    uint32_t key_id;
    uint64_t announcement;  // the last round in which it was announced
  };

  bool start(Container kind, std::string_view name);
  bool end(Container kind);
  bool add(python_event_type_t type, std::string_view name, Bytes data);
  // The name that an item travels under, empty for none; false when it cannot stand here.
  bool name_in_place(python_event_type_t type, std::string_view& name) const;
  bool announce(std::string_view name, uint32_t& key_id);
  bool send(python_event_type_t type, uint32_t key_id, Bytes data);

  bool good_source_;
  OpaqueEventsWriter events_;
  std::map<std::string, Name, std::less<>> names_;
  uint64_t announcement_ = 1;
  bool collecting_ = false;  // a collection was begun and its root is not closed
  std::vector<Container> open_;
  uint32_t next_extended_id_ = 1;
};

}  // namespace vek

#endif  // VEK_DICT_READER_DICTIONARY_STREAM_WRITER_H
