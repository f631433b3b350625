#include "tools/generate/demo_source.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

namespace vek::tools {

DemoSource::DemoSource(uint64_t seed, uint32_t number, const std::vector<DemoGroup>& groups,
                       const vek_counters_schema_t& schema)
    : random_(seed * 1000 + number), number_(number), values_(schema.size_of_counters) {
  load_ = random_between(0.2, 0.8);
  const double days_up = random_between(2.0, 90.0);
  for (size_t g = 0; g < groups.size(); ++g) {
    for (size_t c = 0; c < groups[g].counters.size(); ++c) {
      const DemoCounter& counter = groups[g].counters[c];
      const double before = counter.level * days_up * 86400.0;
      const double share = counter.behaviour == DemoBehaviour::kSteady ? 1.0 : 0.3;
      slots_.push_back(
          {&counter, schema.groups[g]->counters[c]->offset,
           counter.behaviour <= DemoBehaviour::kRare ? static_cast<uint64_t>(before * share) : 0,
           0.0});
    }
  }
  for (Slot& slot : slots_) write(slot);
}

void DemoSource::advance() {
  load_ = std::clamp(load_ + random_between(-0.05, 0.05), 0.05, 0.97);
  for (Slot& slot : slots_) write(slot);
}

double DemoSource::random_unit() { return static_cast<double>(random_() >> 11) * 0x1.0p-53; }

double DemoSource::random_between(double low, double high) {
  return low + (high - low) * random_unit();
}

template <typename T>
void DemoSource::put(const Slot& slot, T value) {
  std::memcpy(values_.data() + slot.offset, &value, sizeof(value));
}

void DemoSource::write(Slot& slot) {
  const double level = slot.counter->level;
  switch (slot.counter->behaviour) {
    case DemoBehaviour::kRate:
    case DemoBehaviour::kSteady:
    case DemoBehaviour::kRare:
      return put(slot, next_sum(slot));
    case DemoBehaviour::kTemperature: {
      // Sensors answer in sixteenths of a degree.
      const double degrees = level + 11.0 * load_ + random_between(-0.4, 0.4);
      return put(slot, std::round(degrees * 16.0) / 16.0);
    }
    case DemoBehaviour::kConstant:
      return put(slot, static_cast<uint64_t>(level));
    case DemoBehaviour::kWander:
      slot.deviation = slot.deviation * 0.9 + random_between(-1.0, 1.0) * std::abs(level) * 0.02;
      return put(slot, static_cast<int64_t>(std::llround(level + slot.deviation)));
    case DemoBehaviour::kFlags:
      return put(slot, flags(slot));
    case DemoBehaviour::kGuid:
      return put(slot, demo_guid(number_, static_cast<uint64_t>(level)));
    case DemoBehaviour::kFirmware:
    case DemoBehaviour::kSerial:
      return write_text(slot);
  }
}

void DemoSource::write_text(const Slot& slot) {
  const std::string text = slot.counter->behaviour == DemoBehaviour::kFirmware
                               ? "4.12." + std::to_string(1180 + 7 * (number_ % 2))
                               : "SN" + std::to_string(70310000 + 113 * number_);
  const size_t length = std::min<size_t>(text.size(), slot.counter->text_length - 1);
  std::memcpy(values_.data() + slot.offset, text.data(), length);
}

uint64_t DemoSource::next_sum(Slot& slot) {
  const double level = slot.counter->level;
  if (slot.counter->behaviour == DemoBehaviour::kSteady) {
    slot.sum += static_cast<uint64_t>(level);
  } else if (slot.counter->behaviour == DemoBehaviour::kRare) {
    slot.sum += random_unit() < level ? 1 : 0;
  } else {
    slot.sum += static_cast<uint64_t>(level * load_ * random_between(0.9, 1.1));
  }
  return slot.sum;
}

uint64_t DemoSource::flags(const Slot& slot) {
  const auto bits = static_cast<uint64_t>(slot.counter->level);
  return random_unit() < 0.03 ? bits ^ 1 : bits;
}

}  // namespace vek::tools
