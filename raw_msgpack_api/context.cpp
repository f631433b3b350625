#include "raw_msgpack_api/context.h"

#include <algorithm>
#include <cinttypes>
#include <exception>
#include <utility>

#include "raw_msgpack_api/all_signals_blocked.h"
#include "raw_msgpack_api/engine_choice.h"
#include "raw_msgpack_api/fluent_bit_destination.h"
#include "utils/logger.h"

namespace vek::engine {
Context::Context(Settings settings, std::unique_ptr<Destination> destination,
                 std::unique_ptr<Spool> spool, SpoolSync sync)
    : settings_(std::move(settings)),
      spool_(std::move(spool)),
      sync_(sync),
      queue_(settings_.mem_buf_limit, spool_.get(), sync.kind == SpoolSync::Kind::kAlways,
             destination->form()),
      destination_(std::move(destination)),
      report_(settings_.name) {
  const AllSignalsBlocked blocked;
  if (spool_) keeper_ = std::make_unique<SpoolKeeper>(*spool_, queue_, sync_);
  thread_ = std::thread([this] { run(); });
}

Context::~Context() { finish(); }

void Context::run() noexcept {
  constexpr std::chrono::milliseconds kUntilMemory{20};
  for (;;) {
    try {
      destination_->run(queue_);
      return;
    } catch (const std::exception& error) {
      if (run_limit_.due_at_level(VEK_LOG_ERROR)) {
        VEK_LOGE("[raw msgpack API] [%s] %s", settings_.name.c_str(), error.what());
      }
      // What memory was missing for must not stand in the way of the records behind it.
      queue_.drop_taken(DropReason::kOutOfMemory);
      if (queue_.stop().expired()) return;  // what is left is counted by whoever waits for us
      std::this_thread::sleep_for(kUntilMemory);
    }
  }
}

void Context::add(Bytes buffer) noexcept {
  {
    const std::lock_guard lock(add_mutex_);
    FoundRecord record;
    if (!add_like(buffer)) {
      if (familiar_.find(buffer, record)) {
        push(record);
      } else {
        add_unknown(buffer);
      }
    }
  }
  if (spool_ && sync_.kind == SpoolSync::Kind::kAlways) spool_->sync();
}

// False when it is no record like those before, as far as its first bytes tell which.
bool Context::add_like(Bytes buffer) noexcept {
  const RecordLayout* layout = familiar_.guess(buffer);
  if (!layout) return false;
  const FoundRecord record = layout->found(buffer);
  const auto pushed = queue_.push_like(*layout, record);
  report(pushed, record.mended && pushed.fits);
  return pushed.fits;
}

void Context::add_unknown(Bytes buffer) noexcept {
  RecordWalk walk(buffer);
  for (;;) {
    switch (walk.next()) {
      case RecordWalk::Step::kEnd:
        return;
      case RecordWalk::Step::kDropped:
        queue_.drop_malformed(walk.reason());
        report_.dropped(queue_, walk.reason(), 1);
        break;
      case RecordWalk::Step::kRecord:
        push(walk.found());
        if (walk.record().bytes.size() == buffer.size()) familiar_.learn(walk.found());
        break;
    }
  }
}

void Context::push(const FoundRecord& record) noexcept {
  report(queue_.push(record.view, record.mended, record.pairs), record.mended);
}

void Context::report(const RecordQueue::PushResult& pushed, bool mended) noexcept {
  if (pushed.dropped > 0) report_.dropped(queue_, pushed.reason, pushed.dropped);
  if (mended && mended_limit_.due_at_level(VEK_LOG_DEBUG)) {
    VEK_LOGD("[raw msgpack API] [%s] a record announced more pairs than it holds; mended",
             settings_.name.c_str());
  }
}

// Part of the grace is kept for the disk, and should the destination take longer than it may, there
// is still a moment to save what it did not send.
void Context::flush() noexcept {
  constexpr std::chrono::milliseconds kToSpool{1000};
  const auto end = Clock::now() + settings_.grace;
  queue_.close(spool_ ? end - std::min(kToSpool, settings_.grace / 4) : end);
  thread_.join();
  if (spool_) {
    queue_.spool_rest(std::max(end, Clock::now() + kToSpool));
    queue_.drop_rest(DropReason::kSpoolFailed);
    keeper_.reset();
    spool_->sync();
  } else {
    queue_.drop_rest(DropReason::kGraceOver);
  }
  passed_on_ = destination_->finish();
}

// Often because memory is short, so the line may have to do without the account.
void Context::report_given_up(const Account& account) const noexcept {
  std::string text;
  try {
    text = account_json(account);
  } catch (const std::bad_alloc&) {
    // Said without it.
  }
  VEK_LOGE("[raw msgpack API] [%s] %" PRIu64 " records did not arrive: %s", settings_.name.c_str(),
           account.given_up(), text.c_str());
}

bool Context::finish() noexcept {
  if (thread_.joinable()) {
    flush();
    const Account account = queue_.account();
    VEK_LOGI("[raw msgpack API] [%s] %" PRIu64 " records accepted, %" PRIu64 " delivered, %" PRIu64
             " spooled, %" PRIu64 " dropped",
             settings_.name.c_str(), account.accepted, account.delivered, account.spooled,
             account.dropped_sum());
    if (account.spooled > 0) {
      VEK_LOGW("[raw msgpack API] [%s] %" PRIu64 " records wait in '%s' for the next start",
               settings_.name.c_str(), account.spooled, spool_->folder().c_str());
    }
    if (account.given_up() > 0) report_given_up(account);
  }
  return queue_.account().given_up() == 0 && passed_on_;
}

namespace {

std::unique_ptr<Destination> make_built_in(const DestinationKind& kind, const Settings& settings,
                                           const Parameters& parameters) {
  if (!parameters.all_known(kind.name, kind.parameters)) return nullptr;
  return kind.make(settings, parameters);
}

// False after an error line. `out` stays empty where no spool is wanted.
bool open_spool(const SpoolConfig& config, std::unique_ptr<Spool>& out) {
  if (!config.is_wanted()) return true;
  out = Spool::open(config.spool);
  return out != nullptr;
}

}  // namespace

std::unique_ptr<Context> make_context(const Target& target, const Parameters& parameters) {
  const DestinationKind* kind = find_destination(target.plugin);
  const auto engines = engines_to_try(parameters, kind != nullptr);
  if (!engines) return nullptr;
  const bool is_built_in = engines->front() == Engine::kBuiltin;
  if (is_built_in && !kind) {
    report_no_output(target.plugin);
    return nullptr;
  }
  const std::string_view name = kind ? kind->name : target.plugin;
  const auto settings = read_settings(parameters, {name, target.host, target.port, target.kind});
  if (!settings) return nullptr;
  const auto spool_config = read_spool_settings(parameters, settings->name);
  if (!spool_config) return nullptr;
  std::unique_ptr<Destination> destination;
  std::unique_ptr<Spool> spool;
  if (is_built_in) {
    destination = make_built_in(*kind, *settings, parameters);
    if (!destination || (kind->may_spool && !open_spool(*spool_config, spool))) return nullptr;
  } else {
    // The spool's lock keeps two contexts from Fluent Bit's folder beside it, too.
    if (!open_spool(*spool_config, spool)) return nullptr;
    destination = make_fluent_bit_destination(name, *engines, *settings, parameters);
    if (!destination) return nullptr;
  }
  return std::make_unique<Context>(*settings, std::move(destination), std::move(spool),
                                   spool_config->sync);
}

}  // namespace vek::engine
