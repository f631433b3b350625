#include "dict_reader/stream_plan.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "utils/limits.h"

using namespace stream_values;

namespace {

constexpr uint32_t kLongestRest = 255;
// In a row: two structures that take turns fit now and then.
constexpr uint32_t kEnoughFitting = 4;
// Where more than one value in so many did not fit, following the plan gains nothing.
constexpr size_t kFewMisses = 8;

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

}  // namespace

void StreamPlan::goTo(size_t step) noexcept {
  next_ = steps_.data() + step;
  left_ = steps_.size() - step;
}

void StreamPlan::begin(bool is_dict) noexcept {
  is_followed_ = rest_ == 0;
  if (!is_followed_) {
    --rest_;
    return;
  }
  goTo(0);
  misses_ = 0;
  if (is_dict != is_dict_) cut();
  is_dict_ = is_dict;
}

void StreamPlan::end() noexcept {
  if (!is_followed_) return;
  is_followed_ = false;
  if (kFewMisses * misses_ <= steps_.size() - left_) {
    if (++fitting_ == kEnoughFitting) next_rest_ = 0;
    return;
  }
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
  const auto bits = vek::load_once<uint64_t>(event.data);
  const Form& form = formOf(rule, bits);
  const Range range = rule.range_mask ? rangeOf(bits) : kAnyNumber;
  next_->word = event.word();
  next_->size = event.size();
  next_->is_turn = 0;
  next_->shift = form.shift;
  next_->number_at = static_cast<uint8_t>(key_size + form.number_at);
  next_->window_at = static_cast<uint8_t>(key_size + form.size);
  next_->least = range.least;
  next_->span = range.span;
  if (key) std::memcpy(next_->bytes, key->bytes, key_size);
  next_->bytes[key_size] = static_cast<char>(form.first);
  next_->end = static_cast<uint8_t>(next_->window_at + rule.text);
  return true;
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
