#include "tools/generate/demo_config.h"

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

constexpr char kNoCounters[] =
    R"(# A rule that no counter meets: pages with counters and events give events only.
^(no counter)$
)";

constexpr char kNoEvents[] =
    R"(# Exclusions alone select nothing: pages with counters and events give counters only.
-events
)";

constexpr char kFieldSet[] =
    R"(# Which types of events leave, which of their fields, and under which names. A section names types;
# each line in it is a rule such as "+a+b-c" (has a, has b, has no c), "^" and "$" anchor a name.
# Types without a section stay here; a section without a rule takes every field of its types.
# (A comment stands on a line of its own: blanks before a "#" would belong to the rule.)

[link_state_change]
# "alias=rule" adds the field a second time, under the alias; as port_guid it is hexadecimal.
port_guid=^port.guid$
^port.number$
^up$
reason
meta_field_alias:timestamp=reported_at_us

# Four ports come as ports.0 to ports.3.
[alarm]
ports-ports.2-ports.3
code
severity
value
message

# A type whose name begins so; its empty texts are left out.
[kelvra_smi_event*]
+e-driver

# Lines for several types at once; process_start has no rule and leaves whole.
[link_state_change,alarm,process_start,kelvra_smi_event*]
meta_field_add:site=lab1
)";

std::string all_counters(const std::string& dir) {
  return "# Every counter of every page, one JSON line a record.\n"
         "name = all-counters\n"
         "enable = 1\n"
         "fieldset = " +
         dir +
         "/config/no-events.fset\n"
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

std::string events(const std::string& dir) {
  return "# Events, chosen and renamed, and no counters.\n"
         "name = events\n"
         "enable = 1\n"
         "source_tag = events,core\n"
         "counterset = " +
         dir +
         "/config/no-counters.cset\n"
         "fieldset = " +
         dir +
         "/config/events.fset\n"
         "plugin_name = file\n"
         "plugin_path = " +
         dir +
         "/records\n"
         "plugin_file = events.json\n"
         "plugin_format = json\n";
}

constexpr char kDictionaries[] =
    R"(# Dictionaries leave through the outputs that take records of any shape: stdout_raw and forward.
# Each dictionary is a record; with "batch_mode = 1" a list of dictionaries would be one.
name = dictionaries
enable = 1
# Pages of counters and events stay here: none has this tag. (Tags do not hold back dictionaries.)
source_tag = nothing else
plugin_name = stdout_raw
)";

std::string aggregated(const std::string& dir) {
  return "# Records that an aggregator made go to every destination as they are, here to a file;\n"
         "# this output takes no dictionaries.\n"
         "name = aggregated\n"
         "enable = 1\n"
         "source_tag = nothing else\n"
         "plugin_name = file\n"
         "plugin_path = " +
         dir +
         "/records\n"
         "plugin_file = aggregated.json\n"
         "plugin_format = json\n";
}

}  // namespace

std::vector<DemoFile> demo_config_files(const std::string& dir) {
  return {
      {"config/all-counters.exp", all_counters(dir)},
      {"config/port-traffic.exp", port_traffic(dir)},
      {"config/port-traffic.cset", kCounterSet},
      {"config/events.exp", events(dir)},
      {"config/events.fset", kFieldSet},
      {"config/no-counters.cset", kNoCounters},
      {"config/no-events.fset", kNoEvents},
      {"streams/dictionaries.exp", kDictionaries},
      {"streams/aggregated.exp", aggregated(dir)},
  };
}

std::string why_not_usable(const std::string& dir) {
  constexpr char kLongestFile[] = "/streams/dictionaries.exp";
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
