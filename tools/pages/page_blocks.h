// PageBlocks: the blocks of a page in the order in which the plug-in meets them, each with what
// keeps it from being read.
#ifndef VEK_TOOLS_PAGES_PAGE_BLOCKS_H
#define VEK_TOOLS_PAGES_PAGE_BLOCKS_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "counters/counters_schema.h"
#include "data/exporter_schema_manager.h"
#include "exporter/block_walk.h"

namespace vek::tools {

// Why a reader leaves something out, and the first byte that makes it do so.
struct PageFault {
  enum class Kind {
    kUnknown,  // what it means is not known here: a schema, a type, a kind of block
    kBroken,   // it contradicts itself
  };
  Kind kind = Kind::kUnknown;
  size_t offset = 0;  // in the page
  std::string what;
};

struct SeenBlock {
  vek_data_block_type_t type = VEK_UNKNOWN_BLOCK;
  size_t offset = 0;  // of its magic value, in the page
  size_t length = 0;  // what belongs to it; to its block's end where that is not known
  std::optional<uint64_t> time_us;
  // Of events:
  uint8_t schema_index = 0;
  uint16_t type_index = 0;
  uint8_t count = 0;
  const vek_type_definition_t* event_type = nullptr;  // null: not known
  // Of counters:
  const vek_counters_schema_t* counters = nullptr;  // null: not known
  // Of events, and of counters: 16 bytes in the page, or none.
  const uint8_t* schema_id = nullptr;
  std::optional<PageFault> fault;
};

// Counters schemas by identifier, as the plug-in's two ways of getting schemas find them.
class CountersSchemas {
 public:
  explicit CountersSchemas(const vek_exporter_schema_manager_t& schemas) : schemas_(schemas) {}
  // Null when it is not known. Good as long as this object and its schemas.
  const vek_counters_schema_t* find(const uint8_t* id);

 private:
  const vek_exporter_schema_manager_t& schemas_;
  std::map<std::string, std::shared_ptr<vek_counters_schema_t>> found_;
};

class PageBlocks {
 public:
  // All borrowed, `page` as a whole image. Without `counters` no counters schema is looked for.
  PageBlocks(const vek_data_page_t* page, const PageView& view,
             const vek_exporter_schema_manager_t& schemas, CountersSchemas* counters);

  // False behind the last one. Padding is no block.
  bool next(SeenBlock& block);

 private:
  void look_at_counters(ByteReader bytes, SeenBlock& block);
  void look_at_events(ByteReader bytes, SeenBlock& block);
  void look_at_schemas(ByteReader bytes, SeenBlock& block);
  void fail(SeenBlock& block, PageFault::Kind kind, size_t place, std::string what) const;
  const uint8_t* schema_id_at(uint8_t index) const;

  const uint8_t* image_;
  const vek_exporter_schema_manager_t& schemas_;
  CountersSchemas* counters_;
  BlockWalk walk_;
};

// What the header says of the page that cannot be.
std::optional<PageFault> header_fault(const PageView& view);
// "counters", "events", "schemas", "blob", "page", "context", "unknown".
const char* block_name(vek_data_block_type_t type);
// The 32 digits of an identifier.
std::string schema_id_text(const uint8_t* id);

}  // namespace vek::tools

#endif  // VEK_TOOLS_PAGES_PAGE_BLOCKS_H
