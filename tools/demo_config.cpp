#include "tools/demo_config.h"

#include <algorithm>
#include <cctype>

namespace vek::tools {
namespace {

constexpr size_t kExporterPathLimit = 127;

constexpr char kCounterSet[] =
    R"(# Which counters leave, and under which names. Each line is one rule; the first that takes a counter
# also names it. "+a+b-c" means: has a, has b, has no c; "^" and "$" anchor; "alias=rule" renames.
# (A rule of exclusions alone, such as "-prio", takes every counter that it does not exclude.)

# Fields beside the counters: another counter's value, a built-in field, a constant.
meta_field_alias:node_guid=GUID
meta_field_alias:timestamp=sampled_at_us
meta_field_add:site=lab1

[traffic]
received_bytes=^rx_bytes$
sent_bytes=^tx_bytes$
+rx_+packets-prio-multicast-broadcast
+tx_+packets-prio-multicast-broadcast
_discards
_errors-lane

[health]
chip_temperature=^temperature_asic$
^temperature_psu
link_down_events
rx_power_mdbm
tx_power_mdbm

[identity]
^port_guid$
firmware=^firmware_version$
port_state
)";

std::string all_counters(const std::string& dir) {
  return "# Every counter of every page, one JSON line a record.\n"
         "name = all-counters\n"
         "enable = 1\n"
         "plugin_name = file\n"
         "plugin_path = " +
         dir +
         "/records\n"
         "plugin_file = all-counters.json\n"
         "plugin_format = json\n";
}

std::string port_traffic(const std::string& dir) {
  return "# A selection, renamed, from two kinds of pages only: those tagged hall_a, and "
         "(counters)\n"
         "# those without any tag.\n"
         "name = port-traffic\n"
         "enable = 1\n"
         "source_tag = hall_a,counters\n"
         "counterset = " +
         dir +
         "/config/port-traffic.cset\n"
         "msgpack_data_layout = flb_std\n"
         "plugin_name = file\n"
         "plugin_path = " +
         dir +
         "/records\n"
         "plugin_file = port-traffic.json\n"
         "plugin_format = json\n";
}

}  // namespace

std::vector<DemoFile> demo_config_files(const std::string& dir) {
  return {
      {"config/all-counters.exp", all_counters(dir)},
      {"config/port-traffic.exp", port_traffic(dir)},
      {"config/port-traffic.cset", kCounterSet},
  };
}

std::string why_not_usable(const std::string& dir) {
  constexpr char kLongestFile[] = "/config/port-traffic.exp";
  if (dir.size() + sizeof(kLongestFile) - 1 > kExporterPathLimit) {
    return "the path is too long: " + std::to_string(dir.size()) + " bytes, at most " +
           std::to_string(kExporterPathLimit - (sizeof(kLongestFile) - 1)) +
           " keep exporter files readable";
  }
  const auto forbidden = [](unsigned char c) { return c == '#' || c == '=' || std::iscntrl(c); };
  if (std::any_of(dir.begin(), dir.end(), forbidden)) {
    return "the path holds '#', '=' or a control character, which exporter files cannot express";
  }
  return {};
}

}  // namespace vek::tools
