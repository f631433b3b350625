#include "tests/raw_msgpack_api/fake_fluent_bit/fake_receiver.h"

#include <fcntl.h>
#include <msgpack.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <memory>
#include <string_view>
#include <vector>

namespace fake {
namespace {

std::string_view text_of(const msgpack_object& object) {
  return {object.via.str.ptr, object.via.str.size};
}

const msgpack_object* find(const msgpack_object_map& map, std::string_view key) {
  for (uint32_t i = 0; i < map.size; ++i) {
    if (text_of(map.ptr[i].key) == key) return &map.ptr[i].val;
  }
  return nullptr;
}

class Client {
 public:
  explicit Client(int fd) : fd_(fd) { msgpack_unpacker_init(&unpacker_, 1 << 16); }
  ~Client() {
    msgpack_unpacker_destroy(&unpacker_);
    close(fd_);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  int fd() const { return fd_; }
  // False at the end of the connection.
  bool read_frames(const std::function<void(Client&, const msgpack_object_array&)>& take) {
    msgpack_unpacker_reserve_buffer(&unpacker_, 1 << 16);
    const ssize_t count = read(fd_, msgpack_unpacker_buffer(&unpacker_), 1 << 16);
    if (count <= 0) return false;
    msgpack_unpacker_buffer_consumed(&unpacker_, static_cast<size_t>(count));
    msgpack_unpacked one;
    msgpack_unpacked_init(&one);
    while (msgpack_unpacker_next(&unpacker_, &one) == MSGPACK_UNPACK_SUCCESS) {
      take(*this, one.data.via.array);
    }
    msgpack_unpacked_destroy(&one);
    return true;
  }
  void acknowledge(std::string_view chunk) const {
    std::string reply =
        "\x81\xa3"
        "ack\xd9";
    reply += static_cast<char>(chunk.size());
    reply += chunk;
    (void)!write(fd_, reply.data(), reply.size());
  }

 private:
  int fd_;
  msgpack_unpacker unpacker_;
};

class Server {
 public:
  Server(const Settings& output, const std::function<void()>& die) : output_(output), die_(die) {}

  void run(const std::string& unix_path, int stop_fd) {
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, unix_path.c_str(), sizeof(address.sun_path) - 1);
    unlink(unix_path.c_str());
    if (!output_.count("deaf")) {
      bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address));
      listen(listener, 16);
    }
    while (step(listener, stop_fd)) continue;
    close(listener);
  }

 private:
  bool step(int listener, int stop_fd) {
    std::vector<pollfd> requests = {{stop_fd, POLLIN, 0}, {listener, POLLIN, 0}};
    for (const auto& client : clients_) requests.push_back({client->fd(), POLLIN, 0});
    poll(requests.data(), requests.size(), -1);
    if (requests[0].revents != 0) return false;
    for (size_t i = clients_.size(); i > 0; --i) {
      if (requests[i + 1].revents == 0) continue;
      const auto take = [this](Client& client, const msgpack_object_array& frame) {
        this->take(client, frame);
      };
      if (!clients_[i - 1]->read_frames(take)) {
        clients_.erase(clients_.begin() + static_cast<std::ptrdiff_t>(i - 1));
      }
    }
    if (requests[1].revents & POLLIN) {
      clients_.push_back(std::make_unique<Client>(accept(listener, nullptr, nullptr)));
    }
    return true;
  }

  void take(Client& client, const msgpack_object_array& frame) {
    const msgpack_object_array& entries = frame.ptr[1].via.array;
    if (entries.size > 0) {
      die_if_told();
      store(entries);
    }
    if (const auto* chunk = find(frame.ptr[2].via.map, "chunk"))
      client.acknowledge(text_of(*chunk));
  }

  void die_if_told() {
    const auto after = output_.find("die_after");
    if (after == output_.end() || ++frames_ < std::stoi(after->second)) return;
    const auto mark = output_.find("die_mark");
    if (mark != output_.end()) {
      const int fd = open(mark->second.c_str(), O_CREAT | O_EXCL | O_CLOEXEC, 0600);
      if (fd < 0) return;
      close(fd);
    }
    die_();
  }

  void store(const msgpack_object_array& entries) {
    const auto path = output_.find("out");
    if (path == output_.end()) return;
    std::ofstream out(path->second, std::ios::app);
    for (uint32_t i = 0; i < entries.size; ++i) {
      const auto& entry = entries.ptr[i].via.array;
      if (const auto* n = find(entry.ptr[1].via.map, "n")) out << n->via.u64 << '\n';
    }
  }

  const Settings& output_;
  const std::function<void()>& die_;
  std::vector<std::unique_ptr<Client>> clients_;
  int frames_ = 0;
};

}  // namespace

bool is_known_property(const std::string& name) {
  constexpr std::array<std::string_view, 8> kNames = {
      "out", "say", "deaf", "die_after", "die_mark", "pid_file", "stubborn", "password"};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

void serve(const std::string& unix_path, const Settings& output, int stop_fd,
           const std::function<void()>& die) {
  Server(output, die).run(unix_path, stop_fd);
}

}  // namespace fake
