// AllSignalsBlocked: what keeps the host's signal handlers off the engine's threads.
#ifndef VEK_RAW_MSGPACK_API_ALL_SIGNALS_BLOCKED_H
#define VEK_RAW_MSGPACK_API_ALL_SIGNALS_BLOCKED_H

#include <pthread.h>

#include <csignal>

namespace vek::engine {

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

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_ALL_SIGNALS_BLOCKED_H
