// ForwardHandshake: who we are and who the receiver is, by a key that both know.
//
//   receiver  ["HELO", {"nonce": bytes, "auth": bytes}]
//   we        ["PING", our name, salt, digest, user name, digest of the password]
//   receiver  ["PONG", accepted, reason, its name, digest]
//
// The digests show that both know the key without saying it. The user is asked for where "auth" is
// not empty. A receiver without key and users says nothing, so this is for those with.
#ifndef VEK_RAW_MSGPACK_API_FORWARD_HANDSHAKE_H
#define VEK_RAW_MSGPACK_API_FORWARD_HANDSHAKE_H

#include <string>
#include <string_view>
#include <vector>

#include "raw_msgpack_api/msgpack_token.h"

namespace vek::engine {

struct Credentials {
  std::string shared_key;  // secrets: no log line has them
  std::string username;
  std::string password;
  std::string hostname;  // what we call ourselves

  bool any() const { return !shared_key.empty() || !username.empty(); }
  // False when the PING would be longer than receivers read.
  bool fit() const;
};

class ForwardHandshake {
 public:
  // Salt as it goes on the wire; 32 hexadecimal digits that nobody can guess.
  static std::string make_salt();

  ForwardHandshake(const Credentials& credentials, std::string salt);

  enum class Step : uint8_t {
    kNeedMore,
    kSend,   // message() is to be written, in one piece
    kDone,   // data may follow
    kFailed  // error() says why
  };
  // With what the receiver said since the last call.
  Step advance(Bytes received);
  const std::string& message() const { return message_; }
  const std::string& error() const { return error_; }

 private:
  Step read_helo(Bytes message);
  Step read_pong(Bytes message);
  Step fail(std::string why);

  const Credentials& credentials_;
  std::string salt_;
  std::string nonce_;
  std::string message_;
  std::string error_;
  std::vector<uint8_t> buffer_;
  bool has_sent_ = false;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FORWARD_HANDSHAKE_H
