// Any bytes behind good page headers, page after page: nothing is read beyond them, both modes
// deliver the same payloads, and no more is kept than what came.
//
// Pages are separated by "\xff\xffPG" and a byte that says whose the next one is.
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "data/opaque_events_extractor.h"
#include "fuzz/support.h"
#include "utils/owned.h"

namespace {

using Extractor = vek::Owned<vek_opaque_events_extractor_t, vek_opaque_events_extractor_delete>;

using vek::fuzz::OffTheBooks;

constexpr std::string_view kNextPage = "\xff\xffPG";

void require(bool holds) { vek::fuzz::require(holds, "what is delivered is what was sent"); }

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
  const OffTheBooks own;
  require(std::strlen(source_id) <= VEK_PAGE_SOURCE_ID_SIZE);
  require(std::strlen(tag) <= VEK_PAGE_TAG_SIZE);
  Delivered::of(context).payloads.emplace_back(static_cast<const char*>(data), size);
  return true;
}

bool on_chunks(vek_opaque_events_extractor_recipient_ctx* context, const char* /*source_id*/,
               const char* /*tag*/, const vek_custom_options* /*options*/,
               const unsigned char* /*app_id*/, unsigned long /*first*/, unsigned long /*second*/,
               uint32_t total, const vek_opaque_event_chunk_t* chunks) {
  const OffTheBooks own;
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

// Of exactly the page's size, so that a sanitizer sees a byte too many.
struct Page {
  std::unique_ptr<uint8_t[]> image;

  Page(std::string_view body, uint8_t source) {
    const size_t total = VEK_PAGE_HEADER_SIZE + body.size();
    image.reset(new uint8_t[total]());
    auto* page = reinterpret_cast<vek_data_page_t*>(image.get());
    page->version = 1;
    page->minor_version = source < 0xf0 ? 7 : 3;  // which has no blocks of events yet
    page->total = total;
    page->filled = total;
    if (source != 0) page->data_source.source_id[0] = static_cast<char>('a' + source % 4);
    if (!body.empty()) std::memcpy(image.get() + VEK_PAGE_HEADER_SIZE, body.data(), body.size());
  }
  const vek_data_page_t* get() const {
    return reinterpret_cast<const vek_data_page_t*>(image.get());
  }
};

std::vector<Page> pages_of(std::string_view input) {
  std::vector<Page> pages;
  uint8_t source = 0;
  while (true) {
    const size_t end = input.find(kNextPage);
    pages.emplace_back(input.substr(0, end), source);
    if (end == std::string_view::npos) return pages;
    input.remove_prefix(end + kNextPage.size());
    if (input.empty()) return pages;
    source = static_cast<uint8_t>(input[0]);
    input.remove_prefix(1);
  }
}

bool ignore_event(vek_opaque_events_extractor_recipient_ctx*, const char*, const char*,
                  const vek_custom_options*, const unsigned char*, unsigned long, unsigned long,
                  const void*, unsigned int) {
  return true;
}

bool ignore_chunks(vek_opaque_events_extractor_recipient_ctx*, const char*, const char*,
                   const vek_custom_options*, const unsigned char*, unsigned long, unsigned long,
                   uint32_t, const vek_opaque_event_chunk_t*) {
  return true;
}

void extract_without_memory(const std::vector<Page>& pages, bool assembled) {
  const vek_opaque_events_extractor_recipient_t recipient = {
      ignore_event, assembled ? nullptr : ignore_chunks, nullptr};
  const unsigned char any_application[VEK_APP_ID_SIZE] = {};
  vek_type_definition_t type{};
  const vek_opaque_type_lookup_t lookup = {find_type, &type};
  const Extractor extractor(vek_opaque_events_extractor_create(any_application, &recipient));
  for (const Page& page : pages) {
    vek_opaque_events_extractor_process_data_page(extractor.get(), page.get(), &lookup);
  }
}

std::vector<std::string> extract(const std::vector<Page>& pages, size_t size, bool assembled) {
  Delivered delivered;
  const vek_opaque_events_extractor_recipient_t recipient = {
      on_event, assembled ? nullptr : on_chunks, delivered.context()};
  // Of one input in eight only what comes from one application is wanted.
  const unsigned char application[VEK_APP_ID_SIZE] = {static_cast<uint8_t>(size % 8 == 7)};
  vek_type_definition_t type{};
  const vek_opaque_type_lookup_t lookup = {find_type, &type};
  // A chunk of one byte takes some more in a list of its own.
  const vek::fuzz::Budget budget(size, assembled ? vek::fuzz::Budget::kFactor : 8);
  const Extractor extractor(vek_opaque_events_extractor_create(application, &recipient));
  for (const Page& page : pages) {
    vek_opaque_events_extractor_process_data_page(extractor.get(), page.get(), &lookup);
  }
  return delivered.payloads;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  const auto pages = pages_of({reinterpret_cast<const char*>(data), size});
  for (const bool assembled : {true, false}) {
    vek::fuzz::survives_without_memory(size, [&] { extract_without_memory(pages, assembled); });
  }
  require(extract(pages, size, true) == extract(pages, size, false));
  return 0;
}
