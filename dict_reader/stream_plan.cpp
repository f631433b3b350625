#include "dict_reader/stream_plan.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "utils/limits.h"

using namespace stream_values;

namespace {

// Numbers of one sign and size.
struct Range {
  uint64_t least;
  uint64_t span;  // from that to the greatest
};

constexpr size_t kSizesOfNumbers = 5;
constexpr Range kAnyNumber = {0, ~uint64_t{0}};
constexpr std::array<Range, 2 * kSizesOfNumbers> kRanges = [] {
  constexpr uint64_t kBits[] = {7, 8, 16, 32, 63};
  constexpr uint64_t kNegativeBits[] = {5, 7, 15, 31, 63};
  std::array<Range, 2 * kSizesOfNumbers> ranges{};
  for (size_t i = 0; i < kSizesOfNumbers; ++i) {
    const uint64_t least = i == 0 ? 0 : uint64_t{1} << kBits[i - 1];
    ranges[i] = {least, (uint64_t{1} << kBits[i]) - 1 - least};
    // From -(2^bits) up to where the next smaller size begins.
    const uint64_t negative_least = ~uint64_t{0} << kNegativeBits[i];
    const uint64_t end = i == 0 ? 0 : ~uint64_t{0} << kNegativeBits[i - 1];
    ranges[kSizesOfNumbers + i] = {negative_least, end - 1 - negative_least};
  }
  return ranges;
}();

Range rangeOf(uint64_t bits) {
  const auto* const found = std::ranges::find_if(
      kRanges, [bits](const Range& range) { return bits - range.least <= range.span; });
  return found == kRanges.end() ? kAnyNumber : *found;
}

// All of a value's step but its key.
void write(StreamPlan::Step& step, const Event& event, const Rule& rule, size_t key_size) {
  const auto bits = vek::load_once<uint64_t>(event.data);
  const Form& form = formOf(rule, bits);
  const Range range = rule.range_mask ? rangeOf(bits) : kAnyNumber;
  step.word = event.word();
  step.size = event.size();
  step.is_turn = 0;
  step.shift = form.shift;
  step.number_at = static_cast<uint8_t>(key_size + form.number_at);
  step.window_at = static_cast<uint8_t>(key_size + form.size);
  step.least = range.least;
  step.span = range.span;
  step.bytes[key_size] = static_cast<char>(form.first);
  step.end = static_cast<uint8_t>(step.window_at + rule.text);
}

}  // namespace

void StreamPlan::rest() noexcept {
  constexpr uint32_t kLongestRest = 255;
  fitting_ = 0;
  rest_ = next_rest_;
  next_rest_ = std::min(2 * next_rest_ + 1, kLongestRest);
}

void StreamPlan::forget() noexcept {
  steps_.clear();
  is_followed_ = false;
}

// The plan ends here.
void StreamPlan::cut() noexcept {
  steps_.resize(steps_.size() - left_);
  goTo(steps_.size());
}

bool StreamPlan::append() noexcept try {
  cut();
  is_followed_ = steps_.size() < vek::limits::kEventsOfPlan;
  if (!is_followed_) return false;
  steps_.emplace_back();
  goTo(steps_.size() - 1);
  return true;
} catch (const std::bad_alloc&) {
  is_followed_ = false;
  return false;
}

bool StreamPlan::learn(const Event& event, const Rule& rule, const KeyTable::Slot* key) noexcept {
  const size_t key_size = key ? key->size : 0;
  if (key_size > kLongestKey) return false;
  if ((left_ == 0 || next_->is_turn) && !append()) return false;
  ++misses_;
  if (key) std::memcpy(next_->bytes, key->bytes, key_size);
  write(*next_, event, rule, key_size);
  return true;
}

void StreamPlan::change(size_t step, const Event& event, const Rule& rule,
                        size_t key_size) noexcept {
  write(steps_[step], event, rule, key_size);
}

bool StreamPlan::learnTurn(const Event& event, const char* key, size_t key_size) noexcept {
  if (key_size > kLongestKey || !append()) return false;
  ++misses_;
  next_->word = event.word();
  next_->size = event.size();
  next_->is_turn = 1;
  next_->end = static_cast<uint8_t>(key_size);
  std::memcpy(next_->bytes, key, key_size);
  return true;
}
