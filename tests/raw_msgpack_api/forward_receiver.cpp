#include "tests/raw_msgpack_api/forward_receiver.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <zlib.h>

#include <csignal>
#include <map>

#include "raw_msgpack_api/msgpack_token.h"
#include "tests/raw_msgpack_api/pack.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

using engine::Bytes;
using engine::read_token;
using engine::skip_object;
using engine::Token;
using engine::TokenStatus;

Bytes as_bytes(const std::string& text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// Takes the object at the start of `rest` off it.
Bytes next_object(Bytes& rest) {
  size_t size = 0;
  EXPECT_EQ(skip_object(rest, size), TokenStatus::kOk);
  const Bytes object = rest.first(size);
  rest = rest.subspan(size);
  return object;
}

Token next_token(Bytes& rest, bool whole = true) {
  Token token;
  EXPECT_EQ(read_token(rest, token), TokenStatus::kOk);
  rest = rest.subspan(whole ? token.size() : token.header_size);
  return token;
}

std::string text_of(Bytes object) {
  const Token token = next_token(object, false);
  return {reinterpret_cast<const char*>(object.data()), static_cast<size_t>(token.payload_size)};
}

std::string inflate_all(const std::string& packed) {
  z_stream stream{};
  inflateInit2(&stream, MAX_WBITS + 16);
  std::string out(16 << 20, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
  stream.avail_in = static_cast<uInt>(packed.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  out.resize(stream.total_out);
  inflateEnd(&stream);
  return out;
}

ReceivedFrame decode(const std::string& bytes, int connection) {
  ReceivedFrame frame;
  frame.bytes = bytes;
  frame.connection = connection;
  Bytes rest = as_bytes(bytes);
  EXPECT_EQ(next_token(rest).value, 3u);
  frame.tag = text_of(next_object(rest));
  const Bytes entries = next_object(rest);
  const uint64_t options = next_token(rest).value;
  for (uint64_t i = 0; i < options; ++i) {
    const std::string key = text_of(next_object(rest));
    Bytes value = next_object(rest);
    if (key == "chunk") frame.chunk = text_of(value);
    if (key == "compressed") frame.compressed = text_of(value) == "gzip";
    if (key == "size") frame.size = next_token(value).value;
  }
  const std::string inflated = frame.compressed ? inflate_all(text_of(entries)) : std::string();
  Bytes events = frame.compressed ? as_bytes(inflated) : entries;
  if (!frame.compressed) next_token(events);
  while (!events.empty()) frame.events.push_back(msgpack_to_text(next_object(events)));
  EXPECT_EQ(frame.size, frame.events.size());
  return frame;
}

}  // namespace

std::string ack(const std::string& chunk) {
  const auto bytes = Pack().map(1).str("ack").str(chunk).bytes();
  return {bytes.begin(), bytes.end()};
}

Reply acknowledge(const ReceivedFrame& frame) {
  Reply reply;
  if (!frame.chunk.empty()) reply.pieces = {ack(frame.chunk)};
  return reply;
}

bool ReceiverStream::read(std::string& out, size_t most) {
  std::string buffer(most, '\0');
  while (!stop_) {
    pollfd request{fd_, POLLIN, 0};
    if ((!tls_ || SSL_pending(tls_) == 0) && poll(&request, 1, 10) == 0) continue;
    const ssize_t count = tls_ ? SSL_read(tls_, buffer.data(), static_cast<int>(most))
                               : recv(fd_, buffer.data(), most, 0);
    if (count <= 0) return false;
    out.append(buffer, 0, static_cast<size_t>(count));
    return true;
  }
  return false;
}

bool ReceiverStream::read_object(std::string& out) {
  size_t size = 0;
  while (skip_object(as_bytes(out), size) != TokenStatus::kOk) {
    if (!read(out, 1 << 16)) return false;
  }
  return true;
}

void ReceiverStream::write(const std::string& bytes) {
  for (size_t at = 0; at < bytes.size();) {
    const size_t left = bytes.size() - at;
    const ssize_t count = tls_ ? SSL_write(tls_, &bytes[at], static_cast<int>(left))
                               : send(fd_, &bytes[at], left, MSG_NOSIGNAL);
    if (count <= 0) return;
    at += static_cast<size_t>(count);
  }
}

ForwardReceiver::ForwardReceiver(ReceiverScript script, std::string unix_path)
    : script_(std::move(script)), unix_path_(std::move(unix_path)) {
  start();
}

ForwardReceiver::~ForwardReceiver() { stop(); }

void ForwardReceiver::listen_again() {
  if (!unix_path_.empty()) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    unix_path_.copy(address.sun_path, sizeof(address.sun_path) - 1);
    unlink(unix_path_.c_str());
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  } else {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port_);
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    ASSERT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    socklen_t size = sizeof(address);
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
  }
  ASSERT_EQ(listen(listener_, 16), 0);
}

void ForwardReceiver::start() {
  listen_again();
  stop_ = false;
  thread_ = std::thread([this] { run(); });
}

void ForwardReceiver::stop() {
  if (!thread_.joinable()) return;
  stop_ = true;
  thread_.join();
  close(listener_);
}

void ForwardReceiver::run() {
  // TLS writes to connections that the other side has closed.
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
  while (!stop_) {
    pollfd request{listener_, POLLIN, 0};
    if (poll(&request, 1, 10) == 0) continue;
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) continue;
    serve(fd);
    close(fd);
  }
}

void ForwardReceiver::serve(int fd) {
  const int connection = connections_++;
  SSL* tls = nullptr;
  if (script_.tls) {
    tls = SSL_new(script_.tls);
    SSL_set_fd(tls, fd);
    const timeval limit{2, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  }
  ReceiverStream stream(fd, tls, stop_);
  if (!tls || SSL_accept(tls) == 1) {
    if (!script_.greet || script_.greet(stream, connection)) serve_frames(stream, connection);
  }
  if (tls) SSL_shutdown(tls);
  SSL_free(tls);
}

bool ForwardReceiver::serve_frames(ReceiverStream& stream, int connection) {
  size_t left = script_.limit ? script_.limit(connection) : SIZE_MAX;
  std::string buffer;
  while (left > 0) {
    const size_t before = buffer.size();
    if (!stream.read(buffer, std::min(left, script_.read_size))) return false;
    left -= buffer.size() - before;
    std::this_thread::sleep_for(script_.read_pause);
    size_t size = 0;
    while (skip_object(as_bytes(buffer), size) == TokenStatus::kOk) {
      const ReceivedFrame frame = decode(buffer.substr(0, size), connection);
      buffer.erase(0, size);
      const Reply reply = script_.reply(frame);
      if (reply.stores) {
        const std::lock_guard lock(mutex_);
        frames_.push_back(frame);
      }
      for (auto slept = reply.delay; slept.count() > 0 && !stop_; --slept) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      for (const std::string& piece : reply.pieces) stream.write(piece);
      if (reply.closes) return false;
    }
  }
  return true;
}

std::vector<ReceivedFrame> ForwardReceiver::frames() const {
  const std::lock_guard lock(mutex_);
  return frames_;
}

std::vector<std::string> ForwardReceiver::events() const {
  std::map<std::string, std::string> seen;
  std::vector<std::string> result;
  for (const ReceivedFrame& frame : frames()) {
    const auto [entry, is_new] = seen.try_emplace(frame.chunk, frame.bytes);
    if (!frame.chunk.empty() && !is_new) {
      EXPECT_TRUE(entry->second == frame.bytes) << "two frames with chunk id " << frame.chunk;
      continue;
    }
    result.insert(result.end(), frame.events.begin(), frame.events.end());
  }
  return result;
}

std::vector<uint64_t> ForwardReceiver::numbers() const {
  std::vector<uint64_t> result;
  for (const std::string& event : events()) {
    const size_t at = event.find("\"n\":");
    if (at != std::string::npos) result.push_back(std::stoull(event.substr(at + 4)));
  }
  return result;
}

}  // namespace vek::test
