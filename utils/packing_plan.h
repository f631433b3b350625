// Packing plans: what does not change from record to record, worked out once.
//
// A section is a list of steps. Each step is constant bytes, ready-made (keys, constants, whole
// pairs), followed by one value that is read at a fixed place. Packing is then one pass: copy,
// encode, copy, encode, into memory whose room was checked once. Whoever makes a plan knows the
// rules of a record's contents; what carries it out knows none.
//
// Finished sections are only read, by any number of threads at a time.
#ifndef VEK_UTILS_PACKING_PLAN_H
#define VEK_UTILS_PACKING_PLAN_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "utils/number_forms.h"

namespace vek {

enum class StepValue : uint8_t {
  kNumber,           // of the step's NumberRead
  kText,             // up to the limit or the first NUL
  kShortNumber,      // a number where the eight bytes at the offset are not all readable
  kHex,              // an unsigned 64-bit number as the text "0x%lx"
  kTextUnlessEmpty,  // with its key left out where empty texts are
  kSeconds,          // the record's time in seconds, as float64
  kTime,             // the record's time in microseconds
  kSource,           // with its key left out when there is no source
  kSourceOrEmpty,    // an empty text when there is no source
  kMapHeader,        // the step's offset, less the texts that are left out
  kNote,             // nothing but a call of PlanInput::note, with the offset
  kNone,             // constant bytes only
  kEnd               // no more steps
};

// How a number of any width is read from eight bytes: shifted up so that its highest bit is theirs.
// Flags are numbers, too.
struct NumberRead {
  uint8_t up = 0;
  NumberKind kind = NumberKind::kUint8;
  uint16_t forms = 0;  // of that kind, in kNumberForms

  static constexpr NumberRead integer(uint8_t width, bool is_signed) {
    const int size = width == 1 ? 0 : width == 2 ? 1 : width == 4 ? 2 : 3;
    return of(static_cast<NumberKind>(size + (is_signed ? 4 : 0)));
  }
  static constexpr NumberRead float32() { return of(NumberKind::kFloat32); }
  static constexpr NumberRead float64() { return of(NumberKind::kFloat64); }
  static constexpr NumberRead flag() { return of(NumberKind::kFlag); }

  constexpr uint8_t width() const { return width_of(kind); }
  constexpr bool is_signed() const { return msgpack_detail::is_signed(kind); }

 private:
  static constexpr NumberRead of(NumberKind kind) {
    return {static_cast<uint8_t>(64 - 8 * width_of(kind)), kind, msgpack_detail::forms_of(kind)};
  }
};

struct PlanStep {
  static constexpr size_t kLiteral = 32;

  // Constant bytes before the value; longer ones begin in steps of their own. Here, and of one
  // size, so that they are copied with one move, whatever of it counts.
  char literal[kLiteral] = {};
  uint64_t offset = 0;  // of the value, from the start of the input
  uint8_t literal_size = 0;
  StepValue value = StepValue::kNone;
  bool has_window : 1 = false;  // a text of whose place kTextWindow bytes are readable
  bool has_words : 1 = false;   // a shorter one, of whose place only the words that it is in are
  bool goes_on : 1 = false;     // the constant bytes began in the step before
  uint8_t texts : 3 = 0;  // steps in a row from here on that are short texts, up to kTextsAtOnce
  uint8_t numbers = 0;    // that are numbers, as far as it counts
  union {
    NumberRead number = {};
    uint32_t text_limit;  // longest text that the field holds
  };
};
static_assert(sizeof(PlanStep) == 48);
inline constexpr uint8_t kTextsAtOnce = 4;

// Constant bytes up to and with those of the step: what is left out with its value.
inline size_t key_size(const PlanStep& step) noexcept {
  size_t size = step.literal_size;
  for (const PlanStep* at = &step; at->goes_on; --at) size += at[-1].literal_size;
  return size;
}

// Bytes that a text is looked at in one go, where they are all readable; of texts at the end of the
// input its words.
inline constexpr size_t kTextWindow = 32;
inline constexpr size_t kTextWord = 4;

// A run of steps. The last one says so.
struct PlanSection {
  struct Text {
    uint64_t offset;
    uint32_t limit;
    bool may_go;  // is left out where empty texts are
  };

  std::vector<PlanStep> steps;
  std::vector<Text> texts;    // of the steps that have one
  size_t room = kRoomBehind;  // most bytes that all but texts and sources take
  size_t text_room = 0;       // most bytes that the texts take
  size_t sources = 0;         // steps that write the source
  uint64_t input_size = 0;    // bytes of every input that may be read

  // What encoders scribble on behind the last value.
  static constexpr size_t kRoomBehind = 16 + PlanStep::kLiteral;
  static_assert(kRoomBehind >= 1 + kTextWindow);
};

// A time in microseconds as records carry it.
inline double seconds_of(uint64_t us) noexcept {
  constexpr uint64_t kUsPerSecond = 1'000'000;
  const uint64_t whole = us / kUsPerSecond;
  // Neither needs the highest bit, without which the conversion is one instruction.
  return static_cast<double>(static_cast<int64_t>(whole)) +
         static_cast<double>(static_cast<int64_t>(us % kUsPerSecond)) /
             static_cast<double>(kUsPerSecond);
}

// What one record brings along.
struct PlanInput {
  const char* bytes = nullptr;
  uint64_t time_us = 0;
  std::string_view source = {};
  bool has_source = false;
  bool source_is_new = true;  // false: it is known to be that of the packer's last record
  bool leave_out_empty = false;
  uint64_t left_out = 0;  // texts that are empty and left out: see count_empty_texts()
  void (*note)(const void* context, uint64_t index) = nullptr;
  const void* context = nullptr;
};

// Appends steps to one section. Constant bytes gather until a value follows.
class PlanSectionWriter {
 public:
  // `input_size`: bytes of every input that may be read.
  PlanSectionWriter(PlanSection& section, uint64_t input_size)
      : section_(section), input_size_(input_size) {
    section.input_size = input_size;
  }

  void text(std::string_view text);
  void map_header(uint64_t pairs);
  void array_header(uint32_t elements);

  void number(uint64_t offset, NumberRead read);
  void text_value(StepValue kind, uint64_t offset, uint32_t limit);
  void hex(uint64_t offset);
  // kSeconds, kTime, kSource and kSourceOrEmpty.
  void record_value(StepValue kind);
  // Of `pairs`, less PlanInput::left_out.
  void varying_map_header(uint64_t pairs);
  void note(uint64_t index);

  // What follows is a step of its own, so that it can be left out alone.
  void flush();
  void finish();

 private:
  void raw(const char* begin, const char* end) { pending_.append(begin, end); }
  void piece(const char* literal, size_t size, bool goes_on);
  PlanStep& step(StepValue kind, uint64_t offset, size_t room);

  PlanSection& section_;
  uint64_t input_size_;
  std::string pending_;  // constant bytes without a step so far
};

// Most bytes that the texts of this input take.
size_t measured_text_room(const PlanSection& section, const PlanInput& input) noexcept;

// Whether the room depends on nothing but the size of the source: texts are given that of their
// longest unless that asks for much more than they tend to need.
inline bool has_fixed_room(const PlanSection& section) noexcept {
  constexpr size_t kMuchTextRoom = 65'536;
  return section.text_room <= kMuchTextRoom;
}

// Bytes that pack_section() may write to.
inline size_t section_room(const PlanSection& section, const PlanInput& input) noexcept {
  const size_t room = section.room + section.sources * input.source.size();
  return room + (has_fixed_room(section) ? section.text_room : measured_text_room(section, input));
}

// Texts that kTextUnlessEmpty leaves out.
size_t count_empty_texts(const PlanSection& section, const PlanInput& input) noexcept;
// Writes at `p`, where section_room() bytes are, and returns the position behind what it wrote.
char* pack_section(char* p, const PlanSection& section, const PlanInput& input) noexcept;
// The same with instructions that every processor of the kind has.
char* pack_section_baseline(char* p, const PlanSection& section, const PlanInput& input) noexcept;

}  // namespace vek

#endif  // VEK_UTILS_PACKING_PLAN_H
