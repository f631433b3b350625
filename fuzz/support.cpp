#include "fuzz/support.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "json/utf8.h"
#include "utils/logger.h"

namespace vek::fuzz {
namespace {

// Kept for the next input: making a file takes longer than reading it.
std::vector<int>& free_files() {
  static std::vector<int> files;
  return files;
}

int take_file() {
  if (free_files().empty()) return memfd_create("input", MFD_CLOEXEC);
  const int fd = free_files().back();
  free_files().pop_back();
  return fd;
}

__attribute__((format(printf, 2, 3))) void write_to_nobody(int, const char* format, ...) {
  char line[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
}

}  // namespace

void choose_log_level(size_t input_size) {
  vek_set_log_func(write_to_nobody, input_size % 8 == 7 ? VEK_LOG_DEBUG : 0);
}

void require(bool holds, const char* claim) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", claim);
  std::abort();
}

uint64_t Supply::number() {
  uint64_t value = 0;
  // Of every width, so that small ones are as likely as large ones.
  for (uint32_t bytes = below(9); bytes > 0; --bytes) value = value << 8 | byte();
  return value;
}

std::span<const uint8_t> Supply::take(size_t count) {
  const auto taken = rest_.first(std::min(count, rest_.size()));
  rest_ = rest_.subspan(taken.size());
  return taken;
}

std::string Supply::text(size_t count) {
  const auto bytes = take(count);
  return {bytes.begin(), bytes.end()};
}

Parts split(const uint8_t* data, size_t size) {
  if (size == 0) return {Supply(data, 0), Supply(data, 0)};
  const std::span<const uint8_t> bytes(data, size - 1);
  const size_t lies = bytes.size() * data[size - 1] / 256;
  return {Supply(bytes.first(bytes.size() - lies)), Supply(bytes.last(lies))};
}

InputFile::InputFile(std::string_view contents) : fd_(take_file()) {
  require(fd_ >= 0, "there is a file for the input");
  require(ftruncate(fd_, 0) == 0, "it is emptied");
  const ssize_t written = pwrite(fd_, contents.data(), contents.size(), 0);
  require(written == static_cast<ssize_t>(contents.size()), "the input is written");
  path_ = "/proc/self/fd/" + std::to_string(fd_);
}

InputFile::~InputFile() { free_files().push_back(fd_); }

void require_printable(std::string_view text, const char* claim) {
  for (const char c : text) require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f, claim);
  require(json::is_valid_utf8(text), claim);
}

}  // namespace vek::fuzz
