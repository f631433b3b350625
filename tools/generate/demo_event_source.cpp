#include "tools/generate/demo_event_source.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "tools/generate/demo_source.h"

namespace vek::tools {

DemoEventSource::Block DemoEventSource::next(uint64_t time_us) {
  constexpr std::array kTypes{kLinkStateChange, kDeviceHealth, kProcessStart, kAlarm};
  events_.clear();
  Block block;
  block.type = kTypes[below(kTypes.size())];
  block.count = static_cast<uint8_t>(1 + below(kMostEvents));
  for (uint8_t i = 0; i < block.count; ++i) {
    if (block.type.schema == kAlarm.schema) {
      block.type.type == kAlarm.type ? alarm() : link_state_change(time_us);
    } else {
      block.type.type == kProcessStart.type ? process_start(time_us) : device_health();
    }
  }
  block.events = events_;
  return block;
}

template <typename T>
void DemoEventSource::put(T value) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
  events_.insert(events_.end(), bytes, bytes + sizeof(value));
}

void DemoEventSource::text(std::string_view text, size_t size) {
  const std::string_view kept = text.substr(0, size - 1);
  events_.insert(events_.end(), kept.begin(), kept.end());
  events_.insert(events_.end(), size - kept.size(), 0);
}

void DemoEventSource::link_state_change(uint64_t time_us) {
  constexpr std::array<std::string_view, 4> kReasons{"signal lost", "cable pulled",
                                                     "peer restarted", "too many errors"};
  const bool up = one_in(2);
  const auto port = static_cast<uint16_t>(1 + below(12));
  put<uint64_t>(time_us - 200 - below(800));
  put<uint64_t>(demo_guid(static_cast<uint32_t>(1 + below(devices_)), port));
  put<uint16_t>(port);
  put<uint8_t>(up);
  text(up ? "trained" : kReasons[below(kReasons.size())], kReasonSize);
}

void DemoEventSource::alarm() {
  struct Rule {
    uint32_t code;
    uint8_t severity;
    double limit;
    std::string_view message;
  };
  constexpr std::array<Rule, 3> kRules{{
      {1201, 2, 65.0, "switching chip is warm"},
      {1202, 3, 80.0, "switching chip is about to shut down"},
      {2110, 1, 1e-9, "bit errors rise on a link"},
  }};
  const Rule& rule = kRules[below(kRules.size())];
  put<uint32_t>(rule.code);
  put<uint8_t>(rule.severity);
  put<double>(rule.limit * (1.0 + static_cast<double>(below(64)) / 512.0));
  const uint64_t concerned = 1 + below(kAlarmPorts);
  for (uint32_t i = 0; i < kAlarmPorts; ++i) {
    put<uint32_t>(i < concerned ? static_cast<uint32_t>(3 * i + 1 + below(3)) : 0);
  }
  text(rule.message, kMessageSize);
}

void DemoEventSource::process_start(uint64_t time_us) {
  constexpr std::array<std::string_view, 4> kCommands{
      "/usr/sbin/linkd --watch", "/bin/sh -c /etc/cron.hourly/rotate",
      "python3 train.py --epochs 90", "/usr/bin/rsync -a /var/log/ archive:"};
  last_pid_ += static_cast<int32_t>(1 + below(40));
  put<uint64_t>(time_us - 50 - below(500));
  put<int32_t>(last_pid_);
  put<int32_t>(one_in(3) ? 1 : last_pid_ - static_cast<int32_t>(1 + below(900)));
  put<uint32_t>(one_in(2) ? 0 : 1000 + static_cast<uint32_t>(below(4)));
  text(kCommands[below(kCommands.size())], kCommandSize);
}

void DemoEventSource::device_health() {
  put<uint32_t>(static_cast<uint32_t>(below(8)));
  put<int16_t>(static_cast<int16_t>(38 + below(40)));
  put<float>(95.0F + static_cast<float>(below(1200)) / 4.0F);
  text(one_in(10) ? "535.104.05" : "", kDriverSize);
  text(one_in(4) ? "power limit" : "", kReasonSize);
  text(one_in(12) ? "page retired" : "", kReasonSize);
}

}  // namespace vek::tools
