// "null": takes every record and forgets it. The account still counts them as delivered, so that a
// configuration can be measured without a receiver.
#include "raw_msgpack_api/destination.h"
#include "utils/output_rules.h"

namespace vek::engine {
namespace {

class NullDestination : public Destination {
 public:
  void run(RecordQueue& queue) override {
    while (const RecordBatch* batch = queue.take()) queue.settle_delivered(batch->size());
  }
};

std::unique_ptr<Destination> make(const Settings&, const Parameters&) {
  return std::make_unique<NullDestination>();
}

}  // namespace

constinit const DestinationKind kNullDestination = {kNullOutput, {}, make};

}  // namespace vek::engine
