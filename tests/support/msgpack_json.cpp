#include "tests/support/msgpack_json.h"

#include <bit>
#include <cmath>
#include <cstdio>

namespace vek::test {
namespace {

// A decoder of its own, so that records are not checked by the code that could have made them.
class Printer {
 public:
  explicit Printer(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  std::string run() {
    while (!broken_ && position_ < bytes_.size()) {
      if (!out_.empty()) out_ += ' ';
      value();
    }
    return out_;
  }

 private:
  bool take(size_t count, uint64_t& big_endian) {
    if (bytes_.size() - position_ < count) return fail("!cut");
    big_endian = 0;
    for (size_t i = 0; i < count; ++i) big_endian = big_endian << 8 | bytes_[position_++];
    return true;
  }

  bool fail(const std::string& mark) {
    out_ += mark;
    broken_ = true;
    return false;
  }

  void raw(uint64_t length, bool hex) {
    if (bytes_.size() - position_ < length) {
      fail("!cut");
      return;
    }
    const auto part = bytes_.subspan(position_, length);
    if (hex) {
      out_ += to_hex(part);
    } else {
      out_.append(reinterpret_cast<const char*>(part.data()), part.size());
    }
    position_ += length;
  }

  void str(uint64_t length) {
    out_ += '"';
    raw(length, false);
    out_ += '"';
  }

  void array(uint64_t count) {
    out_ += '[';
    for (uint64_t i = 0; i < count && !broken_; ++i) {
      if (i) out_ += ',';
      if (missing(count - i)) break;
      value();
    }
    out_ += ']';
  }

  void map(uint64_t count) {
    out_ += '{';
    for (uint64_t i = 0; i < count && !broken_; ++i) {
      if (i) out_ += ',';
      if (missing(count - i)) break;
      value();
      out_ += ':';
      if (!broken_) value();
    }
    out_ += '}';
  }

  bool missing(uint64_t count) {
    if (position_ < bytes_.size()) return false;
    out_ += "..." + std::to_string(count) + " missing";
    return true;
  }

  void number(double value, const char* suffix) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    out_ += text;
    if (std::isfinite(value) &&
        out_.find_first_of(".en", out_.size() - std::string(text).size()) == std::string::npos) {
      out_ += ".0";
    }
    out_ += suffix;
  }

  void ext(uint64_t length) {
    uint64_t type = 0;
    if (!take(1, type)) return;
    out_ += "ext(" + std::to_string(static_cast<int8_t>(type)) + ",";
    raw(length, true);
    out_ += ')';
  }

  void value() {
    uint64_t byte = 0;
    if (!take(1, byte)) return;
    if (byte < 0x80) {
      out_ += std::to_string(byte);
    } else if (byte < 0x90) {
      map(byte & 0x0f);
    } else if (byte < 0xa0) {
      array(byte & 0x0f);
    } else if (byte < 0xc0) {
      str(byte & 0x1f);
    } else if (byte >= 0xe0) {
      out_ += std::to_string(static_cast<int8_t>(byte));
    } else {
      sized(byte);
    }
  }

  void sized(uint64_t byte) {
    uint64_t n = 0;
    switch (byte) {
      case 0xc0:
        out_ += "nil";
        return;
      case 0xc2:
        out_ += "false";
        return;
      case 0xc3:
        out_ += "true";
        return;
      case 0xc4:
      case 0xc5:
      case 0xc6:
        if (!take(size_t{1} << (byte - 0xc4), n)) return;
        out_ += '<';
        raw(n, true);
        out_ += '>';
        return;
      case 0xc7:
      case 0xc8:
      case 0xc9:
        if (take(size_t{1} << (byte - 0xc7), n)) ext(n);
        return;
      case 0xca:
        if (take(4, n)) number(std::bit_cast<float>(static_cast<uint32_t>(n)), "f");
        return;
      case 0xcb:
        if (take(8, n)) number(std::bit_cast<double>(n), "");
        return;
      case 0xcc:
      case 0xcd:
      case 0xce:
      case 0xcf:
        if (take(size_t{1} << (byte - 0xcc), n)) out_ += std::to_string(n);
        return;
      case 0xd0:
        if (take(1, n)) out_ += std::to_string(static_cast<int8_t>(n));
        return;
      case 0xd1:
        if (take(2, n)) out_ += std::to_string(static_cast<int16_t>(n));
        return;
      case 0xd2:
        if (take(4, n)) out_ += std::to_string(static_cast<int32_t>(n));
        return;
      case 0xd3:
        if (take(8, n)) out_ += std::to_string(static_cast<int64_t>(n));
        return;
      case 0xd4:
      case 0xd5:
      case 0xd6:
      case 0xd7:
      case 0xd8:
        ext(uint64_t{1} << (byte - 0xd4));
        return;
      case 0xd9:
      case 0xda:
      case 0xdb:
        if (take(size_t{1} << (byte - 0xd9), n)) str(n);
        return;
      case 0xdc:
      case 0xdd:
        if (take(byte == 0xdc ? 2 : 4, n)) array(n);
        return;
      case 0xde:
      case 0xdf:
        if (take(byte == 0xde ? 2 : 4, n)) map(n);
        return;
      default:
        fail("!bad byte 0xc1");
    }
  }

  std::span<const uint8_t> bytes_;
  size_t position_ = 0;
  bool broken_ = false;
  std::string out_;
};

}  // namespace

std::string msgpack_to_text(std::span<const uint8_t> bytes) { return Printer(bytes).run(); }

std::string to_hex(std::span<const uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace vek::test
