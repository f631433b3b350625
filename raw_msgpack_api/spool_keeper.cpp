#include "raw_msgpack_api/spool_keeper.h"

namespace vek::engine {

SpoolKeeper::SpoolKeeper(Spool& spool, RecordQueue& queue, SpoolSync sync)
    : spool_(spool), queue_(queue), sync_(sync) {
  thread_ = std::thread([this] { run(); });
}

SpoolKeeper::~SpoolKeeper() {
  {
    const std::lock_guard lock(mutex_);
    is_over_ = true;
  }
  wake_.notify_one();
  thread_.join();
}

void SpoolKeeper::run() noexcept {
  std::unique_lock lock(mutex_);
  while (!wake_.wait_for(lock, sync_.interval, [this] { return is_over_; })) {
    lock.unlock();
    if (sync_.kind == SpoolSync::Kind::kInterval) spool_.sync();
    queue_.look_again();
    lock.lock();
  }
}

}  // namespace vek::engine
