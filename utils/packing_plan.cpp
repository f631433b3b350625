// How a section comes to be, and how much room its records take.
#include "utils/packing_plan.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "utils/guid_text.h"
#include "utils/msgpack_encode.h"

namespace vek {
namespace {

// In a window, and with a key that is all in its step.
bool is_short_text(const PlanStep& step) {
  const bool is_text = step.value == StepValue::kText || step.value == StepValue::kTextUnlessEmpty;
  return is_text && step.has_window && !step.goes_on;
}

}  // namespace

void PlanSectionWriter::text(std::string_view text) {
  char header[kMsgpackMaxHeader];
  raw(header, put_str_header(header, static_cast<uint32_t>(text.size())));
  pending_ += text;
}

void PlanSectionWriter::map_header(uint64_t pairs) {
  char header[kMsgpackMaxHeader];
  raw(header, put_map_header(header, static_cast<uint32_t>(pairs)));
}

void PlanSectionWriter::array_header(uint32_t elements) {
  char header[kMsgpackMaxHeader];
  raw(header, put_array_header(header, elements));
}

void PlanSectionWriter::piece(const char* literal, size_t size, bool goes_on) {
  PlanStep& step = section_.steps.emplace_back();
  std::memcpy(step.literal, literal, size);
  step.literal_size = static_cast<uint8_t>(size);
  step.goes_on = goes_on;
}

PlanStep& PlanSectionWriter::step(StepValue kind, uint64_t offset, size_t room) {
  // The last piece is a whole one: what stands before a value is not short but where all of it is.
  const size_t first = pending_.size() % PlanStep::kLiteral;
  size_t at = 0;
  for (size_t end = first; end < pending_.size(); end += PlanStep::kLiteral) {
    if (end > at) piece(&pending_[at], end - at, at > 0);
    at = end;
  }
  piece(pending_.data() + at, pending_.size() - at, at > 0);
  section_.room += pending_.size() + room;
  pending_.clear();
  PlanStep& last = section_.steps.back();
  last.offset = offset;
  last.value = kind;
  return last;
}

void PlanSectionWriter::number(uint64_t offset, NumberRead read) {
  StepValue kind = StepValue::kNumber;
  if (input_size_ < sizeof(uint64_t)) {
    kind = StepValue::kShortNumber;
  } else if (offset > input_size_ - sizeof(uint64_t)) {
    // The last eight bytes hold the number too, further up.
    const auto above = static_cast<uint8_t>(8 * (offset - (input_size_ - sizeof(uint64_t))));
    offset = input_size_ - sizeof(uint64_t);
    read.up = static_cast<uint8_t>(read.up - above);
  }
  step(kind, offset, kMsgpackMaxNumber).number = read;
}

void PlanSectionWriter::text_value(StepValue kind, uint64_t offset, uint32_t limit) {
  PlanStep& added = step(kind, offset, kMsgpackMaxHeader);
  added.text_limit = limit;
  const uint64_t readable = input_size_ - std::min(offset, input_size_);
  const uint64_t words = (uint64_t{limit} + kTextWord - 1) / kTextWord;
  added.has_window = readable >= kTextWindow;
  added.has_words = !added.has_window && words * kTextWord <= readable;
  section_.text_room += limit;
  section_.texts.push_back({offset, limit, kind == StepValue::kTextUnlessEmpty});
}

void PlanSectionWriter::hex(uint64_t offset) {
  step(StepValue::kHex, offset, kMsgpackMaxHeader + kMaxGuidText);
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
  if (!pending_.empty()) step(StepValue::kNone, 0, 0);
}

void PlanSectionWriter::finish() {
  flush();
  step(StepValue::kEnd, 0, 0);
  constexpr unsigned kMostCounted = std::numeric_limits<uint8_t>::max();
  unsigned numbers = 0;
  unsigned texts = 0;
  for (auto at = section_.steps.rbegin(); at != section_.steps.rend(); ++at) {
    numbers = at->value == StepValue::kNumber ? std::min(numbers + 1, kMostCounted) : 0;
    texts = is_short_text(*at) ? std::min<unsigned>(texts + 1, kTextsAtOnce) : 0;
    at->numbers = static_cast<uint8_t>(numbers);
    at->texts = static_cast<uint8_t>(texts & 7);
  }
}

size_t measured_text_room(const PlanSection& section, const PlanInput& input) noexcept {
  size_t texts = 0;
  for (const PlanSection::Text& text : section.texts) {
    texts += strnlen(input.bytes + text.offset, text.limit);
  }
  return texts;
}

size_t count_empty_texts(const PlanSection& section, const PlanInput& input) noexcept {
  size_t empty = 0;
  for (const PlanSection::Text& text : section.texts) {
    if (!text.may_go) continue;
    // Of a field that has bytes, without a branch on what it holds.
    empty += text.limit == 0 ? 1 : static_cast<size_t>(input.bytes[text.offset] == '\0');
  }
  return empty;
}

}  // namespace vek
