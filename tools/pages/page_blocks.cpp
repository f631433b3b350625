#include "tools/pages/page_blocks.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "data/type_system.h"
#include "schema_manager/schema_manager.h"

namespace vek::tools {
namespace {

constexpr size_t kLeastBlock = 5;  // fewer bytes hold no block

std::string letter_text(uint8_t letter) {
  std::array<char, 16> text{};
  const bool is_plain = letter > ' ' && letter < 0x7f;
  std::snprintf(text.data(), text.size(), is_plain ? "'%c'" : "byte 0x%02x", letter);
  return text.data();
}

bool is_padding(Bytes bytes) { return std::memcmp(bytes.data(), "\0\0\0\0", 4) == 0; }

}  // namespace

const vek_counters_schema_t* CountersSchemas::find(const uint8_t* id) {
  if (!schemas_.has_schema_manager) {
    return schemas_.type_system ? schemas_.type_system->counters_schema : nullptr;
  }
  const data::SchemaId schema_id(id);
  const auto [entry, is_new] = found_.try_emplace(schema_id.str());
  if (is_new && schemas_.schema_manager) {
    entry->second = schemas_.schema_manager->getCountersSchema(schema_id);
  }
  return entry->second.get();
}

PageBlocks::PageBlocks(const vek_data_page_t* page, const PageView& view,
                       const vek_exporter_schema_manager_t& schemas, CountersSchemas* counters)
    : image_(reinterpret_cast<const uint8_t*>(page)),
      schemas_(schemas),
      counters_(counters),
      walk_(view) {}

bool PageBlocks::next(SeenBlock& block) {
  BlockRecord record;
  while (walk_.current(record)) {
    block = {};
    block.type = record.type;
    block.offset = static_cast<size_t>(record.bytes.data() - image_);
    block.length = record.bytes.size();
    const ByteReader bytes(record.bytes);
    switch (record.type) {
      case VEK_COUNTERS_BLOCK:
        look_at_counters(bytes, block);
        walk_.end_block();
        return true;
      case VEK_EVENTS_BLOCK:
        look_at_events(bytes, block);
        return true;
      case VEK_SCHEMAS_BLOCK:
        look_at_schemas(bytes, block);
        if (!walk_.advance_schemas_block(record)) {
          fail(block, PageFault::Kind::kBroken, offsetof(vek_schema_block_t, length),
               "the schemas block ends outside its block");
        }
        return true;
      default:
        walk_.end_block();
        if (record.type == VEK_UNKNOWN_BLOCK && is_padding(record.bytes)) continue;
        if (record.type == VEK_UNKNOWN_BLOCK) {
          fail(block, PageFault::Kind::kUnknown, 3,
               letter_text(record.bytes[3]) + " names no kind of block");
        }
        return true;
    }
  }
  return false;
}

// The first fault is what stops a reader.
void PageBlocks::fail(SeenBlock& block, PageFault::Kind kind, size_t place,
                      std::string what) const {
  if (!block.fault) block.fault = PageFault{kind, block.offset + place, std::move(what)};
}

void PageBlocks::look_at_counters(ByteReader bytes, SeenBlock& block) {
  uint64_t time_us = 0;
  if (bytes.read(offsetof(vek_counters_block_t, timestamp), time_us)) {
    block.time_us = time_us;
  } else {
    fail(block, PageFault::Kind::kBroken, 0, "the counters block ends inside its header");
  }
  block.schema_id = image_ + offsetof(vek_data_page_t, schema_id);
  if (!counters_ || !schemas_.find_event_type) return;
  block.counters = counters_->find(block.schema_id);
  if (!block.counters) {
    block.fault =
        PageFault{PageFault::Kind::kUnknown, offsetof(vek_data_page_t, schema_id),
                  vek_schema_id_is_unset(block.schema_id) ? "the page names no counters schema"
                                                          : "the counters schema is not known"};
    return;
  }
  const uint64_t needed = uint64_t{block.counters->size_of_counters} + VEK_BLOCK_HEADER_SIZE;
  if (needed <= bytes.size()) {
    block.length = needed;
    return;
  }
  fail(block, PageFault::Kind::kBroken, bytes.size() - 1,
       "the counters reach past their block: " + std::to_string(bytes.size()) + " of " +
           std::to_string(needed) + " bytes are there");
}

void PageBlocks::look_at_events(ByteReader bytes, SeenBlock& block) {
  vek_event_header_t header;
  if (!bytes.read(0, header)) {
    fail(block, PageFault::Kind::kBroken, 0, "the events block ends inside its header");
    walk_.end_block();
    return;
  }
  block.time_us = uint64_t{header.timestamp};
  block.schema_index = header.schema_index;
  block.type_index = header.type_index;
  block.count = header.count;
  block.schema_id = schema_id_at(header.schema_index);
  const Bytes schemas = walk_.last_schemas_block();
  const auto* last_schemas =
      schemas.empty() ? nullptr : reinterpret_cast<const vek_schema_block_t*>(schemas.data());
  if (schemas_.find_event_type) {
    block.event_type = schemas_.find_event_type(schemas_.context, last_schemas, &header);
  }
  if (!block.event_type) {
    walk_.end_block();
    if (!schemas_.find_event_type) return;
    const bool is_named = block.schema_id != nullptr;
    fail(block, PageFault::Kind::kUnknown,
         is_named ? offsetof(vek_event_header_t, type_index)
                  : offsetof(vek_event_header_t, schema_index),
         !is_named ? "no schemas block before it has entry " + std::to_string(header.schema_index)
                   : "type " + std::to_string(header.type_index) + " of schema " +
                         schema_id_text(block.schema_id) + " is not known");
    return;
  }
  uint64_t length = 0;
  const bool overflows =
      __builtin_mul_overflow(uint64_t{header.count}, block.event_type->size, &length) ||
      __builtin_add_overflow(length, uint64_t{VEK_BLOCK_HEADER_SIZE}, &length);
  if (!overflows && walk_.advance(length)) {
    block.length = length;
    return;
  }
  if (overflows) walk_.end_block();
  fail(block, PageFault::Kind::kBroken, offsetof(vek_event_header_t, count),
       std::to_string(header.count) + " events of " + std::to_string(block.event_type->size) +
           " bytes reach past their block: " + std::to_string(bytes.size() - sizeof(header)) +
           " bytes are there");
}

void PageBlocks::look_at_schemas(ByteReader bytes, SeenBlock& block) {
  uint16_t length = 0;
  if (!bytes.read(offsetof(vek_schema_block_t, length), length)) {
    fail(block, PageFault::Kind::kBroken, 0, "the schemas block ends inside its header");
    return;
  }
  if (length < VEK_BLOCK_HEADER_SIZE || length > bytes.size()) {
    fail(block, PageFault::Kind::kBroken, offsetof(vek_schema_block_t, length),
         "the schemas block says that it is " + std::to_string(length) + " bytes long; between " +
             std::to_string(VEK_BLOCK_HEADER_SIZE) + " and " + std::to_string(bytes.size()) +
             " can be");
    return;
  }
  block.length = length;
}

const uint8_t* PageBlocks::schema_id_at(uint8_t index) const {
  const ByteReader schemas(walk_.last_schemas_block());
  Bytes id;
  const size_t offset = VEK_BLOCK_HEADER_SIZE + size_t{index} * VEK_SCHEMA_ID_SIZE;
  if (index > VEK_MAX_SCHEMA_INDEX || !schemas.slice(offset, VEK_SCHEMA_ID_SIZE, id)) {
    return nullptr;
  }
  return id.data();
}

std::optional<PageFault> header_fault(const PageView& view) {
  if (view.filled > view.total) {
    return PageFault{PageFault::Kind::kBroken, offsetof(vek_data_page_t, filled),
                     "the header says that " + std::to_string(view.filled) + " of " +
                         std::to_string(view.total) + " bytes are filled"};
  }
  if (view.filled > VEK_PAGE_HEADER_SIZE && view.block_size != 0 && view.block_size < kLeastBlock) {
    return PageFault{
        PageFault::Kind::kBroken, offsetof(vek_data_page_t, block_size),
        "no block can lie in a block size of " + std::to_string(view.block_size) + " bytes"};
  }
  return std::nullopt;
}

const char* block_name(vek_data_block_type_t type) {
  switch (type) {
    case VEK_COUNTERS_BLOCK:
      return "counters";
    case VEK_EVENTS_BLOCK:
      return "events";
    case VEK_SCHEMAS_BLOCK:
      return "schemas";
    case VEK_BLOB_BLOCK:
      return "blob";
    case VEK_PAGE_BLOCK:
      return "page";
    case VEK_CNTX_BLOCK:
      return "context";
    default:
      return "unknown";
  }
}

std::string schema_id_text(const uint8_t* id) {
  std::array<char, VEK_SCHEMA_ID_TEXT_SIZE> text{};
  vek_schema_id_to_schema_string(id, text.data());
  return text.data();
}

}  // namespace vek::tools
