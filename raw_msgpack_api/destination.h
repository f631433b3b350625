// Destination: the part of a context that knows where records go.
//
// A destination runs on its context's one thread and takes records from the context's queue until
// the queue says that it is over. It settles every record that it takes: delivered, or dropped with
// a reason. What it leaves unsettled is counted as given up. Destinations never see the collector's
// thread; only their construction, in "init", may fail, with an error line that says why.
#ifndef VEK_RAW_MSGPACK_API_DESTINATION_H
#define VEK_RAW_MSGPACK_API_DESTINATION_H

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "raw_msgpack_api/parameters.h"
#include "raw_msgpack_api/record_queue.h"
#include "raw_msgpack_api/settings.h"

namespace vek::engine {

class Destination {
 public:
  virtual ~Destination() = default;
  // The thread's body: returns once queue.take() answers null. May throw std::bad_alloc, and is
  // called again then.
  virtual void run(RecordQueue& queue) = 0;
  // How it wants the queue to keep records.
  virtual RecordForm form() const { return RecordForm::kAsGiven; }
  // Once, when run() has returned for good, on the thread that calls "finalize": ends what the
  // destination started. False when records were lost behind it that it had settled as delivered.
  virtual bool finish() noexcept { return true; }
};

// One row of the table of built-in destinations.
struct DestinationKind {
  std::string_view name;
  std::span<const std::string_view> parameters;  // its own, beyond those that all take
  std::unique_ptr<Destination> (*make)(const Settings&, const Parameters&);
  bool may_spool = false;  // "storage.path" gives its queue a spool
};

// Null when no built-in destination has this name, in any case.
const DestinationKind* find_destination(std::string_view name);

extern const DestinationKind kNullDestination;
extern const DestinationKind kStdoutDestination;
extern const DestinationKind kStdoutRawDestination;
extern const DestinationKind kFileDestination;
extern const DestinationKind kForwardDestination;

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_DESTINATION_H
