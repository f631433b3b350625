#include "tools/check/connect_check.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <optional>
#include <string>

#include "tools/check/destination_targets.h"
#include "utils/output_rules.h"

namespace vek::tools {
namespace {

using Clock = std::chrono::steady_clock;

// Why it cannot be reached; empty when it can.
std::string connect_to(const sockaddr* address, socklen_t size) {
  const int fd = socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool good = fd >= 0 && connect(fd, address, size) == 0;
  std::string why = good ? "" : std::strerror(errno);
  if (fd >= 0) close(fd);
  return why;
}

std::string reach(const Target& target) {
  if (target.host.empty()) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (target.port.size() >= sizeof(address.sun_path)) return "the path is too long";
    std::copy(target.port.begin(), target.port.end(), address.sun_path);
    return connect_to(reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  }
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(target.host.c_str(), target.port.c_str(), &hints, &found);
  if (error != 0) return gai_strerror(error);
  std::string why;
  for (const addrinfo* one = found; one; one = one->ai_next) {
    why = connect_to(one->ai_addr, one->ai_addrlen);
    if (why.empty()) break;
  }
  freeaddrinfo(found);
  return why;
}

// One target's child, and where it says how it went.
struct Attempt {
  Target target;
  pid_t child = -1;
  int fd = -1;
  std::string said;
  std::optional<std::string> why;  // empty: reached
};

void start(Attempt& attempt) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    attempt.why = std::strerror(errno);
    return;
  }
  attempt.child = fork();
  if (attempt.child == 0) {
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    const std::string why = reach(attempt.target) + '\n';
    _exit(write(ends[1], why.data(), why.size()) > 0 ? 0 : 1);
  }
  close(ends[1]);
  attempt.fd = ends[0];
  if (attempt.child < 0) attempt.why = std::strerror(errno);
}

void listen_to(Attempt& attempt) {
  std::array<char, 256> piece{};
  const ssize_t got = read(attempt.fd, piece.data(), piece.size());
  if (got > 0) attempt.said.append(piece.data(), static_cast<size_t>(got));
  const size_t end = attempt.said.find('\n');
  if (end != std::string::npos) {
    attempt.why = attempt.said.substr(0, end);
  } else if (got == 0) {
    attempt.why = "it cannot be tried";
  }
}

void wait_for(std::vector<Attempt>& attempts, std::chrono::milliseconds patience) {
  const Clock::time_point end = Clock::now() + patience;
  for (;;) {
    std::vector<pollfd> waits;
    std::vector<Attempt*> waiting;
    for (Attempt& attempt : attempts) {
      if (attempt.why) continue;
      waits.push_back({attempt.fd, POLLIN, 0});
      waiting.push_back(&attempt);
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    if (waits.empty() || left.count() <= 0) return;
    poll(waits.data(), waits.size(), static_cast<int>(left.count()));
    for (size_t i = 0; i < waits.size(); ++i) {
      if (waits[i].revents != 0) listen_to(*waiting[i]);
    }
  }
}

void finish(Attempt& attempt, std::chrono::milliseconds patience) {
  if (!attempt.why) {
    attempt.why = "no answer within " + std::to_string(patience.count()) + " ms";
  }
  if (attempt.child > 0) {
    kill(attempt.child, SIGKILL);
    while (waitpid(attempt.child, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  if (attempt.fd >= 0) close(attempt.fd);
}

// The file output does not make its folder.
void check_folder(const ConfiguredDestination& destination, Findings& findings) {
  const std::string path = destination.parameter("path");
  if (!same_word(destination.output(), kFileOutput) || path.empty()) return;
  if (access(path.c_str(), W_OK | X_OK) == 0) return;
  findings.error(destination.place_of("plugin_path"), "unwritable",
                 "'" + path + "' cannot be written to: " + std::strerror(errno));
}

}  // namespace

void check_connections(const std::vector<ConfiguredDestination>& destinations, Findings& findings,
                       std::chrono::milliseconds patience) {
  std::map<Target, std::vector<Place>> wanted;
  for (const ConfiguredDestination& destination : destinations) {
    if (!destination.is_enabled()) continue;
    check_folder(destination, findings);
    std::string key;
    for (const Target& target : targets_of(destination, key)) {
      wanted[target].push_back(destination.place_of(key));
    }
  }
  std::vector<Attempt> attempts;
  attempts.reserve(wanted.size());
  for (const auto& [target, unused] : wanted) attempts.push_back({target, -1, -1, {}, {}});
  for (Attempt& attempt : attempts) start(attempt);
  wait_for(attempts, patience);
  for (Attempt& attempt : attempts) {
    finish(attempt, patience);
    if (attempt.why->empty()) continue;
    for (const Place& place : wanted[attempt.target]) {
      findings.error(place, "unreachable",
                     "'" + attempt.target.text() + "' cannot be reached: " + *attempt.why);
    }
  }
}

}  // namespace vek::tools
