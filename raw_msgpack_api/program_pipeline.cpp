#include "raw_msgpack_api/program_pipeline.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <thread>

#include "raw_msgpack_api/all_signals_blocked.h"
#include "raw_msgpack_api/backoff.h"
#include "raw_msgpack_api/child_program.h"
#include "raw_msgpack_api/fluent_bit_program.h"
#include "raw_msgpack_api/forward_probe.h"
#include "raw_msgpack_api/log_relay.h"
#include "raw_msgpack_api/random_bytes.h"
#include "utils/fluent_bit_search.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

constexpr const char* kConfigName = "fluent-bit.conf";

uint32_t random_seed() {
  std::array<uint8_t, 2> bytes;
  fill_random(bytes);
  return static_cast<uint32_t>(bytes[0] | bytes[1] << 8) + 1;
}

struct LogPipe {
  Socket reader;
  Socket writer;

  static LogPipe make() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::system_error(errno, std::generic_category(), "pipe");
    }
    LogPipe pipe{Socket(ends[0]), Socket(ends[1])};
    fcntl(ends[0], F_SETFL, O_NONBLOCK);  // not the program's end: it need not expect that
    return pipe;
  }
};

class ProgramPipeline : public Pipeline {
 public:
  ProgramPipeline(std::string path, const FluentBitConfig& config, const PrivateFolder& folder,
                  LogPipe log)
      : path_(std::move(path)),
        config_(config),
        folder_(folder),
        log_writer_(std::move(log.writer)),
        relay_(config.name, std::move(log.reader), config.secrets) {
    const AllSignalsBlocked blocked;
    thread_ = std::thread([this] { run(); });
  }
  ~ProgramPipeline() override {
    relay_.expect_end();
    stop_.signal();
    thread_.join();
  }

  // Empty when it takes records.
  std::string await_start() {
    const auto deadline = Clock::now() + config_.start_timeout;
    std::string why = probe_receiver(config_.unix_path, config_.tag, deadline,
                                     [this] { return deaths_.load() > 0; });
    if (why.empty()) return why;
    if (deaths_.load() > 0) why = "it ended right away";
    const std::string errors = relay_.last_errors();
    return errors.empty() ? why : why + ": " + errors;
  }

 private:
  // The kernel ends the program with the thread that started it: this one lives as long.
  void run() noexcept {
    try {
      Backoff backoff(config_.retry_base, config_.retry_cap, random_seed());
      for (;;) {
        const auto started = Clock::now();
        if (!run_program()) return;
        ++deaths_;
        if (Clock::now() - started > config_.retry_cap) backoff.reset();
        pollfd request{stop_.fd(), POLLIN, 0};
        if (poll(&request, 1, static_cast<int>(backoff.next().count())) > 0) return;
      }
    } catch (const std::exception& error) {
      ++deaths_;
      VEK_LOGE("[raw msgpack API] [%s] Fluent Bit is not watched any more: %s",
               config_.name.c_str(), error.what());
    }
  }

  // True when it has to be started again.
  bool run_program() {
    auto child = ChildProgram::start(
        {path_, {"-c", folder_.file(kConfigName)}, -1, log_writer_.fd(), folder_.lock_fd()});
    if (!child) {
      VEK_LOGE("[raw msgpack API] [%s] cannot run '%s': %s", config_.name.c_str(), path_.c_str(),
               std::strerror(errno));
      return true;
    }
    VEK_LOGD("[raw msgpack API] [%s] '%s' runs as process %d", config_.name.c_str(), path_.c_str(),
             static_cast<int>(child->pid()));
    std::array<pollfd, 2> requests = {{{stop_.fd(), POLLIN, 0}, {child->fd(), POLLIN, 0}}};
    while (poll(requests.data(), requests.size(), -1) < 0 && errno == EINTR) continue;
    if (requests[0].revents != 0) {
      end(*child);
      return false;
    }
    child->wait_until(Clock::time_point::max());
    VEK_LOGW("[raw msgpack API] [%s] Fluent Bit died (%s); it is started again",
             config_.name.c_str(), child->how().c_str());
    return true;
  }

  // What it could send it has sent by now, or it would not do so in a while.
  void end(ChildProgram& child) const {
    constexpr std::chrono::seconds kToEnd{3};
    child.signal(SIGTERM);
    if (child.wait_until(Clock::now() + kToEnd)) return;
    child.signal(SIGKILL);
    child.wait_until(Clock::time_point::max());
    VEK_LOGW("[raw msgpack API] [%s] Fluent Bit did not end in time and was killed",
             config_.name.c_str());
  }

  const std::string path_;
  const FluentBitConfig config_;
  const PrivateFolder& folder_;
  const Socket log_writer_;  // kept open, so that the log never ends
  LogRelay relay_;
  const WakeFd stop_;
  std::atomic<unsigned> deaths_{0};
  std::thread thread_;
};

}  // namespace

PipelineStart start_program_pipeline(const FluentBitConfig& config, const PrivateFolder& folder) {
  std::string why;
  const auto program = FluentBitProgram::find(
      program_candidates(config.engine_path, SearchEnvironment::of_process()), why);
  if (!program) return PipelineStart::unavailable(why);
  if (!folder.write(kConfigName, classic_text(config))) {
    return PipelineStart::unavailable("cannot write '" + folder.file(kConfigName) +
                                      "': " + std::strerror(errno));
  }
  why = program->check(folder.file(kConfigName), config);
  if (!why.empty()) return PipelineStart::refused(why);
  auto pipeline = std::make_unique<ProgramPipeline>(program->path, config, folder, LogPipe::make());
  why = pipeline->await_start();
  if (!why.empty()) return PipelineStart::unavailable(program->path + ": " + why);
  VEK_LOGI("[raw msgpack API] [%s] Fluent Bit %s runs as the program '%s'", config.name.c_str(),
           program->version.c_str(), program->path.c_str());
  PipelineStart started;
  started.pipeline = std::move(pipeline);
  return started;
}

}  // namespace vek::engine
