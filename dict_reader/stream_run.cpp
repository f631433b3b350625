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

constexpr size_t kHeaderSize = VEK_OPAQUE_EVENT_HEADER_SIZE;
// Bytes that are copied in one go, whatever of them is meant: a short text or a key fits.
constexpr size_t kWindow = 32;
static_assert(kWindow == sizeof(KeyTable::Slot));
constexpr uint32_t kLongestText = kWindow - 1;
constexpr char kText = static_cast<char>(0xa0);  // and the size: the header of a text

// Room for an event of any kind: a key, a number or a header, and a window. A power of two, so
// that the events that there is room for are counted with a shift.
constexpr size_t kEventRoomShift = 7;
constexpr size_t kEventRoom = size_t{1} << kEventRoomShift;
static_assert(kEventRoom >= kWindow + vek::kMsgpackMaxNumber + kWindow);
static_assert(kEventRoom >= kWindow + PackedRecord::kMostHeader);

// How values are written. All are written alike, without a branch on type or size, which no
// predictor knows in a stream whose structure changes: a first byte; the number, at the same place
// where it is the first byte itself; and behind it a window of the data, of which a text keeps its
// size and all others nothing.
struct Form {
  uint8_t size;
  uint8_t first;
  uint8_t number_at;
  uint8_t shift;  // brings the number's bytes to the top
};

constexpr Form numberForm(vek::msgpack_detail::NumberForm form) {
  const bool is_first = form.size == 1;
  return {form.size, form.prefix, static_cast<uint8_t>(is_first ? 0 : 1),
          static_cast<uint8_t>(is_first ? 56 : form.shift)};
}
// The window goes over the number.
constexpr Form byteForm(uint8_t byte) { return {1, byte, 1, 0}; }

// Whole numbers by their leading zeros, with those of negative ones behind them; then the others.
constexpr size_t kNegative = 64;
constexpr size_t kDoubleForm = 2 * kNegative;
constexpr size_t kFalseForm = kDoubleForm + 1;
constexpr size_t kTrueForm = kFalseForm + 1;
constexpr size_t kNilForm = kTrueForm + 1;
constexpr size_t kTextForms = kNilForm + 1;  // by size
constexpr auto kForms = [] {
  std::array<Form, kTextForms + kWindow> forms{};
  for (size_t zeros = 0; zeros < kNegative; ++zeros) {
    const size_t bits = 64 - zeros;
    forms[zeros] = numberForm(vek::msgpack_detail::unsigned_form(bits));
    forms[kNegative + zeros] = numberForm(vek::msgpack_detail::negative_form(bits));
  }
  forms[kDoubleForm] = {9, 0xcb, 1, 0};
  forms[kFalseForm] = byteForm(0xc2);
  forms[kTrueForm] = byteForm(0xc3);
  forms[kNilForm] = byteForm(0xc0);
  for (size_t size = 0; size < kWindow; ++size) {
    forms[kTextForms + size] = byteForm(static_cast<uint8_t>(0xa0 | size));
  }
  return forms;
}();

// What an event of some type and size is written by.
struct alignas(8) Rule {
  uint16_t form = 0;
  uint8_t range_mask = 0;  // all ones: of the forms from `form` on, that of the number's range
  uint8_t text = 0;        // bytes of the window that are kept
  uint8_t is_value = 0;    // all ones, so that one test serves it and the size of a key
};

// By size and type, both small: all else is an event of another kind, or an unusual one.
constexpr size_t kTypes = 16;
constexpr uint64_t kSmallTypesAndSizes = uint64_t{kLongestText} << 32 | (kTypes - 1);
constexpr auto kRules = [] {
  std::array<Rule, kWindow * kTypes> rules{};
  for (uint8_t size = 0; size < kWindow; ++size) {
    Rule* const of = &rules[size * kTypes];
    of[PYTHON_STRING] = {static_cast<uint16_t>(kTextForms + size), 0, size, 0xff};
    of[PYTHON_BOOL_FALSE] = {kFalseForm, 0, 0, 0xff};
    of[PYTHON_BOOL_TRUE] = {kTrueForm, 0, 0, 0xff};
    of[PYTHON_NONE] = {kNilForm, 0, 0, 0xff};
    if (size < sizeof(uint64_t)) continue;
    of[PYTHON_DOUBLE] = {kDoubleForm, 0, 0, 0xff};
    of[PYTHON_LONG] = {0, 0xff, 0, 0xff};
  }
  return rules;
}();

// As one move, which memcpy() of 32 bytes is not with every compiler.
[[gnu::always_inline]] inline void copyWindow(void* to, const void* from) {
  using Window [[gnu::vector_size(kWindow), gnu::aligned(1), gnu::may_alias]] = char;
  *static_cast<Window*>(to) = *static_cast<const Window*>(from);
}

// `data` is a window.
[[gnu::always_inline]] inline char* putValue(char* p, const Rule& rule, const uint8_t* data) {
  const auto bits = load_once<uint64_t>(data);
  const auto sign = static_cast<uint64_t>(static_cast<int64_t>(bits) >> 63);
  // 0 is written as 1 is, so that zeros can be counted of it too.
  const auto zeros = static_cast<uint64_t>(__builtin_clzll((bits ^ sign) | 1));
  const uint64_t range = zeros + (sign & kNegative);
  const Form& form = kForms[rule.form + (range & rule.range_mask)];
  *p = static_cast<char>(form.first);
  const uint64_t number = __builtin_bswap64(bits << form.shift);
  std::memcpy(p + form.number_at, &number, sizeof number);
  p += form.size;
  copyWindow(p, data);
  return p + rule.text;
}

// The part of one event that matters here; `data` is a window.
struct Event {
  uint64_t size_and_type;
  uint32_t key_id;
  const uint8_t* data;

  explicit Event(const uint8_t* bytes)
      : size_and_type(load_once<uint64_t>(bytes + kTypeAt)),
        key_id(load_once<uint32_t>(bytes + kTypeAt - sizeof key_id)),
        data(bytes + kHeaderSize) {}

  uint32_t type() const { return static_cast<uint32_t>(size_and_type); }
  uint32_t size() const { return static_cast<uint32_t>(size_and_type >> 32); }
  uint64_t word() const {
    return vek::packDictEventWord(static_cast<python_event_type_t>(type()), key_id);
  }
  // Null for an event that values are not.
  [[gnu::always_inline]] const Rule* rule() const {
    if (size_and_type & ~kSmallTypesAndSizes) return nullptr;
    return &kRules[(size_and_type >> 28) + type()];
  }

 private:
  static constexpr size_t kTypeAt = offsetof(vek_opaque_event_t, second_word) + sizeof(uint32_t);
  static_assert(kTypeAt + sizeof(uint32_t) == offsetof(vek_opaque_event_t, data_size));
};

[[gnu::always_inline]] inline bool isWhole(const uint8_t* event) {
  return event[offsetof(vek_opaque_event_t, kind)] == VEK_OPAQUE_WHOLE;
}

// Events in a row, and what they are written by.
struct Stretch {
  const uint8_t* event;
  uint64_t left;
  uint64_t event_size;
  uint32_t most_data;  // of one event; more is for the extractor to refuse
  const KeyTable::Slot* slots;
  size_t num_slots;
};

// Values with short keys and short texts, as many as there is room for. True in front of the first
// event that is something else.
template <bool kAreSmall, bool kHaveKeys>
[[gnu::always_inline]] inline bool packValues(Stretch& stretch, PackedRecord::Cursor& cursor) {
  const uint8_t* event = stretch.event;
  const uint64_t event_size = stretch.event_size;
  const KeyTable::Slot* const slots = stretch.slots;
  const size_t num_slots = stretch.num_slots;
  char* p = cursor.at;
  const uint64_t most =
      std::min(stretch.left, static_cast<uint64_t>(cursor.end - p) >> kEventRoomShift);
  uint64_t left = most;
  for (; left > 0; --left, event += event_size) {
    const Event at(event);
    const Rule* const rule = at.rule();
    if (!rule || !isWhole(event) || at.key_id >= num_slots) break;
    if (kAreSmall && at.size() > stretch.most_data) break;
    const KeyTable::Slot& slot = slots[at.key_id];
    if ((slot.size & rule->is_value) == 0) break;
    if (kHaveKeys) {
      copyWindow(p, &slot);
      p += slot.size;
    }
    p = putValue(p, *rule, at.data);
  }
  cursor.at = p;
  cursor.count += static_cast<uint32_t>(most - left);
  stretch.event = event;
  stretch.left -= most - left;
  return left > 0;
}

// Starts a container in a container; false where that takes more than this.
[[gnu::always_inline]] inline bool open(const Stretch& stretch, PackedRecord::Cursor& cursor,
                                        const Event& event) {
  const bool is_dict = event.type() == PYTHON_DICT_START;
  const bool writes_key = cursor.innermost->is_dict;
  if (static_cast<size_t>(cursor.end - cursor.at) < kEventRoom || cursor.next == cursor.limit) {
    return false;
  }
  if (event.key_id != vek::kNoKeyId) {
    if (event.key_id >= stretch.num_slots) return false;
    const KeyTable::Slot& slot = stretch.slots[event.key_id];
    if (slot.size == 0) return false;
    if (writes_key) {
      copyWindow(cursor.at, &slot);
      cursor.at += slot.size;
    }
  } else if (!is_dict) {
    return false;
  } else if (writes_key) {
    *cursor.at++ = kText;
  }
  cursor.open(event.key_id, is_dict);
  return true;
}

// Ends a container in a container.
[[gnu::always_inline]] inline bool close(PackedRecord::Cursor& cursor, bool is_dict) {
  if (cursor.innermost == cursor.first || cursor.innermost->is_dict != is_dict) return false;
  cursor.close();
  return true;
}

[[gnu::always_inline]] inline bool openOrClose(const Stretch& stretch, PackedRecord::Cursor& cursor,
                                               const Event& event) {
  switch (event.type()) {
    case PYTHON_DICT_START:
    case PYTHON_LIST_START:
      return open(stretch, cursor, event);
    case PYTHON_DICT_END:
      return close(cursor, true);
    case PYTHON_LIST_END:
      return close(cursor, false);
    default:
      return false;
  }
}

// Values and containers inside the record, up to the first event that is something else.
template <bool kAreSmall>
[[gnu::always_inline]] inline void packInside(Stretch& stretch, PackedRecord::Cursor& cursor) {
  for (;;) {
    const bool stopped = cursor.innermost->is_dict ? packValues<kAreSmall, true>(stretch, cursor)
                                                   : packValues<kAreSmall, false>(stretch, cursor);
    if (!stopped) {
      const bool has_room = static_cast<size_t>(cursor.end - cursor.at) >= kEventRoom;
      if (stretch.left > 0 && has_room) continue;
      return;
    }
    const Event event(stretch.event);
    if (!isWhole(stretch.event) || event.size() > stretch.most_data ||
        !openOrClose(stretch, cursor, event)) {
      return;
    }
    stretch.event += stretch.event_size;
    --stretch.left;
  }
}

using PackInside = void (*)(Stretch&, PackedRecord::Cursor&);

template <bool kAreSmall>
[[gnu::noinline]] void packInsideBaseline(Stretch& stretch, PackedRecord::Cursor& cursor) {
  packInside<kAreSmall>(stretch, cursor);
}

#if defined(__x86_64__)
// The same code for processors that count leading zeros and shift in one cheap instruction, and
// copy 32 bytes at once: all with AVX2 and BMI2.
template <bool kAreSmall>
[[gnu::target("avx2,bmi,bmi2,lzcnt"), gnu::noinline]] void packInsideModern(
    Stretch& stretch, PackedRecord::Cursor& cursor) {
  packInside<kAreSmall>(stretch, cursor);
}

const bool g_is_modern = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
#else
template <bool kAreSmall>
constexpr auto packInsideModern = packInsideBaseline<kAreSmall>;

constexpr bool g_is_modern = false;
#endif

PackInside packInsideOf(bool are_small, bool is_modern) {
  if (is_modern) return are_small ? packInsideModern<true> : packInsideModern<false>;
  return are_small ? packInsideBaseline<true> : packInsideBaseline<false>;
}

}  // namespace

// A run of events, and what they are to the packer where they are not values or containers inside
// the record.
class StreamRun {
 public:
  using Taken = vek::OpaqueRunTaker::Taken;

  explicit StreamRun(StreamPacker& packer)
      : packer_(packer), cursor_(packer.record_.cursor()), stretch_{} {}
  Taken take(vek::Bytes events, uint64_t event_size, bool is_modern);

 private:
  bool event(const Event& event);
  bool longPair(const Event& event, const KeyTable::Slot& slot);
  bool isKnown(const Event& event, const KeyTable::Slot& slot) const;
  void readKeys() {
    stretch_.slots = packer_.keys_.slots();
    stretch_.num_slots = packer_.keys_.size();
  }

  StreamPacker& packer_;
  PackedRecord::Cursor& cursor_;
  Stretch stretch_;
};

// A text with a long key, or that is long itself. False: left to the handler, with nothing done.
bool StreamRun::longPair(const Event& event, const KeyTable::Slot& slot) {
  const std::string* const long_name = slot.long_name();
  if (!cursor_.innermost || (!long_name && slot.size == 0)) return false;
  const Rule* const rule = event.rule();
  const bool is_text = event.type() == PYTHON_STRING;
  if (!is_text && !(rule && rule->is_value != 0)) return false;
  const size_t key_room = vek::kMsgpackMaxHeader + (long_name ? long_name->size() : 0);
  const size_t text_room = is_text ? vek::kMsgpackMaxHeader + size_t{event.size()} : 0;
  if (static_cast<size_t>(cursor_.end - cursor_.at) < kEventRoom + key_room + text_room) {
    return false;
  }
  char* p = cursor_.at;
  if (cursor_.innermost->is_dict) {
    p = long_name ? vek::put_str(p, long_name->data(), static_cast<uint32_t>(long_name->size()))
                  : vek::msgpack_detail::put_bytes(p, slot.bytes, slot.size);
  }
  cursor_.at = is_text ? vek::put_str(p, reinterpret_cast<const char*>(event.data), event.size())
                       : putValue(p, *rule, event.data);
  ++cursor_.count;
  return true;
}

// The name that the id has: nothing changes.
bool StreamRun::isKnown(const Event& event, const KeyTable::Slot& slot) const {
  return packer_.started_ && event.size() > 0 && event.size() + 1 == slot.size &&
         std::memcmp(slot.bytes + 1, event.data, event.size()) == 0;
}

bool StreamRun::event(const Event& event) {
  if (event.key_id < stretch_.num_slots) {
    const KeyTable::Slot& slot = stretch_.slots[event.key_id];
    if (event.type() == PYTHON_ID ? isKnown(event, slot) : longPair(event, slot)) return true;
  }
  const bool handled =
      dict_reader_utils::dispatchStreamEvent(packer_, event.word(), event.data, event.size());
  readKeys();
  return handled;
}

StreamRun::Taken StreamRun::take(vek::Bytes events, uint64_t event_size, bool is_modern) {
  const uint64_t most_data = event_size - kHeaderSize;
  const PackInside packs = packInsideOf(most_data < kWindow, is_modern);
  // Those with a window that is readable.
  const uint64_t count = (events.size() - kHeaderSize - kWindow) / event_size + 1;
  stretch_.event = events.data();
  stretch_.left = count;
  stretch_.event_size = event_size;
  stretch_.most_data = static_cast<uint32_t>(std::min<uint64_t>(most_data, UINT32_MAX));
  readKeys();
  for (;;) {
    if (cursor_.innermost) {
      packs(stretch_, cursor_);
      // Without memory the handler will say so.
      if (static_cast<size_t>(cursor_.end - cursor_.at) < kEventRoom) {
        packer_.record_.reserve(kEventRoom);
      }
    }
    if (stretch_.left == 0 || !isWhole(stretch_.event)) break;
    const Event at(stretch_.event);
    if (at.size() > stretch_.most_data) break;
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
