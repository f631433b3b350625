#include "dict_reader/stream_places.h"

#include <array>
#include <new>

using namespace stream_values;

namespace {

using Step = StreamPlan::Step;

constexpr uint32_t kLongestRest = 255;
// What a value that takes another size costs beside the move, in bytes of moves; and what may be
// moved in a record beside twice its own size.
constexpr size_t kChange = 1024;
constexpr size_t kFewChanges = 4 * kChange;
constexpr size_t kOthers = sizeof StreamPlaces::Place::others;

// Of the container whose header that byte begins.
size_t headerWidth(char first) {
  switch (static_cast<uint8_t>(first)) {
    case 0xdc:  // 16 bits of an array's size, and of a map's
    case 0xde:
      return 3;
    case 0xdd:  // 32 bits
    case 0xdf:
      return 5;
    default:
      return 1;
  }
}

// All ones where the number does not lie.
uint64_t besideNumber(uint64_t way) {
  return way & StreamPlaces::kNoNumber ? ~uint64_t{0}
                                       : ~__builtin_bswap64(~uint64_t{0} << (way % 64));
}

size_t nextOf(const StreamPlaces::Place& place) { return place.way >> StreamPlaces::kNextAt; }

void setNext(StreamPlaces::Place& place, size_t next) {
  constexpr uint64_t kBelow = (uint64_t{1} << StreamPlaces::kNextAt) - 1;
  place.way = (place.way & kBelow) | next << StreamPlaces::kNextAt;
}

bool isNumber(const Step& step) { return !step.is_turn && step.number_at != step.window_at; }

// Where the place of a step lies, from the step's begin.
size_t placeIn(const Step& step) {
  if (step.is_turn) return 0;
  return isNumber(step) ? step.number_at : step.window_at;
}

// All but what lies there and where the next one is.
[[gnu::always_inline]] inline void makePlace(const Step& step, StreamPlaces::Place& place) {
  const bool is_number = isNumber(step);
  place.word = step.word;
  place.size = step.size;
  place.text = is_number || step.is_turn ? 0 : uint32_t{step.end} - step.window_at;
  place.least = step.least;
  place.span = step.span;
  place.way = is_number ? step.shift : StreamPlaces::kNoNumber;
}

}  // namespace

void StreamPlaces::rest() noexcept {
  is_known_ = false;
  fitting_ = 0;
  rest_ = next_rest_;
  next_rest_ = std::min(2 * next_rest_ + 1, kLongestRest);
}

bool StreamPlaces::end(const StreamPlan& plan, Memory memory, size_t record_size,
                       uint32_t children) noexcept {
  if (is_known_ && size_ == record_size) return true;
  is_known_ = false;
  if (!plan.isWhole()) return false;
  if (rest_ > 0) {
    --rest_;
    return false;
  }
  children_ = children;
  is_known_ = learn(plan, memory, record_size);
  if (!is_known_) rest();
  return false;
}

void StreamPlaces::readOthers(size_t place, const char* at) noexcept {
  uint64_t word = 0;
  std::memcpy(&word, at, sizeof word);
  places_[place].others = word & besideNumber(places_[place].way);
}

// False where what lies there is not what the steps write, or without memory.
bool StreamPlaces::learn(const StreamPlan& plan, Memory memory, size_t record_size) noexcept try {
  const std::span<const Step> steps = plan.steps();
  places_.resize(steps.size());
  most_data_ = 0;
  size_t begin = begin_;
  size_t last = 0;
  for (size_t i = 0; i < steps.size(); ++i) {
    const Step& step = steps[i];
    const bool begins = step.is_turn && step.begins();
    if (begin + step.end + begins > record_size) return false;
    const size_t at = begin + placeIn(step);
    if (at + kOthers > memory.size()) return false;
    makePlace(step, places_[i]);
    readOthers(i, &memory[at]);
    if (i == 0) {
      first_ = at;
    } else {
      setNext(places_[i - 1], at - last);
    }
    last = at;
    most_data_ = std::max(most_data_, step.size);
    begin += step.end;
    if (begins) begin += headerWidth(memory[begin]);
  }
  if (!places_.empty()) setNext(places_.back(), record_size - last);
  size_ = record_size;
  return begin == record_size;
} catch (const std::bad_alloc&) {
  places_.clear();
  return false;
}

bool StreamPlaces::change(StreamPlan& plan, Event event, const Rule& rule, size_t key_size,
                          Memory memory) noexcept {
  const Step& step = plan.steps()[taken_];
  const size_t begin = at_ - placeIn(step);
  const size_t old_end = begin + step.end;
  const size_t behind = size_ - old_end;
  if (moved_ + kChange + behind > 2 * size_ + kFewChanges) return false;
  // One value, whatever the producer is writing there.
  std::array<uint8_t, kWindow> data;
  std::memcpy(data.data(), event.data, data.size());
  event.data = data.data();
  std::array<char, 2 * kWindow> value;
  const char* const value_end = putValue(value.data(), rule, event.data);
  const auto value_size = static_cast<size_t>(value_end - value.data());
  const size_t end = begin + key_size + value_size;
  if (end + behind + kOthers > memory.size()) return false;

  std::memmove(&memory[end], &memory[old_end], behind);
  std::memcpy(&memory[begin + key_size], value.data(), value_size);
  moved_ += kChange + behind;
  size_ = end + behind;
  most_data_ = std::max(most_data_, event.size());
  plan.change(taken_, event, rule, key_size);
  const size_t next = at_ + nextOf(places_[taken_]) + end - old_end;
  makePlace(step, places_[taken_]);
  movePlace(begin + placeIn(step), next);
  readOthersBefore(begin, memory);
  ++taken_;
  return true;
}

// The next place lies at `at`, and the one behind it at `next`.
void StreamPlaces::movePlace(size_t at, size_t next) noexcept {
  setNext(places_[taken_], next - at);
  if (taken_ == 0) {
    first_ = at;
  } else {
    Place& before = places_[taken_ - 1];
    setNext(before, nextOf(before) + at - at_);
  }
  at_ = next;
}

// Of the place that has been changed, whose step begins there, and of those that reach into it.
void StreamPlaces::readOthersBefore(size_t begin, Memory memory) noexcept {
  size_t at = at_;
  for (size_t i = taken_ + 1; i-- > 0;) {
    at -= nextOf(places_[i]);
    if (i < taken_ && at + kOthers <= begin) return;
    readOthers(i, &memory[at]);
  }
}
