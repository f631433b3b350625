// Stream events to msgpack, straight out of a page: the hot loop of dictionary streams.
//
// What streams are made of is done here: values, containers inside a record, keys told again. All
// else is a call of the handler that has it, so each rule stands in one place.
#include <algorithm>
#include <array>
#include <cstring>

#include "dict_reader/event_dispatch.h"
#include "dict_reader/stream_packer.h"
#include "utils/msgpack_encode.h"
#include "utils/unaligned.h"

using vek::load_once;

namespace {

using vek::msgpack_detail::kNumberForms;
using vek::msgpack_detail::NumberForm;

constexpr size_t kHeaderSize = VEK_OPAQUE_EVENT_HEADER_SIZE;
// Bytes of data that are read in one go, whatever the value: the longest short text fits.
constexpr size_t kWindow = 32;
// A key, the first byte of a value and a window.
constexpr size_t kPairRoom = KeyTable::kSlotSize + 1 + kWindow;
static_assert(kPairRoom >= KeyTable::kSlotSize + PackedRecord::kMostHeader);

// Values are written without a branch on their type or size, which no predictor knows in a stream
// whose structure changes: the forms of all types stand in one table.
constexpr uint8_t kByRange = 0;
constexpr size_t kFalseForm = kNumberForms.size();
constexpr size_t kTrueForm = kFalseForm + 1;
constexpr size_t kNilForm = kTrueForm + 1;
constexpr size_t kTextForm = kNilForm + 1;
constexpr auto kForms = [] {
  std::array<NumberForm, kTextForm + 1> forms{};
  std::copy(kNumberForms.begin(), kNumberForms.end(), forms.begin());
  forms[kFalseForm] = {1, 0xc2, 0, 0};
  forms[kTrueForm] = {1, 0xc3, 0, 0};
  forms[kNilForm] = {1, 0xc0, 0, 0};
  forms[kTextForm] = {1, KeyTable::kShortText, 0, 0};
  return forms;
}();

// Data of `least` to `least + spread` bytes makes a value of the type that fits the window.
struct ValueRule {
  uint32_t least = 1;
  uint32_t spread = 0;
  uint32_t text_mask = 0;  // all ones: the data's size is the text's
  uint32_t form = kByRange;
  bool is_value = false;
};
constexpr uint32_t kAny = UINT32_MAX;
constexpr uint32_t kNumTypes = PYTHON_NONE + 1;
// One more for types that there are not.
constexpr auto kRules = [] {
  std::array<ValueRule, kNumTypes + 1> rules{};
  // No data is of that size: it reaches past its event.
  rules.fill({kAny, 0, 0, 0, false});
  rules[PYTHON_STRING] = {0, KeyTable::kLongestShortText, kAny, kTextForm, true};
  rules[PYTHON_DOUBLE] = {8, kAny - 8, 0, vek::msgpack_detail::kDoubleForm, true};
  rules[PYTHON_LONG] = {8, kAny - 8, 0, kByRange, true};
  rules[PYTHON_BOOL_FALSE] = {0, kAny, 0, kFalseForm, true};
  rules[PYTHON_BOOL_TRUE] = {0, kAny, 0, kTrueForm, true};
  rules[PYTHON_NONE] = {0, kAny, 0, kNilForm, true};
  return rules;
}();

constexpr KeyTable::Slot kNoSlot{};

// `data` is a window.
[[gnu::always_inline]] inline char* putValue(char* p, const ValueRule& rule, const uint8_t* data,
                                             uint32_t size) {
  using namespace vek::msgpack_detail;
  const auto bits = load_once<uint64_t>(data);
  std::memcpy(p + 1, data, kWindow);
  const auto sign = static_cast<uint64_t>(static_cast<int64_t>(bits) >> 63);
  const size_t smallest = bit_width(bits ^ sign) + (sign & kNegativeForms);
  const NumberForm& form = kForms[rule.form == kByRange ? smallest : rule.form];
  const uint32_t text = size & rule.text_mask;
  *p = static_cast<char>(form.prefix | (bits & form.mask) | text);
  const uint64_t body = rule.text_mask ? bits : __builtin_bswap64(bits << form.shift);
  std::memcpy(p + 1, &body, sizeof body);
  return p + form.size + text;
}

// A pair whose key or text is longer than a window; null without room for it.
[[gnu::noinline]] char* putLongPair(char* p, size_t room, const KeyTable::Slot& slot, bool has_key,
                                    const ValueRule& rule, const uint8_t* data, uint32_t size) {
  const std::string* const long_name = slot.long_name();
  if (!long_name && slot.length() > KeyTable::kLongestShortText) return nullptr;
  const bool is_text = rule.text_mask != 0;
  const size_t key_room = long_name ? vek::kMsgpackMaxHeader + long_name->size() : 0;
  const size_t text_room = is_text ? vek::kMsgpackMaxHeader + size_t{size} : 0;
  if (room < kPairRoom + key_room + text_room) return nullptr;
  if (has_key) {
    const size_t length = slot.length();
    p = long_name ? vek::put_str(p, long_name->data(), static_cast<uint32_t>(long_name->size()))
                  : vek::msgpack_detail::put_bytes(p, slot.bytes, length + 1);
  }
  return is_text ? vek::put_str(p, reinterpret_cast<const char*>(data), size)
                 : putValue(p, rule, data, size);
}

}  // namespace

class StreamRun {
 public:
  using Taken = vek::OpaqueRunTaker::Taken;

  [[gnu::always_inline]] static inline Taken take(StreamPacker& packer, vek::Bytes events,
                                                  uint64_t event_size);

 private:
  // One event; its data is `size` bytes of `data`, where a window is readable.
  struct Event {
    uint32_t type;
    uint32_t key_id;
    const uint8_t* data;
    uint32_t size;
  };

  explicit StreamRun(StreamPacker& packer) : packer_(packer) { resume(); }

  [[gnu::always_inline]] inline bool event(const Event& event);
  [[gnu::always_inline]] inline bool otherEvent(const Event& event, const KeyTable::Slot& slot,
                                                const ValueRule& rule);
  [[gnu::always_inline]] inline bool open(const Event& event, const KeyTable::Slot& slot,
                                          bool is_dict);
  [[gnu::always_inline]] inline bool close(bool is_dict);
  [[gnu::always_inline]] inline bool isKnown(const Event& event, const KeyTable::Slot& slot) const;
  [[gnu::always_inline]] inline bool handle(const Event& event);

  [[gnu::always_inline]] inline size_t room() const {
    return static_cast<size_t>(cursor_.end - cursor_.at);
  }
  // The position is the packer's while a handler works, and a copy is ours while we do.
  [[gnu::always_inline]] inline void resume() {
    cursor_ = packer_.record_.cursor();
    slots_ = packer_.keys_.slots();
    num_slots_ = packer_.keys_.size();
    enter();
  }
  [[gnu::always_inline]] inline void pause() { packer_.record_.cursor() = cursor_; }
  [[gnu::always_inline]] inline void enter() {
    key_mask_ = cursor_.innermost && cursor_.innermost->is_dict ? SIZE_MAX : 0;
  }

  StreamPacker& packer_;
  PackedRecord::Cursor cursor_;
  const KeyTable::Slot* slots_ = nullptr;
  size_t num_slots_ = 0;
  size_t key_mask_ = 0;  // all ones where children have keys
};

inline bool StreamRun::handle(const Event& event) {
  pause();
  const bool handled = dict_reader_utils::dispatchStreamEvent(
      packer_, vek::packDictEventWord(static_cast<python_event_type_t>(event.type), event.key_id),
      event.data, event.size);
  resume();
  return handled;
}

// False: left to the handler, with nothing done. So it is for all of these.
inline bool StreamRun::open(const Event& event, const KeyTable::Slot& slot, bool is_dict) {
  const bool has_key = event.key_id != vek::kNoKeyId;
  const size_t key_length = has_key ? slot.length() : 0;
  const uint32_t place =
      has_key ? PackedRecord::kFirstKeyPlace + event.key_id : PackedRecord::kNoKeyPlace;
  if (!(has_key || is_dict) || key_length > KeyTable::kLongestShortText || room() < kPairRoom ||
      cursor_.next == cursor_.limit || place >= cursor_.num_widths) {
    return false;
  }
  if (key_mask_) {
    std::memcpy(cursor_.at, slot.bytes, KeyTable::kSlotSize);
    if (!has_key) *cursor_.at = static_cast<char>(KeyTable::kShortText);
    cursor_.at += key_length + 1;
  }
  cursor_.open(place, is_dict);
  key_mask_ = is_dict ? SIZE_MAX : 0;
  return true;
}

inline bool StreamRun::close(bool is_dict) {
  if (cursor_.innermost == cursor_.first || !cursor_.innermost ||
      cursor_.innermost->is_dict != is_dict) {
    return false;
  }
  cursor_.close();
  enter();
  return true;
}

// The name that is known: nothing changes.
inline bool StreamRun::isKnown(const Event& event, const KeyTable::Slot& slot) const {
  return packer_.started_ && event.size > 0 && event.size == slot.length() &&
         std::memcmp(slot.bytes + 1, event.data, event.size) == 0;
}

inline bool StreamRun::otherEvent(const Event& event, const KeyTable::Slot& slot,
                                  const ValueRule& rule) {
  if (rule.is_value) {
    if (!cursor_.innermost || (!rule.text_mask && event.size < rule.least)) return false;
    char* const end =
        putLongPair(cursor_.at, room(), slot, key_mask_ != 0, rule, event.data, event.size);
    if (!end) return false;
    cursor_.at = end;
    ++cursor_.count;
    return true;
  }
  switch (event.type) {
    case PYTHON_DICT_START:
      return open(event, slot, true);
    case PYTHON_LIST_START:
      return open(event, slot, false);
    case PYTHON_DICT_END:
      return close(true);
    case PYTHON_LIST_END:
      return close(false);
    case PYTHON_ID:
      return isKnown(event, slot);
    default:
      return false;
  }
}

inline bool StreamRun::event(const Event& event) {
  const ValueRule& rule = kRules[std::min(event.type, kNumTypes)];
  const KeyTable::Slot& slot = event.key_id < num_slots_ ? slots_[event.key_id] : kNoSlot;
  const size_t key_length = slot.length();
  if (event.size - rule.least <= rule.spread && key_length <= KeyTable::kLongestShortText &&
      room() >= kPairRoom) [[likely]] {
    std::memcpy(cursor_.at, slot.bytes, KeyTable::kSlotSize);
    char* const at = cursor_.at + ((key_length + 1) & key_mask_);
    cursor_.at = putValue(at, rule, event.data, event.size);
    ++cursor_.count;
    return true;
  }
  return otherEvent(event, slot, rule) || handle(event);
}

inline StreamRun::Taken StreamRun::take(StreamPacker& packer, vek::Bytes events,
                                        uint64_t event_size) {
  if (event_size <= kHeaderSize || events.size() < kHeaderSize + kWindow) return {0, true};
  const uint64_t most_data = event_size - kHeaderSize;
  // Those with a window that is readable.
  const uint64_t count = std::min(events.size() / event_size,
                                  (events.size() - kHeaderSize - kWindow) / event_size + 1);
  StreamRun run(packer);
  const uint8_t* at = events.data();
  uint64_t taken = 0;
  bool handled = true;
  for (; taken < count && handled; ++taken, at += event_size) {
    const auto size = load_once<uint32_t>(at + offsetof(vek_opaque_event_t, data_size));
    if (at[offsetof(vek_opaque_event_t, kind)] != VEK_OPAQUE_WHOLE || size > most_data) break;
    const auto word = load_once<uint64_t>(at + offsetof(vek_opaque_event_t, second_word));
    handled = run.event(
        {vek::typeOfDictEventWord(word), vek::keyIdOfDictEventWord(word), at + kHeaderSize, size});
  }
  run.pause();
  return {taken, handled};
}

#if defined(__x86_64__)
namespace {

// The same code for processors that count leading zeros and shift in one cheap instruction, and
// copy 32 bytes at once: all with AVX2 and BMI2.
[[gnu::target("avx2,bmi,bmi2,lzcnt")]] vek::OpaqueRunTaker::Taken takeModern(StreamPacker& packer,
                                                                             vek::Bytes events,
                                                                             uint64_t event_size) {
  return StreamRun::take(packer, events, event_size);
}

const bool g_is_modern = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2") &&
                         __builtin_cpu_supports("lzcnt");

}  // namespace
#endif

vek::OpaqueRunTaker::Taken StreamPacker::takeRunBaseline(vek::Bytes events, uint64_t event_size) {
  return StreamRun::take(*this, events, event_size);
}

vek::OpaqueRunTaker::Taken StreamPacker::takeRun(vek::Bytes events, uint64_t event_size) {
#if defined(__x86_64__)
  if (g_is_modern) return takeModern(*this, events, event_size);
#endif
  return takeRunBaseline(events, event_size);
}
