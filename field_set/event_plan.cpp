// The rules of what a record of an event holds, worked out once for each bound type.

#include "field_set/event_plan.h"

#include <algorithm>
#include <map>
#include <utility>

#include "counters/counters_msgpack.h"
#include "data/builtin_types.h"
#include "field_set/bound_type.h"
#include "field_set/meta_fields.h"
#include "utils/filters.h"

namespace vek {
namespace {

constexpr std::string_view kUnknownValue = "0";

const FieldSet::NameMap& pairsOf(const std::map<std::string, FieldSet::NameMap>& table,
                                 const std::string& type_name) {
  static const FieldSet::NameMap none;
  const auto found = table.find(type_name);
  return found == table.end() ? none : found->second;
}

// How a field that goes out as a number is read; none for other fields.
std::optional<NumberRead> number_of(uint32_t field_type) {
  switch (field_type) {
    case VEK_TYPE_INT8:
      return NumberRead::integer(1, true);
    case VEK_TYPE_UINT8:
      return NumberRead::integer(1, false);
    case VEK_TYPE_SHORT:
    case VEK_TYPE_INT16:
      return NumberRead::integer(2, true);
    case VEK_TYPE_UNSIGNED_SHORT:
    case VEK_TYPE_UINT16:
      return NumberRead::integer(2, false);
    case VEK_TYPE_INT:
    case VEK_TYPE_INT32:
      return NumberRead::integer(4, true);
    case VEK_TYPE_UNSIGNED_INT:
    case VEK_TYPE_UINT32:
      return NumberRead::integer(4, false);
    case VEK_TYPE_LONG:
    case VEK_TYPE_LONG_LONG:
    case VEK_TYPE_INT64:
      return NumberRead::integer(8, true);
    case VEK_TYPE_UNSIGNED_LONG:
    case VEK_TYPE_UNSIGNED_LONG_LONG:
    case VEK_TYPE_TIMESTAMP:
    case VEK_TYPE_UINT64:
      return NumberRead::integer(8, false);
    case VEK_TYPE_FLOAT:
      return NumberRead::float32();
    case VEK_TYPE_DOUBLE:
      return NumberRead::float64();
    default:
      return std::nullopt;
  }
}

// Fields read by name as 64-bit values may be narrower; none is read beyond the event.
bool holdsWord(const field_t& field, uint64_t record_size) {
  return record_size >= sizeof(uint64_t) && field.offset <= record_size - sizeof(uint64_t);
}

bool isNamedGuid(const field_t& field) {
  std::string name(field.name, field.name_len);
  vek_filter_to_lower(name.data());
  return name.find("guid") != std::string::npos;
}

}  // namespace

class EventPlanBuilder {
 public:
  EventPlanBuilder(const BoundType& type, const FieldSetTables& tables, EventPlan& plan)
      : type_(type),
        fields_(type.field_set.fields),
        aliases_(pairsOf(tables.meta_fields_aliases_by_type, type.name)),
        constants_(pairsOf(tables.meta_fields_constants_by_type, type.name)),
        plan_(plan) {}

  void build() {
    plan_.record_size_ = type_.record_size;
    plan_.included_ = type_.field_set.num_included;
    plan_.skip_empty_strings_ = type_.field_set.skip_empty_strings;
    if (plan_.packs_nothing()) return;
    find_words();
    build_flb_std_head();
    build_custom_head();
    build_fields();
  }

 private:
  using UsedKeys = std::map<std::string, bool>;

  // Where the source and the time of "custom" records come from, skipped fields included.
  void find_words() {
    for (const field_t& field : fields_) {
      if (!holdsWord(field, type_.record_size)) continue;
      if (!plan_.guid_offset_ && isNamedGuid(field)) plan_.guid_offset_ = field.offset;
      if (default_name(kMetaTimestamp) == field.name) plan_.own_timestamp_offset_ = field.offset;
    }
  }

  void build_flb_std_head() {
    PlanSectionWriter out(plan_.flb_std_head_, type_.record_size);
    const UsedKeys used = used_keys();
    out.array_header(2);
    out.record_value(StepValue::kSeconds);
    const uint64_t pairs = count_pairs(used);
    if (plan_.skip_empty_strings_) {
      out.varying_map_header(pairs);
    } else {
      out.map_header(pairs);
    }
    for (int32_t index = 0; index < kMetaFieldCount; ++index) {
      meta_field(out, index, default_name(index), used);
    }
    for (const int32_t index : type_.aliased_meta_fields) {
      if (const std::string* alias = alias_of(default_name(index))) {
        meta_field(out, index, *alias, used);
      }
    }
    for (const size_t position : type_.aliased_fields) {
      const field_t& field = fields_[position];
      const std::string* alias = alias_of(field.name);
      if (alias) pair(out, *alias, field, StepValue::kText);
    }
    for (const auto& [key, value] : constants_) {
      out.text(key);
      out.text(value);
    }
    out.finish();
  }

  // Counted by keys, not by what is written: a meta field without a source, an empty alias or two
  // equal aliases are counted all the same. Readers of these records reckon with it.
  uint64_t count_pairs(const UsedKeys& used) const {
    const auto unused =
        std::count_if(used.begin(), used.end(), [](const auto& key) { return !key.second; });
    const auto aliased =
        std::count_if(type_.aliased_fields.begin(), type_.aliased_fields.end(),
                      [&](size_t position) { return alias_of(fields_[position].name) != nullptr; });
    return static_cast<uint64_t>(unused + aliased) + constants_.size() + plan_.included_;
  }

  void build_custom_head() {
    constexpr uint64_t kEntries = 5;
    PlanSectionWriter out(plan_.custom_head_, type_.record_size);
    out.map_header(kEntries);
    out.text(default_name(kMetaTimestamp));
    out.record_value(StepValue::kTime);
    out.text(default_name(kMetaType));
    out.text(kEventsType);
    out.text(default_name(kMetaTypeName));
    out.text(type_.name);
    out.text(default_name(kMetaSource));
    out.record_value(StepValue::kSource);
    out.text("values");
    out.map_header(plan_.included_);
    out.finish();
  }

  void build_fields() {
    PlanSectionWriter out(plan_.fields_, type_.record_size);
    const bool skip_empty = type_.field_set.skip_empty_strings;
    for (const field_t& field : fields_) {
      if (field.skip) continue;
      const bool may_go = skip_empty && field.field_type == VEK_TYPE_CHAR;
      if (may_go) out.flush();
      pair(out, field.name, field, may_go ? StepValue::kTextUnlessEmpty : StepValue::kText);
    }
    out.finish();
  }

  // Every key of a meta field, and whether a field of the event takes it.
  UsedKeys used_keys() const {
    UsedKeys used;
    for (const auto& entry : FieldSet::meta_field_names()) used[entry.second] = false;
    for (const int32_t index : type_.aliased_meta_fields) {
      if (const std::string* alias = alias_of(default_name(index))) used[*alias] = false;
    }
    for (const field_t& field : fields_) {
      const auto found = used.find(field.name);
      if (found != used.end()) found->second = !field.skip;
    }
    return used;
  }

  void meta_field(PlanSectionWriter& out, int32_t index, const std::string& key,
                  const UsedKeys& used) {
    if (key.empty()) {
      out.note(0);
      return;
    }
    if (used.at(key)) return;
    if (index == kMetaSource) out.flush();
    out.text(key);
    switch (index) {
      case kMetaTimestamp:
        out.record_value(StepValue::kTime);
        break;
      case kMetaType:
        out.text(kEventsType);
        break;
      case kMetaTypeName:
        out.text(type_.name);
        break;
      default:
        out.record_value(StepValue::kSource);
        break;
    }
  }

  void pair(PlanSectionWriter& out, const std::string& key, const field_t& field,
            StepValue text_kind) {
    out.text(key);
    if (field.field_type == VEK_TYPE_BOOL) {
      out.number(field.offset, NumberRead::flag());
    } else if (field.field_type == VEK_TYPE_UINT64 && if_display_hex(key.c_str())) {
      // The key decides: an alias can turn hexadecimal text on or off.
      out.hex(field.offset);
    } else if (const auto number = number_of(static_cast<uint32_t>(field.field_type))) {
      out.number(field.offset, *number);
    } else if (field.field_type == VEK_TYPE_CHAR && !field.skip) {
      out.text_value(text_kind, field.offset, std::min(field.array_length, kMaxTextLength));
    } else if (field.field_type == VEK_TYPE_CHAR || field.field_type == VEK_TYPE_UNSIGNED_CHAR) {
      // The length of a text is only ever looked up for "char" fields that are exported.
      out.text("");
    } else {
      out.text(kUnknownValue);
    }
  }

  static const std::string& default_name(int32_t index) {
    return FieldSet::meta_field_names().at(index);
  }
  const std::string* alias_of(const std::string& name) const {
    const auto found = aliases_.find(name);
    return found == aliases_.end() ? nullptr : &found->second;
  }

  const BoundType& type_;
  const std::vector<field_t>& fields_;
  const FieldSet::NameMap& aliases_;
  const FieldSet::NameMap& constants_;
  EventPlan& plan_;
};

std::unique_ptr<EventPlan> makeEventPlan(const BoundType& type, const FieldSetTables& tables) {
  auto plan = std::make_unique<EventPlan>();
  EventPlanBuilder(type, tables, *plan).build();
  return plan;
}

}  // namespace vek
