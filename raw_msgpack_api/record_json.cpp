#include "raw_msgpack_api/record_json.h"

#include <array>
#include <bit>
#include <string_view>

#include "raw_msgpack_api/json_scalars.h"
#include "raw_msgpack_api/record_walk.h"

namespace vek::engine {
namespace {

void append_ext(const Token& token, Bytes payload, std::string& out) {
  if (token.ext_type == 0 && payload.size() == 8) {
    uint64_t both = 0;
    for (const uint8_t byte : payload) both = both << 8 | byte;
    // Nanoseconds that are none would not fit behind the point.
    if (static_cast<uint32_t>(both) < 1'000'000'000) {
      append_time({both >> 32, static_cast<uint32_t>(both)}, out);
      return;
    }
  }
  out += "{\"type\":";
  append_json_signed(token.ext_type, out);
  out += ",\"data\":";
  append_json_base64(payload, out);
  out += '}';
}

void append_scalar(const Token& token, Bytes object, std::string& out) {
  const Bytes payload = object.subspan(token.header_size, token.payload_size);
  switch (token.kind) {
    case TokenKind::kNil:
      out += "null";
      break;
    case TokenKind::kBool:
      out += token.value != 0 ? "true" : "false";
      break;
    case TokenKind::kUnsigned:
      append_json_unsigned(token.value, out);
      break;
    case TokenKind::kNegative:
      append_json_signed(static_cast<int64_t>(token.value), out);
      break;
    case TokenKind::kFloat32:
      append_json_float(std::bit_cast<float>(static_cast<uint32_t>(token.value)), out);
      break;
    case TokenKind::kFloat64:
      append_json_double(std::bit_cast<double>(token.value), out);
      break;
    case TokenKind::kStr:
      append_json_string({reinterpret_cast<const char*>(payload.data()), payload.size()}, out);
      break;
    case TokenKind::kBin:
      append_json_base64(payload, out);
      break;
    case TokenKind::kExt:
      append_ext(token, payload, out);
      break;
    default:
      break;
  }
}

// A key that is not text. Numbers and the like become their own text in quotes.
void append_odd_key(const Token& token, Bytes key, std::string& out) {
  const bool is_quoted = token.kind == TokenKind::kBin;
  if (token.kind == TokenKind::kExt) {
    append_json_hex(key, out);
    return;
  }
  if (!is_quoted) out += '"';
  append_scalar(token, key, out);
  if (!is_quoted) out += '"';
}

// Walks the object once. One frame a container that is open.
class Printer {
 public:
  Printer(Bytes object, TextStyle style, std::string& out)
      : rest_(object), arrow_(style == TextStyle::kArrows ? "=>" : ":"), out_(out) {}

  void run() {
    if (!append_value()) return;
    while (depth_ > 0) {
      Frame& frame = frames_[depth_ - 1];
      if (frame.left == 0) {
        out_ += frame.is_map ? '}' : ']';
        --depth_;
        continue;
      }
      if (!frame.is_first) out_ += ',';
      frame.is_first = false;
      --frame.left;
      if (frame.is_map && !append_key()) return;
      if (!append_value()) return;
    }
  }

 private:
  struct Frame {
    uint64_t left;  // elements or pairs
    bool is_map;
    bool is_first;
  };

  bool append_key() {
    Token token;
    size_t size = 0;
    if (read_token(rest_, token) != TokenStatus::kOk) return false;
    if (skip_object(rest_, size) != TokenStatus::kOk) return false;
    if (token.is_container()) {
      append_json_hex(rest_.first(size), out_);
    } else if (token.kind == TokenKind::kStr) {
      append_scalar(token, rest_, out_);
    } else {
      append_odd_key(token, rest_.first(size), out_);
    }
    out_ += arrow_;
    rest_ = rest_.subspan(size);
    return true;
  }

  bool append_value() {
    Token token;
    if (read_token(rest_, token) != TokenStatus::kOk) return false;
    if (!token.is_container()) {
      append_scalar(token, rest_, out_);
    } else {
      if (depth_ == frames_.size()) return false;
      const bool is_map = token.kind == TokenKind::kMap;
      out_ += is_map ? '{' : '[';
      frames_[depth_++] = {token.value, is_map, true};
    }
    rest_ = rest_.subspan(token.size());
    return true;
  }

  Bytes rest_;
  std::string_view arrow_;
  std::string& out_;
  std::array<Frame, kMaxRecordDepth> frames_;
  size_t depth_ = 0;
};

}  // namespace

void append_text(Bytes object, TextStyle style, std::string& out) {
  Printer(object, style, out).run();
}

void append_time(EventTime time, std::string& out) {
  append_json_unsigned(time.seconds, out);
  out += '.';
  uint32_t rest = time.nanoseconds;
  for (uint32_t unit = 100'000'000; unit > 0; unit /= 10) {
    out += static_cast<char>('0' + rest / unit);
    rest %= unit;
  }
}

}  // namespace vek::engine
