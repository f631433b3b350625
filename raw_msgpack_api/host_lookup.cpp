#include "raw_msgpack_api/host_lookup.h"

#include <netdb.h>
#include <strings.h>

#include <atomic>
#include <cstring>
#include <new>

#include "raw_msgpack_api/wake_fd.h"

namespace vek::engine {

struct HostLookup::Shared {
  std::string host;
  std::string port;
  WakeFd wake;
  std::atomic<bool> done{false};
  std::vector<SocketAddress> addresses;  // these two are written before `done`
  std::string error;

  // False when the host is a name and `flags` allow digits only.
  bool find(int flags) noexcept {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* list = nullptr;
    int result = getaddrinfo(host.c_str(), port.c_str(), &hints, &list);
    if (result == EAI_NONAME && (flags & AI_NUMERICHOST) != 0) return false;
    // Bare machines and small containers have no /etc/hosts; this name means the loopback all the
    // same (RFC 6761), and that is what no host at all gives.
    if (result != 0 && strcasecmp(host.c_str(), "localhost") == 0) {
      result = getaddrinfo(nullptr, port.c_str(), &hints, &list);
    }
    try {
      if (result != 0) {
        error = "cannot find host '" + host +
                "': " + (result == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(result));
      }
      for (const addrinfo* entry = list; entry; entry = entry->ai_next) {
        SocketAddress& address = addresses.emplace_back();
        std::memcpy(&address.storage, entry->ai_addr, entry->ai_addrlen);
        address.size = entry->ai_addrlen;
      }
    } catch (const std::bad_alloc&) {
      // No addresses: it is tried again later.
    }
    if (list) freeaddrinfo(list);
    done.store(true, std::memory_order_release);
    wake.signal();
    return true;
  }
};

HostLookup::HostLookup(std::string host, std::string port)
    : host_(std::move(host)), port_(std::move(port)) {}

HostLookup::~HostLookup() { forget(); }

void HostLookup::forget() {
  if (!thread_.joinable()) return;
  if (done()) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

void HostLookup::start() {
  if (thread_.joinable() && !done()) return;
  forget();
  shared_ = std::make_shared<Shared>();
  shared_->host = host_;
  shared_->port = port_;
  if (shared_->find(AI_NUMERICHOST)) return;
  thread_ = std::thread([shared = shared_] { shared->find(0); });
}

bool HostLookup::done() const { return shared_ && shared_->done.load(std::memory_order_acquire); }

int HostLookup::fd() const { return shared_ && !done() ? shared_->wake.fd() : -1; }

const std::vector<SocketAddress>& HostLookup::addresses() const { return shared_->addresses; }
const std::string& HostLookup::error() const { return shared_->error; }

}  // namespace vek::engine
