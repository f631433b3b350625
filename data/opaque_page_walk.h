// The way through a page of opaque events: finds them and hands them on, block by block.
//
// It knows blocks and their lengths, not what an opaque event holds.
#ifndef VEK_DATA_OPAQUE_PAGE_WALK_H
#define VEK_DATA_OPAQUE_PAGE_WALK_H

#include "data/byte_reader.h"
#include "data/opaque_events_extractor.h"
#include "data/page_view.h"

namespace vek {

class OpaqueEventSink {
 public:
  // `count` events of one block, back to back, each of `event_size` bytes, as many as its type's
  // size. False ends the walk as a failure.
  virtual bool take(const PageView& page, Bytes events, uint64_t event_size, uint64_t count) = 0;

 protected:
  ~OpaqueEventSink() = default;
};

// True = page processed. Exceptions of the lookup and the sink pass.
bool walk_opaque_page(const PageView& page, const vek_opaque_type_lookup_t& lookup,
                      OpaqueEventSink& sink);

}  // namespace vek

#endif  // VEK_DATA_OPAQUE_PAGE_WALK_H
