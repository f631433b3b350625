#include "raw_msgpack_api/forward_handshake.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <initializer_list>
#include <new>
#include <optional>
#include <utility>

#include "raw_msgpack_api/json_scalars.h"
#include "raw_msgpack_api/random_bytes.h"
#include "utils/msgpack_encode.h"
#include "utils/owned.h"

namespace vek::engine {
namespace {

constexpr size_t kDigestText = 128;
constexpr size_t kSaltText = 32;
constexpr size_t kLongestPing = 1023;     // receivers read it with one call into a fixed buffer
constexpr size_t kLongestMessage = 4096;  // of the receiver's
constexpr size_t kLongestReason = 200;

std::string to_hex(Bytes bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0f];
  }
  return text;
}

std::string sha512_hex(std::initializer_list<std::string_view> parts) {
  const Owned<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
  std::array<uint8_t, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  bool good = context && EVP_DigestInit_ex(context.get(), EVP_sha512(), nullptr) == 1;
  for (const std::string_view part : parts) {
    good = good && EVP_DigestUpdate(context.get(), part.data(), part.size()) == 1;
  }
  good = good && EVP_DigestFinal_ex(context.get(), digest.data(), &size) == 1;
  if (!good) throw std::bad_alloc();
  return to_hex({digest.data(), size});
}

void append_str(std::string_view text, std::string& out) {
  std::array<char, kMsgpackMaxHeader> header;
  const char* end = put_str_header(header.data(), static_cast<uint32_t>(text.size()));
  out.append(header.data(), static_cast<size_t>(end - header.data()));
  out += text;
}

std::string ping(std::initializer_list<std::string_view> parts) {
  std::string out = "\x96\xa4PING";
  for (const std::string_view part : parts) append_str(part, out);
  return out;
}

// Reads object after object of one message.
class Fields {
 public:
  explicit Fields(Bytes bytes) : rest_(bytes) {}

  std::optional<Token> token() {
    Token token;
    if (read_token(rest_, token) != TokenStatus::kOk) return std::nullopt;
    payload_ = rest_.subspan(token.header_size, token.payload_size);
    rest_ = rest_.subspan(token.size());
    return token;
  }
  // Of a str or bin.
  std::optional<std::string_view> text() {
    const auto read = token();
    if (!read || (read->kind != TokenKind::kStr && read->kind != TokenKind::kBin)) {
      return std::nullopt;
    }
    return std::string_view(reinterpret_cast<const char*>(payload_.data()), payload_.size());
  }
  bool skip() {
    size_t size = 0;
    if (skip_object(rest_, size) != TokenStatus::kOk) return false;
    rest_ = rest_.subspan(size);
    return true;
  }
  // [name, ...] with this many elements.
  bool begins(std::string_view name, uint64_t elements) {
    const auto head = token();
    return head && head->kind == TokenKind::kArray && head->value == elements && text() == name;
  }

 private:
  Bytes rest_;
  Bytes payload_;
};

}  // namespace

bool Credentials::fit() const {
  const std::string digest(kDigestText, ' ');
  const std::string salt(kSaltText, ' ');
  return ping({hostname, salt, digest, username, digest}).size() <= kLongestPing;
}

std::string ForwardHandshake::make_salt() {
  std::array<uint8_t, kSaltText / 2> bytes;
  fill_random(bytes);
  return to_hex(bytes);
}

ForwardHandshake::ForwardHandshake(const Credentials& credentials, std::string salt)
    : credentials_(credentials), salt_(std::move(salt)) {}

ForwardHandshake::Step ForwardHandshake::fail(std::string why) {
  error_ = "handshake: " + std::move(why);
  return Step::kFailed;
}

ForwardHandshake::Step ForwardHandshake::advance(Bytes received) {
  buffer_.insert(buffer_.end(), received.begin(), received.end());
  size_t size = 0;
  const TokenStatus status = skip_object(buffer_, size);
  if (status == TokenStatus::kReserved || buffer_.size() > kLongestMessage) {
    return fail("the receiver does not speak the protocol");
  }
  if (status == TokenStatus::kCut) return Step::kNeedMore;
  // It waits for our answer, or for data, so it has nothing more to say.
  if (size != buffer_.size()) return fail("the receiver does not speak the protocol");
  const std::vector<uint8_t> message = std::exchange(buffer_, {});
  return std::exchange(has_sent_, true) ? read_pong(message) : read_helo(message);
}

ForwardHandshake::Step ForwardHandshake::read_helo(Bytes message) {
  Fields fields(message);
  const bool is_helo = fields.begins("HELO", 2);
  const auto options = is_helo ? fields.token() : std::nullopt;
  if (!options || options->kind != TokenKind::kMap) return fail("no HELO from the receiver");
  std::string auth;
  for (uint64_t pair = 0; pair < options->value; ++pair) {
    const auto key = fields.text();
    if (!key) return fail("no HELO from the receiver");
    if (*key != "nonce" && *key != "auth") {
      if (!fields.skip()) return fail("no HELO from the receiver");
      continue;
    }
    const auto value = fields.text();
    if (!value) return fail("no HELO from the receiver");
    (*key == "nonce" ? nonce_ : auth) = *value;
  }
  const Credentials& own = credentials_;
  const bool user = !auth.empty() && !own.username.empty();
  message_ =
      ping({own.hostname, salt_, sha512_hex({salt_, own.hostname, nonce_, own.shared_key}),
            user ? own.username : "", user ? sha512_hex({auth, own.username, own.password}) : ""});
  return Step::kSend;
}

ForwardHandshake::Step ForwardHandshake::read_pong(Bytes message) {
  Fields fields(message);
  const bool is_pong = fields.begins("PONG", 5);
  const auto accepted = is_pong ? fields.token() : std::nullopt;
  const auto reason = accepted ? fields.text() : std::nullopt;
  const auto hostname = reason ? fields.text() : std::nullopt;
  const auto digest = hostname ? fields.text() : std::nullopt;
  if (!digest || accepted->kind != TokenKind::kBool) return fail("no PONG from the receiver");
  if (accepted->value == 0) {
    std::string text;  // quoted, as it comes from elsewhere
    append_json_string(reason->substr(0, kLongestReason), text);
    return fail("the receiver refuses us: " + text);
  }
  // Our own digest, sent back to us, proves nothing.
  if (*hostname == credentials_.hostname) {
    return fail("the receiver has our own name; set Self_Hostname");
  }
  const std::string expected = sha512_hex({salt_, *hostname, nonce_, credentials_.shared_key});
  if (digest->size() != expected.size() ||
      CRYPTO_memcmp(digest->data(), expected.data(), expected.size()) != 0) {
    return fail("the receiver does not know Shared_Key");
  }
  return Step::kDone;
}

}  // namespace vek::engine
