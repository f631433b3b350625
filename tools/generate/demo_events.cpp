#include "tools/generate/demo_events.h"

#include <array>
#include <span>

#include "utils/version.h"

namespace vek::tools {
namespace {

using Fields = std::span<const vek_type_field_info_t>;

constexpr vek_type_field_info_t scalar(const char* name, const char* type,
                                       const char* description) {
  return {name, description, type, VEK_VALUE_ABSOLUTE, 1};
}
constexpr vek_type_field_info_t array(const char* name, const char* type, uint32_t length,
                                      const char* description) {
  return {name, description, type, VEK_VALUE_ABSOLUTE, length};
}

constexpr std::array kPort{
    scalar("guid", "uint64_t", "Identifier of the port"),
    scalar("number", "uint16_t", "Number on the front plate"),
};
constexpr std::array kLinkStateChangeFields{
    scalar("detected_at", "timestamp", "When the port noticed, microseconds"),
    scalar("port", "port", "The port"),
    scalar("up", "bool", "Whether the link is up now"),
    array("reason", "char", kReasonSize, "Why, as the port gives it"),
};
constexpr std::array kAlarmFields{
    scalar("code", "uint32_t", "Number of the rule"),
    scalar("severity", "uint8_t", "1 notice, 2 warning, 3 critical"),
    scalar("value", "double", "What was measured"),
    array("ports", "uint32_t", kAlarmPorts, "Ports concerned; 0 for none"),
    array("message", "char", kMessageSize, "The rule's text"),
};
constexpr std::array kProcessStartFields{
    scalar("started_at", "timestamp", "When it started, microseconds"),
    scalar("pid", "int32_t", "Process"),
    scalar("parent_pid", "int32_t", "The process that started it"),
    scalar("user_id", "uint32_t", "On whose behalf"),
    array("command", "char", kCommandSize, "Command line, cut"),
};
constexpr std::array kDeviceHealthFields{
    scalar("device", "uint32_t", "Position of the accelerator"),
    scalar("temperature", "int16_t", "Degrees Celsius"),
    scalar("power_watts", "float", "Power drawn"),
    array("driver", "char", kDriverSize, "Version, when it changed"),
    array("throttle_reason", "char", kReasonSize, "Empty at full speed"),
    array("last_error", "char", kReasonSize, "Empty when all is well"),
};

bool add(vek_schema_t& schema, const char* name, Fields fields) {
  return vek_schema_add_type(&schema, name, fields.data(), static_cast<uint32_t>(fields.size()),
                             nullptr) == 0;
}

bool add_fabric(vek_schema_t& schema) {
  return add(schema, "port", kPort) && add(schema, "link_state_change", kLinkStateChangeFields) &&
         add(schema, "alarm", kAlarmFields);
}

// Texts of types whose names begin like this are left out of records while they are empty.
bool add_host(vek_schema_t& schema) {
  return add(schema, "process_start", kProcessStartFields) &&
         add(schema, "kelvra_smi_event_health", kDeviceHealthFields);
}

}  // namespace

bool add_demo_events(vek_type_system_t& type_system) {
  const uint32_t version = vek_version_from_string("1.0.0");
  vek_schema_t* fabric = vek_type_system_add_schema(&type_system, "fabric", version, nullptr);
  vek_schema_t* host = vek_type_system_add_schema(&type_system, "host", version, nullptr);
  if (!fabric || !host || !add_fabric(*fabric) || !add_host(*host)) return false;
  vek_type_system_update_md5_hashes(&type_system);
  return true;
}

}  // namespace vek::tools
