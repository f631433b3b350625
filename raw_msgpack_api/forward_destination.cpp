// "forward": to a receiver of the Fluent Forward protocol, over TCP, TLS or a unix socket.
//
// It starts whether or not the receiver is up: collectors start before receivers do.
#include <utility>

#include "raw_msgpack_api/destination.h"
#include "raw_msgpack_api/forward_config.h"
#include "raw_msgpack_api/forward_sender.h"
#include "utils/logger.h"
#include "utils/output_rules.h"

namespace vek::engine {
namespace {

class ForwardDestination : public Destination {
 public:
  ForwardDestination(ForwardConfig config, std::unique_ptr<TlsClient> tls)
      : config_(std::move(config)), tls_(std::move(tls)) {}

  RecordForm form() const override { return RecordForm::kAsEvents; }
  void run(RecordQueue& queue) override { ForwardSender(config_, tls_.get(), wake_, queue).run(); }

 private:
  const ForwardConfig config_;
  const std::unique_ptr<TlsClient> tls_;
  const WakeFd wake_;
};

std::unique_ptr<Destination> make(const Settings& settings, const Parameters& parameters) {
  auto config = read_forward_config(settings, parameters);
  if (!config) return nullptr;
  std::unique_ptr<TlsClient> tls;
  if (config->tls) {
    tls = TlsClient::make(*config->tls);
    if (!tls) return nullptr;
    if (!config->tls->verify) {
      VEK_LOGW("[raw msgpack API] [%s] tls.verify is off: anybody may pose as the receiver",
               config->name.c_str());
    }
  }
  return std::make_unique<ForwardDestination>(std::move(*config), std::move(tls));
}

}  // namespace

constinit const DestinationKind kForwardDestination = {kForwardOutput, kForwardParameters, make,
                                                       /*may_spool=*/true};

}  // namespace vek::engine
