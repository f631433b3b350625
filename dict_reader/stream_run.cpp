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

using vek::msgpack_detail::kNegativeForms;
using vek::msgpack_detail::kNumberForms;
using vek::msgpack_detail::NumberForm;

constexpr size_t kHeaderSize = VEK_OPAQUE_EVENT_HEADER_SIZE;
// Bytes that are copied in one go, whatever of them is meant: a short text or a key fits.
constexpr size_t kWindow = 32;
static_assert(kWindow == KeyTable::kSlotSize);
// A key, a number or the header of a text, and a window.
constexpr size_t kPairRoom = kWindow + vek::kMsgpackMaxNumber + kWindow;
static_assert(kPairRoom >= kWindow + PackedRecord::kMostHeader);

// How values of a type are written. All are written alike, without a branch on type or size, which
// no predictor knows in a stream whose structure changes: a first byte and a number, then, behind
// them, a window of the data, of which a text keeps its size and the others nothing.
struct ValueRule {
  uint32_t least = 1;  // data of `least` to `least + spread` bytes is written by the rule
  uint32_t spread = 0;
  uint32_t text_mask = 0;   // all ones: the data's size is the text's
  uint32_t range_mask = 0;  // all ones: of the forms from `form` on, that of the number's range
  uint32_t form = 0;
  bool is_value = false;
};

constexpr uint32_t kAny = UINT32_MAX;
constexpr uint32_t kLongest = KeyTable::kLongestShortText;
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

constexpr uint32_t kNumTypes = PYTHON_NONE + 1;
// One more for types that there are not.
constexpr auto kRules = [] {
  std::array<ValueRule, kNumTypes + 1> rules{};
  // No data has so many bytes: it would reach past its event.
  rules.fill({kAny, 0, 0, 0, 0, false});
  rules[PYTHON_STRING] = {0, kLongest, kAny, 0, kTextForm, true};
  rules[PYTHON_DOUBLE] = {8, kLongest - 8, 0, 0, vek::msgpack_detail::kDoubleForm, true};
  rules[PYTHON_LONG] = {8, kLongest - 8, 0, kAny, 0, true};
  rules[PYTHON_BOOL_FALSE] = {0, kLongest, 0, 0, kFalseForm, true};
  rules[PYTHON_BOOL_TRUE] = {0, kLongest, 0, 0, kTrueForm, true};
  rules[PYTHON_NONE] = {0, kLongest, 0, 0, kNilForm, true};
  return rules;
}();

constexpr KeyTable::Slot kNoSlot{};

// As one move, which memcpy() of 32 bytes is not with every compiler.
[[gnu::always_inline]] inline void copyWindow(void* to, const void* from) {
  using Window [[gnu::vector_size(kWindow), gnu::aligned(1), gnu::may_alias]] = char;
  *static_cast<Window*>(to) = *static_cast<const Window*>(from);
}

// `data` is a window.
[[gnu::always_inline]] inline char* putValue(char* p, const ValueRule& rule, const uint8_t* data,
                                             uint32_t size) {
  const auto bits = load_once<uint64_t>(data);
  const auto sign = static_cast<uint64_t>(static_cast<int64_t>(bits) >> 63);
  const size_t range = vek::msgpack_detail::bit_width(bits ^ sign) + (sign & kNegativeForms);
  const NumberForm& form = kForms[rule.form + (range & rule.range_mask)];
  const uint32_t text = size & rule.text_mask;
  *p = static_cast<char>(form.prefix | (bits & form.mask) | text);
  vek::msgpack_detail::put_big_endian(p + 1, bits << form.shift);
  p += form.size;
  copyWindow(p, data);
  return p + text;
}

// A pair whose key or text is longer than a window; null without room for it.
[[gnu::noinline]] char* putLongPair(char* p, size_t room, const KeyTable::Slot& slot, bool has_key,
                                    const ValueRule& rule, const uint8_t* data, uint32_t size) {
  const std::string* const long_name = slot.long_name();
  if (!long_name && slot.length() > kLongest) return nullptr;
  const bool is_text = rule.text_mask != 0;
  const size_t key_room = long_name ? vek::kMsgpackMaxHeader + long_name->size() : 0;
  const size_t text_room = is_text ? vek::kMsgpackMaxHeader + size_t{size} : 0;
  if (room < kPairRoom + key_room + text_room) return nullptr;
  if (has_key) {
    p = long_name ? vek::put_str(p, long_name->data(), static_cast<uint32_t>(long_name->size()))
                  : vek::msgpack_detail::put_bytes(p, slot.bytes, slot.length() + size_t{1});
  }
  return is_text ? vek::put_str(p, reinterpret_cast<const char*>(data), size)
                 : putValue(p, rule, data, size);
}

// The part of one event that matters here; `data` is a window.
struct Event {
  uint32_t type;
  uint32_t key_id;
  uint32_t size;
  const uint8_t* data;
};

[[gnu::always_inline]] inline Event readEvent(const uint8_t* bytes) {
  constexpr size_t kWord = offsetof(vek_opaque_event_t, second_word);
  return {load_once<uint32_t>(bytes + kWord + sizeof(uint32_t)), load_once<uint32_t>(bytes + kWord),
          load_once<uint32_t>(bytes + offsetof(vek_opaque_event_t, data_size)),
          bytes + kHeaderSize};
}

[[gnu::always_inline]] inline bool isWhole(const uint8_t* event) {
  return event[offsetof(vek_opaque_event_t, kind)] == VEK_OPAQUE_WHOLE;
}

[[gnu::always_inline]] inline const ValueRule& ruleOf(uint32_t type) {
  return kRules[std::min(type, kNumTypes)];
}

// Events in a row, and where they go.
struct Stretch {
  const uint8_t* event;
  uint64_t left;
  uint64_t event_size;
  uint32_t most_data;  // of one event; more is for the extractor to refuse
  const KeyTable::Slot* slots;
  size_t num_slots;
  size_t key_mask;  // all ones where children have keys
};

// Values with short keys and short texts, up to the first event that is something else. Apart from
// the rest, so that all that it needs stays in registers.
template <bool kIsRoomy>
[[gnu::always_inline]] inline void packValues(Stretch& stretch, PackedRecord::Cursor& cursor) {
  const uint8_t* event = stretch.event;
  const uint64_t event_size = stretch.event_size;
  const KeyTable::Slot* const slots = stretch.slots;
  const size_t num_slots = stretch.num_slots;
  const size_t key_mask = stretch.key_mask;
  const uint64_t all = stretch.left;
  uint64_t left = all;
  char* p = cursor.at;
  if (static_cast<size_t>(cursor.end - p) < kPairRoom) return;
  const char* const last = cursor.end - kPairRoom;
  for (; left > 0; --left, event += event_size) {
    const Event at = readEvent(event);
    const ValueRule& rule = ruleOf(at.type);
    if (!isWhole(event) || at.size - rule.least > rule.spread) break;
    if (!kIsRoomy && at.size > stretch.most_data) break;
    if (at.key_id >= num_slots || p > last) break;
    const KeyTable::Slot& slot = slots[at.key_id];
    const size_t key_length = slot.length();
    if (key_length > kLongest) break;
    copyWindow(p, slot.bytes);
    p = putValue(p + ((key_length + 1) & key_mask), rule, at.data, at.size);
  }
  cursor.at = p;
  cursor.count += static_cast<uint32_t>(all - left);
  stretch.event = event;
  stretch.left = left;
}

using PackValues = void (*)(Stretch&, PackedRecord::Cursor&);

template <bool kIsRoomy>
[[gnu::noinline]] void packValuesBaseline(Stretch& stretch, PackedRecord::Cursor& cursor) {
  packValues<kIsRoomy>(stretch, cursor);
}

#if defined(__x86_64__)
// The same code for processors that count leading zeros and shift in one cheap instruction, and
// copy 32 bytes at once: all with AVX2 and BMI2.
template <bool kIsRoomy>
[[gnu::target("avx2,bmi,bmi2,lzcnt"), gnu::noinline]] void packValuesModern(
    Stretch& stretch, PackedRecord::Cursor& cursor) {
  packValues<kIsRoomy>(stretch, cursor);
}

const bool g_is_modern = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2") &&
                         __builtin_cpu_supports("lzcnt");
#else
template <bool kIsRoomy>
constexpr auto packValuesModern = packValuesBaseline<kIsRoomy>;

constexpr bool g_is_modern = false;
#endif

// Events whose data holds a window, and others.
PackValues packValuesOf(bool is_roomy, bool is_modern) {
  if (is_modern) return is_roomy ? packValuesModern<true> : packValuesModern<false>;
  return is_roomy ? packValuesBaseline<true> : packValuesBaseline<false>;
}

}  // namespace

// What goes on between values.
class StreamRun {
 public:
  using Taken = vek::OpaqueRunTaker::Taken;

  explicit StreamRun(StreamPacker& packer)
      : packer_(packer), cursor_(packer.record_.cursor()), stretch_{} {
    resume();
  }
  Taken take(vek::Bytes events, uint64_t event_size, bool is_modern);

 private:
  bool event(const Event& event);
  bool goesOn(const Event& event, const KeyTable::Slot& slot);
  bool longPair(const Event& event, const KeyTable::Slot& slot);
  bool open(const Event& event, const KeyTable::Slot& slot, bool is_dict);
  bool close(bool is_dict);
  bool isKnown(const Event& event, const KeyTable::Slot& slot) const;

  size_t room() const { return static_cast<size_t>(cursor_.end - cursor_.at); }
  // After what may have changed keys or containers.
  void resume() {
    stretch_.slots = packer_.keys_.slots();
    stretch_.num_slots = packer_.keys_.size();
    enter();
  }
  void enter() {
    stretch_.key_mask = cursor_.innermost && cursor_.innermost->is_dict ? SIZE_MAX : 0;
  }

  StreamPacker& packer_;
  PackedRecord::Cursor& cursor_;
  Stretch stretch_;
};

// False, here and below: left to the handler, with nothing done.
bool StreamRun::open(const Event& event, const KeyTable::Slot& slot, bool is_dict) {
  const bool has_key = event.key_id != vek::kNoKeyId;
  const size_t key_length = has_key ? slot.length() : 0;
  const uint32_t place =
      has_key ? PackedRecord::kFirstKeyPlace + event.key_id : PackedRecord::kNoKeyPlace;
  if (!(has_key || is_dict) || key_length > kLongest || room() < kPairRoom ||
      cursor_.next == cursor_.limit || place >= cursor_.num_widths) {
    return false;
  }
  if (stretch_.key_mask) {
    copyWindow(cursor_.at, slot.bytes);
    if (!has_key) *cursor_.at = static_cast<char>(KeyTable::kShortText);
    cursor_.at += key_length + 1;
  }
  cursor_.open(place, is_dict);
  stretch_.key_mask = is_dict ? SIZE_MAX : 0;
  return true;
}

bool StreamRun::close(bool is_dict) {
  if (cursor_.innermost == cursor_.first || cursor_.innermost->is_dict != is_dict) return false;
  cursor_.close();
  enter();
  return true;
}

bool StreamRun::longPair(const Event& event, const KeyTable::Slot& slot) {
  const ValueRule& rule = ruleOf(event.type);
  if (event.size < rule.least) return false;
  char* const end =
      putLongPair(cursor_.at, room(), slot, stretch_.key_mask != 0, rule, event.data, event.size);
  if (!end) return false;
  cursor_.at = end;
  ++cursor_.count;
  return true;
}

// The name that the id has: nothing changes.
bool StreamRun::isKnown(const Event& event, const KeyTable::Slot& slot) const {
  return packer_.started_ && event.size > 0 && event.size == slot.length() &&
         std::memcmp(slot.bytes + 1, event.data, event.size) == 0;
}

bool StreamRun::goesOn(const Event& event, const KeyTable::Slot& slot) {
  if (event.type == PYTHON_ID) return isKnown(event, slot);
  if (!cursor_.innermost) return false;
  switch (event.type) {
    case PYTHON_DICT_START:
      return open(event, slot, true);
    case PYTHON_LIST_START:
      return open(event, slot, false);
    case PYTHON_DICT_END:
      return close(true);
    case PYTHON_LIST_END:
      return close(false);
    default:
      return ruleOf(event.type).is_value && longPair(event, slot);
  }
}

bool StreamRun::event(const Event& event) {
  const KeyTable::Slot& slot =
      event.key_id < stretch_.num_slots ? stretch_.slots[event.key_id] : kNoSlot;
  if (goesOn(event, slot)) return true;
  const uint64_t word =
      vek::packDictEventWord(static_cast<python_event_type_t>(event.type), event.key_id);
  const bool handled =
      dict_reader_utils::dispatchStreamEvent(packer_, word, event.data, event.size);
  resume();
  return handled;
}

StreamRun::Taken StreamRun::take(vek::Bytes events, uint64_t event_size, bool is_modern) {
  const uint64_t most_data = event_size - kHeaderSize;
  const PackValues packs = packValuesOf(most_data >= kWindow, is_modern);
  // Those with a window that is readable.
  const uint64_t count = (events.size() - kHeaderSize - kWindow) / event_size + 1;
  stretch_.event = events.data();
  stretch_.left = count;
  stretch_.event_size = event_size;
  stretch_.most_data = static_cast<uint32_t>(std::min<uint64_t>(most_data, kAny - 1));
  for (;;) {
    if (cursor_.innermost) packs(stretch_, cursor_);
    if (stretch_.left == 0) break;
    const Event at = readEvent(stretch_.event);
    if (!isWhole(stretch_.event) || at.size > stretch_.most_data) break;
    stretch_.event += event_size;
    --stretch_.left;
    if (!event(at)) return {count - stretch_.left, false};
  }
  return {count - stretch_.left, true};
}

vek::OpaqueRunTaker::Taken StreamPacker::takeRunOn(bool is_modern, vek::Bytes events,
                                                   uint64_t event_size) {
  if (event_size <= kHeaderSize || events.size() < kHeaderSize + kWindow) return {0, true};
  return StreamRun(*this).take(events, event_size, is_modern);
}

vek::OpaqueRunTaker::Taken StreamPacker::takeRun(vek::Bytes events, uint64_t event_size) {
  return takeRunOn(g_is_modern, events, event_size);
}

vek::OpaqueRunTaker::Taken StreamPacker::takeRunBaseline(vek::Bytes events, uint64_t event_size) {
  return takeRunOn(false, events, event_size);
}
