#include "tools/generate/demo_faults.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "data/page_view.h"
#include "tools/base/suggest.h"
#include "tools/command_line/command_line.h"

namespace vek::tools {
namespace {

using Image = std::vector<uint8_t>;

constexpr std::array kNames{kTruncatedPage,  kFlippedBit,  kUnknownSchema, kMissingChunk,
                            kReorderedChunk, kCounterWrap, kClockJump};
constexpr uint64_t kClockJumpUs = uint64_t{3600} * 1'000'000;
constexpr const char* kWrappingCounter = "rx_bytes";
constexpr size_t kFirstBlock = VEK_PAGE_HEADER_SIZE;

uint64_t read_u64(const Image& image, size_t at) {
  uint64_t value = 0;
  std::memcpy(&value, image.data() + at, sizeof(value));
  return value;
}

void write_u64(Image& image, size_t at, uint64_t value) {
  std::memcpy(image.data() + at, &value, sizeof(value));
}

std::string_view source_of(const Image& image) {
  const char* text = reinterpret_cast<const char*>(image.data()) +
                     offsetof(vek_data_page_t, data_source.source_id);
  return {text, strnlen(text, VEK_PAGE_SOURCE_ID_SIZE)};
}

}  // namespace

FaultNames take_fault_names(const std::string& text) {
  if (text == "all") return {kNames.begin(), kNames.end()};
  FaultNames names;
  std::string_view rest = text;
  for (bool more = true; more;) {
    const size_t comma = rest.find(',');
    const std::string_view word = rest.substr(0, comma);
    const auto* known = std::find(kNames.begin(), kNames.end(), word);
    if (known == kNames.end()) {
      std::vector<std::string> all(kNames.begin(), kNames.end());
      all.emplace_back("all");
      const std::string guess = nearest(word, all);
      std::string hint = guess.empty() ? "; there are all" : "; did you mean '" + guess + "'?";
      for (size_t i = 0; guess.empty() && i + 1 < all.size(); ++i) hint += ", " + all[i];
      refuse("--faults", "'" + std::string(word) + "' is no fault" + hint);
    }
    names.insert(*known);
    more = comma != std::string_view::npos;
    if (more) rest.remove_prefix(comma + 1);
  }
  return names;
}

PageFaults::PageFaults(const FaultNames& names, uint64_t seed, uint64_t pages,
                       const DemoSchemas& schemas)
    : random_(seed * 1000 + 990) {
  struct Share {
    std::string_view name;
    std::string_view source;
    uint64_t percent;  // of the pages
  };
  constexpr std::array<Share, 5> kShares{{{kFlippedBit, "leaf02.hall-a", 15},
                                          {kUnknownSchema, "bench-node", 30},
                                          {kCounterWrap, "leaf01.hall-a", 45},
                                          {kClockJump, "leaf01.hall-b", 60},
                                          {kTruncatedPage, "leaf02.hall-a", 80}}};
  for (const Share& share : kShares) {
    // Drawn for each, so that one fault lies where it lies whatever the others are.
    const uint64_t page = pages * (share.percent + random_() % 5) / 100;
    if (names.contains(share.name)) targets_.push_back({share.name, share.source, page, false});
  }
  for (Target& target : targets_) {
    if (target.name == kCounterWrap) find_wrap(target, seed, schemas);
  }
}

// The same pages, made once more, say what the counter will be on both sides of the wrap.
void PageFaults::find_wrap(Target& target, uint64_t seed, const DemoSchemas& schemas) {
  const vek_counter_info_t* counter =
      vek_counters_schema_get_counter_by_name(&schemas.counters, kWrappingCounter);
  if (!counter) return;
  wrap_place_ = kFirstBlock + VEK_BLOCK_HEADER_SIZE + counter->offset;
  DemoPages pages(seed, schemas);
  uint64_t before = 0;
  for (uint64_t page = 1;; ++page) {
    const Image image = pages.next();
    if (source_of(image) != target.source) continue;
    const uint64_t value = read_u64(image, wrap_place_);
    if (page >= target.page) {
      target.page = page;
      wrap_shift_ = UINT64_MAX - before - (value - before) / 2;
      return;
    }
    before = value;
  }
}

void PageFaults::apply(uint64_t page, uint64_t offset, Image& image) {
  const std::string_view source = source_of(image);
  for (Target& target : targets_) {
    if (target.source != source) continue;
    if (target.is_placed || target.name == kCounterWrap) go_on(target, image);
    if (target.is_placed || page < target.page) continue;
    PlacedFault fault{target.name, "pages.bin", page, offset, {}};
    begin(target, image, fault);
    target.is_placed = true;
    placed_.push_back(std::move(fault));
  }
}

void PageFaults::begin(const Target& target, Image& image, PlacedFault& fault) {
  if (target.name == kFlippedBit) {
    // The highest bit makes a letter none, whichever it is.
    constexpr size_t kLetter = kFirstBlock + 3;
    image[kLetter] ^= 0x80;
    fault.offset += kLetter;
    fault.what = "the highest bit of the block's letter is flipped; the sample is lost";
  } else if (target.name == kUnknownSchema) {
    constexpr size_t kPlace = offsetof(vek_data_page_t, schema_id);
    for (size_t i = 0; i < VEK_SCHEMA_ID_SIZE; ++i) {
      image[kPlace + i] = static_cast<uint8_t>(random_());
    }
    fault.offset += kPlace;
    fault.what = "the page names a counters schema that no file has";
  } else if (target.name == kCounterWrap) {
    fault.offset += wrap_place_;
    fault.what = std::string(kWrappingCounter) + " of " + std::string(target.source) +
                 " passes the largest 64-bit number and goes on from 0";
  } else if (target.name == kClockJump) {
    go_on(target, image);
    fault.offset += kFirstBlock + offsetof(vek_counters_block_t, timestamp);
    fault.what = "from here on the clock of " + std::string(target.source) + " is an hour early";
  } else if (target.name == kTruncatedPage) {
    const size_t whole = image.size();
    const size_t most = whole - kFirstBlock - VEK_BLOCK_HEADER_SIZE - 1;
    image.resize(kFirstBlock + VEK_BLOCK_HEADER_SIZE + random_() % most);
    fault.offset += image.size();
    fault.what = "the page ends here, after " + std::to_string(image.size()) + " of " +
                 std::to_string(whole) + " bytes";
  }
}

// What a fault does to every later page of its source, or to every one.
void PageFaults::go_on(const Target& target, Image& image) const {
  if (target.name == kCounterWrap) {
    write_u64(image, wrap_place_, read_u64(image, wrap_place_) + wrap_shift_);
  } else if (target.name == kClockJump) {
    constexpr size_t kPlace = kFirstBlock + offsetof(vek_counters_block_t, timestamp);
    write_u64(image, kPlace, read_u64(image, kPlace) - kClockJumpUs);
  }
}

}  // namespace vek::tools
