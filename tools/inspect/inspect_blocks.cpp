// Blocks of a recording, one a line.
#include "data/printable.h"
#include "tools/base/harmless_text.h"
#include "tools/inspect/inspect_view.h"

namespace vek::tools {
namespace {

class BlocksView final : public InspectView {
 public:
  BlocksView(bool json, const PageFilter& filter) : json_(json), filter_(filter) {}

  void begin() override {
    if (json_) return;
    append_cell(text_, "page", 6, true);
    append_cell(text_, "at byte", 8, true);
    append_cell(text_, "bytes", 8, true);
    append_cell(text_, "block", 8);
    append_cell(text_, "time", kTimeWidth);
    text_ += "what\n";
  }

  void page(const InspectedPage& page) override {
    for (const SeenBlock& block : page.blocks) {
      if (!filter_.wants(block)) continue;
      json_ ? object(page, block) : line(page, block);
    }
  }

  void lost(std::string_view file, const LostBytes& lost) override {
    if (json_) append_lost(text_, file, lost);
  }

 private:
  // Schemas blocks: the identifiers in it.
  static std::vector<std::string> identifiers(const InspectedPage& page, const SeenBlock& block) {
    std::vector<std::string> all;
    if (block.type != VEK_SCHEMAS_BLOCK) return all;
    const ByteReader bytes(page.image.subspan(block.offset, block.length));
    Bytes id;
    for (size_t at = VEK_BLOCK_HEADER_SIZE; bytes.slice(at, VEK_SCHEMA_ID_SIZE, id);
         at += VEK_SCHEMA_ID_SIZE) {
      all.push_back(schema_id_text(id.data()));
    }
    return all;
  }

  static std::string what(const InspectedPage& page, const SeenBlock& block) {
    if (block.type == VEK_COUNTERS_BLOCK) {
      return block.counters
                 ? std::to_string(vek_counters_schema_number_of_counters(block.counters)) +
                       " counters of schema " + schema_id_text(block.schema_id)
                 : "schema " + schema_id_text(block.schema_id);
    }
    if (block.type == VEK_EVENTS_BLOCK) {
      const std::string type = block.event_type
                                   ? harmless(printable(block.event_type->name))
                                   : "of type " + std::to_string(block.type_index) + " of schema " +
                                         std::to_string(block.schema_index);
      return std::to_string(block.count) + " " + type;
    }
    std::string out;
    for (const std::string& id : identifiers(page, block)) out += (out.empty() ? "" : ", ") + id;
    return out;
  }

  void line(const InspectedPage& page, const SeenBlock& block) {
    append_cell(text_, std::to_string(page.number), 6, true);
    append_cell(text_, std::to_string(block.offset), 8, true);
    append_cell(text_, std::to_string(block.length), 8, true);
    append_cell(text_, block_name(block.type), 8);
    append_cell(text_, time_text(block.time_us), kTimeWidth);
    text_ += what(page, block) + "  ";
    if (block.fault) {
      text_ += "! byte " + std::to_string(block.fault->offset) + ": " + block.fault->what;
    }
    end_line(text_);
  }

  void object(const InspectedPage& page, const SeenBlock& block) {
    JsonWriter json;
    begin_line(json, "block", page.file)
        .member("page", page.number)
        .member("source", page.view.source_text())
        .member("tag", page.view.tag_text())
        .member("offset", uint64_t{block.offset})
        .member("bytes", uint64_t{block.length})
        .member("block", block_name(block.type));
    write_time(json, "time", block.time_us);
    if (block.type == VEK_COUNTERS_BLOCK) write_schema_id(json, block.schema_id);
    if (block.type == VEK_EVENTS_BLOCK) {
      write_schema_id(json, block.schema_id);
      json.member("schema_index", uint64_t{block.schema_index})
          .member("type_index", uint64_t{block.type_index})
          .member("count", uint64_t{block.count})
          .key("type");
      if (block.event_type) {
        json.text(printable(block.event_type->name));
      } else {
        json.null();
      }
    }
    if (block.type == VEK_SCHEMAS_BLOCK) {
      json.key("schema_ids").begin_array();
      for (const std::string& id : identifiers(page, block)) json.text(id);
      json.end_array();
    }
    write_fault(json, block.fault ? &*block.fault : nullptr);
    text_ += json.end_object().out() + "\n";
  }

  bool json_;
  const PageFilter& filter_;
};

}  // namespace

std::unique_ptr<InspectView> make_blocks_view(bool json, const PageFilter& filter) {
  return std::make_unique<BlocksView>(json, filter);
}

}  // namespace vek::tools
