// InputFile: a file or standard input, read in pieces.
#ifndef VEK_TOOLS_PAGES_INPUT_FILE_H
#define VEK_TOOLS_PAGES_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace vek::tools {

class InputFile {
 public:
  enum class Outcome {
    kBytes,
    kEnd,
    kFailed,       // errno has the reason
    kInterrupted,  // a signal asked to stop
  };

  InputFile() = default;
  ~InputFile() { close(); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // "-" is standard input. False with `problem` set when it cannot be read.
  bool open(const std::string& path, std::string& problem);
  // At most `most` bytes; with kBytes at least one, counted in `got`.
  Outcome read(uint8_t* to, size_t most, size_t& got);
  const std::string& name() const { return name_; }

 private:
  void close();

  std::string name_;
  int fd_ = -1;
  bool owns_fd_ = false;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_PAGES_INPUT_FILE_H
