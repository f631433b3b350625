// Pages from connections: a unix socket's, or standard input.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/base/console.h"
#include "tools/record/page_assembler.h"
#include "tools/record/page_intake.h"

namespace vek::tools {
namespace {

constexpr size_t kPiece = 64 << 10;
constexpr size_t kMostClients = 64;
constexpr int kPiecesAtOnce = 64;  // of one client, so that the others get their turns

struct Client {
  int fd = -1;
  bool is_over = false;
  PageAssembler pages;
};

class StreamIntake : public PageIntake {
 public:
  ~StreamIntake() override {
    for (const auto& client : clients_) {
      if (client->fd > STDIN_FILENO) ::close(client->fd);
    }
  }

  void add_waits(std::vector<pollfd>& waits) const override {
    for (const auto& client : clients_) waits.push_back({client->fd, POLLIN, 0});
  }

  void take(const OnPage& on_page) override {
    for (const auto& client : clients_) {
      for (int i = 0; i < kPiecesAtOnce && read_piece(*client, on_page); ++i) {
      }
    }
    std::erase_if(clients_, [&](const auto& client) {
      if (client->is_over) end(*client);
      return client->is_over;
    });
  }

  void close() override {
    for (const auto& client : clients_) end(*client);
    clients_.clear();
  }

 protected:
  void add_client(int fd) {
    clients_.push_back(std::make_unique<Client>());
    clients_.back()->fd = fd;
    ++counts_.inputs;
  }
  size_t clients() const { return clients_.size(); }

 private:
  // False when there is nothing more now.
  bool read_piece(Client& client, const OnPage& on_page) {
    // Not by making it answer at once: standard input may be shared with others.
    pollfd wait{client.fd, POLLIN, 0};
    if (client.is_over || poll(&wait, 1, 0) <= 0) return false;
    const ssize_t got = read(client.fd, client.pages.room(kPiece), kPiece);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) return false;
    client.is_over = got <= 0;
    if (got <= 0) return false;
    const auto size = static_cast<size_t>(got);
    if (client.pages.took(size, [&](Bytes page) { on_page(page); })) return true;
    say_error("%s: %s",
              client.fd == STDIN_FILENO ? "standard input sends no pages"
                                        : "a connection sends no pages and is closed",
              client.pages.problem().c_str());
    client.is_over = true;
    return false;
  }

  void end(Client& client) {
    if (client.pages.pending() > 0) {
      if (client.pages.problem().empty()) {
        say_error("%s ends inside a page: its last %zu bytes are lost",
                  client.fd == STDIN_FILENO ? "standard input" : "a connection",
                  client.pages.pending());
      }
      ++counts_.bad_inputs;
      counts_.lost_bytes += client.pages.pending();
    }
    if (client.fd > STDIN_FILENO) ::close(client.fd);
    client.fd = -1;
  }

  std::vector<std::unique_ptr<Client>> clients_;
};

class InputIntake final : public StreamIntake {
 public:
  bool open() override {
    add_client(STDIN_FILENO);
    return true;
  }
  bool is_over() const override { return clients() == 0; }
};

class SocketIntake final : public StreamIntake {
 public:
  explicit SocketIntake(std::string path) : path_(std::move(path)) {}
  ~SocketIntake() override { stop_listening(); }

  bool open() override {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.empty() || path_.size() >= sizeof(address.sun_path)) {
      problem_ = path_ + ": a socket's path has at most " +
                 std::to_string(sizeof(address.sun_path) - 1) + " bytes";
      return false;
    }
    std::copy(path_.begin(), path_.end(), address.sun_path);
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    if (!remove_dead_socket(generic, sizeof(address))) return false;
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const mode_t before = umask(0177);
    const bool is_bound = fd_ >= 0 && bind(fd_, generic, sizeof(address)) == 0;
    umask(before);
    is_ours_ = is_bound;
    if (is_bound && listen(fd_, SOMAXCONN) == 0) return true;
    problem_ = path_ + ": cannot be listened on: " + std::strerror(errno);
    return false;
  }

  void add_waits(std::vector<pollfd>& waits) const override {
    if (fd_ >= 0 && clients() < kMostClients) waits.push_back({fd_, POLLIN, 0});
    StreamIntake::add_waits(waits);
  }

  void take(const OnPage& on_page) override {
    while (fd_ >= 0 && clients() < kMostClients) {
      const int client = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) break;
      add_client(client);
    }
    StreamIntake::take(on_page);
  }

  void close() override {
    stop_listening();
    StreamIntake::close();
  }

 private:
  // A recorder that was killed leaves its socket. Anything else at that place stays.
  bool remove_dead_socket(const sockaddr* address, socklen_t size) {
    struct stat status {};
    if (lstat(path_.c_str(), &status) != 0) return true;
    if (!S_ISSOCK(status.st_mode)) {
      problem_ = path_ + ": is there already, and no socket";
      return false;
    }
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool is_dead = connect(probe, address, size) != 0 && errno == ECONNREFUSED;
    ::close(probe);
    if (is_dead && unlink(path_.c_str()) == 0) return true;
    problem_ = path_ + ": somebody listens there already";
    return false;
  }

  void stop_listening() {
    if (fd_ >= 0) ::close(fd_);
    if (is_ours_) unlink(path_.c_str());
    fd_ = -1;
    is_ours_ = false;
  }

  std::string path_;
  int fd_ = -1;
  bool is_ours_ = false;
};

}  // namespace

std::unique_ptr<PageIntake> make_socket_intake(const std::string& path) {
  return std::make_unique<SocketIntake>(path);
}

std::unique_ptr<PageIntake> make_input_intake() { return std::make_unique<InputIntake>(); }

}  // namespace vek::tools
