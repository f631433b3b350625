// The extended events that are not complete yet: at most one per source id and tag.
//
// A start event opens one, in place of whatever its source left unfinished; chunks extend it, in
// order and without gaps, on this page or on later ones; the chunk that reaches the announced total
// hands it to the recipient. Beyond the limits (utils/limits.h) the event that was started longest
// ago is given up.
#ifndef VEK_DATA_OPAQUE_EXTENDED_EVENTS_H
#define VEK_DATA_OPAQUE_EXTENDED_EVENTS_H

#include <array>
#include <cstdint>
#include <list>
#include <unordered_map>

#include "data/opaque_events_extractor.h"
#include "data/opaque_meta.h"
#include "data/opaque_payload.h"
#include "data/page_view.h"

namespace vek {

class OpaqueExtendedEvents {
 public:
  explicit OpaqueExtendedEvents(const vek_opaque_events_extractor_recipient_t& recipient)
      : recipient_(recipient) {}

  // Both answer false when the page has to fail, with the reason logged. `event` is a private copy
  // of the event's header. chunk() lets exceptions of the recipient's callbacks pass.
  bool start(const PageView& page, const vek_opaque_event_t& event, Bytes meta) noexcept;
  bool chunk(const PageView& page, const vek_opaque_event_t& event, Bytes data);

 private:
  // The texts of a page's source id and tag, zeros behind each.
  struct Source {
    std::array<char, VEK_PAGE_SOURCE_ID_SIZE + VEK_PAGE_TAG_SIZE> texts{};

    explicit Source(const PageView& page);
    bool operator==(const Source&) const = default;
  };
  struct SourceHash {
    size_t operator()(const Source& source) const noexcept;
  };

  using Ages = std::list<const Source*>;  // keys of the map

  struct Unfinished {
    Ages::iterator age;
    vek_opaque_event_t start{};  // id, application, words and total
    OwnedOptions meta;
    uint32_t received = 0;
    OpaqueBuffer buffer;     // used when extended events are assembled
    OpaqueChunkList chunks;  // used when their chunks are handed over
  };
  using Map = std::unordered_map<Source, Unfinished, SourceHash>;

  bool assembling() const { return recipient_.on_chunks == nullptr; }
  void drop_unfinished(const PageView& page, const Source& source);
  Unfinished& add(const Source& source);
  Map::node_type take(Map::iterator event);
  void give_up_oldest();
  bool append(Unfinished& unfinished, Bytes data) const;
  bool deliver(const PageView& page, const Unfinished& event) const;

  vek_opaque_events_extractor_recipient_t recipient_;
  Map unfinished_;
  Ages by_age_;            // the one that was started longest ago first
  size_t held_bytes_ = 0;  // received of all of them
};

}  // namespace vek

#endif  // VEK_DATA_OPAQUE_EXTENDED_EVENTS_H
