#include <algorithm>
#include <cstdio>

#include "utils/logger.h"

namespace {

constexpr size_t kBytesPerLine = 16;
constexpr size_t kHalf = kBytesPerLine / 2;

// "%02X " a byte, one more blank after each half, "|  " and the bytes as text. A short line is
// padded to the width of a full one, so that the text stands in one column.
class HexLine {
 public:
  void add_byte(unsigned char byte) { append("%02X ", byte); }
  void add_gap() { append("   "); }
  void add_blank() { append(" "); }

  const char* finish(const unsigned char* bytes, size_t count) {
    char visible[kBytesPerLine + 1] = {};
    for (size_t i = 0; i < count; ++i) {
      const bool printable = bytes[i] >= 32 && bytes[i] <= 126;
      visible[i] = printable ? static_cast<char>(bytes[i]) : '.';
    }
    append("|  %s ", static_cast<const char*>(visible));
    return text_;
  }

 private:
  template <typename... Args>
  void append(const char* format, Args... args) {
    // The line is sized for a full one, so nothing is ever cut here.
    used_ +=
        static_cast<size_t>(std::snprintf(text_ + used_, sizeof text_ - used_, format, args...));
  }

  char text_[128] = {};
  size_t used_ = 0;
};

}  // namespace

void log_hex(const void* bytes, size_t length) {
  if (!bytes || !VEK_LOG_ENABLED(VEK_LOG_DEBUG)) return;
  const auto* at = static_cast<const unsigned char*>(bytes);
  for (size_t done = 0; done < length; done += kBytesPerLine) {
    const size_t count = std::min(length - done, kBytesPerLine);
    HexLine line;
    for (size_t i = 0; i < kBytesPerLine; ++i) {
      if (i < count) {
        line.add_byte(at[done + i]);
      } else {
        line.add_gap();
      }
      if (i + 1 == kHalf || i + 1 == kBytesPerLine) line.add_blank();
    }
    VEK_LOGD("%s", line.finish(at + done, count));
  }
}
