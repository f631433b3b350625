// StreamPlan: what the events of a stream's last dictionary were written as, in their order, so
// that those of the next are written the same way after one look at each header.
//
// A step is what an event with one header does inside the containers that the steps in front of it
// have begun. It is a guess: nothing has to be undone where a dictionary turns out another. A value
// that does not fit gets another step; where containers differ, the plan ends and is made anew from
// there. Either way the next dictionary fits again. Streams whose dictionaries differ in most
// values go without a plan, for longer and longer.
#ifndef VEK_DICT_READER_STREAM_PLAN_H
#define VEK_DICT_READER_STREAM_PLAN_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "dict_reader/key_table.h"
#include "dict_reader/stream_values.h"

class StreamPlan {
 public:
  // Of a value: key and first byte, the number, a window of the data. Of a container's begin: key.
  struct alignas(64) Step {
    uint64_t word;    // the event's: type and key id
    uint32_t size;    // of the event's data
    uint8_t is_turn;  // a container begins or ends
    uint8_t shift;    // brings the number's bytes to the top
    uint8_t number_at;
    uint8_t window_at;
    uint64_t least;  // number of the same sign and size
    uint64_t span;   // from that to the greatest
    char bytes[stream_values::kWindow - 1];
    uint8_t end;

    python_event_type_t type() const { return vek::typeOfDictEventWord(word); }
    uint32_t key_id() const { return vek::keyIdOfDictEventWord(word); }
    // Of turns: whether a container begins.
    bool begins() const { return type() == PYTHON_DICT_START || type() == PYTHON_LIST_START; }
    // Of values: what of `bytes` is the key.
    bool has_key() const { return number_at > 1; }
  };
  static constexpr size_t kLongestKey = sizeof Step::bytes - 1;
  // At the beginning of a record and at its end.
  void begin(bool is_dict) noexcept;
  void end() noexcept;
  // Keys have got other names.
  void forget() noexcept;
  // A container of the record has begun or ended without a step: what follows would stand in others
  // than the steps in front of it say.
  void leave() { is_followed_ = false; }

  bool isFollowed() const { return is_followed_; }
  // Whether the record, at its end, has a step for each event, most of them from before.
  bool isWhole() const {
    return is_followed_ && left_ == 0 && misses_ <= steps_.size() / kFewMisses;
  }
  std::span<const Step> steps() const { return steps_; }
  const Step* next() const { return next_; }
  // Steps from the next one on.
  uint64_t left() const { return left_; }
  void skip(uint64_t steps) {
    next_ += steps;
    left_ -= steps;
  }

  // An event has no step.
  void miss() { ++misses_; }
  // Makes the next step one that the event fits; `key` is null where none is written. False, and
  // then no plan is followed for the rest of the record, when there are too many steps or there is
  // no memory.
  bool learn(const stream_values::Event& event, const stream_values::Rule& rule,
             const KeyTable::Slot* key) noexcept;
  // Makes that step of a value one that the event fits. It has the key of the one before, which
  // takes so many bytes.
  void change(size_t step, const stream_values::Event& event, const stream_values::Rule& rule,
              size_t key_size) noexcept;
  // As learn(), for the begin or end of a container, in front of which that key is written.
  bool learnTurn(const stream_values::Event& event, const char* key, size_t key_size) noexcept;

 private:
  // Where more than one value in so many did not fit, following the plan gains nothing.
  static constexpr size_t kFewMisses = 8;
  // In a row: two structures that take turns fit now and then.
  static constexpr uint32_t kEnoughFitting = 4;

  bool append() noexcept;
  void cut() noexcept;
  void goTo(size_t step) noexcept;
  void rest() noexcept;

  std::vector<Step> steps_;
  Step* next_ = nullptr;
  uint64_t left_ = 0;
  size_t misses_ = 0;  // events of this record that no step fitted
  bool is_dict_ = false;
  bool is_followed_ = false;
  uint32_t rest_ = 0;  // records that go without a plan
  uint32_t next_rest_ = 0;
  uint32_t fitting_ = 0;  // records that the plan fitted, in a row
};

inline void StreamPlan::goTo(size_t step) noexcept {
  next_ = steps_.data() + step;
  left_ = steps_.size() - step;
}

inline void StreamPlan::begin(bool is_dict) noexcept {
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

inline void StreamPlan::end() noexcept {
  if (!is_followed_) return;
  is_followed_ = false;
  if (kFewMisses * misses_ <= steps_.size() - left_) {
    if (++fitting_ == kEnoughFitting) next_rest_ = 0;
    return;
  }
  rest();
}

#endif  // VEK_DICT_READER_STREAM_PLAN_H
