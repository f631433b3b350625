#include "data/opaque_events_extractor.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>

#include "data/opaque_extended_events.h"
#include "data/opaque_page_walk.h"
#include "data/opaque_runs.h"
#include "data/page_view.h"
#include "utils/logger.h"

namespace {

using vek::Bytes;

bool all_zero(const unsigned char* app_id) {
  return std::all_of(app_id, app_id + VEK_APP_ID_SIZE, [](unsigned char b) { return b == 0; });
}

// One row of the line that names both applications, in stored order.
#define APP_ID_FORMAT "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x"
#define APP_ID_BYTES(id)                                                                    \
  (id)[0], (id)[1], (id)[2], (id)[3], (id)[4], (id)[5], (id)[6], (id)[7], (id)[8], (id)[9], \
      (id)[10], (id)[11], (id)[12], (id)[13], (id)[14], (id)[15]

}  // namespace

struct vek_opaque_events_extractor final : vek::OpaqueEventSink {
  vek_opaque_events_extractor(const unsigned char* wanted,
                              const vek_opaque_events_extractor_recipient_t& to)
      : recipient(to), extended(to), accept_all(all_zero(wanted)) {
    std::memcpy(app_id, wanted, VEK_APP_ID_SIZE);
  }

  bool take(const vek::PageView& page, Bytes events, uint64_t event_size, uint64_t count) override;

  bool take_one(const vek::PageView& page, Bytes event);
  bool asks_run_taker() const { return run_taker && accept_all && !VEK_LOG_ENABLED(VEK_LOG_DEBUG); }
  bool is_wanted(const vek_opaque_event_t& event) const;
  bool handle(const vek::PageView& page, const vek_opaque_event_t& event, Bytes data);

  vek_opaque_events_extractor_recipient_t recipient;
  vek::OpaqueExtendedEvents extended;
  unsigned char app_id[VEK_APP_ID_SIZE];
  bool accept_all;
  vek::OpaqueRunTaker* run_taker = nullptr;
};

bool vek_opaque_events_extractor::is_wanted(const vek_opaque_event_t& event) const {
  if (accept_all || std::memcmp(event.app_id, app_id, VEK_APP_ID_SIZE) == 0) return true;
  VEK_LOGD("[opaque events extractor] Not a desired app_id (" APP_ID_FORMAT "!= " APP_ID_FORMAT
           "), skipping...",
           APP_ID_BYTES(event.app_id), APP_ID_BYTES(app_id));
  return false;
}

bool vek_opaque_events_extractor::handle(const vek::PageView& page, const vek_opaque_event_t& event,
                                         Bytes data) {
  switch (event.kind) {
    case VEK_OPAQUE_WHOLE:
      return recipient.on_event(recipient.context, page.source_id.data(), page.tag.data(), nullptr,
                                event.app_id, event.first_word, event.second_word, data.data(),
                                event.data_size);
    case VEK_OPAQUE_START:
      return extended.start(page, event, data);
    case VEK_OPAQUE_CHUNK:
      return extended.chunk(page, event, data);
    default:
      VEK_LOGE("[opaque events extractor] Unknown opaque event type: %u", event.kind);
      return false;
  }
}

bool vek_opaque_events_extractor::take(const vek::PageView& page, Bytes events, uint64_t event_size,
                                       uint64_t count) {
  while (count > 0) {
    if (asks_run_taker()) {
      const auto [taken, handled] = run_taker->take(page, events, event_size);
      if (!handled) return false;
      events = events.subspan(taken * event_size);
      count -= taken;
      if (count == 0) break;
    }
    if (!take_one(page, events.first(event_size))) return false;
    events = events.subspan(event_size);
    --count;
  }
  return true;
}

bool vek_opaque_events_extractor::take_one(const vek::PageView& page, Bytes bytes) {
  const vek::ByteReader reader(bytes);
  vek_opaque_event_t event;
  if (!reader.read(0, event)) {
    VEK_LOGE("[opaque events extractor] opaque event of %zu bytes is shorter than its header",
             bytes.size());
    return false;
  }
  // Keeps the compiler from going back to the page for a field of the copy.
  std::atomic_signal_fence(std::memory_order_acq_rel);

  if (is_wanted(event)) {
    Bytes data;
    if (!reader.slice(VEK_OPAQUE_EVENT_HEADER_SIZE, event.data_size, data)) {
      VEK_LOGE("[opaque events extractor] opaque event of %zu bytes cannot hold %u bytes of data",
               bytes.size(), event.data_size);
      return false;
    }
    if (!handle(page, event, data)) return false;
  }
  VEK_LOGD("[opaque events extractor] event of %u bytes extracted", event.data_size);
  return true;
}

void vek::set_opaque_run_taker(vek_opaque_events_extractor_t* extractor, OpaqueRunTaker* taker) {
  extractor->run_taker = taker;
}

vek_opaque_events_extractor_t* vek_opaque_events_extractor_create(
    const unsigned char* app_id, const vek_opaque_events_extractor_recipient_t* recipient) {
  if (!app_id || !recipient || !recipient->on_event) return nullptr;
  auto* extractor = new (std::nothrow) vek_opaque_events_extractor(app_id, *recipient);
  if (!extractor) VEK_LOGE("[opaque events extractor] cannot allocate extractor");
  return extractor;
}

bool vek_opaque_events_extractor_process_data_page(vek_opaque_events_extractor_t* extractor,
                                                   const vek_data_page_t* page,
                                                   const vek_opaque_type_lookup_t* lookup) {
  if (!extractor || !page || !lookup || !lookup->find) return false;
  try {
    return vek::walk_opaque_page(vek::PageView(page), *lookup, *extractor);
  } catch (...) {
    VEK_LOGE("[opaque events extractor] exception from a callback");
    return false;
  }
}

void vek_opaque_events_extractor_delete(vek_opaque_events_extractor_t* extractor) {
  delete extractor;
}
