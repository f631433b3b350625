#include "exporter/counters_schema_signature.h"

#include <cstdint>
#include <cstring>

namespace vek {
namespace {

void appendNumber(std::string& out, uint32_t value) {
  out.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// Terminated, and told apart from no text at all.
void appendText(std::string& out, const char* text) {
  out.push_back(text ? '+' : '-');
  if (text) out.append(text, std::strlen(text) + 1);
}

void appendCounter(std::string& out, const vek_counter_info_t& counter) {
  appendText(out, counter.name);
  appendText(out, counter.description);
  appendText(out, counter.units);
  appendNumber(out, counter.data_type);
  appendNumber(out, counter.counting_type);
  appendNumber(out, counter.offset);
  appendNumber(out, counter.length);
  out.push_back(counter.hidden ? '1' : '0');
  out.push_back(counter.mandatory ? '1' : '0');
}

void appendGroup(std::string& out, const vek_counter_group_t& group) {
  appendNumber(out, group.granularity);
  appendNumber(out, group.num_counter_sets);
  appendNumber(out, group.num_counters);
  appendText(out, group.name);
  appendText(out, group.provider ? group.provider->name : nullptr);
  appendText(out, group.provider_name);
  for (uint32_t i = 0; i < group.num_counters; ++i) appendCounter(out, *group.counters[i]);
}

}  // namespace

void makeCountersSchemaSignature(const vek_counters_schema_t& schema, std::string& out) {
  out.clear();
  for (uint32_t i = 0; i < schema.num_groups; ++i) appendGroup(out, *schema.groups[i]);
}

}  // namespace vek
