#include "tools/base/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vek::tools {
namespace {

constexpr char kEraseLine[] = "\r\033[K";

volatile std::sig_atomic_t status_line_shown = 0;

Colours colours = Colours::kAuto;

size_t terminal_width() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return 80;
}

__attribute__((format(printf, 3, 0))) void say_labelled(const char* label, const char* colour,
                                                        const char* format, va_list args) {
  clear_status_line();
  if (label) {
    const bool coloured = colours_wanted(STDERR_FILENO);
    std::fprintf(stderr, "vektool: %s%s:%s ", coloured ? colour : "", label,
                 coloured ? "\033[0m" : "");
  }
  std::vfprintf(stderr, format, args);
  std::fputc('\n', stderr);
  std::fflush(stderr);
}

}  // namespace

void say_error(const char* format, ...) {
  va_list args;
  va_start(args, format);
  say_labelled("error", "\033[1;31m", format, args);
  va_end(args);
}

void say_warning(const char* format, ...) {
  va_list args;
  va_start(args, format);
  say_labelled("warning", "\033[1;33m", format, args);
  va_end(args);
}

void say(const char* format, ...) {
  va_list args;
  va_start(args, format);
  say_labelled(nullptr, "", format, args);
  va_end(args);
}

void set_colours(Colours when) { colours = when; }

bool colours_wanted(int fd) {
  if (colours != Colours::kAuto) return colours == Colours::kAlways;
  const char* no_color = std::getenv("NO_COLOR");
  if (no_color && *no_color) return false;
  const char* term = std::getenv("TERM");
  return isatty(fd) && term && std::strcmp(term, "dumb") != 0;
}

bool status_line_possible() { return isatty(STDERR_FILENO) != 0; }

void show_status_line(std::string_view text) {
  if (!status_line_possible()) return;
  const std::string_view shown = text.substr(0, terminal_width() - 1);
  // The cursor goes back to the line's start: what a destination prints on the same terminal then
  // overwrites the status instead of trailing behind it.
  std::fprintf(stderr, "%s%.*s\r", kEraseLine, static_cast<int>(shown.size()), shown.data());
  std::fflush(stderr);
  status_line_shown = 1;
}

void clear_status_line() {
  if (!status_line_shown) return;
  std::fputs(kEraseLine, stderr);
  std::fflush(stderr);
  status_line_shown = 0;
}

void clear_status_line_from_signal() {
  if (!status_line_shown) return;
  const ssize_t written = write(STDERR_FILENO, kEraseLine, sizeof(kEraseLine) - 1);
  (void)written;  // the process is about to end, and there is nobody left to tell
  status_line_shown = 0;
}

bool write_output(std::string_view text) {
  clear_status_line();
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
         std::fflush(stdout) == 0;
}

std::string readable_size(double bytes) {
  constexpr std::array<const char*, 5> kUnits{"bytes", "KiB", "MiB", "GiB", "TiB"};
  size_t unit = 0;
  while (bytes >= 1024.0 && unit + 1 < kUnits.size()) {
    bytes /= 1024.0;
    ++unit;
  }
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", bytes, kUnits[unit]);
  return text.data();
}

}  // namespace vek::tools
