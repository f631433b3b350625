// Pages of a recording, one a line.
#include "tools/base/harmless_text.h"
#include "tools/inspect/inspect_view.h"

namespace vek::tools {
namespace {

class PagesView final : public InspectView {
 public:
  explicit PagesView(bool json) : json_(json) {}

  void begin() override {
    if (json_) return;
    append_cell(text_, "page", 6, true);
    append_cell(text_, "at byte", 10, true);
    append_cell(text_, "bytes", 8, true);
    append_cell(text_, "filled", 8, true);
    append_cell(text_, "counters", 8, true);
    append_cell(text_, "events", 6, true);
    append_cell(text_, "first time", kTimeWidth);
    append_cell(text_, "source", 16);
    append_cell(text_, "tag", 12);
    end_line(text_);
  }

  void page(const InspectedPage& page) override { json_ ? object(page) : line(page); }

  void lost(std::string_view file, const LostBytes& lost) override {
    if (json_) append_lost(text_, file, lost);
  }

 private:
  void line(const InspectedPage& page) {
    append_cell(text_, std::to_string(page.number), 6, true);
    append_cell(text_, std::to_string(page.offset), 10, true);
    append_cell(text_, std::to_string(page.view.total), 8, true);
    append_cell(text_, std::to_string(page.view.filled), 8, true);
    append_cell(text_, std::to_string(page.summary.counters_blocks), 8, true);
    append_cell(text_, std::to_string(page.summary.events), 6, true);
    append_cell(text_, time_text(page.summary.first_time_us), kTimeWidth);
    append_cell(text_, harmless(page.view.source_text()), 16);
    append_cell(text_, harmless(page.view.tag_text()), 12);
    if (const PageFault* fault = page.fault()) {
      text_ += "! byte " + std::to_string(fault->offset) + ": " + fault->what;
    }
    end_line(text_);
  }

  void object(const InspectedPage& page) {
    JsonWriter json;
    begin_line(json, "page", page.file)
        .member("page", page.number)
        .member("offset", page.offset)
        .member("version",
                std::to_string(page.view.version) + "." + std::to_string(page.view.minor_version))
        .member("bytes", page.view.total)
        .member("filled", page.view.filled)
        .member("block_size", page.view.block_size)
        .member("source", page.view.source_text())
        .member("tag", page.view.tag_text());
    write_schema_id(json, page.view.schema_id.data());
    write_time(json, "first_time", page.summary.first_time_us);
    write_time(json, "last_time", page.summary.last_time_us);
    json.member("counters_blocks", page.summary.counters_blocks)
        .member("events_blocks", page.summary.events_blocks)
        .member("events", page.summary.events)
        .member("schemas_blocks", page.summary.schemas_blocks)
        .member("unknown_blocks", page.summary.unknown_blocks);
    write_fault(json, page.fault());
    text_ += json.end_object().out() + "\n";
  }

  bool json_;
};

}  // namespace

std::unique_ptr<InspectView> make_pages_view(bool json) {
  return std::make_unique<PagesView>(json);
}

}  // namespace vek::tools
