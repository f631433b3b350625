#include "tests/support/temp_dir.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace vek::test {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vek-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::file(std::string_view name) const { return path_ + "/" + std::string(name); }

std::string TempDir::write(std::string_view name, std::string_view contents) const {
  const std::string path = file(name);
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary)
      .write(contents.data(), static_cast<std::streamsize>(contents.size()));
  return path;
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace vek::test
