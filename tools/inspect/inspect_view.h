// How inspected pages are told: as text for people, or as one JSON object a line. A view appends to
// a text that whoever runs it writes out.
#ifndef VEK_TOOLS_INSPECT_INSPECT_VIEW_H
#define VEK_TOOLS_INSPECT_INSPECT_VIEW_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tools/base/json_writer.h"
#include "tools/pages/inspected_page.h"
#include "tools/pages/page_filter.h"
#include "tools/pages/page_salvager.h"

namespace vek::tools {

class InspectView {
 public:
  virtual ~InspectView() = default;

  virtual void begin() {}
  // A page that passes the filters.
  virtual void page(const InspectedPage& page) = 0;
  // Bytes that were passed over. For people standard error has it, so that only JSON tells it here.
  virtual void lost(std::string_view, const LostBytes&) {}
  // `damage`: what ended the file too early; empty when nothing did.
  virtual void end_file(std::string_view, const std::string& damage) { (void)damage; }

  std::string& text() { return text_; }

 protected:
  std::string text_;
};

// Summaries, one a file; with `salvage` they count what was lost.
std::unique_ptr<InspectView> make_summary_view(bool json, bool salvage);
// A line a page.
std::unique_ptr<InspectView> make_pages_view(bool json);
// A line a block.
std::unique_ptr<InspectView> make_blocks_view(bool json, const PageFilter& filter);
// The schemas that pages name, and what they are used for.
std::unique_ptr<InspectView> make_schemas_view(bool json,
                                               const vek_exporter_schema_manager_t& schemas);
// Every byte, by field.
std::unique_ptr<InspectView> make_hex_view(bool json, bool coloured);

// {"schema_version":..,"kind":..,"file":.. : the beginning of every object.
JsonWriter& begin_line(JsonWriter& json, std::string_view kind, std::string_view file);
// "fault": {...} or null.
void write_fault(JsonWriter& json, const PageFault* fault);
// Numbers, or null.
void write_time(JsonWriter& json, std::string_view name, const std::optional<uint64_t>& time_us);
// The 32 digits, or null for none and for one that is not set.
void write_schema_id(JsonWriter& json, const uint8_t* id);
// For people; "-" for none.
inline constexpr size_t kTimeWidth = 27;
std::string time_text(const std::optional<uint64_t>& time_us);
void append_lost(std::string& out, std::string_view file, const LostBytes& lost);

}  // namespace vek::tools

#endif  // VEK_TOOLS_INSPECT_INSPECT_VIEW_H
