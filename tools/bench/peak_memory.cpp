#include "tools/bench/peak_memory.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "utils/owned.h"

namespace vek::tools {
namespace {

// Of a line such as "VmHWM:     9484 kB".
uint64_t status_bytes(std::string_view name) {
  const File file(std::fopen("/proc/self/status", "re"));
  std::array<char, 256> line{};
  while (file && std::fgets(line.data(), line.size(), file.get())) {
    if (std::string_view(line.data()).starts_with(name)) {
      return std::strtoull(line.data() + name.size(), nullptr, 10) * 1024;
    }
  }
  return 0;
}

}  // namespace

uint64_t resident_memory() { return status_bytes("VmRSS:"); }

uint64_t peak_memory() { return status_bytes("VmHWM:"); }

void reset_peak_memory() {
  const File file(std::fopen("/proc/self/clear_refs", "we"));
  if (file) std::fputs("5", file.get());
}

}  // namespace vek::tools
