#include "raw_msgpack_api/forward_link.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace vek::engine {
namespace {

Bytes as_bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

std::string place_of(const ForwardConfig& config) {
  if (!config.unix_path.empty()) return config.unix_path;
  const bool is_v6 = config.host.find(':') != std::string::npos;
  return (is_v6 ? '[' + config.host + ']' : config.host) + ':' + config.port;
}

}  // namespace

ForwardLink::ForwardLink(const ForwardConfig& config, const TlsClient* tls)
    : config_(config), tls_(tls), place_(place_of(config)), lookup_(config.host, config.port) {}

void ForwardLink::enter(Phase phase, Clock::time_point deadline) {
  phase_ = phase;
  deadline_ = deadline;
}

void ForwardLink::close() noexcept {
  connection_.reset();
  socket_.reset();
  handshake_.reset();
  greeting_.clear();
  phase_ = Phase::kClosed;
}

void ForwardLink::say_goodbye() noexcept {
  if (is_ready()) connection_->shut_down();
  close();
}

bool ForwardLink::fail(std::string why) {
  close();
  error_ = std::move(why);
  return false;
}

void ForwardLink::open(Clock::time_point now) {
  close();
  error_.clear();
  addresses_.clear();
  next_address_ = 0;
  if (config_.unix_path.empty()) {
    lookup_.start();
  } else {
    unix_address(config_.unix_path, addresses_.emplace_back());
  }
  enter(Phase::kLookingUp, now + config_.connect_timeout);
}

bool ForwardLink::advance(Clock::time_point now) {
  Phase before = Phase::kReady;
  bool going = true;
  while (going && phase_ != before) {
    before = phase_;
    switch (phase_) {
      case Phase::kLookingUp:
        going = look_up(now);
        break;
      case Phase::kConnecting:
        going = finish_connect(now);
        break;
      case Phase::kSecuring:
        going = secure(now);
        break;
      case Phase::kGreeting:
        going = greet(now);
        break;
      case Phase::kClosed:
      case Phase::kReady:
        break;
    }
  }
  return going;
}

bool ForwardLink::look_up(Clock::time_point now) {
  if (addresses_.empty()) {
    if (!lookup_.done()) return now < deadline_ || fail("looking up its name took too long");
    addresses_ = lookup_.addresses();
    error_ = lookup_.error();
  }
  return connect_next(now);
}

bool ForwardLink::connect_next(Clock::time_point now) {
  while (next_address_ < addresses_.size()) {
    const SocketAddress& address = addresses_[next_address_++];
    socket_ = start_connect(address);
    if (socket_) {
      enter(Phase::kConnecting, now + config_.connect_timeout);
      return true;
    }
    error_ = address.text() + ": " + std::strerror(errno);
  }
  return fail(error_.empty() ? "it has no address" : std::move(error_));
}

bool ForwardLink::finish_connect(Clock::time_point now) {
  for (;;) {
    int error = connect_result(socket_);
    if (error == EINPROGRESS) {
      if (now < deadline_) return true;
      error = ETIMEDOUT;
    }
    if (error == 0) break;
    error_ = addresses_[next_address_ - 1].text() + ": " + std::strerror(error);
    if (!connect_next(now)) return false;
  }
  if (tls_) {
    connection_ = tls_->connect(std::move(socket_));
  } else {
    connection_ = std::make_unique<Connection>(std::move(socket_));
  }
  enter(Phase::kSecuring, now + config_.handshake_timeout);
  return true;
}

bool ForwardLink::secure(Clock::time_point now) {
  switch (connection_->secure()) {
    case IoStatus::kOk:
      break;
    case IoStatus::kAgain:
      return now < deadline_ || fail("the TLS handshake took too long");
    default:
      return fail(connection_->error());
  }
  if (!config_.credentials.any()) {
    enter(Phase::kReady, Clock::time_point::max());
    return true;
  }
  handshake_.emplace(config_.credentials, ForwardHandshake::make_salt());
  enter(Phase::kGreeting, now + config_.handshake_timeout);
  return true;
}

bool ForwardLink::write_greeting() {
  while (!greeting_.empty()) {
    const IoResult result = connection_->write(as_bytes(greeting_));
    if (result.status == IoStatus::kAgain) return true;
    if (result.status != IoStatus::kOk) return fail("handshake: " + connection_->error());
    greeting_.erase(0, result.bytes);
  }
  return true;
}

bool ForwardLink::greet(Clock::time_point now) {
  std::array<uint8_t, 1024> buffer;
  for (;;) {
    if (!write_greeting()) return false;
    const IoResult result = connection_->read(buffer);
    if (result.status == IoStatus::kAgain) break;
    if (result.status != IoStatus::kOk) return fail("handshake: " + connection_->error());
    switch (handshake_->advance(Bytes(buffer).first(result.bytes))) {
      case ForwardHandshake::Step::kNeedMore:
        break;
      case ForwardHandshake::Step::kSend:
        greeting_ = handshake_->message();
        break;
      case ForwardHandshake::Step::kDone:
        enter(Phase::kReady, Clock::time_point::max());
        return true;
      case ForwardHandshake::Step::kFailed:
        return fail(handshake_->error());
    }
  }
  return now < deadline_ || fail("handshake: the receiver took too long");
}

int ForwardLink::fd() const {
  if (connection_) return connection_->fd();
  return phase_ == Phase::kLookingUp ? lookup_.fd() : socket_.fd();
}

short ForwardLink::events() const {
  if (connection_) return connection_->events();
  return phase_ == Phase::kConnecting ? POLLOUT : POLLIN;
}

}  // namespace vek::engine
