// ForwardReceiver: a receiver of the Forward protocol on a thread of its own, which misbehaves as
// it is told to.
#ifndef VEK_TESTS_RAW_MSGPACK_API_FORWARD_RECEIVER_H
#define VEK_TESTS_RAW_MSGPACK_API_FORWARD_RECEIVER_H

#include <openssl/ssl.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vek::test {

struct ReceivedFrame {
  int connection = 0;  // counted from 0
  std::string bytes;   // as they came
  std::string tag;
  std::string chunk;
  uint64_t size = 0;
  bool compressed = false;
  std::vector<std::string> events;  // readable text of [time, map]
};

// What to answer to a frame.
struct Reply {
  bool stores = true;  // false: the frame is forgotten, as if it had never come
  std::chrono::milliseconds delay{0};
  std::vector<std::string> pieces;  // each a write of its own
  bool closes = false;              // after that
};

// {"ack": chunk}
std::string ack(const std::string& chunk);
Reply acknowledge(const ReceivedFrame& frame);

// One end of an accepted connection, for handshakes.
class ReceiverStream {
 public:
  ReceiverStream(int fd, SSL* tls, const std::atomic<bool>& stop)
      : fd_(fd), tls_(tls), stop_(stop) {}
  // Appends what comes, at most `most` bytes; false at the end of the connection.
  bool read(std::string& out, size_t most);
  // Appends until one whole msgpack object is there.
  bool read_object(std::string& out);
  void write(const std::string& bytes);

 private:
  int fd_;
  SSL* tls_;
  const std::atomic<bool>& stop_;
};

// Called on the receiver's thread.
struct ReceiverScript {
  std::function<Reply(const ReceivedFrame&)> reply = acknowledge;
  // False: the connection is closed.
  std::function<bool(ReceiverStream&, int connection)> greet;
  // Bytes after which a connection is closed, in the middle of whatever it is.
  std::function<size_t(int connection)> limit;
  size_t read_size = 1 << 20;               // bytes at a time
  std::chrono::milliseconds read_pause{0};  // between them
  SSL_CTX* tls = nullptr;
};

class ForwardReceiver {
 public:
  explicit ForwardReceiver(ReceiverScript script = {}, std::string unix_path = {});
  ~ForwardReceiver();
  ForwardReceiver(const ForwardReceiver&) = delete;
  ForwardReceiver& operator=(const ForwardReceiver&) = delete;

  std::string port() const { return std::to_string(port_); }
  void stop();   // connections are closed, new ones refused
  void start();  // again, in the same place
  int connections() const { return connections_; }

  // Stored, in order, those that came more than once included.
  std::vector<ReceivedFrame> frames() const;
  // The events of the stored frames, of each chunk once. Fails the test where frames of one chunk
  // differ.
  std::vector<std::string> events() const;
  // Of the numbered records among them.
  std::vector<uint64_t> numbers() const;

 private:
  void listen_again();
  void run();
  void serve(int fd);
  bool serve_frames(ReceiverStream& stream, int connection);

  ReceiverScript script_;
  std::string unix_path_;
  uint16_t port_ = 0;
  int listener_ = -1;
  std::atomic<bool> stop_{false};
  std::atomic<int> connections_{0};
  mutable std::mutex mutex_;
  std::vector<ReceivedFrame> frames_;
  std::thread thread_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_RAW_MSGPACK_API_FORWARD_RECEIVER_H
