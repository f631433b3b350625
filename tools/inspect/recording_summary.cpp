#include "tools/inspect/recording_summary.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

#include "tools/base/console.h"
#include "tools/base/harmless_text.h"
#include "tools/base/json_writer.h"
#include "tools/base/readable_time.h"
#include "utils/json_scalars.h"

namespace vek::tools {
namespace {

std::string number(uint64_t value) { return std::to_string(value); }

std::string time_json(const std::optional<uint64_t>& time_us) {
  return time_us ? number(*time_us) : "null";
}

}  // namespace

void RecordingSummary::widen(const PageSummary& page, std::optional<uint64_t>& first,
                             std::optional<uint64_t>& last) {
  if (!page.first_time_us) return;
  const auto [low, high] = std::minmax(*page.first_time_us, *page.last_time_us);
  first = first ? std::min(*first, low) : low;
  last = last ? std::max(*last, high) : high;
}

void RecordingSummary::add(const InspectedPage& page) {
  const PageView& view = page.view;
  const PageSummary& summary = page.summary;
  Source& source = sources_[{std::string(view.source_text()), std::string(view.tag_text())}];
  for (Source* part : {&all_, &source}) {
    ++part->pages;
    part->bytes += view.total;
    part->counters_blocks += summary.counters_blocks;
    part->events += summary.events;
    widen(summary, part->first_time_us, part->last_time_us);
  }
  if (view.filled <= VEK_PAGE_HEADER_SIZE) ++empty_pages_;
  blocks_.schemas_blocks += summary.schemas_blocks;
  blocks_.events_blocks += summary.events_blocks;
  blocks_.unknown_types += summary.unknown_types;
  blocks_.unknown_blocks += summary.unknown_blocks;
  const PageFault* fault = page.damage();
  if (!fault) return;
  if (++broken_pages_ == 1) {
    first_broken_ =
        "page " + number(page.number) + ": byte " + number(fault->offset) + ": " + fault->what;
  }
}

void RecordingSummary::add_lost(const LostBytes& lost) {
  ++losses_.places;
  losses_.bytes += lost.bytes;
  if (lost.is_cut_page) ++losses_.cut_pages;
}

std::string RecordingSummary::text(const std::string& file) const {
  std::string out = file + "\n  pages     " + number(all_.pages) + ", " + number(all_.bytes) +
                    " bytes (" + readable_size(static_cast<double>(all_.bytes)) + ")";
  if (empty_pages_ > 0) out += ", " + number(empty_pages_) + " of them empty";
  out += "\n  times     ";
  out += all_.first_time_us
             ? readable_time(*all_.first_time_us) + " to " + readable_time(*all_.last_time_us)
             : "none";
  out += "\n  blocks    " + number(all_.counters_blocks) + " of counters, " +
         number(blocks_.events_blocks) + " of events (" + number(all_.events) + " events), " +
         number(blocks_.schemas_blocks) + " of schemas";
  if (blocks_.unknown_blocks > 0) out += ", " + number(blocks_.unknown_blocks) + " of unknown kind";
  if (blocks_.unknown_types > 0) {
    out += "\n            " + number(blocks_.unknown_types) +
           " events blocks of unknown types: what lies behind them is not counted";
  }
  if (broken_pages_ > 0) {
    out += "\n  broken    " + number(broken_pages_) +
           (broken_pages_ == 1 ? " page: " : " pages, the first: ") + first_broken_;
  }
  if (counts_losses_) {
    out += "\n  lost      " + number(losses_.bytes) + " bytes in " + number(losses_.places) +
           (losses_.places == 1 ? " place, " : " places, ") + number(losses_.cut_pages) +
           (losses_.cut_pages == 1 ? " cut page among them" : " cut pages among them");
  }
  out += "\n  damage    " + (damage_.empty() ? std::string("none") : damage_) + "\n";
  if (sources_.empty()) return out;
  std::array<char, 256> line{};
  std::snprintf(line.data(), line.size(), "  %8s  %8s  %8s  %-24s  %s\n", "pages", "counters",
                "events", "source", "tag");
  out += line.data();
  for (const auto& [name, source] : sources_) {
    std::snprintf(line.data(), line.size(), "  %8" PRIu64 "  %8" PRIu64 "  %8" PRIu64 "  ",
                  source.pages, source.counters_blocks, source.events);
    std::string source_id = harmless(name.first);
    source_id.resize(std::max<size_t>(source_id.size(), 24), ' ');
    out += line.data() + source_id + "  " +
           (name.second.empty() ? std::string("(none)") : harmless(name.second)) + "\n";
  }
  return out;
}

std::string RecordingSummary::json(const std::string& file) const {
  std::string out = "{\"schema_version\":" + number(kJsonSchemaVersion) + ",\"file\":";
  append_json_string(file, out);
  out += ",\"pages\":" + number(all_.pages) + ",\"empty_pages\":" + number(empty_pages_) +
         ",\"bytes\":" + number(all_.bytes) + ",\"first_time\":" + time_json(all_.first_time_us) +
         ",\"last_time\":" + time_json(all_.last_time_us) +
         ",\"counters_blocks\":" + number(all_.counters_blocks) +
         ",\"events_blocks\":" + number(blocks_.events_blocks) +
         ",\"events\":" + number(all_.events) +
         ",\"schemas_blocks\":" + number(blocks_.schemas_blocks) +
         ",\"unknown_blocks\":" + number(blocks_.unknown_blocks) +
         ",\"blocks_of_unknown_types\":" + number(blocks_.unknown_types) +
         ",\"broken_pages\":" + number(broken_pages_) + ",\"lost\":";
  out += !counts_losses_
             ? "null"
             : "{\"bytes\":" + number(losses_.bytes) + ",\"places\":" + number(losses_.places) +
                   ",\"cut_pages\":" + number(losses_.cut_pages) + "}";
  out += ",\"damage\":";
  if (damage_.empty()) {
    out += "null";
  } else {
    append_json_string(damage_, out);
  }
  out += ",\"sources\":[";
  for (const auto& [name, source] : sources_) {
    if (out.back() != '[') out += ',';
    out += "{\"source\":";
    append_json_string(name.first, out);
    out += ",\"tag\":";
    append_json_string(name.second, out);
    out += ",\"pages\":" + number(source.pages) + ",\"bytes\":" + number(source.bytes) +
           ",\"counters_blocks\":" + number(source.counters_blocks) +
           ",\"events\":" + number(source.events) +
           ",\"first_time\":" + time_json(source.first_time_us) +
           ",\"last_time\":" + time_json(source.last_time_us) + "}";
  }
  return out + "]}\n";
}

}  // namespace vek::tools
