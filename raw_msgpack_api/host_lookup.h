// HostLookup: the addresses of a host and port, found without holding up the thread that asks.
//
// The system's resolver cannot be interrupted, and may take longer than a collector is ready to
// wait for its end. So names are looked up on a thread of their own, which is left to itself where
// nobody waits for it any more: it touches nothing but what it shares with this object.
#ifndef VEK_RAW_MSGPACK_API_HOST_LOOKUP_H
#define VEK_RAW_MSGPACK_API_HOST_LOOKUP_H

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "raw_msgpack_api/socket.h"

namespace vek::engine {

class HostLookup {
 public:
  HostLookup(std::string host, std::string port);
  ~HostLookup();
  HostLookup(const HostLookup&) = delete;
  HostLookup& operator=(const HostLookup&) = delete;

  // Begins afresh, unless the last one still goes on. Addresses in digits are there at once.
  // Throws std::system_error when there is no thread to be had.
  void start();
  bool done() const;
  // Readable once it is done; -1 when it is done already.
  int fd() const;
  // When it is done: the addresses in the order in which to try them, or none and the reason.
  const std::vector<SocketAddress>& addresses() const;
  const std::string& error() const;

 private:
  struct Shared;
  void forget();

  std::string host_;
  std::string port_;
  std::shared_ptr<Shared> shared_;
  std::thread thread_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_HOST_LOOKUP_H
