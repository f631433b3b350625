#include <cstdio>

#include "counters/counter_set.h"

void print_counter_set(const vek_counter_set_t* set) {
  if (!set) return;
  std::printf("[PRINT COUNTER SET]\n");
  std::printf("name: %s\n", set->name ? set->name : "");
  std::printf("filtered_size = %zu\n", static_cast<size_t>(set->num_exported));
  for (uint64_t i = 0; i < set->num_counters; ++i) {
    const vek_counter_set_element_t& counter = set->counters[i];
    const char* type = vek_data_type_string(counter.data_type);
    std::printf("    elem: %zu\n", static_cast<size_t>(i));
    std::printf("        name: %s\n", counter.name);
    // Entries keep no text but their name, so it serves as caption too.
    std::printf("        caption: %s\n", counter.name);
    std::printf("        skip: %d\n", set->skip[i]);
    std::printf("        name_len: %zu\n", static_cast<size_t>(counter.name_len));
    std::printf("        offset: %zu\n", static_cast<size_t>(counter.offset));
    std::printf("        field_type: %u (%s)\n", counter.data_type, type ? type : "unknown");
  }
  std::fflush(stdout);
}
