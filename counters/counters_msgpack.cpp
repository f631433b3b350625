#include "counters/counters_msgpack.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "counters/builtin_keys.h"
#include "counters/counter_value.h"
#include "data/data_page.h"
#include "utils/msgpack_buffer.h"

namespace {

constexpr std::string_view kTimestampKey = "timestamp";
constexpr std::string_view kTypeKey = "type";
constexpr std::string_view kSourceKey = "source";
constexpr std::string_view kValuesKey = "values";
constexpr std::string_view kTypeText = "counters";
constexpr uint64_t kUsPerSecond = 1'000'000;
constexpr size_t kFirstCapacity = 8192;

// What one record is made of, besides the buffer it goes to.
struct Sample {
  const vek_counter_set_t& set;
  const char* block;
  std::string_view source;
  uint64_t timestamp_us;
};

// What one look through the shown counters tells before the first byte is written.
struct Survey {
  size_t bytes = 0;  // most that the counters take, long texts aside
  bool has_timestamp = false;
  bool has_source = false;
  bool has_type = false;
};

// Texts longer than this grow the buffer when they turn out to be there.
constexpr size_t kExpectedText = 256;

Survey survey_counters(const vek_counter_set_t& set) noexcept {
  Survey result;
  for (uint64_t i = 0; i < set.num_counters; ++i) {
    if (set.skip[i]) continue;
    const vek_counter_set_element_t& counter = set.counters[i];
    const size_t value = counter.data_type == VEK_DATA_TYPE_STRING
                             ? std::min<size_t>(counter.length, kExpectedText)
                             : vek::kMsgpackMaxNumber;
    result.bytes += 2 * vek::kMsgpackMaxHeader + counter.name_len + value;
    switch (vek::builtin_key({counter.name, counter.name_len})) {
      case VEK_META_TIMESTAMP:
        result.has_timestamp = true;
        break;
      case VEK_META_SOURCE:
        result.has_source = true;
        break;
      case VEK_META_TYPE:
        result.has_type = true;
        break;
      default:
        break;
    }
  }
  return result;
}

double seconds_of(uint64_t us) noexcept {
  const uint64_t whole = us / kUsPerSecond;
  const uint64_t rest = us % kUsPerSecond;
  return static_cast<double>(whole) + static_cast<double>(rest) / static_cast<double>(kUsPerSecond);
}

// [seconds, {built-in entries...
void write_event_head(vek::MsgpackWriter& out, const Sample& sample, const Survey& survey) {
  out.array_header(2);
  out.real(seconds_of(sample.timestamp_us));

  // The source entry is counted even when an empty source leaves it unwritten. The count is part of
  // the format: whoever reads these records reckons with it.
  const uint64_t builtin =
      uint64_t{!survey.has_timestamp} + uint64_t{!survey.has_type} + uint64_t{!survey.has_source};
  const uint64_t pairs = sample.set.num_exported + sample.set.num_shown_meta + builtin;
  out.map_header(static_cast<uint32_t>(pairs));

  if (!survey.has_timestamp) out.pair(kTimestampKey, sample.timestamp_us);
  if (!survey.has_type) out.pair(kTypeKey, kTypeText);
  if (!survey.has_source && !sample.source.empty()) out.pair(kSourceKey, sample.source);
}

// {built-in entries..., "values": {
// The meta fields that follow are counted in the outer map but written behind this header, so the
// inner map takes its pairs from them first. Readers of this layout know that order; it is kept.
void write_custom_head(vek::MsgpackWriter& out, const Sample& sample) {
  const uint64_t builtin = sample.source.empty() ? 3 : 4;
  out.map_header(static_cast<uint32_t>(builtin + sample.set.num_shown_meta));
  out.pair(kTimestampKey, sample.timestamp_us);
  out.pair(kTypeKey, kTypeText);
  if (!sample.source.empty()) out.pair(kSourceKey, sample.source);
  if (!out.key(kValuesKey, vek::kMsgpackMaxHeader)) return;
  out.map_header(static_cast<uint32_t>(sample.set.num_exported));
}

void write_builtin_alias(vek::MsgpackWriter& out, const Sample& sample, std::string_view key,
                         uint32_t builtin) {
  switch (builtin) {
    case VEK_META_SOURCE:
      out.pair(key, sample.source);
      break;
    case VEK_META_TYPE:
      out.pair(key, kTypeText);
      break;
    default:
      out.pair(key, sample.timestamp_us);
      break;
  }
}

void write_meta_fields(vek::MsgpackWriter& out, const Sample& sample) {
  for (uint64_t i = 0; i < sample.set.num_meta; ++i) {
    const vek_counter_set_meta_element_t& meta = sample.set.meta[i];
    if (meta.skip) continue;
    const std::string_view key(meta.name, meta.name_len);
    switch (meta.kind) {
      case VEK_META_COUNTER_ALIAS:
        vek::write_counter(out, meta.element, sample.block);
        break;
      case VEK_META_BUILTIN_ALIAS:
        write_builtin_alias(out, sample, key, meta.builtin);
        break;
      case VEK_META_CONSTANT:
        out.pair(key, std::string_view(meta.constant, meta.constant_len));
        break;
      default:
        break;
    }
  }
}

void write_counters(vek::MsgpackWriter& out, const Sample& sample) {
  const vek_counter_set_t& set = sample.set;
  vek::MsgpackWriter writer = out;
  for (uint64_t i = 0; i < set.num_counters; ++i) {
    if (!set.skip[i]) vek::write_counter(writer, set.counters[i], sample.block);
  }
  out = writer;
}

// UINT64_MAX when the end overflows.
uint64_t end_of(const vek_counter_set_element_t& counter) noexcept {
  const uint64_t size = counter.data_type == VEK_DATA_TYPE_STRING ? counter.length : 8;
  constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
  return counter.offset > kMax - size ? kMax : counter.offset + size;
}

}  // namespace

void vek_counter_block_to_msgpack_filtered(msgpack_sbuffer* out, const void* block,
                                           const vek_counter_set_t* set, const char* source,
                                           const char* layout) {
  if (!out) return;
  msgpack_sbuffer_init(out);
  if (!block || !set || set->num_exported == 0) return;

  const char* bytes = static_cast<const char*>(block);
  const Sample sample{
      *set, bytes, source ? source : "",
      vek::load_unaligned<uint64_t>(bytes + offsetof(vek_counters_block_t, timestamp))};
  const Survey survey = survey_counters(*set);

  vek::MsgpackBuffer buffer;
  vek::MsgpackWriter writer(buffer, std::max(kFirstCapacity, survey.bytes + kFirstCapacity / 8));
  if (layout && std::string_view(layout) == "flb_std") {
    write_event_head(writer, sample, survey);
  } else {
    write_custom_head(writer, sample);
  }
  write_meta_fields(writer, sample);
  write_counters(writer, sample);
  buffer.hand_over(writer.size(), *out);
}

uint64_t vek_counter_set_block_extent(const vek_counter_set_t* set) {
  uint64_t extent = sizeof(vek_counters_block_t);
  if (!set) return extent;
  for (uint64_t i = 0; i < set->num_counters; ++i) {
    if (!set->skip[i]) extent = std::max(extent, end_of(set->counters[i]));
  }
  for (uint64_t i = 0; i < set->num_meta; ++i) {
    const vek_counter_set_meta_element_t& meta = set->meta[i];
    if (!meta.skip && meta.kind == VEK_META_COUNTER_ALIAS) {
      extent = std::max(extent, end_of(meta.element));
    }
  }
  return extent;
}
