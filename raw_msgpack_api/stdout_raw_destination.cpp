// "stdout_raw": each record as it stands, one line of JSON on standard output: [seconds, {...}],
// {...} or [seconds, [...]].
#include "raw_msgpack_api/destination.h"
#include "raw_msgpack_api/stdout_sink.h"
#include "raw_msgpack_api/stream_destination.h"
#include "utils/output_rules.h"

namespace vek::engine {
namespace {

std::unique_ptr<Destination> make(const Settings& settings, const Parameters&) {
  auto sink = make_stdout_sink("stdout_raw");
  if (!sink) return nullptr;
  return std::make_unique<StreamDestination>(settings.name, std::make_unique<JsonLines>(),
                                             std::move(sink));
}

}  // namespace

constinit const DestinationKind kStdoutRawDestination = {kStdoutRawOutput, {}, make};

}  // namespace vek::engine
