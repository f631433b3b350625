#include <algorithm>
#include <cstdio>

#include "utils/logger.h"

namespace {

constexpr size_t kBytesPerLine = 16;
constexpr size_t kHalf = kBytesPerLine / 2;
constexpr size_t kHexWidth = kBytesPerLine * 3 + 2;  // one blank more after each half

struct HexLine {
  char hex[kHexWidth + 1];
  char visible[kBytesPerLine + 1];
};

// The columns of one line. A short line is as wide as a full one, so that all text stands in one
// column.
HexLine format_line(const unsigned char* bytes, size_t count) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  HexLine line{};
  std::fill_n(line.hex, kHexWidth, ' ');
  for (size_t i = 0; i < count; ++i) {
    char* digits = line.hex + i * 3 + (i < kHalf ? 0 : 1);
    digits[0] = kDigits[bytes[i] >> 4];
    digits[1] = kDigits[bytes[i] & 15u];
    const bool printable = bytes[i] >= 32 && bytes[i] <= 126;
    line.visible[i] = printable ? static_cast<char>(bytes[i]) : '.';
  }
  return line;
}

}  // namespace

void log_hex(const void* bytes, size_t length) {
  if (!bytes || !VEK_LOG_ENABLED(VEK_LOG_DEBUG)) return;
  const auto* at = static_cast<const unsigned char*>(bytes);
  for (size_t done = 0; done < length; done += kBytesPerLine) {
    const HexLine line = format_line(at + done, std::min(length - done, kBytesPerLine));
    char text[sizeof line.hex + sizeof line.visible + 8];
    (void)std::snprintf(text, sizeof text, "%s|  %s ", line.hex, line.visible);
    VEK_LOGD("%s", text);
  }
}
