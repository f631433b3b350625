#include <algorithm>
#include <cstring>

#include "counters/counter_data.h"
#include "utils/strings.h"

namespace {

template <typename T>
T read_as(const void* value) noexcept {
  T result;
  std::memcpy(&result, value, sizeof(result));
  return result;
}

// The width bounds the text as well; a text without a terminator ends at the counter's length.
int text_precision(const vek_counter_info_t* counter, int width) noexcept {
  const uint32_t most = width > 0 ? static_cast<uint32_t>(width) : 0;
  return static_cast<int>(counter->length ? std::min(counter->length, most) : most);
}

}  // namespace

void vek_print_counter_value(FILE* stream, const vek_counter_info_t* counter, int width,
                             const void* value) {
  if (!stream || !counter || !value) return;
  switch (counter->data_type) {
    case VEK_DATA_TYPE_UINT64:
      std::fprintf(stream, " %*llu(u) |", width, read_as<unsigned long long>(value));
      break;
    case VEK_DATA_TYPE_FP64:
      std::fprintf(stream, " %*.3f |", width - 4, read_as<double>(value));
      break;
    case VEK_DATA_TYPE_BIT64:
      std::fprintf(stream, " %*llX |", width, read_as<unsigned long long>(value));
      break;
    case VEK_DATA_TYPE_STRING:
      std::fprintf(stream, " %*.*s |", width, text_precision(counter, width),
                   static_cast<const char*>(value));
      break;
    default:
      print_si_prefixed_value(stream, width, read_as<long long>(value));
      break;
  }
}

void vek_counters_data_print_struct_layout(FILE* stream) {
  if (!stream) return;
  constexpr char kRow[] = " %-20s  %-8zu  %zu\n";
  std::fprintf(stream, " %-20s  %-8s  %s\n", "field", "offset", "size");
  std::fprintf(stream, kRow, "header.magic", offsetof(vek_counters_block_t, magic),
               sizeof(vek_counters_block_t::magic));
  std::fprintf(stream, kRow, "padding", offsetof(vek_counters_block_t, padding),
               sizeof(vek_counters_block_t::padding));
  std::fprintf(stream, kRow, "timestamp", offsetof(vek_counters_block_t, timestamp),
               sizeof(vek_counters_block_t::timestamp));
  std::fprintf(stream, " %-20s  %-8zu  %s\n", "values[]", sizeof(vek_counters_block_t),
               "(size_of_counters)");
}

void vek_counters_data_print_info(FILE* stream, const vek_counters_block_t* block) {
  if (!stream || !block) return;
  char magic[sizeof(block->magic) + 1] = {};
  std::memcpy(magic, block->magic, sizeof(block->magic));
  std::fprintf(stream, "Data block\n");
  std::fprintf(stream, " %-20s = %4s\n", "magic number", magic);
  std::fprintf(stream, " %-20s = %lu\n", "last timestamp",
               static_cast<unsigned long>(block->timestamp));
}
