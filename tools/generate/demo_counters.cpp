#include "tools/generate/demo_counters.h"

#include <array>
#include <string_view>

namespace vek::tools {
namespace {

// A port of 100 Gbit/s at full load: 12.5e9 bytes and about 14.5e6 packets a second.
constexpr double kBytesPerSecond = 12.5e9;
constexpr double kPacketsPerSecond = 14.5e6;

class GroupBuilder {
 public:
  explicit GroupBuilder(std::string name) { group_.name = std::move(name); }

  void rate(const std::string& name, const std::string& description, const char* units,
            double per_second) {
    add(name, description, units, VEK_DATA_TYPE_UINT64, DemoBehaviour::kRate, per_second);
  }
  void rare(const std::string& name, const std::string& description, double per_second) {
    add(name, description, "events", VEK_DATA_TYPE_UINT64, DemoBehaviour::kRare, per_second);
  }
  void temperature(const std::string& name, const std::string& description, double at_rest) {
    add(name, description, "degrees Celsius", VEK_DATA_TYPE_FP64, DemoBehaviour::kTemperature,
        at_rest);
  }
  void add(const std::string& name, const std::string& description, const char* units,
           uint32_t data_type, DemoBehaviour behaviour, double level, uint32_t text_length = 0) {
    group_.counters.push_back({name, description, units, data_type, text_length, behaviour, level});
  }
  DemoGroup take() { return std::move(group_); }

 private:
  DemoGroup group_;
};

void add_directions(GroupBuilder& group) {
  struct Row {
    const char* suffix;
    const char* description;
    const char* units;
    double per_second;
  };
  constexpr std::array<Row, 6> kRows{{
      {"bytes", "Bytes", "bytes", kBytesPerSecond},
      {"packets", "Packets", "packets", kPacketsPerSecond},
      {"unicast_packets", "Packets to one receiver", "packets", kPacketsPerSecond * 0.98},
      {"multicast_packets", "Packets to a group", "packets", kPacketsPerSecond * 0.015},
      {"broadcast_packets", "Packets to everyone", "packets", kPacketsPerSecond * 0.005},
      {"pause_frames", "Frames that asked to pause", "frames", 12},
  }};
  for (const char* direction : {"rx", "tx"}) {
    const std::string where = *direction == 'r' ? " received" : " sent";
    for (const Row& row : kRows) {
      group.rate(std::string(direction) + "_" + row.suffix, row.description + where, row.units,
                 row.per_second * (*direction == 'r' ? 1.0 : 0.83));
    }
    group.rare(std::string(direction) + "_discards", "Packets without room in a buffer" + where,
               0.4);
    group.rare(std::string(direction) + "_errors", "Packets with an error" + where, 0.02);
  }
}

void add_priorities(GroupBuilder& group) {
  for (int priority = 0; priority < 8; ++priority) {
    const std::string number = std::to_string(priority);
    const double share = priority == 0 ? 0.65 : 0.05;
    for (const char* direction : {"rx", "tx"}) {
      const std::string name = std::string(direction) + "_prio" + number;
      const std::string where =
          std::string(*direction == 'r' ? " received" : " sent") + " in priority " + number;
      group.rate(name + "_bytes", "Bytes" + where, "bytes", kBytesPerSecond * share);
      group.rate(name + "_packets", "Packets" + where, "packets", kPacketsPerSecond * share);
    }
  }
}

void add_sizes_and_link(GroupBuilder& group) {
  constexpr std::array<std::string_view, 7> kSizes{"64",       "65_127",    "128_255", "256_511",
                                                   "512_1023", "1024_1518", "1519_max"};
  constexpr std::array<double, 7> kShares{0.18, 0.12, 0.08, 0.07, 0.10, 0.40, 0.05};
  for (size_t i = 0; i < kSizes.size(); ++i) {
    group.rate("rx_size_" + std::string(kSizes[i]), "Packets received of this many bytes",
               "packets", kPacketsPerSecond * kShares[i]);
  }
  group.rate("tx_wait_ticks", "Clock ticks with data but no credit to send", "ticks", 2.1e5);
  group.rate("rx_ecn_marked_packets", "Packets received with a congestion mark", "packets", 5200);
  group.rate("fec_corrected_blocks", "Blocks mended by error correction", "blocks", 340);
  group.rare("fec_uncorrectable_blocks", "Blocks beyond error correction", 0.01);
  group.rare("rx_oversize_packets", "Packets received that were too long", 0.03);
  group.rare("rx_undersize_packets", "Packets received that were too short", 0.03);
  group.rare("rx_crc_errors", "Packets received with a wrong check sum", 0.02);
  group.rare("rx_symbol_errors", "Symbols received that no code has", 0.05);
  group.rare("link_down_events", "Times that the link was lost", 0.002);
  group.rare("link_recoveries", "Times that the link came back by itself", 0.002);
  for (int lane = 0; lane < 4; ++lane) {
    const std::string number = std::to_string(lane);
    group.rate("lane" + number + "_raw_errors", "Bit errors before correction on lane " + number,
               "bits", 80.0 + 15.0 * lane);
  }
}

DemoGroup port_traffic() {
  GroupBuilder group("port_traffic");
  add_directions(group);
  add_priorities(group);
  add_sizes_and_link(group);
  return group.take();
}

DemoGroup temperatures() {
  GroupBuilder group("temperatures");
  group.temperature("temperature_asic", "Switching chip", 51.0);
  group.temperature("temperature_cpu", "Management processor", 43.0);
  group.temperature("temperature_inlet", "Air that enters", 22.5);
  group.temperature("temperature_outlet", "Air that leaves", 34.0);
  group.temperature("temperature_psu1", "Power supply 1", 38.5);
  group.temperature("temperature_psu2", "Power supply 2", 37.75);
  for (int module = 1; module <= 12; ++module) {
    const std::string number = (module < 10 ? "0" : "") + std::to_string(module);
    group.temperature("temperature_module_" + number, "Optical module " + number,
                      40.0 + 0.5 * (module % 5));
  }
  return group.take();
}

DemoGroup port_identity() {
  using enum DemoBehaviour;
  GroupBuilder group("port_identity");
  group.add("port_guid", "Identifier of the port", "id", VEK_DATA_TYPE_UINT64, kGuid, 1);
  group.add("node_guid", "Identifier of the device", "id", VEK_DATA_TYPE_UINT64, kGuid, 0);
  group.add("port_number", "Number on the front plate", "number", VEK_DATA_TYPE_UINT64, kConstant,
            1);
  group.add("firmware_version", "Version of the device's firmware", "text", VEK_DATA_TYPE_STRING,
            kFirmware, 0, 24);
  group.add("serial_number", "Serial number of the device", "text", VEK_DATA_TYPE_STRING, kSerial,
            0, 16);
  group.add("link_speed_mbps", "Negotiated speed", "Mbit/s", VEK_DATA_TYPE_UINT64, kConstant, 1e5);
  group.add("mtu_bytes", "Largest packet", "bytes", VEK_DATA_TYPE_UINT64, kConstant, 9216);
  group.add("uptime_seconds", "Time since the device started", "seconds", VEK_DATA_TYPE_UINT64,
            kSteady, 1);
  group.add("port_state", "State bits of the port", "bits", VEK_DATA_TYPE_BIT64, kFlags, 0x27);
  group.add("alarm_flags", "Alarms that stand", "bits", VEK_DATA_TYPE_BIT64, kFlags, 0x100);
  group.add("clock_offset_ns", "Device clock against the reference", "ns", VEK_DATA_TYPE_INT64,
            kWander, -40);
  group.add("rx_power_mdbm", "Optical power received", "0.001 dBm", VEK_DATA_TYPE_INT64, kWander,
            -2150);
  group.add("tx_power_mdbm", "Optical power sent", "0.001 dBm", VEK_DATA_TYPE_INT64, kWander, -890);
  return group.take();
}

// Names and descriptions are this file's own and need no escapes in JSON.
void append_counter(std::string& json, const DemoCounter& counter) {
  const bool sum = counter.behaviour <= DemoBehaviour::kRare;
  const uint32_t length = counter.text_length > 0 ? counter.text_length : 8;
  json += R"({"name":")" + counter.name + R"(","description":")" + counter.description +
          R"(","units":")" + counter.units + R"(","data_type":")" +
          vek_data_type_string(counter.data_type) + R"(","length":)" + std::to_string(length) +
          R"(,"counting_type":")" +
          vek_counting_type_string(sum ? VEK_COUNTING_RUNNING_SUM : VEK_COUNTING_ABSOLUTE) +
          R"("})";
}

}  // namespace

std::vector<DemoGroup> demo_groups() { return {port_traffic(), temperatures(), port_identity()}; }

OwnedCountersSchema demo_counters_schema(const std::vector<DemoGroup>& groups) {
  std::string json = R"({"version":"1.5.0","counter_groups":[)";
  for (const DemoGroup& group : groups) {
    if (&group != &groups.front()) json += ',';
    json += R"({"granularity":"NODE","name":")" + group.name +
            R"(","provider":"demo","num_counter_sets":1,"num_counters":)" +
            std::to_string(group.counters.size()) + R"(,"counters":[)";
    for (const DemoCounter& counter : group.counters) {
      if (&counter != &group.counters.front()) json += ',';
      append_counter(json, counter);
    }
    json += "]}";
  }
  json += "]}";
  return OwnedCountersSchema(vek_counters_schema_deserialize(json.c_str()));
}

}  // namespace vek::tools
