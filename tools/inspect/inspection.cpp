#include "tools/inspect/inspection.h"

#include <cinttypes>

#include "tools/base/console.h"
#include "tools/base/signals.h"
#include "tools/pages/page_file.h"

namespace vek::tools {

using Result = PageReader::Result;

void Inspection::run(PageTaker& taker) {
  for (const std::string& path : options_.pages) {
    std::unique_ptr<PageReader> reader;
    PageSalvager* salvager = nullptr;
    if (options_.salvage) {
      auto salvaging = std::make_unique<PageSalvager>();
      salvager = salvaging.get();
      reader = std::move(salvaging);
    } else {
      reader = std::make_unique<PageFile>();
    }
    if (!read(path, *reader, salvager, taker)) return;
  }
  options_.filter.say_unmet();
}

ExitStatus Inspection::status() const {
  if (unreadable_) return ExitStatus::kEnvironment;
  return bad_ || stopped_ ? ExitStatus::kBad : ExitStatus::kGood;
}

bool Inspection::read(const std::string& path, PageReader& reader, PageSalvager* salvager,
                      PageTaker& taker) {
  told_ = 0;
  Result result = Result::kReadFailed;
  if (reader.open(path)) {
    while ((result = reader.next()) == Result::kPage || (salvager && result == Result::kDamaged)) {
      const bool goes_on =
          result == Result::kPage ? take(reader, taker) : pass_over(*salvager, taker);
      if (!goes_on || stop_requested()) return stop();
    }
  }
  if (result == Result::kInterrupted) return stop();
  const bool is_damaged = result == Result::kDamaged;
  bad_ = bad_ || is_damaged;
  if (result == Result::kReadFailed) {
    unreadable_ = true;
    say_error("%s", reader.problem().c_str());
    return true;
  }
  if (is_damaged) say_error("%s", reader.problem().c_str());
  return taker.end_file(reader, is_damaged ? reader.problem() : std::string()) || stop();
}

bool Inspection::stop() {
  stopped_ = true;
  return false;
}

bool Inspection::take(const PageReader& reader, PageTaker& taker) {
  const InspectedPage page(reader, schemas_, counters_);
  if (!options_.filter.passes(page)) return true;
  if (const PageFault* fault = page.damage()) tell(page, *fault);
  return taker.page(page, reader.page());
}

// A file full of them has been told after some.
void Inspection::tell(const InspectedPage& page, const PageFault& fault) {
  constexpr uint64_t kMostTold = 20;
  bad_ = true;
  if (++told_ > kMostTold + 1) return;
  if (told_ > kMostTold) return say("More pages are broken.");
  say_error("%s: page %" PRIu64 ": byte %zu: %s", std::string(page.file).c_str(), page.number,
            fault.offset, fault.what.c_str());
}

bool Inspection::pass_over(const PageSalvager& salvager, PageTaker& taker) {
  bad_ = true;
  say_error("%s", salvager.problem().c_str());
  return taker.lost(salvager, salvager.lost());
}

}  // namespace vek::tools
