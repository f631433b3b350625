#include "raw_msgpack_api/context.h"

#include <pthread.h>

#include <cinttypes>
#include <csignal>
#include <exception>
#include <utility>

#include "utils/logger.h"

namespace vek::engine {
namespace {

// While it lives, the calling thread has every signal blocked; a thread started meanwhile keeps
// that. The host's handlers never run on an engine's thread, and SIGPIPE and SIGXFSZ, which are
// sent to the thread that writes, become plain errors.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous_);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t previous_;
};

}  // namespace

Context::Context(Settings settings, std::unique_ptr<Destination> destination)
    : settings_(std::move(settings)),
      queue_(settings_.mem_buf_limit),
      destination_(std::move(destination)),
      report_(settings_.name) {
  const AllSignalsBlocked blocked;
  thread_ = std::thread([this] { run(); });
}

Context::~Context() { finish(); }

void Context::run() noexcept {
  for (;;) {
    try {
      destination_->run(queue_);
      return;
    } catch (const std::exception& error) {
      VEK_LOGE("[raw msgpack API] [%s] %s", settings_.name.c_str(), error.what());
      // What memory was missing for must not stand in the way of the records behind it.
      queue_.drop_taken(DropReason::kOutOfMemory);
    }
  }
}

void Context::add(Bytes buffer) noexcept {
  RecordWalk walk(buffer);
  for (;;) {
    switch (walk.next()) {
      case RecordWalk::Step::kEnd:
        return;
      case RecordWalk::Step::kDropped:
        queue_.drop_malformed(walk.reason());
        report_.dropped(queue_, walk.reason(), 1);
        break;
      case RecordWalk::Step::kRecord: {
        const auto pushed = queue_.push(walk.record(), walk.mended(), walk.pairs());
        if (pushed.dropped > 0) report_.dropped(queue_, pushed.reason, pushed.dropped);
        if (walk.mended() && mended_limit_.due_at_level(VEK_LOG_DEBUG)) {
          VEK_LOGD("[raw msgpack API] [%s] a record announced more pairs than it holds; mended",
                   settings_.name.c_str());
        }
        break;
      }
    }
  }
}

bool Context::finish() noexcept {
  if (thread_.joinable()) {
    queue_.close(Clock::now() + settings_.grace);
    thread_.join();
    queue_.drop_rest(DropReason::kGraceOver);
    const Account account = queue_.account();
    VEK_LOGI("[raw msgpack API] [%s] %" PRIu64 " records accepted, %" PRIu64 " delivered, %" PRIu64
             " dropped",
             settings_.name.c_str(), account.accepted, account.delivered, account.dropped_sum());
    if (account.given_up() > 0) {
      VEK_LOGE("[raw msgpack API] [%s] %" PRIu64 " records did not arrive: %s",
               settings_.name.c_str(), account.given_up(), account_json(account).c_str());
    }
  }
  return queue_.account().given_up() == 0;
}

std::unique_ptr<Context> make_context(const Target& target, const Parameters& parameters) {
  const DestinationKind* kind = find_destination(target.plugin);
  if (!kind) return nullptr;
  if (!parameters.all_known(kind->name, kind->parameters)) return nullptr;
  const Target known = {kind->name, target.host, target.port, target.kind};
  const auto settings = read_settings(parameters, known);
  if (!settings) return nullptr;
  auto destination = kind->make(*settings, parameters);
  if (!destination) return nullptr;
  return std::make_unique<Context>(*settings, std::move(destination));
}

}  // namespace vek::engine
