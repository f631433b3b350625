#include "tools/base/text_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "utils/owned.h"

namespace vek::tools {

bool read_text_file(const std::string& path, std::string& out, std::string& problem) {
  out.clear();
  const File file(std::fopen(path.c_str(), "re"));
  if (!file) {
    problem = path + ": cannot be opened: " + std::strerror(errno);
    return false;
  }
  std::array<char, 16384> piece{};
  size_t got = 0;
  while ((got = std::fread(piece.data(), 1, piece.size(), file.get())) > 0) {
    out.append(piece.data(), got);
  }
  if (std::ferror(file.get())) {
    problem = path + ": cannot be read: " + std::strerror(errno);
    return false;
  }
  return true;
}

bool write_text_file(const std::string& path, std::string_view text, std::string& problem) {
  File file(std::fopen(path.c_str(), "we"));
  if (!file) {
    problem = path + ": cannot be created: " + std::strerror(errno);
    return false;
  }
  const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
  // Closing writes what is buffered, so a full disk may show only here.
  if (std::fclose(file.release()) != 0 || !written) {
    problem = path + ": cannot be written: " + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace vek::tools
