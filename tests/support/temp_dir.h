// TempDir: a fresh folder, removed with all that is in it.
#ifndef VEK_TESTS_SUPPORT_TEMP_DIR_H
#define VEK_TESTS_SUPPORT_TEMP_DIR_H

#include <filesystem>
#include <string>
#include <string_view>

namespace vek::test {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  std::string file(std::string_view name) const;
  // Writes a file (folders of its name are made) and returns its path.
  std::string write(std::string_view name, std::string_view contents) const;

 private:
  std::string path_;
};

std::string read_file(const std::string& path);

}  // namespace vek::test

#endif  // VEK_TESTS_SUPPORT_TEMP_DIR_H
