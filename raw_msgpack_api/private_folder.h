// PrivateFolder: a fresh folder that nobody else may enter, for a Fluent Bit's configuration,
// socket and buffers; removed with all that is in it.
//
// A host that is killed leaves its folders behind. The next one made sweeps them up, unless
// somebody still holds their lock, as a Fluent Bit does that outlives its host to send what it has.
#ifndef VEK_RAW_MSGPACK_API_PRIVATE_FOLDER_H
#define VEK_RAW_MSGPACK_API_PRIVATE_FOLDER_H

#include <memory>
#include <string>
#include <string_view>

#include "raw_msgpack_api/socket.h"

namespace vek::engine {

class PrivateFolder {
 public:
  // Fluent Bit cannot bind a longer one.
  static constexpr size_t kLongestPath = 100;

  // In TMPDIR, unless the process has raised privileges or the name gets too long, and otherwise in
  // /tmp. Null, with the reason in `why`, when none can be made.
  static std::unique_ptr<PrivateFolder> make(std::string& why);
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string file(std::string_view name) const { return path_ + '/' + std::string(name); }
  // Makes a file that only its owner reads; false, with errno, when it cannot be written.
  bool write(std::string_view name, std::string_view text) const;
  // For a child process to inherit: the folder is in use as long as anybody has it open.
  int lock_fd() const { return lock_.fd(); }

 private:
  PrivateFolder(std::string path, Socket lock) : path_(std::move(path)), lock_(std::move(lock)) {}

  std::string path_;
  Socket lock_;  // a descriptor, closed with it
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_PRIVATE_FOLDER_H
