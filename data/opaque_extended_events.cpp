#include "data/opaque_extended_events.h"

#include <functional>
#include <new>
#include <string_view>
#include <utility>

#include "utils/clock.h"
#include "utils/limits.h"
#include "utils/logger.h"

namespace vek {

OpaqueExtendedEvents::Source::Source(const PageView& page) {
  page.source_text().copy(texts.data(), VEK_PAGE_SOURCE_ID_SIZE);
  page.tag_text().copy(texts.data() + VEK_PAGE_SOURCE_ID_SIZE, VEK_PAGE_TAG_SIZE);
}

size_t OpaqueExtendedEvents::SourceHash::operator()(const Source& source) const noexcept {
  return std::hash<std::string_view>{}({source.texts.data(), source.texts.size()});
}

void OpaqueExtendedEvents::drop_unfinished(const PageView& page, const Source& source) {
  const auto found = unfinished_.find(source);
  if (found == unfinished_.end()) return;
  const Unfinished& event = found->second;
  VEK_LOGW(
      "[opaque events extractor] unfinished event deleted (src=%s tag=%s id=%u offs=%u size=%u)",
      page.source_id.data(), page.tag.data(), event.start.id, event.received,
      event.start.offset_or_total);
  take(found);
}

OpaqueExtendedEvents::Unfinished& OpaqueExtendedEvents::add(const Source& source) {
  Ages age(1);  // first, so that nothing is half done when memory runs out
  const auto added = unfinished_.try_emplace(source).first;
  age.front() = &added->first;
  added->second.age = age.begin();
  by_age_.splice(by_age_.end(), age);
  return added->second;
}

OpaqueExtendedEvents::Map::node_type OpaqueExtendedEvents::take(Map::iterator event) {
  by_age_.erase(event->second.age);
  held_bytes_ -= event->second.received;
  return unfinished_.extract(event);
}

void OpaqueExtendedEvents::give_up_oldest() {
  static LogRateLimit limit;
  if (limit.due_at_level(VEK_LOG_WARNING)) {
    VEK_LOGW(
        "[opaque events extractor] too many unfinished events (%zu, %zu bytes): the oldest are "
        "given up",
        unfinished_.size(), held_bytes_);
  }
  take(unfinished_.find(*by_age_.front()));
}

bool OpaqueExtendedEvents::start(const PageView& page, const vek_opaque_event_t& event,
                                 Bytes meta) noexcept {
  const Source source(page);
  drop_unfinished(page, source);
  OwnedOptions options = read_opaque_meta(meta);
  if (options) {
    if (unfinished_.size() >= limits::kUnfinishedEvents) give_up_oldest();
    try {
      Unfinished& unfinished = add(source);
      unfinished.start = event;
      unfinished.meta = std::move(options);
      return true;
    } catch (const std::bad_alloc&) {
      // Said below.
    }
  }
  VEK_LOGE("[opaque events extractor] Unable to allocate source info");
  return false;
}

bool OpaqueExtendedEvents::chunk(const PageView& page, const vek_opaque_event_t& event,
                                 Bytes data) {
  const auto found = unfinished_.find(Source(page));
  if (found == unfinished_.end()) {
    VEK_LOGW("[opaque events extractor] Chunk event from unknown source: %s:%s. Skipped",
             page.source_id.data(), page.tag.data());
    return true;
  }
  Unfinished& unfinished = found->second;
  const uint32_t total = unfinished.start.offset_or_total;
  if (event.id != unfinished.start.id) {
    VEK_LOGW("[opaque events extractor] Chunk event with unknown id %u. Skipped", event.id);
    return true;
  }
  // Bytes beyond the announced total mean the same as bytes at a wrong place: some were lost.
  if (event.offset_or_total != unfinished.received || data.size() > total - unfinished.received) {
    VEK_LOGW("[opaque events extractor] Chunk event with bad offset %u!=%u. Skipped",
             event.offset_or_total, unfinished.received);
    take(found);
    return true;
  }
  while (held_bytes_ + data.size() > limits::kUnfinishedBytes) {
    const bool is_itself = by_age_.front() == &found->first;
    give_up_oldest();
    if (is_itself) return true;
  }
  if (!append(unfinished, data)) {
    VEK_LOGW("[opaque events extractor] Cannot allocate a extended event chunk. Skipped...");
    return true;
  }
  unfinished.received += static_cast<uint32_t>(data.size());
  held_bytes_ += data.size();
  if (unfinished.received != total) return true;
  // Out of the map before the call: it is gone afterwards, whatever the recipient does.
  const auto complete = take(found);
  return deliver(page, complete.mapped());
}

bool OpaqueExtendedEvents::append(Unfinished& unfinished, Bytes data) const {
  return assembling() ? unfinished.buffer.append(data, unfinished.start.offset_or_total)
                      : unfinished.chunks.append(data);
}

bool OpaqueExtendedEvents::deliver(const PageView& page, const Unfinished& event) const {
  const vek_opaque_event_t& start = event.start;
  if (assembling()) {
    return recipient_.on_event(recipient_.context, page.source_id.data(), page.tag.data(),
                               event.meta.get(), start.app_id, start.first_word, start.second_word,
                               event.buffer.data(), start.offset_or_total);
  }
  return recipient_.on_chunks(recipient_.context, page.source_id.data(), page.tag.data(),
                              event.meta.get(), start.app_id, start.first_word, start.second_word,
                              start.offset_or_total, event.chunks.head());
}

}  // namespace vek
