#include "tools/check/destination_targets.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "utils/output_rules.h"

namespace vek::tools {
namespace {

// Where an output goes that is not told a port.
std::string usual_port(std::string_view output) {
  struct Usual {
    std::string_view output;
    const char* port;
  };
  constexpr std::array<Usual, 9> kUsual{{{kForwardOutput, "24224"},
                                         {"es", "9200"},
                                         {"opensearch", "9200"},
                                         {"influxdb", "8086"},
                                         {"loki", "3100"},
                                         {"splunk", "8088"},
                                         {"syslog", "514"},
                                         {"tcp", "5170"},
                                         {"http", "80"}}};
  for (const Usual& usual : kUsual) {
    if (same_word(usual.output, output)) return usual.port;
  }
  return {};
}

// "kafka1:9092,kafka2:9092".
void add_brokers(std::string_view list, std::vector<Target>& targets) {
  while (!list.empty()) {
    const std::string_view broker = list.substr(0, list.find(','));
    list.remove_prefix(std::min(list.size(), broker.size() + 1));
    const size_t colon = broker.rfind(':');
    const std::string_view host = broker.substr(0, colon);
    if (host.empty()) continue;
    targets.push_back({std::string(host), colon == std::string_view::npos
                                              ? "9092"
                                              : std::string(broker.substr(colon + 1))});
  }
}

}  // namespace

std::vector<Target> targets_of(const ConfiguredDestination& destination, std::string& key) {
  key = "host";
  const std::string_view output = destination.output();
  std::vector<Target> targets;
  if (same_word(output, "kafka")) {
    key = "plugin_brokers";
    add_brokers(destination.parameter("brokers"), targets);
    return targets;
  }
  if (is_built_in_output(output) && !same_word(output, kForwardOutput)) return targets;
  const std::string socket = destination.parameter("unix_path");
  if (same_word(output, kForwardOutput) && !socket.empty()) {
    key = "plugin_unix_path";
    return {{"", socket}};
  }
  std::string host = destination.parameter("host");
  std::string port = destination.parameter("port");
  if (host.empty() && destination.config->host) host = destination.config->host;
  const int32_t own_port = destination.config->port & 0xffff;
  if (port.empty() && own_port != 0) port = std::to_string(own_port);
  if (port.empty()) port = usual_port(output);
  if (!host.empty() && !port.empty()) targets.push_back({host, port});
  return targets;
}

}  // namespace vek::tools
