// The other end of the line for vek_forward_bench, and a plain way to write to it.
#ifndef VEK_BENCH_FORWARD_PEER_H
#define VEK_BENCH_FORWARD_PEER_H

#include <netinet/in.h>
#include <sched.h>
#include <sys/types.h>

#include <string>
#include <string_view>

namespace vek::bench {

enum class Manner { kReads, kStalls, kIsGone };

// A receiver on loopback that acknowledges every chunk and drops the rest; or one that accepts and
// reads nothing, or a port on which nobody listens. A process of its own, so that its time is not
// counted.
class Receiver {
 public:
  explicit Receiver(Manner manner = Manner::kReads);
  ~Receiver();
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  std::string port() const { return std::to_string(ntohs(address_.sin_port)); }
  const sockaddr_in& address() const { return address_; }

 private:
  sockaddr_in address_{};
  pid_t child_ = -1;
};

// Bytes of a reply: {"ack": chunk}.
inline constexpr size_t kReplySize = 39;
inline constexpr size_t kChunkIdSize = 32;

// While it lives, threads that start are on one processor, with the one that made it, and receivers
// that start on another: where the kernel puts sender and receiver together or apart as it likes,
// the cost of the same bytes differs by two from run to run.
class ReceiversApart {
 public:
  ReceiversApart();
  ~ReceiversApart();
  ReceiversApart(const ReceiversApart&) = delete;
  ReceiversApart& operator=(const ReceiversApart&) = delete;

 private:
  cpu_set_t before_{};
};

// A connection that is written to as plainly as can be: whole frames, by calls that wait.
class PlainConnection {
 public:
  explicit PlainConnection(const Receiver& receiver);
  ~PlainConnection();
  PlainConnection(const PlainConnection&) = delete;
  PlainConnection& operator=(const PlainConnection&) = delete;

  // Writes it, and reads what replies there are.
  void send(std::string_view frame);
  // Until the receiver acknowledged all of them.
  void await_replies();

 private:
  int fd_;
  size_t bytes_due_ = 0;  // of replies
};

}  // namespace vek::bench

#endif  // VEK_BENCH_FORWARD_PEER_H
