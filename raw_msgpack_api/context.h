// Context: one destination with its queue and its thread, and perhaps a spool.
#ifndef VEK_RAW_MSGPACK_API_CONTEXT_H
#define VEK_RAW_MSGPACK_API_CONTEXT_H

#include <memory>
#include <mutex>
#include <thread>

#include "raw_msgpack_api/destination.h"
#include "raw_msgpack_api/drop_report.h"
#include "raw_msgpack_api/familiar_records.h"
#include "raw_msgpack_api/record_queue.h"
#include "raw_msgpack_api/settings.h"
#include "raw_msgpack_api/spool_keeper.h"
#include "raw_msgpack_api/spool_settings.h"
#include "utils/clock.h"

namespace vek::engine {

class Context {
 public:
  // Starts the threads; throws std::system_error where there is none to be had.
  Context(Settings settings, std::unique_ptr<Destination> destination,
          std::unique_ptr<Spool> spool = nullptr, SpoolSync sync = {});
  // As finish(), if that was not called.
  ~Context();
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  void add(Bytes buffer) noexcept;
  // Flushes for as long as the grace lasts, spools what is left and ends the threads. True when
  // every sound record that was ever added arrived or waits in the spool.
  bool finish() noexcept;
  Account account() const { return queue_.account(); }
  const std::string& name() const { return settings_.name; }

 private:
  void add_unknown(Bytes buffer) noexcept;
  bool add_like(Bytes buffer) noexcept;
  void push(const FoundRecord& record) noexcept;
  void report(const RecordQueue::PushResult& pushed, bool mended) noexcept;
  void run() noexcept;
  void flush() noexcept;
  void report_given_up(const Account& account) const noexcept;

  Settings settings_;
  std::unique_ptr<Spool> spool_;  // may be null
  SpoolSync sync_;
  RecordQueue queue_;
  std::unique_ptr<Destination> destination_;
  // Held by the thread that adds: hosts use one at a time, but nothing may break where one does
  // not.
  std::mutex add_mutex_;
  FamiliarRecords familiar_;
  DropReport report_;
  LogRateLimit mended_limit_;
  LogRateLimit run_limit_;  // used by its thread alone
  bool passed_on_ = true;   // what the destination took is not lost behind it
  std::unique_ptr<SpoolKeeper> keeper_;
  std::thread thread_;
};

// Null, after an error line, when the configuration does not work.
std::unique_ptr<Context> make_context(const Target& target, const Parameters& parameters);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_CONTEXT_H
