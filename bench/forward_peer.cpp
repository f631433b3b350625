#include "bench/forward_peer.h"

#include <netinet/tcp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace vek::bench {
namespace {

constexpr int kOwnProcessor = 0;
constexpr int kReceiversProcessor = 1;
bool g_is_apart = false;

void keep_on(int processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(processor, &set);
  sched_setaffinity(0, sizeof(set), &set);
}

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(4);
}

// Where the next chunk id begins in [from, end), or null when it is not there, or not whole.
const char* find_chunk_id(const char* from, const char* end) {
  constexpr std::string_view kMark =
      "\xa5"
      "chunk\xd9\x20";
  const auto* mark = static_cast<const char*>(
      memmem(from, static_cast<size_t>(end - from), kMark.data(), kMark.size()));
  if (!mark || mark + kMark.size() + kChunkIdSize > end) return nullptr;
  return mark + kMark.size();
}

void acknowledge_all(int fd) {
  constexpr size_t kMarkAndId = 8 + kChunkIdSize;
  std::vector<char> buffer(1 << 20);
  size_t kept = 0;  // of the bytes before, in which an id may have begun
  for (;;) {
    const ssize_t count = read(fd, buffer.data() + kept, buffer.size() - kept);
    if (count <= 0) return;
    const char* at = buffer.data();
    const char* const end = at + kept + count;
    while (const char* id = find_chunk_id(at, end)) {
      std::string reply =
          "\x81\xa3"
          "ack\xd9\x20";
      reply.append(id, kChunkIdSize);
      if (write(fd, reply.data(), reply.size()) < 0) return;
      at = id + kChunkIdSize;
    }
    kept = std::min(kMarkAndId - 1, static_cast<size_t>(end - at));
    std::memmove(buffer.data(), end - kept, kept);
  }
}

[[noreturn]] void serve(int listener, Manner manner) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (g_is_apart) keep_on(kReceiversProcessor);
  for (;;) {
    const int fd = accept(listener, nullptr, nullptr);
    if (manner == Manner::kStalls) pause();
    acknowledge_all(fd);
    close(fd);
  }
}

}  // namespace

Receiver::Receiver(Manner manner) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  address_.sin_family = AF_INET;
  address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address_);
  if (bind(listener, reinterpret_cast<sockaddr*>(&address_), size) != 0) give_up("bind");
  if (manner != Manner::kIsGone && listen(listener, 4) != 0) give_up("listen");
  getsockname(listener, reinterpret_cast<sockaddr*>(&address_), &size);
  if (manner != Manner::kIsGone) child_ = fork();
  if (child_ == 0) serve(listener, manner);
  close(listener);
}

Receiver::~Receiver() {
  if (child_ < 0) return;
  kill(child_, SIGKILL);
  waitpid(child_, nullptr, 0);
}

ReceiversApart::ReceiversApart() {
  sched_getaffinity(0, sizeof(before_), &before_);
  g_is_apart = true;
  keep_on(kOwnProcessor);
}

ReceiversApart::~ReceiversApart() {
  g_is_apart = false;
  sched_setaffinity(0, sizeof(before_), &before_);
}

PlainConnection::PlainConnection(const Receiver& receiver)
    : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const int on = 1;
  setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
  const auto* address = reinterpret_cast<const sockaddr*>(&receiver.address());
  if (connect(fd_, address, sizeof(receiver.address())) != 0) give_up("connect");
}

PlainConnection::~PlainConnection() { close(fd_); }

void PlainConnection::send(std::string_view frame) {
  while (!frame.empty()) {
    const ssize_t count = write(fd_, frame.data(), frame.size());
    if (count <= 0) give_up("write");
    frame.remove_prefix(static_cast<size_t>(count));
  }
  bytes_due_ += kReplySize;
  std::array<char, 4096> replies;
  const ssize_t count = recv(fd_, replies.data(), replies.size(), MSG_DONTWAIT);
  if (count > 0) bytes_due_ -= static_cast<size_t>(count);
}

void PlainConnection::await_replies() {
  std::array<char, 4096> replies;
  while (bytes_due_ > 0) {
    const ssize_t count = recv(fd_, replies.data(), replies.size(), 0);
    if (count <= 0) give_up("recv");
    bytes_due_ -= static_cast<size_t>(count);
  }
}

}  // namespace vek::bench
