#include "raw_msgpack_api/random_bytes.h"

#include <sys/random.h>

#include <cerrno>
#include <system_error>

namespace vek::engine {

void fill_random(std::span<uint8_t> out) {
  while (!out.empty()) {
    const ssize_t count = getrandom(out.data(), out.size(), 0);
    if (count >= 0) {
      out = out.subspan(static_cast<size_t>(count));
    } else if (errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "getrandom");
    }
  }
}

}  // namespace vek::engine
