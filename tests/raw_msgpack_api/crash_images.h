// CrashImages: what a folder looks like at every moment at which a process, or the whole machine,
// could have gone down.
//
// An image is taken before each call that changes something, and for writes also with the first 1,
// 512 and 4096 bytes of it written. For a machine that goes down there are images with only what
// was synced, with and without the removals that were not.
#ifndef VEK_TESTS_RAW_MSGPACK_API_CRASH_IMAGES_H
#define VEK_TESTS_RAW_MSGPACK_API_CRASH_IMAGES_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "raw_msgpack_api/file_ops.h"
#include "tests/support/temp_dir.h"

namespace vek::test {

using FolderImage = std::map<std::string, std::string>;  // name to contents

class CrashImages : public engine::FileOps {
 public:
  enum class Kind : uint8_t { kProcess, kMachine };
  using Visitor = std::function<void(const FolderImage&, Kind)>;

  CrashImages(std::string folder, Visitor visitor)
      : folder_(std::move(folder)), visit_(std::move(visitor)) {}

  int open_at(int folder, const char* name, int flags, mode_t mode) override {
    const int fd = FileOps::open_at(folder, name, flags, mode);
    if (fd >= 0 && (flags & O_CREAT) != 0) take();
    return fd;
  }
  ssize_t write_at(int fd, const void* bytes, size_t size, off_t offset) override {
    take();
    const std::string name = name_of(fd);
    for (const size_t torn : {size_t{1}, size_t{512}, size_t{4096}}) {
      if (torn >= size) break;
      FolderImage image = current();
      std::string& contents = image[name];
      const auto at = static_cast<size_t>(offset);
      if (contents.size() < at + torn) contents.resize(at + torn);
      contents.replace(at, torn, static_cast<const char*>(bytes), torn);
      visit_(image, Kind::kProcess);
    }
    return FileOps::write_at(fd, bytes, size, offset);
  }
  int truncate(int fd, off_t size) override {
    take();
    return FileOps::truncate(fd, size);
  }
  int sync(int fd) override {
    take();
    struct stat status {};
    fstat(fd, &status);
    if (S_ISDIR(status.st_mode)) {
      synced_names_.clear();
      for (const auto& [name, contents] : current()) {
        synced_names_[name] = inode_of(folder_ + '/' + name);
      }
    } else {
      synced_contents_[status.st_ino] = read_file(folder_ + '/' + name_of(fd));
    }
    const int result = FileOps::sync(fd);
    take();
    return result;
  }
  int rename_at(int folder, const char* from, const char* to) override {
    take();
    return FileOps::rename_at(folder, from, to);
  }
  int remove_at(int folder, const char* name) override {
    take();
    return FileOps::remove_at(folder, name);
  }
  // An image of now.
  void take() {
    visit_(current(), Kind::kProcess);
    visit_(synced(true), Kind::kMachine);
    visit_(synced(false), Kind::kMachine);
  }

 private:
  FolderImage current() const {
    FolderImage image;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      image[entry.path().filename()] = read_file(entry.path());
    }
    return image;
  }
  FolderImage synced(bool with_removed) const {
    FolderImage image;
    for (const auto& [name, inode] : synced_names_) {
      if (!with_removed && !std::filesystem::exists(folder_ + '/' + name)) continue;
      const auto contents = synced_contents_.find(inode);
      image[name] = contents == synced_contents_.end() ? std::string() : contents->second;
    }
    return image;
  }
  static ino_t inode_of(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
  }
  static std::string name_of(int fd) {
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd)).filename();
  }

  std::string folder_;
  Visitor visit_;
  std::map<std::string, ino_t> synced_names_;
  std::map<ino_t, std::string> synced_contents_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_RAW_MSGPACK_API_CRASH_IMAGES_H
