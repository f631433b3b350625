#include "raw_msgpack_api/forward_probe.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

#include "raw_msgpack_api/ack_reader.h"
#include "raw_msgpack_api/connection.h"
#include "raw_msgpack_api/frame_writer.h"

namespace vek::engine {
namespace {

constexpr std::chrono::milliseconds kStep{20};  // how often `given_up` is asked, at least

class Probe {
 public:
  Probe(const std::string& unix_path, Clock::time_point deadline,
        const std::function<bool()>& given_up)
      : unix_path_(unix_path), deadline_(deadline), given_up_(given_up) {}

  bool is_over() const { return Clock::now() >= deadline_ || (given_up_ && given_up_()); }
  const std::string& error() const { return error_; }

  // One attempt.
  bool run(const std::string& tag) {
    SocketAddress address;
    if (!unix_address(unix_path_, address)) return fail("its path is too long for a socket");
    Socket socket = start_connect(address);
    if (!socket) return fail(std::strerror(errno));
    const int connected = connect_result(socket);
    if (connected != 0) return fail(std::strerror(connected));
    Connection connection(std::move(socket));
    FrameWriter writer(tag, false);
    for (int i = 0; i < 2; ++i) {
      const ChunkId chunk = ids_.next();
      std::vector<uint8_t> frame;
      writer.finish(chunk, frame);
      if (!write(connection, frame) || !await(connection, chunk)) return false;
    }
    return true;
  }

 private:
  bool fail(std::string why) {
    error_ = std::move(why);
    return false;
  }

  // False when there is no time left.
  bool wait(const Connection& connection, short events) {
    while (!is_over()) {
      pollfd request{connection.fd(), events, 0};
      if (poll(&request, 1, static_cast<int>(kStep.count())) > 0) return true;
    }
    return fail("no acknowledgement");
  }

  bool write(Connection& connection, Bytes bytes) {
    while (!bytes.empty()) {
      const IoResult result = connection.write(bytes);
      if (result.status == IoStatus::kOk) {
        bytes = bytes.subspan(result.bytes);
      } else if (result.status != IoStatus::kAgain) {
        return fail(connection.error());
      } else if (!wait(connection, POLLOUT)) {
        return false;
      }
    }
    return true;
  }

  bool await(Connection& connection, const ChunkId& chunk) {
    AckReader replies;
    std::array<uint8_t, AckReader::kLongestReply> buffer;
    for (;;) {
      const IoResult result = connection.read(buffer);
      if (result.status == IoStatus::kOk) {
        replies.feed(Bytes(buffer).first(result.bytes));
        const auto step = replies.next();
        if (step == AckReader::Step::kAck && replies.chunk() == chunk_text(chunk)) return true;
        if (step != AckReader::Step::kNeedMore) return fail("what it says is no acknowledgement");
      } else if (result.status != IoStatus::kAgain) {
        return fail(connection.error());
      } else if (!wait(connection, POLLIN)) {
        return false;
      }
    }
  }

  const std::string& unix_path_;
  const Clock::time_point deadline_;
  const std::function<bool()>& given_up_;
  ChunkIds ids_;
  std::string error_;
};

}  // namespace

std::string probe_receiver(const std::string& unix_path, const std::string& tag,
                           Clock::time_point deadline, const std::function<bool()>& given_up) {
  Probe probe(unix_path, deadline, given_up);
  while (!probe.run(tag)) {
    if (probe.is_over()) return probe.error();
    std::this_thread::sleep_for(kStep);
  }
  return {};
}

}  // namespace vek::engine
