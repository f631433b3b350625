// The event types of the demonstration data: what a fabric manager and an agent on a host report.
#ifndef VEK_TOOLS_GENERATE_DEMO_EVENTS_H
#define VEK_TOOLS_GENERATE_DEMO_EVENTS_H

#include <cstdint>

#include "data/type_system.h"

namespace vek::tools {

// Where a type stands: the schema's position in the type system, the type's in its schema.
struct DemoEventType {
  uint8_t schema;
  uint16_t type;
};

constexpr DemoEventType kLinkStateChange{0, 1};  // behind the type of its field "port"
constexpr DemoEventType kAlarm{0, 2};
constexpr DemoEventType kProcessStart{1, 0};
constexpr DemoEventType kDeviceHealth{1, 1};

constexpr uint8_t kDemoEventSchemas = 2;

constexpr uint32_t kReasonSize = 32;   // texts of link_state_change and of device health
constexpr uint32_t kMessageSize = 48;  // of alarm
constexpr uint32_t kAlarmPorts = 4;
constexpr uint32_t kCommandSize = 48;  // of process_start
constexpr uint32_t kDriverSize = 24;   // of device health

// Adds the two events schemas and works out their identifiers; false when one cannot be made.
bool add_demo_events(vek_type_system_t& type_system);

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_DEMO_EVENTS_H
