#include "tools/replay/replay_run.h"

#include <sys/stat.h>

#include <chrono>
#include <cinttypes>

#include "tools/base/console.h"
#include "tools/base/signals.h"
#include "tools/pages/page_summary.h"
#include "tools/plugin/plugin_log.h"

namespace vek::tools {
namespace {

// Bytes that the whole run will read; 0 when one of the files has no length, or there is no end.
uint64_t expected_bytes(const ReplayOptions& options) {
  uint64_t sum = 0;
  for (const std::string& path : options.pages) {
    struct stat status {};
    if (path == "-" || stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    sum += static_cast<uint64_t>(status.st_size);
  }
  return options.loop ? 0 : sum * options.repeat;
}

uint64_t now_us() {
  const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(since_epoch).count());
}

void say_what_was_sent(uint64_t pages) {
  if (pages == 0) return say("No page of it was sent.");
  say("The %" PRIu64 " page%s before it %s sent; nothing behind that byte was.", pages,
      pages == 1 ? "" : "s", pages == 1 ? "was" : "were");
}

}  // namespace

ReplayRun::ReplayRun(PluginSession& session, const PluginSchemas& schemas,
                     const ReplayOptions& options)
    : session_(session),
      schemas_(schemas),
      options_(options),
      pacer_(options.pace),
      progress_(expected_bytes(options)) {}

void ReplayRun::send_all() {
  for (uint64_t round = 0; options_.loop || round < options_.repeat; ++round) {
    const uint64_t pages_before = ledger_.pages;
    if (!send_round(round == 0)) break;
    // Nothing in the files can be sent, and nobody would see an endless loop do so.
    if (options_.loop && ledger_.pages == pages_before) break;
  }
  progress_.finish();
}

bool ReplayRun::send_round(bool first_round) {
  pacer_.restart();
  shift_.restart();
  for (const std::string& path : options_.pages) {
    if (!send_file(path, first_round)) return false;
  }
  return true;
}

bool ReplayRun::send_file(const std::string& path, bool first_round) {
  PageFile::Result result = PageFile::Result::kReadFailed;
  if (file_.open(path)) {
    while ((result = file_.next()) == PageFile::Result::kPage) {
      if (!send_page()) result = PageFile::Result::kInterrupted;
      if (result == PageFile::Result::kInterrupted) break;
    }
  }
  if (result == PageFile::Result::kInterrupted) {
    ledger_.interrupted = true;
    return false;
  }
  if (result == PageFile::Result::kDamaged && first_round) {
    ++ledger_.damaged_files;
    say_error("%s", file_.problem().c_str());
    say_what_was_sent(file_.page_number());
  }
  if (result == PageFile::Result::kReadFailed) {
    ledger_.unreadable = true;
    say_error("%s", file_.problem().c_str());
  }
  return true;
}

bool ReplayRun::send_page() {
  time_places_.clear();
  const PageSummary summary = summarize_page(file_.page(), schemas_.record(),
                                             options_.shift_to_now ? &time_places_ : nullptr);
  if (!options_.times.holds(summary.first_time_us)) {
    ++ledger_.pages_left_out;
    return !stop_requested();
  }
  if (!pacer_.wait_for(summary.first_time_us)) return false;
  if (options_.shift_to_now) {
    shift_.apply(file_.writable_image(), time_places_, summary.first_time_us, now_us());
  }
  const uint64_t failures_before = plugin_log_counts().failed_pages;
  const bool answered = session_.export_page(file_.page(), schemas_.record());
  if (!answered || plugin_log_counts().failed_pages > failures_before) ++ledger_.failed_pages;
  ++ledger_.pages;
  ledger_.bytes += file_.image().size();
  ledger_.records += summary.records;
  if (summary.holds_chunks) {
    ++ledger_.chunk_pages;
    ledger_.offered.has_uncounted = true;
  }
  ledger_.offered.by_tag[std::string(PageView(file_.page()).tag_text())] += summary.records;
  progress_.update(ledger_.pages, ledger_.bytes);
  return true;
}

}  // namespace vek::tools
