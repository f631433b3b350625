// The way of a page: by its source tag to one of four paths, and over its blocks.
#include <string_view>

#include "exporter/block_path.h"
#include "exporter/block_walk.h"
#include "exporter/fluentbit_exporter.h"
#include "utils/logger.h"

namespace vek {
namespace {

constexpr std::string_view kOpaqueTag = "fluent_aggr";
constexpr std::string_view kDictionaryTagPrefix = "dict_";

// True when nothing but a header is there, or less.
bool hasNoBlocks(const PageView& page) {
  return page.filled <= VEK_PAGE_HEADER_SIZE || page.total <= VEK_PAGE_HEADER_SIZE;
}

}  // namespace

bool FluentBitExporter::exportDataPage(const vek_data_page_t* page,
                                       const vek_exporter_schema_manager_t* schema_manager) {
  if (!page) return false;
  const PageView view(page);
  const std::string_view tag = view.tag_text();
  bool exported = false;
  if (tag == kOpaqueTag) {
    exported = exportOpaqueDataPage(page, schema_manager);
    if (!exported) {
      VEK_LOGE("[Fluent Bit Exporter] export for vek opaque event data page failed");
    }
  } else if (tag.starts_with(kDictionaryTagPrefix)) {
    exported = exportDictionaryDataPage(page, schema_manager);
    if (!exported) VEK_LOGE("[Fluent Bit Exporter] export for dictionary page failed");
  } else if (schema_manager && schema_manager->has_schema_manager) {
    exported = exportOverSchemaManager(view, schema_manager->schema_manager);
    if (!exported) VEK_LOGW("[Fluent Bit Exporter] export for vek data page failed (kix case)");
  } else {
    exported = exportOverTypeSystem(view, schema_manager);
    if (!exported) VEK_LOGW("[Fluent Bit Exporter] export for vek data page failed");
  }
  return exported;
}

bool FluentBitExporter::exportVekDataPage(const vek_data_page_t* page,
                                          const vek_exporter_schema_manager_t* schema_manager) {
  return page && exportOverTypeSystem(PageView(page), schema_manager);
}

bool FluentBitExporter::exportVekDataPage_kix(const vek_data_page_t* page,
                                              SchemaManager* schema_manager) {
  return page && exportOverSchemaManager(PageView(page), schema_manager);
}

bool FluentBitExporter::exportOverTypeSystem(const PageView& page,
                                             const vek_exporter_schema_manager_t* schema_manager) {
  if (!takes(page)) {
    VEK_LOGD("page tag does not match list:");
    for (const std::string& tag : source_tags_) VEK_LOGD("\t\t\t%s", tag.c_str());
    return true;
  }
  TypeSystemPath path(*this, schema_manager ? schema_manager->type_system : nullptr);
  return exportBlocks(page, path);
}

bool FluentBitExporter::exportOverSchemaManager(const PageView& page,
                                                SchemaManager* schema_manager) {
  if (!takes(page)) return true;
  SchemaManagerPath path(*this, schema_manager, page);
  return exportBlocks(page, path);
}

bool FluentBitExporter::exportBlocks(const PageView& page, BlockPath& path) {
  if (hasNoBlocks(page)) {
    VEK_LOGW("[%s] data page is empty", path.name());
    return false;
  }
  BlockWalk walk(page);
  BlockRecord record;
  // A schemas block belongs to its page.
  if (field_set_) field_set_->SaveLastSchemaBlock(nullptr);
  while (walk.current(record)) {
    switch (record.type) {
      case VEK_COUNTERS_BLOCK:
        exportCountersBlock(page, record.bytes, path);
        walk.end_block();
        break;
      case VEK_EVENTS_BLOCK:
        if (!exportEventsBlock(page, record, walk, path)) return false;
        break;
      case VEK_SCHEMAS_BLOCK:
        takeSchemasBlock(record, walk, path);
        break;
      default:
        walk.end_block();
        break;
    }
  }
  return true;
}

// The engine's answer is not looked at: it keeps its own books.
void FluentBitExporter::send(std::string_view record) {
  if (!record.empty() && api_.add_data && flb_ctx_) {
    api_.add_data(flb_ctx_, record.data(), record.size());
  }
}

}  // namespace vek
