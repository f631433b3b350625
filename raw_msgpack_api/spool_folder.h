// SpoolFolder: one locked folder, and whole operations on its files.
//
// Functions that return int return 0 or an errno. Names are relative to the folder, which stays the
// same one even when it is renamed meanwhile. Threads: all but the constructor and list() may be
// called from any.
#ifndef VEK_RAW_MSGPACK_API_SPOOL_FOLDER_H
#define VEK_RAW_MSGPACK_API_SPOOL_FOLDER_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "raw_msgpack_api/file_ops.h"
#include "raw_msgpack_api/msgpack_token.h"

namespace vek::engine {

// An open file; closed with its last owner.
class OpenFile {
 public:
  explicit OpenFile(int fd) noexcept : fd_(fd) {}
  OpenFile(OpenFile&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  ~OpenFile();
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  int fd() const noexcept { return fd_; }

 private:
  int fd_;
};
using SharedFile = std::shared_ptr<const OpenFile>;

class SpoolFolder {
 public:
  // Makes what is missing of the path's last two parts (mode 0700) and locks the folder. Null after
  // an error line that begins with `label`: it cannot be made, belongs to somebody else, or another
  // context or process has it.
  static std::unique_ptr<SpoolFolder> open(const std::string& path, const std::string& label,
                                           FileOps& ops = FileOps::of_system());
  ~SpoolFolder();
  SpoolFolder(const SpoolFolder&) = delete;
  SpoolFolder& operator=(const SpoolFolder&) = delete;

  const std::string& path() const { return path_; }

  struct Entry {
    std::string name;
    bool is_file = false;  // a regular file: no link, no folder
    uint64_t size = 0;
  };
  // In the order of their names.
  int list(std::vector<Entry>& out) const;

  // A new file of mode 0600; EEXIST when the name is taken.
  int create(const std::string& name, SharedFile& out) const;
  // An existing regular file, for reading and writing; ELOOP when it is a link.
  int open_file(const std::string& name, SharedFile& out) const;
  // As much as there is, up to out.size().
  int read(const OpenFile& file, uint64_t offset, std::span<uint8_t> out, size_t& count) const;
  // All of it, or an error and perhaps a part.
  int write(const OpenFile& file, uint64_t offset, Bytes bytes) const;
  int truncate(const OpenFile& file, uint64_t size) const;
  int sync(const OpenFile& file) const;
  int sync_folder() const;
  int remove(const std::string& name) const;
  // Renames to name + suffix, with a number behind it where that is taken already. Nothing that
  // exists is ever replaced. `new_name` is what it is called now.
  int set_aside(const std::string& name, std::string_view suffix, std::string& new_name) const;

 private:
  SpoolFolder(std::string path, FileOps& ops, OpenFile fd)
      : path_(std::move(path)), ops_(ops), fd_(std::move(fd)) {}
  bool lock(const std::string& label);

  std::string path_;
  FileOps& ops_;
  OpenFile fd_;
  int lock_fd_ = -1;
};

// `name` as the name of a folder: letters, digits, '.', '_' and '-' stay, others become '_'. Names
// that differ stay different.
std::string safe_folder_name(std::string_view name);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_SPOOL_FOLDER_H
