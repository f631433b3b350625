// What a receiver may say: acknowledgements and the handshake, however its bytes are cut up.
//
// The first byte chooses. Acknowledgements are read the same whether they come at once or byte by
// byte, until something broken comes. A handshake succeeds only for a receiver that proves that it
// knows the key, and no message of ours is longer than receivers read.
#include <openssl/evp.h>

#include <string>
#include <vector>

#include "fuzz/support.h"
#include "raw_msgpack_api/ack_reader.h"
#include "raw_msgpack_api/forward_handshake.h"

namespace {

using vek::engine::AckReader;
using vek::engine::Bytes;
using vek::engine::ForwardHandshake;
using vek::fuzz::require;

// Chunks in order, then whether something was broken.
struct Heard {
  std::vector<std::string> chunks;
  bool broken = false;
  bool operator==(const Heard&) const = default;
};

bool drain(AckReader& reader, Heard& heard) {
  while (true) {
    const AckReader::Step step = reader.next();
    if (step == AckReader::Step::kNeedMore) return true;
    if (step == AckReader::Step::kBroken) {
      heard.broken = true;
      return false;
    }
    require(reader.chunk().size() <= AckReader::kLongestReply, "a chunk is short");
    heard.chunks.emplace_back(reader.chunk());
  }
}

Heard hear(Bytes bytes, size_t piece) {
  AckReader reader;
  Heard heard;
  while (!bytes.empty()) {
    const size_t size = std::min(piece, bytes.size());
    reader.feed(bytes.first(size));
    bytes = bytes.subspan(size);
    if (!drain(reader, heard)) break;
  }
  return heard;
}

void acknowledgements(Bytes bytes, size_t piece) {
  const Heard at_once = hear(bytes, SIZE_MAX);
  require(hear(bytes, 1) == at_once, "byte by byte the same is heard");
  require(hear(bytes, piece) == at_once, "piece by piece the same is heard");
}

std::string sha512_hex(const std::string& text) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  EVP_Digest(text.data(), text.size(), digest, &size, EVP_sha512(), nullptr);
  std::string hex;
  for (unsigned i = 0; i < size; ++i) {
    hex += "0123456789abcdef"[digest[i] >> 4];
    hex += "0123456789abcdef"[digest[i] & 15];
  }
  return hex;
}

std::string packed(std::string_view text) {
  const std::string header{'\xd9', static_cast<char>(text.size())};
  return header + std::string(text);
}

const std::string& salt() {
  static const std::string made = [] {
    require(ForwardHandshake::make_salt() != ForwardHandshake::make_salt(), "no salt comes twice");
    return std::string(32, 'a');
  }();
  return made;
}

// What a receiver that knows the key proves it by: the digest that PONG has to carry.
const std::string& proof() {
  static const std::string made = packed(sha512_hex(salt() + "peer" + "nonce" + "key"));
  return made;
}

// The input, with the proof in place of a "%".
std::string with_proof(Bytes bytes) {
  std::string out;
  for (const uint8_t byte : bytes) {
    if (byte == '%') {
      out += proof();
    } else {
      out += static_cast<char>(byte);
    }
  }
  return out;
}

void handshake(Bytes bytes) {
  const vek::engine::Credentials credentials{"key", "user", "password", "us"};
  std::string said;
  {
    const vek::fuzz::OffTheBooks own;
    said = with_proof(bytes);
  }
  require(credentials.fit(), "PING has room for them");
  ForwardHandshake ours(credentials, salt());
  int sent = 0;
  for (const char& byte : said) {
    const auto step = ours.advance({reinterpret_cast<const uint8_t*>(&byte), 1});
    if (step == ForwardHandshake::Step::kSend) {
      require(++sent == 1, "one PING is sent");
      require(ours.message().size() <= 1023, "receivers can read it");
      require(ours.message().find("password") == std::string::npos, "no secret is sent");
    } else if (step == ForwardHandshake::Step::kFailed) {
      vek::fuzz::require_printable(ours.error(), "the reason is one printable line");
      return;
    } else if (step == ForwardHandshake::Step::kDone) {
      require(sent == 1 && bytes.size() != said.size(), "only who knows the key is believed");
      return;
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  if (size == 0) return 0;
  const Bytes rest(data + 1, size - 1);
  proof();                                   // and the library's own memory
  const vek::fuzz::Budget budget(size, 16);  // they are kept as read, fed in pieces, and compared
  if (data[0] % 2 == 0) {
    acknowledgements(rest, 2 + data[0] / 2);
  } else {
    handshake(rest);
  }
  return 0;
}
