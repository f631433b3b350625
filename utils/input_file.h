// open_input_file: the one way in which configuration and schema files are opened. InputLines:
// their lines.
#ifndef VEK_UTILS_INPUT_FILE_H
#define VEK_UTILS_INPUT_FILE_H

#include <cstddef>

#include "utils/owned.h"

namespace vek {

// For reading, not inherited by programs that the host starts; null with errno when that cannot be
// done.
//
// Never waits: pipes, sockets and devices are refused, for opening or reading one can last for
// ever, and so are folders and files beyond limits::kFileBytes. /dev/null is an empty file.
// Symbolic links are followed: installations keep their configuration behind some.
File open_input_file(const char* path) noexcept;

// The lines of a file, of any length.
class InputLines {
 public:
  explicit InputLines(std::FILE* file) : file_(file) {}
  ~InputLines() { std::free(line_); }
  InputLines(const InputLines&) = delete;
  InputLines& operator=(const InputLines&) = delete;

  // The next one with its line feed, for the caller to cut up; valid until the next call. Null
  // behind the last, or where reading fails.
  char* next() noexcept;
  // Bytes of it; those of NULs inside count.
  size_t length() const { return length_; }
  // True once the whole file was read. Otherwise the disk failed, or memory ran out.
  bool at_end() const { return std::feof(file_) != 0; }

 private:
  std::FILE* file_;
  char* line_ = nullptr;
  size_t capacity_ = 0;
  size_t length_ = 0;
};

}  // namespace vek

#endif  // VEK_UTILS_INPUT_FILE_H
