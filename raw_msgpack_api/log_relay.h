// LogRelay: a thread that reads somebody else's log lines from a descriptor and logs them as ours,
// at the level that they state, without the secrets in them.
#ifndef VEK_RAW_MSGPACK_API_LOG_RELAY_H
#define VEK_RAW_MSGPACK_API_LOG_RELAY_H

#include <atomic>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "raw_msgpack_api/secret_filter.h"
#include "raw_msgpack_api/socket.h"
#include "raw_msgpack_api/wake_fd.h"

namespace vek::engine {

// "[2026/01/31 12:00:00.123] [ warn] [output:http:http.0] text" without its time and level; level 7
// for lines that state none.
struct ForeignLine {
  int priority;
  std::string_view text;
};
ForeignLine read_foreign_line(std::string_view line);

class LogRelay {
 public:
  // `source` is owned, does not block and may be at its end now and then.
  LogRelay(const std::string& name, Socket source, SecretFilter secrets);
  // Once all that is there now is logged.
  ~LogRelay();
  LogRelay(const LogRelay&) = delete;
  LogRelay& operator=(const LogRelay&) = delete;

  // From now on what it warns of is what was asked for: that it ends.
  void expect_end() noexcept { is_ending_ = true; }
  // The last error lines, to say why something did not start; empty when there was none.
  std::string last_errors() const;

 private:
  void run();
  bool read_all();  // whether there was something
  void log_line(std::string_view line);

  const std::string name_;
  const Socket source_;
  const SecretFilter secrets_;
  const WakeFd stop_;
  std::string rest_;  // a line without its end yet
  mutable std::mutex mutex_;
  std::atomic<bool> is_ending_{false};
  std::string errors_;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_LOG_RELAY_H
