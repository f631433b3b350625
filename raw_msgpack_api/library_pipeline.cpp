#include "raw_msgpack_api/library_pipeline.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <future>
#include <thread>

#include "raw_msgpack_api/all_signals_blocked.h"
#include "raw_msgpack_api/fluent_bit_library.h"
#include "raw_msgpack_api/forward_probe.h"
#include "raw_msgpack_api/log_relay.h"
#include "utils/fluent_bit_search.h"
#include "utils/logger.h"
#include "utils/output_rules.h"

namespace vek::engine {
namespace {

// The library sets SIGPIPE to be ignored in the whole process; that is the host's to decide.
class SigPipeKept {
 public:
  SigPipeKept() { sigaction(SIGPIPE, nullptr, &before_); }
  ~SigPipeKept() { sigaction(SIGPIPE, &before_, nullptr); }
  SigPipeKept(const SigPipeKept&) = delete;
  SigPipeKept& operator=(const SigPipeKept&) = delete;

 private:
  struct sigaction before_ {};
};

// One context of the library, and every call for it; on one thread.
class LibraryContext {
 public:
  LibraryContext(const FluentBitLibrary& api, const FluentBitConfig& config)
      : api_(api), config_(config) {}
  ~LibraryContext() {
    const SigPipeKept kept;
    if (is_started_) api_.stop(context_);
    if (context_) api_.destroy(context_);
  }
  LibraryContext(const LibraryContext&) = delete;
  LibraryContext& operator=(const LibraryContext&) = delete;

  PipelineStart start() {
    const SigPipeKept kept;
    context_ = api_.create();
    if (!context_) return PipelineStart::unavailable("the library made no context");
    Properties service = config_.service;
    service.emplace_back("log_file", config_.log_path);
    // What it could send it has sent when it is stopped.
    service.emplace_back("grace", "1");
    for (const auto& [key, value] : service) {
      if (api_.service_set(context_, key.c_str(), value.c_str(), nullptr) != 0) {
        return PipelineStart::unavailable("the library does not take '" + key + "'");
      }
    }
    PipelineStart problem = add_input();
    if (problem.why.empty()) problem = add_output();
    if (!problem.why.empty()) return problem;
    is_started_ = api_.start(context_) == 0;
    return is_started_ ? PipelineStart{} : PipelineStart::refused("it did not start");
  }

 private:
  PipelineStart add_input() {
    const int id = api_.input(context_, "forward", nullptr);
    if (id < 0) return PipelineStart::unavailable("the library was built without 'in_forward'");
    for (const auto& [key, value] : config_.input) {
      if (api_.input_set(context_, id, key.c_str(), value.c_str(), nullptr) != 0) {
        return PipelineStart::unavailable("its input 'forward' does not take '" + key + "'");
      }
    }
    return {};
  }

  // Properties that nobody knows pass output_set, and start fails a second later without a word.
  PipelineStart add_output() {
    constexpr int kUnknown = -1;
    const int id = api_.output(context_, config_.output.c_str(), nullptr);
    if (id < 0) {
      return PipelineStart::unavailable("it has no output '" + config_.output + "'");
    }
    for (const auto& [key, value] : config_.output_properties) {
      std::string own_key = key;
      std::string own_value = value;
      if (!is_property_of_every_output(key) &&
          api_.output_property_check(context_, id, own_key.data(), own_value.data()) == kUnknown) {
        return PipelineStart::refused("the output '" + config_.output +
                                      "' of Fluent Bit has no parameter '" + key + "'");
      }
      if (api_.output_set(context_, id, key.c_str(), value.c_str(), nullptr) != 0) {
        return PipelineStart::refused("the output '" + config_.output +
                                      "' of Fluent Bit does not take this value of '" + key + "'");
      }
    }
    if (api_.output_set(context_, id, "match", "*", nullptr) != 0) {
      return PipelineStart::unavailable("its outputs do not take 'match'");
    }
    return {};
  }

  const FluentBitLibrary& api_;
  const FluentBitConfig& config_;
  FluentBitLibrary::Context context_ = nullptr;
  bool is_started_ = false;
};

class LibraryPipeline : public Pipeline {
 public:
  LibraryPipeline(FluentBitLibrary api, const FluentBitConfig& config, Socket log)
      : api_(std::move(api)), config_(config), relay_(config.name, std::move(log), config.secrets) {
    const AllSignalsBlocked blocked;  // inherited by the library's threads too
    thread_ = std::thread([this] { run(); });
  }
  ~LibraryPipeline() override {
    relay_.expect_end();
    stop_.signal();
    thread_.join();
  }

  PipelineStart outcome() { return outcome_.get_future().get(); }
  const LogRelay& relay() const { return relay_; }
  std::string probe(Clock::duration patience) const {
    return probe_receiver(config_.unix_path, config_.tag, Clock::now() + patience, {});
  }

 private:
  void run() noexcept {
    bool is_told = false;
    try {
      LibraryContext context(api_, config_);
      PipelineStart outcome = context.start();
      const bool is_good = outcome.why.empty();
      outcome_.set_value(std::move(outcome));
      is_told = true;
      if (is_good) watch();
    } catch (const std::exception& error) {
      if (!is_told) return outcome_.set_exception(std::current_exception());
      VEK_LOGE("[raw msgpack API] [%s] the Fluent Bit library was stopped: %s",
               config_.name.c_str(), error.what());
    }
  }

  // It cannot be started again in this process, but nobody should have to guess.
  void watch() {
    constexpr int kEvery = 10'000;  // milliseconds
    constexpr std::chrono::seconds kPatience{5};
    bool is_well = true;
    for (;;) {
      pollfd request{stop_.fd(), POLLIN, 0};
      if (poll(&request, 1, kEvery) > 0) return;
      const std::string why = probe(kPatience);
      if (why.empty() == is_well) continue;
      is_well = why.empty();
      if (is_well) {
        VEK_LOGI("[raw msgpack API] [%s] the Fluent Bit library answers again",
                 config_.name.c_str());
      } else {
        VEK_LOGE("[raw msgpack API] [%s] the Fluent Bit library does not answer: %s",
                 config_.name.c_str(), why.c_str());
      }
    }
  }

  const FluentBitLibrary api_;
  const FluentBitConfig config_;
  LogRelay relay_;  // outlives the context, which waits where nobody reads its log
  const WakeFd stop_;
  std::promise<PipelineStart> outcome_;
  std::thread thread_;
};

// The library writes its log to a file that it opens by name; a FIFO is one that never grows.
Socket open_log(const std::string& path) {
  if (mkfifo(path.c_str(), 0600) != 0) return Socket();
  return Socket(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
}

std::string with_errors(const std::string& why, const LogRelay& relay) {
  const std::string errors = relay.last_errors();
  return errors.empty() ? why : why + ": " + errors;
}

}  // namespace

size_t free_descriptors() {
  struct rlimit limit {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
  std::error_code error;
  size_t used = 0;
  for (std::filesystem::directory_iterator it("/proc/self/fd", error), end; !error && it != end;
       it.increment(error)) {
    ++used;
  }
  return error || used > limit.rlim_cur ? 0 : limit.rlim_cur - used;
}

PipelineStart start_library_pipeline(const FluentBitConfig& config) {
  constexpr size_t kDescriptors = 128;  // with a few less it ends the whole process
  const size_t free = free_descriptors();
  if (free < kDescriptors) {
    return PipelineStart::unavailable("only " + std::to_string(free) +
                                      " descriptors are free, of 128 that it needs");
  }
  std::string why;
  auto api = FluentBitLibrary::load(
      library_candidates(config.engine_path, SearchEnvironment::of_process()), why);
  if (!api) return PipelineStart::unavailable(why);
  const std::string path = api->path;
  Socket log = open_log(config.log_path);
  if (!log)
    return PipelineStart::unavailable("no log '" + config.log_path + "': " + std::strerror(errno));
  auto pipeline = std::make_unique<LibraryPipeline>(std::move(*api), config, std::move(log));
  PipelineStart outcome = pipeline->outcome();
  if (outcome.why.empty()) {
    outcome.why = pipeline->probe(config.start_timeout);
    if (!outcome.why.empty()) outcome.why = with_errors(outcome.why, pipeline->relay());
  }
  if (!outcome.why.empty()) {
    outcome.why = path + ": " + outcome.why;
    return outcome;
  }
  VEK_LOGI("[raw msgpack API] [%s] Fluent Bit runs as the library '%s'", config.name.c_str(),
           path.c_str());
  outcome.pipeline = std::move(pipeline);
  return outcome;
}

}  // namespace vek::engine
