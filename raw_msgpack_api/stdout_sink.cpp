#include "raw_msgpack_api/stdout_sink.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>

#include "raw_msgpack_api/socket.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

class StdoutSink : public FdSink {
 public:
  using FdSink::FdSink;

  WriteResult write(std::string_view bytes, const StopSignal& stop) override {
    // Not a plain lock(): the context that holds it may itself be waiting for a slow reader.
    std::unique_lock lock(mutex(), std::try_to_lock);
    while (!lock.owns_lock()) {
      if (stop.expired()) return {0, ETIMEDOUT};
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      lock.try_lock();
    }
    return FdSink::write(bytes, stop);
  }

 private:
  static std::mutex& mutex() {
    static constinit std::mutex instance;
    return instance;
  }
};

}  // namespace

std::unique_ptr<ByteSink> make_stdout_sink(std::string_view plugin) {
  Socket own(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!own) {
    VEK_LOGE("[raw msgpack API] output '%.*s' cannot use standard output: %s",
             static_cast<int>(plugin.size()), plugin.data(), std::strerror(errno));
    return nullptr;
  }
  auto sink = std::make_unique<StdoutSink>(own.fd());
  (void)own.release();
  return sink;
}

}  // namespace vek::engine
