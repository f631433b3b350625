// Pack: msgpack bytes, written object by object, for tests of whoever reads them.
#ifndef VEK_TESTS_RAW_MSGPACK_API_PACK_H
#define VEK_TESTS_RAW_MSGPACK_API_PACK_H

#include <msgpack.h>

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace vek::test {

class Pack {
 public:
  Pack() {
    msgpack_sbuffer_init(&buffer_);
    msgpack_packer_init(&packer_, &buffer_, msgpack_sbuffer_write);
  }
  ~Pack() { msgpack_sbuffer_destroy(&buffer_); }
  Pack(const Pack&) = delete;
  Pack& operator=(const Pack&) = delete;

  Pack& nil() { return done(msgpack_pack_nil(&packer_)); }
  Pack& boolean(bool value) {
    return done(value ? msgpack_pack_true(&packer_) : msgpack_pack_false(&packer_));
  }
  Pack& u(uint64_t value) { return done(msgpack_pack_uint64(&packer_, value)); }
  Pack& i(int64_t value) { return done(msgpack_pack_int64(&packer_, value)); }
  Pack& f64(double value) { return done(msgpack_pack_double(&packer_, value)); }
  Pack& f32(float value) { return done(msgpack_pack_float(&packer_, value)); }
  Pack& array(size_t count) { return done(msgpack_pack_array(&packer_, count)); }
  Pack& map(size_t count) { return done(msgpack_pack_map(&packer_, count)); }
  Pack& str(std::string_view text) {
    msgpack_pack_str(&packer_, text.size());
    return done(msgpack_pack_str_body(&packer_, text.data(), text.size()));
  }
  Pack& bin(std::string_view bytes) {
    msgpack_pack_bin(&packer_, bytes.size());
    return done(msgpack_pack_bin_body(&packer_, bytes.data(), bytes.size()));
  }
  Pack& ext(int8_t type, std::string_view bytes) {
    msgpack_pack_ext(&packer_, bytes.size(), type);
    return done(msgpack_pack_ext_body(&packer_, bytes.data(), bytes.size()));
  }
  Pack& raw(std::vector<uint8_t> bytes) {
    return done(
        msgpack_sbuffer_write(&buffer_, reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  }

  std::vector<uint8_t> bytes() const { return {data(), data() + buffer_.size}; }
  const uint8_t* data() const { return reinterpret_cast<const uint8_t*>(buffer_.data); }
  size_t size() const { return buffer_.size; }

 private:
  Pack& done(int) { return *this; }

  msgpack_sbuffer buffer_;
  msgpack_packer packer_;
};

inline std::vector<uint8_t> operator+(std::vector<uint8_t> a, const std::vector<uint8_t>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace vek::test

#endif  // VEK_TESTS_RAW_MSGPACK_API_PACK_H
