// ForwardLink: the way to a receiver, from looking up its name to the moment at which frames may be
// written. Never waits: it says what to poll for and until when.
#ifndef VEK_RAW_MSGPACK_API_FORWARD_LINK_H
#define VEK_RAW_MSGPACK_API_FORWARD_LINK_H

#include <memory>
#include <optional>
#include <string>

#include "raw_msgpack_api/connection.h"
#include "raw_msgpack_api/forward_config.h"
#include "raw_msgpack_api/forward_handshake.h"
#include "raw_msgpack_api/host_lookup.h"
#include "raw_msgpack_api/stop_signal.h"

namespace vek::engine {

class ForwardLink {
 public:
  enum class Phase : uint8_t { kClosed, kLookingUp, kConnecting, kSecuring, kGreeting, kReady };

  // `tls` is null for a plain connection; both are borrowed.
  ForwardLink(const ForwardConfig& config, const TlsClient* tls);

  Phase phase() const { return phase_; }
  bool is_ready() const { return phase_ == Phase::kReady; }
  // Where to, for log lines.
  const std::string& place() const { return place_; }

  // Begins. Throws std::bad_alloc, std::system_error.
  void open(Clock::time_point now);
  // Goes as far as it can, up to kReady. False when this attempt is over, and closed.
  bool advance(Clock::time_point now);
  void close() noexcept;
  // Ends a ready connection so that the peer can read all that was written.
  void say_goodbye() noexcept;
  const std::string& error() const { return error_; }

  // Until it is ready.
  Clock::time_point deadline() const { return deadline_; }
  int fd() const;  // to poll; -1: nothing
  short events() const;
  // Once it is ready.
  Connection& connection() { return *connection_; }

 private:
  bool look_up(Clock::time_point now);
  bool connect_next(Clock::time_point now);
  bool finish_connect(Clock::time_point now);
  bool secure(Clock::time_point now);
  bool greet(Clock::time_point now);
  bool write_greeting();
  void enter(Phase phase, Clock::time_point deadline);
  bool fail(std::string why);

  const ForwardConfig& config_;
  const TlsClient* tls_;
  std::string place_;
  HostLookup lookup_;
  std::vector<SocketAddress> addresses_;
  size_t next_address_ = 0;
  Phase phase_ = Phase::kClosed;
  Clock::time_point deadline_{};
  Socket socket_;  // while it connects
  std::unique_ptr<Connection> connection_;
  std::optional<ForwardHandshake> handshake_;
  std::string greeting_;  // what is left to write of it
  std::string error_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FORWARD_LINK_H
