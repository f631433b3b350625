// Stream events to msgpack, straight out of a page: the hot loop of dictionary streams.
//
// What streams are made of is done here: values, containers inside a record, keys told again. All
// else is a call of the handler that has it, so each rule stands in one place.
#include <algorithm>
#include <cstring>

#include "dict_reader/event_dispatch.h"
#include "dict_reader/stream_packer.h"
#include "dict_reader/stream_places.h"
#include "dict_reader/stream_plan.h"
#include "dict_reader/stream_values.h"
#include "utils/msgpack_encode.h"
#include "utils/unaligned.h"

using namespace stream_values;
using vek::load_once;

namespace {

// Room for an event of any kind: a key, a number or a header, and a window. A power of two, so
// that the events that there is room for are counted with a shift.
constexpr size_t kEventRoomShift = 7;
constexpr size_t kEventRoom = size_t{1} << kEventRoomShift;
static_assert(kEventRoom >= kWindow + vek::kMsgpackMaxNumber + kWindow);
static_assert(kEventRoom >= kWindow + PackedRecord::kMostHeader);

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

[[gnu::always_inline]] inline bool fits(const StreamPlan::Step& step, const uint8_t* event) {
  constexpr size_t kWordAt = offsetof(vek_opaque_event_t, second_word);
  constexpr size_t kSizeAt = offsetof(vek_opaque_event_t, data_size);
  return load_once<uint64_t>(event + kWordAt) == step.word &&
         load_once<uint32_t>(event + kSizeAt) == step.size;
}

// As packValues(), but by the steps of the plan, at most as many as are `left`: up to the first
// turn, or event that the step does not fit.
template <bool kAreSmall>
[[gnu::always_inline]] inline uint64_t followValues(const StreamPlan::Step*& next, uint64_t left,
                                                    Stretch& stretch,
                                                    PackedRecord::Cursor& cursor) {
  static_assert(VEK_OPAQUE_WHOLE == 0);
  const uint64_t event_size = stretch.event_size;
  const StreamPlan::Step* step = next;
  const uint8_t* event = stretch.event;
  char* p = cursor.at;
  const uint64_t before = left;
  for (; left > 0; --left, ++step, event += event_size) {
    if (!fits(*step, event)) break;
    if (event[offsetof(vek_opaque_event_t, kind)] | step->is_turn) break;
    if (kAreSmall && step->size > stretch.most_data) break;
    const uint8_t* const data = event + kHeaderSize;
    const auto bits = load_once<uint64_t>(data);
    if (bits - step->least > step->span) break;
    copyWindow(p, step->bytes);
    const uint64_t number = __builtin_bswap64(bits << step->shift);
    std::memcpy(p + step->number_at, &number, sizeof number);
    copyWindow(p + step->window_at, data);
    p += step->end;
  }
  cursor.at = p;
  cursor.count += static_cast<uint32_t>(before - left);
  stretch.event = event;
  next = step;
  return left;
}

[[gnu::always_inline]] inline bool turn(const StreamPlan::Step& step,
                                        PackedRecord::Cursor& cursor) {
  const python_event_type_t type = vek::typeOfDictEventWord(step.word);
  if (type == PYTHON_DICT_END || type == PYTHON_LIST_END) {
    return close(cursor, type == PYTHON_DICT_END);
  }
  if (cursor.next == cursor.limit) return false;
  copyWindow(cursor.at, step.bytes);
  cursor.at += step.end;
  cursor.open(vek::keyIdOfDictEventWord(step.word), type == PYTHON_DICT_START);
  return true;
}

// As packInside(), but by the steps of the plan: true in front of the first event that the next
// step does not fit.
template <bool kAreSmall>
[[gnu::always_inline]] inline bool follow(StreamPlan& plan, Stretch& stretch,
                                          PackedRecord::Cursor& cursor) {
  const StreamPlan::Step* step = plan.next();
  const uint64_t room = static_cast<uint64_t>(cursor.end - cursor.at) >> kEventRoomShift;
  const uint64_t most = std::min(stretch.left, room);
  const uint64_t planned = std::min(most, plan.left());
  uint64_t left = planned;
  for (;;) {
    left = followValues<kAreSmall>(step, left, stretch, cursor);
    if (left == 0 || !step->is_turn || !isWhole(stretch.event) || !fits(*step, stretch.event) ||
        step->size > stretch.most_data || !turn(*step, cursor)) {
      break;
    }
    stretch.event += stretch.event_size;
    ++step;
    --left;
  }
  plan.skip(planned - left);
  stretch.left -= planned - left;
  return planned - left < most;
}

// The next step becomes one that the event fits; false where that takes more than this.
[[gnu::noinline]] bool learn(StreamPlan& plan, const Stretch& stretch,
                             const PackedRecord::Cursor& cursor) {
  const Event event(stretch.event);
  const bool in_dict = cursor.innermost->is_dict;
  const KeyTable::Slot* const slot =
      event.key_id < stretch.num_slots ? &stretch.slots[event.key_id] : nullptr;
  const bool has_key = slot && slot->size > 0;
  switch (event.type()) {
    case PYTHON_DICT_END:
    case PYTHON_LIST_END:
      return cursor.innermost != cursor.first && in_dict == (event.type() == PYTHON_DICT_END) &&
             plan.learnTurn(event, "", 0);
    case PYTHON_DICT_START:
    case PYTHON_LIST_START:
      if (cursor.next == cursor.limit) return false;
      if (has_key) return plan.learnTurn(event, slot->bytes, in_dict ? slot->size : 0);
      return event.key_id == vek::kNoKeyId && event.type() == PYTHON_DICT_START &&
             plan.learnTurn(event, &kText, in_dict ? 1 : 0);
    default:
      break;
  }
  const Rule* const rule = event.rule();
  return rule && rule->is_value && has_key && plan.learn(event, *rule, in_dict ? slot : nullptr);
}

// As packInside(), by the plan, which is made where it does not fit.
template <bool kAreSmall>
[[gnu::always_inline]] inline void packPlanned(Stretch& stretch, PackedRecord::Cursor& cursor,
                                               StreamPlan& plan) {
  for (;;) {
    if (!follow<kAreSmall>(plan, stretch, cursor)) {
      const bool has_room = static_cast<size_t>(cursor.end - cursor.at) >= kEventRoom;
      if (stretch.left > 0 && has_room) continue;
      return;
    }
    const Event event(stretch.event);
    const bool ends_record = event.type() == PYTHON_DICT_END && cursor.innermost == cursor.first;
    if (ends_record || !isWhole(stretch.event) || event.size() > stretch.most_data) return;
    if (!learn(plan, stretch, cursor)) return plan.miss();
  }
}

// Values to their places, up to the first event that does not fit.
template <bool kAtOnce>
[[gnu::always_inline]] inline void packPlaced(Stretch& stretch, char* record,
                                              StreamPlaces& places) {
  const uint64_t written =
      places.rewrite<kAtOnce>(stretch.event, stretch.event_size, stretch.left, record);
  stretch.event += written * stretch.event_size;
  stretch.left -= written;
}

struct Packing {
  void (*inside)(Stretch&, PackedRecord::Cursor&);
  void (*planned)(Stretch&, PackedRecord::Cursor&, StreamPlan&);
  void (*placed)(Stretch&, char*, StreamPlaces&);
};

template <bool kAreSmall>
[[gnu::noinline]] void packInsideBaseline(Stretch& stretch, PackedRecord::Cursor& cursor) {
  packInside<kAreSmall>(stretch, cursor);
}

template <bool kAreSmall>
[[gnu::noinline]] void packPlannedBaseline(Stretch& stretch, PackedRecord::Cursor& cursor,
                                           StreamPlan& plan) {
  packPlanned<kAreSmall>(stretch, cursor, plan);
}

[[gnu::noinline]] void packPlacedBaseline(Stretch& stretch, char* record, StreamPlaces& places) {
  packPlaced<false>(stretch, record, places);
}

template <bool kAreSmall>
constexpr Packing kBaseline = {packInsideBaseline<kAreSmall>, packPlannedBaseline<kAreSmall>,
                               packPlacedBaseline};

#if defined(__x86_64__)
// The same code for processors that count leading zeros and shift in one cheap instruction, and
// copy 32 bytes at once: all with AVX2 and BMI2.
template <bool kAreSmall>
[[gnu::target("avx2,bmi,bmi2,lzcnt"), gnu::noinline]] void packInsideModern(
    Stretch& stretch, PackedRecord::Cursor& cursor) {
  packInside<kAreSmall>(stretch, cursor);
}

template <bool kAreSmall>
[[gnu::target("avx2,bmi,bmi2,lzcnt"), gnu::noinline]] void packPlannedModern(
    Stretch& stretch, PackedRecord::Cursor& cursor, StreamPlan& plan) {
  packPlanned<kAreSmall>(stretch, cursor, plan);
}

[[gnu::target("avx2,bmi,bmi2,lzcnt"), gnu::noinline]] void packPlacedModern(Stretch& stretch,
                                                                            char* record,
                                                                            StreamPlaces& places) {
  packPlaced<true>(stretch, record, places);
}

template <bool kAreSmall>
constexpr Packing kModern = {packInsideModern<kAreSmall>, packPlannedModern<kAreSmall>,
                             packPlacedModern};
const bool g_is_modern = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
#else
template <bool kAreSmall>
constexpr Packing kModern = kBaseline<kAreSmall>;
constexpr bool g_is_modern = false;
#endif

const Packing& packingOf(bool are_small, bool is_modern) {
  if (is_modern) return are_small ? kModern<true> : kModern<false>;
  return are_small ? kBaseline<true> : kBaseline<false>;
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
  bool pack(const Packing& packs);
  bool isEnd() const;
  bool endPlaced();
  bool event(const Event& event);
  bool changesPlace();
  bool longPair(const Event& event, const KeyTable::Slot& slot);
  bool isKnown(const Event& event, const KeyTable::Slot& slot) const;
  void next() {
    stretch_.event += stretch_.event_size;
    --stretch_.left;
  }
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
  const auto type = static_cast<python_event_type_t>(event.type());
  // What each dictionary has once; the rest of the way is the same.
  if (type == PYTHON_NEW_COLLECTION) return packer_.OnNewCollection(event.data, event.size());
  if (type == PYTHON_DICT_END && packer_.started_) {
    return packer_.OnEndDict(event.data, event.size());
  }
  if (event.key_id < stretch_.num_slots) {
    const KeyTable::Slot& slot = stretch_.slots[event.key_id];
    if (type == PYTHON_ID ? isKnown(event, slot) : longPair(event, slot)) return true;
  }
  const bool handled =
      dict_reader_utils::dispatchStreamEvent(packer_, event.word(), event.data, event.size());
  readKeys();
  return handled;
}

// The next event, where it does not fit its place: a name that is known, or a value of the same key
// that takes another size.
bool StreamRun::changesPlace() {
  const Event event(stretch_.event);
  if (!isWhole(stretch_.event) || event.size() > stretch_.most_data) return false;
  if (event.type() == PYTHON_ID) {
    return event.key_id < stretch_.num_slots && isKnown(event, stretch_.slots[event.key_id]);
  }
  StreamPlaces& places = packer_.places_;
  const Rule* const rule = event.rule();
  if (places.isAtEnd() || !rule || !rule->is_value) return false;
  const StreamPlan::Step& step = packer_.plan_.steps()[places.taken()];
  if (step.is_turn || step.key_id() != event.key_id) return false;
  const size_t key_size = step.has_key() ? stretch_.slots[event.key_id].size : 0;
  return places.change(packer_.plan_, event, *rule, key_size, packer_.record_.memory());
}

// The next event, where it ends the root of a record that has gone by its places: sends it, and
// takes the begin of the next one too where that is the same. False where the record was refused.
bool StreamRun::endPlaced() {
  next();
  if (!packer_.sendPlaced()) return false;
  if (stretch_.left < 2) return true;
  const Event collection(stretch_.event);
  const uint8_t* const root_event = stretch_.event + stretch_.event_size;
  const Event root(root_event);
  if (collection.type() != PYTHON_NEW_COLLECTION || !isWhole(stretch_.event) ||
      root.type() != PYTHON_DICT_START || !isWhole(root_event) || root.key_id != vek::kNoKeyId ||
      std::max(collection.size(), root.size()) > stretch_.most_data) {
    return true;
  }
  next();
  if (!packer_.OnNewCollection(collection.data, collection.size())) return false;
  next();
  packer_.beginPlaced();
  return true;
}

// Whether the next event ends the record.
bool StreamRun::isEnd() const {
  const Event event(stretch_.event);
  return event.type() == PYTHON_DICT_END && cursor_.first->is_dict && isWhole(stretch_.event) &&
         event.size() <= stretch_.most_data;
}

// What of the open record lies ahead, up to the first event that is something else. False where a
// record was refused.
bool StreamRun::pack(const Packing& packs) {
  StreamPlaces& places = packer_.places_;
  while (places.isFollowed() && places.fitsIn(stretch_.most_data)) {
    packs.placed(stretch_, cursor_.begin, places);
    if (stretch_.left == 0) return true;
    if (places.isAtEnd() && isEnd()) {
      if (!endPlaced()) return false;
      if (!cursor_.innermost) return true;
    } else if (changesPlace()) {
      next();
    } else {
      break;
    }
  }
  packer_.settle();
  packer_.plan_.isFollowed() ? packs.planned(stretch_, cursor_, packer_.plan_)
                             : packs.inside(stretch_, cursor_);
  // Without memory the handler will say so.
  if (static_cast<size_t>(cursor_.end - cursor_.at) < kEventRoom) {
    packer_.record_.reserve(kEventRoom);
  }
  return true;
}

StreamRun::Taken StreamRun::take(vek::Bytes events, uint64_t event_size, bool is_modern) {
  const uint64_t most_data = event_size - kHeaderSize;
  const Packing& packs = packingOf(most_data < kWindow, is_modern);
  // Those with a window that is readable.
  const uint64_t count = (events.size() - kHeaderSize - kWindow) / event_size + 1;
  stretch_.event = events.data();
  stretch_.left = count;
  stretch_.event_size = event_size;
  stretch_.most_data = static_cast<uint32_t>(std::min<uint64_t>(most_data, UINT32_MAX));
  readKeys();
  for (;;) {
    if (cursor_.innermost && !pack(packs)) return {count - stretch_.left, false};
    if (stretch_.left == 0 || !isWhole(stretch_.event)) break;
    const Event at(stretch_.event);
    if (at.size() > stretch_.most_data) break;
    next();
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
