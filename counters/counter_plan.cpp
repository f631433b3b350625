// The rules of what a counters record holds.
#include "counters/counter_plan.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <exception>

#include "counters/builtin_keys.h"
#include "counters/counter_value.h"
#include "counters/counters_msgpack.h"
#include "data/data_page.h"
#include "utils/unaligned.h"

namespace vek {
namespace {

constexpr std::string_view kTimestampKey = "timestamp";
constexpr std::string_view kTypeKey = "type";
constexpr std::string_view kSourceKey = "source";
constexpr std::string_view kValuesKey = "values";
constexpr std::string_view kTypeText = "counters";

std::string_view name_of(const vek_counter_set_element_t& counter) {
  return {counter.name, counter.name_len};
}

class CounterPlanBuilder {
 public:
  CounterPlanBuilder(const vek_counter_set_t& set, vek_counter_plan& plan)
      : set_(set), plan_(plan), extent_(vek_counter_set_block_extent(&set)) {}

  void build() {
    plan_.num_exported = set_.num_exported;
    plan_.num_shown_meta = set_.num_shown_meta;
    plan_.skip.assign(set_.skip, set_.skip + set_.num_counters);
    build_flb_std_head();
    build_custom_head(plan_.custom_head, true);
    build_custom_head(plan_.custom_head_without_source, false);
    PlanSectionWriter body(plan_.body, extent_);
    build_meta_fields(body);
    for (uint64_t i = 0; i < set_.num_counters; ++i) {
      if (!set_.skip[i]) counter(body, set_.counters[i], i);
    }
    body.finish();
  }

 private:
  bool shows(uint32_t builtin) const {
    for (uint64_t i = 0; i < set_.num_counters; ++i) {
      if (!set_.skip[i] && builtin_key(name_of(set_.counters[i])) == builtin) return true;
    }
    return false;
  }

  // [seconds, {built-in entries that no counter takes the name of...
  void build_flb_std_head() {
    const bool has_timestamp = shows(VEK_META_TIMESTAMP);
    const bool has_type = shows(VEK_META_TYPE);
    const bool has_source = shows(VEK_META_SOURCE);
    // The source entry is counted even when an empty source leaves it unwritten. The count is part
    // of the format: whoever reads these records reckons with it.
    const uint64_t builtin = uint64_t{!has_timestamp} + uint64_t{!has_type} + uint64_t{!has_source};

    PlanSectionWriter out(plan_.flb_std_head, extent_);
    out.array_header(2);
    out.record_value(StepValue::kSeconds);
    out.map_header(set_.num_exported + set_.num_shown_meta + builtin);
    if (!has_timestamp) {
      out.text(kTimestampKey);
      out.record_value(StepValue::kTime);
    }
    if (!has_type) {
      out.text(kTypeKey);
      out.text(kTypeText);
    }
    if (!has_source) {
      out.flush();
      out.text(kSourceKey);
      out.record_value(StepValue::kSource);
    }
    out.finish();
  }

  // {built-in entries..., "values": {
  // The meta fields that follow are counted in the outer map but written behind this header, so the
  // inner map takes its pairs from them first. Readers of this layout know that order; it is kept.
  void build_custom_head(PlanSection& section, bool has_source) {
    PlanSectionWriter out(section, extent_);
    out.map_header((has_source ? 4 : 3) + set_.num_shown_meta);
    out.text(kTimestampKey);
    out.record_value(StepValue::kTime);
    out.text(kTypeKey);
    out.text(kTypeText);
    if (has_source) {
      out.text(kSourceKey);
      out.record_value(StepValue::kSource);
    }
    out.text(kValuesKey);
    out.map_header(set_.num_exported);
    out.finish();
  }

  void build_meta_fields(PlanSectionWriter& out) {
    for (uint64_t i = 0; i < set_.num_meta; ++i) {
      const vek_counter_set_meta_element_t& meta = set_.meta[i];
      if (meta.skip) continue;
      if (meta.kind == VEK_META_COUNTER_ALIAS) {
        counter(out, meta.element, set_.num_counters + i);
        continue;
      }
      out.text({meta.name, meta.name_len});
      if (meta.kind == VEK_META_CONSTANT) {
        out.text({meta.constant, meta.constant_len});
      } else {
        builtin_alias(out, meta.builtin);
      }
    }
  }

  static void builtin_alias(PlanSectionWriter& out, uint32_t builtin) {
    switch (builtin) {
      case VEK_META_SOURCE:
        out.record_value(StepValue::kSourceOrEmpty);
        break;
      case VEK_META_TYPE:
        out.text(kTypeText);
        break;
      default:
        out.record_value(StepValue::kTime);
        break;
    }
  }

  // `index`: of the message, should there be one.
  static void counter(PlanSectionWriter& out, const vek_counter_set_element_t& counter,
                      uint64_t index) {
    out.text(name_of(counter));
    switch (counter.data_type) {
      case VEK_DATA_TYPE_UINT64:
      case VEK_DATA_TYPE_BIT64:
        if (is_guid_name(name_of(counter))) {
          out.hex(counter.offset);
        } else {
          out.number(counter.offset, NumberRead::integer(8, false));
        }
        break;
      case VEK_DATA_TYPE_INT64:
        out.number(counter.offset, NumberRead::integer(8, true));
        break;
      case VEK_DATA_TYPE_FP64:
        out.number(counter.offset, NumberRead::float64());
        break;
      case VEK_DATA_TYPE_STRING:
        // Without a NUL the text ends where the next counter begins.
        out.text_value(StepValue::kText, counter.offset, counter.length);
        break;
      default:
        out.note(index);
        break;
    }
  }

  const vek_counter_set_t& set_;
  vek_counter_plan& plan_;
  uint64_t extent_;  // bytes of every block that may be read
};

}  // namespace

void log_unknown_type_of(const void* set_of_counters, uint64_t index) {
  const auto& set = *static_cast<const vek_counter_set_t*>(set_of_counters);
  log_unknown_type(index < set.num_counters ? set.counters[index].name
                                            : set.meta[index - set.num_counters].name);
}

std::unique_ptr<vek_counter_plan> make_counter_plan(const vek_counter_set_t& set) noexcept {
  try {
    auto plan = std::make_unique<vek_counter_plan>();
    CounterPlanBuilder(set, *plan).build();
    return plan;
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace vek
