// SpoolKeeper: the thread that syncs a spool. A disk may take seconds for that, in which neither
// add_data nor the connection to a receiver must stand still.
#ifndef VEK_RAW_MSGPACK_API_SPOOL_KEEPER_H
#define VEK_RAW_MSGPACK_API_SPOOL_KEEPER_H

#include <condition_variable>
#include <mutex>
#include <thread>

#include "raw_msgpack_api/record_queue.h"
#include "raw_msgpack_api/spool_settings.h"

namespace vek::engine {

class SpoolKeeper {
 public:
  // Both outlive it. Throws std::system_error where there is no thread to be had. The thread
  // inherits the caller's signal mask.
  SpoolKeeper(Spool& spool, RecordQueue& queue, SpoolSync sync);
  ~SpoolKeeper();
  SpoolKeeper(const SpoolKeeper&) = delete;
  SpoolKeeper& operator=(const SpoolKeeper&) = delete;

 private:
  void run() noexcept;

  Spool& spool_;
  RecordQueue& queue_;
  const SpoolSync sync_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool is_over_ = false;
  std::thread thread_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_SPOOL_KEEPER_H
