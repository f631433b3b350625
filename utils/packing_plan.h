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

namespace vek {

enum class StepValue : uint8_t {
  kNone,             // constant bytes only
  kNumber,           // of the step's NumberRead
  kShortNumber,      // the same, where the eight bytes at the offset are not all readable
  kBool,             // one byte
  kHex,              // an unsigned 64-bit number as the text "0x%lx"
  kText,             // up to the limit or the first NUL
  kTextUnlessEmpty,  // with its key left out where empty texts are
  kSeconds,          // the record's time in seconds, as float64
  kTime,             // the record's time in microseconds
  kSource,           // with its key left out when there is no source
  kSourceOrEmpty,    // an empty text when there is no source
  kMapHeader,        // the step's offset, less the texts that are left out
  kNote              // nothing but a call of PlanInput::note, with the offset
};

// How a number of any width is read from eight bytes: shifted up so that its sign is the highest
// bit, then down.
struct NumberRead {
  uint8_t up = 0;
  uint8_t down = 0;
  int8_t sign_mask = 0;  // -1: signed
  uint8_t forms = 0;     // the first of its kind in kNumberForms

  static constexpr NumberRead integer(uint8_t width, bool is_signed) {
    const auto unused = static_cast<uint8_t>(64 - 8 * width);
    return {unused, unused, static_cast<int8_t>(is_signed ? -1 : 0), 0};
  }
  static NumberRead float32();
  static NumberRead float64();
};

struct PlanStep {
  uint64_t offset = 0;        // of the value, from the start of the input
  uint16_t literal_size = 0;  // constant bytes before the value
  StepValue value = StepValue::kNone;
  bool has_window = false;  // a text of whose place kTextWindow bytes are readable
  union {
    NumberRead number = {};
    uint32_t text_limit;  // longest text that the field holds
  };
};
static_assert(sizeof(PlanStep) == 16);

// Bytes that a text is looked at in one go, where they are all readable.
inline constexpr size_t kTextWindow = 32;

// A run of steps and their constant bytes, back to back in the order of the steps.
struct PlanSection {
  std::vector<PlanStep> steps;
  std::string literals;               // kLiteralPadding bytes longer than the literals
  std::vector<PlanStep> texts;        // the steps that have a text, again
  size_t room = kRoomBehind;          // most bytes that all but texts and sources take
  size_t text_room = 0;               // most bytes that the texts take
  size_t sources = 0;                 // steps that write the source
  bool has_only_wide_numbers = true;  // no number needs its shifts

  static constexpr size_t kLiteralPadding = 32;
  // What encoders scribble on behind the last value.
  static constexpr size_t kRoomBehind = 16 + kLiteralPadding;
  static_assert(kRoomBehind >= 1 + kTextWindow);
};

// A time in microseconds as records carry it.
inline double seconds_of(uint64_t us) noexcept {
  constexpr uint64_t kUsPerSecond = 1'000'000;
  const uint64_t whole = us / kUsPerSecond;
  return static_cast<double>(whole) +
         static_cast<double>(us % kUsPerSecond) / static_cast<double>(kUsPerSecond);
}

// What one record brings along.
struct PlanInput {
  const char* bytes = nullptr;
  uint64_t time_us = 0;
  std::string_view source = {};
  bool has_source = false;
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
      : section_(section), input_size_(input_size) {}

  void text(std::string_view text);
  void map_header(uint64_t pairs);
  void array_header(uint32_t elements);

  void number(uint64_t offset, uint8_t width, NumberRead read);
  void text_value(StepValue kind, uint64_t offset, uint32_t limit);
  // kBool and kHex.
  void value(StepValue kind, uint64_t offset);
  // kSeconds, kTime, kSource and kSourceOrEmpty.
  void record_value(StepValue kind);
  // Of `pairs`, less PlanInput::left_out.
  void varying_map_header(uint64_t pairs);
  void note(uint64_t index);

  // What follows is a step of its own, so that it can be left out alone.
  void flush();
  void finish();

 private:
  void raw(std::string_view bytes);
  PlanStep& step(StepValue kind, uint64_t offset, size_t room);

  PlanSection& section_;
  uint64_t input_size_;
  size_t pending_ = 0;  // constant bytes without a step so far
};

// Bytes that pack_section() may write to.
size_t section_room(const PlanSection& section, const PlanInput& input) noexcept;
// Texts that kTextUnlessEmpty leaves out.
size_t count_empty_texts(const PlanSection& section, const PlanInput& input) noexcept;
// Writes at `p`, where section_room() bytes are, and returns the position behind what it wrote.
char* pack_section(char* p, const PlanSection& section, const PlanInput& input) noexcept;
// The same with instructions that every processor of the kind has.
char* pack_section_baseline(char* p, const PlanSection& section, const PlanInput& input) noexcept;

}  // namespace vek

#endif  // VEK_UTILS_PACKING_PLAN_H
