// How a section comes to be, and how much room its records take.
#include "utils/packing_plan.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "utils/guid_text.h"
#include "utils/msgpack_encode.h"

namespace vek {
namespace {

// The room for texts is their longest unless that asks for much more than they tend to need.
constexpr size_t kMuchTextRoom = 65'536;

}  // namespace

NumberRead NumberRead::float32() {
  NumberRead read = integer(4, false);
  read.forms = msgpack_detail::kFloatForms;
  return read;
}

NumberRead NumberRead::float64() {
  NumberRead read = integer(8, false);
  read.forms = msgpack_detail::kDoubleForms;
  return read;
}

void PlanSectionWriter::raw(std::string_view bytes) {
  section_.literals += bytes;
  section_.room += bytes.size();
  pending_ += bytes.size();
}

void PlanSectionWriter::text(std::string_view text) {
  char header[kMsgpackMaxHeader];
  const char* end = put_str_header(header, static_cast<uint32_t>(text.size()));
  raw({header, static_cast<size_t>(end - header)});
  raw(text);
}

void PlanSectionWriter::map_header(uint64_t pairs) {
  char header[kMsgpackMaxHeader];
  const char* end = put_map_header(header, static_cast<uint32_t>(pairs));
  raw({header, static_cast<size_t>(end - header)});
}

void PlanSectionWriter::array_header(uint32_t elements) {
  char header[kMsgpackMaxHeader];
  const char* end = put_array_header(header, elements);
  raw({header, static_cast<size_t>(end - header)});
}

PlanStep& PlanSectionWriter::step(StepValue kind, uint64_t offset, size_t room) {
  constexpr size_t kMost = std::numeric_limits<uint16_t>::max();
  while (pending_ > kMost) {
    section_.steps.emplace_back().literal_size = kMost;
    pending_ -= kMost;
  }
  PlanStep& step = section_.steps.emplace_back();
  step.offset = offset;
  step.literal_size = static_cast<uint16_t>(pending_);
  step.value = kind;
  section_.room += room;
  pending_ = 0;
  return step;
}

void PlanSectionWriter::number(uint64_t offset, uint8_t width, NumberRead read) {
  StepValue kind = StepValue::kNumber;
  if (input_size_ < sizeof(uint64_t)) {
    kind = StepValue::kShortNumber;
  } else if (offset > input_size_ - sizeof(uint64_t)) {
    // The last eight bytes hold the number too, further up.
    const auto above = static_cast<uint8_t>(8 * (offset - (input_size_ - sizeof(uint64_t))));
    offset = input_size_ - sizeof(uint64_t);
    read.up = static_cast<uint8_t>(64 - 8 * width - above);
  }
  step(kind, offset, kMsgpackMaxNumber).number = read;
  if (width != sizeof(uint64_t)) section_.has_only_wide_numbers = false;
}

void PlanSectionWriter::text_value(StepValue kind, uint64_t offset, uint32_t limit) {
  PlanStep& added = step(kind, offset, kMsgpackMaxHeader);
  added.text_limit = limit;
  added.has_window = input_size_ >= kTextWindow && offset <= input_size_ - kTextWindow;
  section_.text_room += limit;
  section_.texts.push_back(added);
}

void PlanSectionWriter::value(StepValue kind, uint64_t offset) {
  step(kind, offset, kMsgpackMaxHeader + kMaxGuidText);
}

void PlanSectionWriter::record_value(StepValue kind) {
  step(kind, 0, kMsgpackMaxNumber);
  if (kind == StepValue::kSource || kind == StepValue::kSourceOrEmpty) ++section_.sources;
}

void PlanSectionWriter::varying_map_header(uint64_t pairs) {
  step(StepValue::kMapHeader, pairs, kMsgpackMaxHeader);
}

void PlanSectionWriter::note(uint64_t index) { step(StepValue::kNote, index, 0); }

void PlanSectionWriter::flush() {
  if (pending_ > 0) step(StepValue::kNone, 0, 0);
}

void PlanSectionWriter::finish() {
  flush();
  section_.literals.resize(section_.literals.size() + PlanSection::kLiteralPadding);
}

size_t section_room(const PlanSection& section, const PlanInput& input) noexcept {
  const size_t room = section.room + section.sources * input.source.size();
  if (section.text_room <= kMuchTextRoom) return room + section.text_room;
  size_t texts = 0;
  for (const PlanStep& step : section.texts) {
    texts += strnlen(input.bytes + step.offset, step.text_limit);
  }
  return room + texts;
}

size_t count_empty_texts(const PlanSection& section, const PlanInput& input) noexcept {
  return static_cast<size_t>(
      std::count_if(section.texts.begin(), section.texts.end(), [&](const PlanStep& step) {
        return step.value == StepValue::kTextUnlessEmpty &&
               (step.text_limit == 0 || input.bytes[step.offset] == '\0');
      }));
}

}  // namespace vek
