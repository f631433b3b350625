// Any bytes behind a good page header: nothing is read beyond them, and both modes deliver the same
// payloads.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "data/opaque_events_extractor.h"
#include "utils/logger.h"
#include "utils/owned.h"

namespace {

using Extractor = vek::Owned<vek_opaque_events_extractor_t, vek_opaque_events_extractor_delete>;

void require(bool holds) {
  if (!holds) std::abort();
}

struct Delivered {
  std::vector<std::string> payloads;

  vek_opaque_events_extractor_recipient_ctx* context() {
    return reinterpret_cast<vek_opaque_events_extractor_recipient_ctx*>(this);
  }
  static Delivered& of(vek_opaque_events_extractor_recipient_ctx* context) {
    return *reinterpret_cast<Delivered*>(context);
  }
};

bool on_event(vek_opaque_events_extractor_recipient_ctx* context, const char* source_id,
              const char* tag, const vek_custom_options* /*options*/,
              const unsigned char* /*app_id*/, unsigned long /*first*/, unsigned long /*second*/,
              const void* data, unsigned int size) {
  require(std::strlen(source_id) <= VEK_PAGE_SOURCE_ID_SIZE);
  require(std::strlen(tag) <= VEK_PAGE_TAG_SIZE);
  Delivered::of(context).payloads.emplace_back(static_cast<const char*>(data), size);
  return true;
}

bool on_chunks(vek_opaque_events_extractor_recipient_ctx* context, const char* /*source_id*/,
               const char* /*tag*/, const vek_custom_options* /*options*/,
               const unsigned char* /*app_id*/, unsigned long /*first*/, unsigned long /*second*/,
               uint32_t total, const vek_opaque_event_chunk_t* chunks) {
  std::string payload;
  for (const auto* chunk = chunks; chunk; chunk = chunk->next) {
    payload.append(reinterpret_cast<const char*>(chunk->data), chunk->size);
  }
  require(payload.size() == total);
  Delivered::of(context).payloads.push_back(std::move(payload));
  return true;
}

// The type index is the size of the events; odd ones are of another name, 0 is unknown.
const vek_type_definition_t* find_type(void* context, const vek_schema_block_t* /*schemas*/,
                                       const vek_event_header_t* block) {
  static char opaque[] = "opaque_event_fuzz";
  static char other[] = "other";
  auto* type = static_cast<vek_type_definition_t*>(context);
  type->name = block->type_index % 2 == 0 ? opaque : other;
  type->size = block->type_index;
  return block->type_index == 0 ? nullptr : type;
}

std::vector<std::string> extract(const vek_data_page_t* page, bool assembled) {
  Delivered delivered;
  const vek_opaque_events_extractor_recipient_t recipient = {
      on_event, assembled ? nullptr : on_chunks, delivered.context()};
  const unsigned char any_application[VEK_APP_ID_SIZE] = {};
  const Extractor extractor(vek_opaque_events_extractor_create(any_application, &recipient));
  vek_type_definition_t type{};
  const vek_opaque_type_lookup_t lookup = {find_type, &type};
  vek_opaque_events_extractor_process_data_page(extractor.get(), page, &lookup);
  return delivered.payloads;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek_set_log_level(0);
  // Of exactly the page's size, so that a sanitizer sees a byte too many.
  const size_t total = VEK_PAGE_HEADER_SIZE + size;
  const std::unique_ptr<uint8_t[]> image(new uint8_t[total]());
  auto* page = reinterpret_cast<vek_data_page_t*>(image.get());
  page->version = 1;
  page->minor_version = 7;
  page->total = total;
  page->filled = total;
  if (size != 0) std::memcpy(image.get() + VEK_PAGE_HEADER_SIZE, data, size);
  require(extract(page, true) == extract(page, false));
  return 0;
}
