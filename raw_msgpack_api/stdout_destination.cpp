// "stdout": one line per event on standard output, as a log processor's output of that name prints
// it:
//
//   [0] cntr: [[1700000000.500000000, {}], {"rx_bytes"=>123, "temp"=>41.5}]
//
// The number counts the context's events from 0, the tag is the parameter "Tag". A list of maps is
// one event per map, all of the record's time. A bare map has the time of its "timestamp" entry,
// or else that of its arrival here.
#include "raw_msgpack_api/destination.h"
#include "raw_msgpack_api/json_scalars.h"
#include "raw_msgpack_api/record_events.h"
#include "raw_msgpack_api/record_json.h"
#include "raw_msgpack_api/stdout_sink.h"
#include "raw_msgpack_api/stream_destination.h"
#include "utils/output_rules.h"

namespace vek::engine {
namespace {

class EventLines : public RecordFormat {
 public:
  explicit EventLines(std::string tag) : tag_(std::move(tag)) {}

  void append(const RecordView& record, std::string& out) override {
    const EventTime time = time_of(record, now());
    RecordEvents events(record);
    Bytes body;
    while (events.next(body)) append_event(time, body, out);
  }

 private:
  void append_event(EventTime time, Bytes body, std::string& out) {
    out += '[';
    append_json_unsigned(number_++, out);
    out += "] ";
    out += tag_;
    out += ": [[";
    append_time(time, out);
    out += ", {}], ";
    append_text(body, TextStyle::kArrows, out);
    out += "]\n";
  }

  std::string tag_;
  uint64_t number_ = 0;
};

std::unique_ptr<Destination> make(const Settings& settings, const Parameters&) {
  auto sink = make_stdout_sink("stdout");
  if (!sink) return nullptr;
  return std::make_unique<StreamDestination>(
      settings.name, std::make_unique<EventLines>(settings.tag), std::move(sink));
}

}  // namespace

constinit const DestinationKind kStdoutDestination = {kStdoutOutput, {}, make};

}  // namespace vek::engine
