#include "counters/counter_data.h"

#include <cstdlib>
#include <cstring>

#include "data/data_page.h"
#include "utils/clock.h"
#include "utils/logger.h"
#include "utils/owned.h"
#include "utils/pair_table.h"

namespace {

constexpr char kCountersMagicLetter = 'D';

constexpr vek_pair_t kDataTypes[] = {
    {VEK_DATA_TYPE_UNDEFINED, "Undefined"},
    {VEK_DATA_TYPE_UINT64, "UINT64"},
    {VEK_DATA_TYPE_FP64, "FP64"},
    {VEK_DATA_TYPE_BIT64, "BIT64"},
    {VEK_DATA_TYPE_INT64, "INT64"},
    {VEK_DATA_TYPE_STRING, "STRING"},
    {VEK_NOT_FOUND, nullptr},
};

constexpr vek_pair_t kGranularities[] = {
    {VEK_GRANULARITY_NODE, "NODE"},
    {VEK_GRANULARITY_CPU, "CPU"},
    {VEK_GRANULARITY_PACKAGE, "PACKAGE"},
    {VEK_NOT_FOUND, nullptr},
};

constexpr vek_pair_t kCountingTypes[] = {
    {VEK_COUNTING_ABSOLUTE, "ABSOLUTE"},
    {VEK_COUNTING_RUNNING_SUM, "RUNNING_SUM"},
    {VEK_NOT_FOUND, nullptr},
};

// A null text has nothing to copy and stays null.
bool copy_text(char** dst, const char* src) noexcept {
  *dst = src ? strdup(src) : nullptr;
  return *dst || !src;
}

void free_text(char** text, int line) noexcept {
  if (!*text) {
    VEK_LOGW("on %s, %s %d attempted to free NULL ptr", "counter_data", "vek_destroy_counter_info",
             line);
    return;
  }
  std::free(*text);
  *text = nullptr;
}

}  // namespace

const char* vek_data_type_string(uint32_t value) { return pair_get_string(kDataTypes, value); }

uint32_t vek_data_type_from_string(const char* name) { return pair_get_number(kDataTypes, name); }

const char* vek_granularity_string(uint32_t value) {
  return pair_get_string(kGranularities, value);
}

uint32_t vek_granularity_from_string(const char* name) {
  return pair_get_number(kGranularities, name);
}

const char* vek_counting_type_string(uint32_t value) {
  return pair_get_string(kCountingTypes, value);
}

uint32_t vek_counting_type_from_string(const char* name) {
  return pair_get_number(kCountingTypes, name);
}

void vek_destroy_counter_info(vek_counter_info_t* counter) {
  if (!counter) return;
  free_text(&counter->name, __LINE__);
  free_text(&counter->description, __LINE__);
  free_text(&counter->units, __LINE__);
}

vek_counter_info_t* vek_counter_info_deep_copy(const vek_counter_info_t* counter) {
  if (!counter) return nullptr;
  auto* copy = static_cast<vek_counter_info_t*>(std::malloc(sizeof(vek_counter_info_t)));
  if (!copy) return nullptr;
  *copy = *counter;
  copy->name = copy->description = copy->units = nullptr;
  if (copy_text(&copy->name, counter->name) &&
      copy_text(&copy->description, counter->description) &&
      copy_text(&copy->units, counter->units)) {
    return copy;
  }
  std::free(copy->name);
  std::free(copy->description);
  std::free(copy->units);
  std::free(copy);
  return nullptr;
}

void vek_counters_data_reset(vek_counters_block_t* block) {
  if (!block) return;
  vek_magic_value_fill(block->magic, kCountersMagicLetter);
  std::memset(block->padding, 0, sizeof(block->padding));
  block->timestamp = vek::realtime_us();
}
