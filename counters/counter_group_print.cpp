#include <algorithm>
#include <cstring>

#include "counters/counter_group.h"

namespace {

constexpr int kValueWidth = 20;
constexpr int kColumnWidth = kValueWidth + 3;  // " value |"
constexpr size_t kSlotSize = 8;

const char* or_empty(const char* text) noexcept { return text ? text : ""; }

const char* granularity_of(const vek_counter_group_t* group) noexcept {
  const char* name = vek_granularity_string(group->granularity);
  return name ? name : "unknown";
}

void print_rule(FILE* stream, int length) noexcept {
  for (int i = 0; i < length; ++i) std::fputc('-', stream);
  std::fputc('\n', stream);
}

// A table too wide for an int is cut rather than overflown.
int rule_length(const vek_counter_group_t* group, int granularity_width) noexcept {
  constexpr uint32_t kMostCounters = 10'000'000;
  const int columns = static_cast<int>(std::min(group->num_counters, kMostCounters));
  const int length = kColumnWidth * columns + 1;
  return group->num_counter_sets ? length + granularity_width + 3 : length;
}

// A STRING is printed from its slot on, but never past the last slot.
void print_slot(FILE* stream, const vek_counter_info_t* counter, const char* slot,
                size_t remaining) noexcept {
  char text[kValueWidth + 1] = {};
  if (counter->data_type == VEK_DATA_TYPE_STRING) {
    const size_t length = counter->length ? counter->length : kSlotSize;
    const size_t most = std::min({length, remaining, size_t{kValueWidth}});
    std::memcpy(text, slot, strnlen(slot, most));
    slot = text;
  }
  vek_print_counter_value(stream, counter, kValueWidth, slot);
}

void print_set(FILE* stream, const vek_counter_group_t* group, uint32_t set, const char* values,
               int granularity_width) noexcept {
  std::fprintf(stream, "| %*d |", granularity_width, static_cast<int>(set));
  const size_t count = group->num_counters;
  const size_t end = count * group->num_counter_sets * kSlotSize;
  for (size_t i = 0; group->counters && i < count; ++i) {
    const size_t at = (set * count + i) * kSlotSize;
    print_slot(stream, group->counters[i], values + at, end - at);
  }
  std::fputc('\n', stream);
}

}  // namespace

void vek_print_counter_group(const vek_counter_group_t* group, FILE* stream) {
  if (!group || !stream) return;
  constexpr char kRule[] = "------------------------------------------\n";
  std::fputs(kRule, stream);
  std::fprintf(stream, "| Granularity per %s (%d counter sets) \n", granularity_of(group),
               static_cast<int>(group->num_counter_sets));
  std::fputs(kRule, stream);
  std::fprintf(stream, "| %2s | %-20s | %-40s\n", "#", "Active counter", "Description");
  std::fputs(kRule, stream);
  for (uint32_t i = 0; group->counters && i < group->num_counters; ++i) {
    const vek_counter_info_t* counter = group->counters[i];
    std::fprintf(stream, "| %2d | %-20s | %-40.40s\n", static_cast<int>(i), or_empty(counter->name),
                 or_empty(counter->description));
  }
  std::fputs(kRule, stream);
  std::fflush(stream);
}

void vek_print_counter_group_values(const vek_counter_group_t* group, const void* values,
                                    FILE* stream) {
  if (!group || !values || !stream) return;
  const char* granularity = granularity_of(group);
  const int granularity_width = static_cast<int>(std::strlen(granularity));
  const int length = rule_length(group, granularity_width);

  print_rule(stream, length);
  std::fprintf(stream, "| Counter values per %-*.*s |\n", length - 23, length - 23, granularity);
  print_rule(stream, length);
  if (group->num_counter_sets) {
    std::fprintf(stream, "| %*s |", granularity_width, granularity);
  } else {
    std::fputs("|", stream);
  }
  for (uint32_t i = 0; group->counters && i < group->num_counters; ++i) {
    std::fprintf(stream, " %*s |", kValueWidth, or_empty(group->counters[i]->name));
  }
  std::fputc('\n', stream);
  print_rule(stream, length);
  for (uint32_t set = 0; set < group->num_counter_sets; ++set) {
    print_set(stream, group, set, static_cast<const char*>(values), granularity_width);
  }
  print_rule(stream, length);
}
