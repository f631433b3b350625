// Which files of a folder are ".exp" files, and by which paths they are opened.
#include <dirent.h>
#include <sys/stat.h>

#include "exporter/exp_file_reader.h"
#include "utils/owned.h"

namespace vek {
namespace {

using Directory = Owned<DIR, closedir>;

constexpr std::string_view kSuffix = ".exp";
constexpr size_t kMaxPathSize = 128;  // terminator included; longer paths are cut

bool isDirectory(const std::string& dir, const dirent& entry) {
  if (entry.d_type == DT_DIR) return true;
  // Some file systems do not tell, and a link tells nothing about what it leads to.
  if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK) return false;
  struct stat status {};
  const std::string path = dir + "/" + entry.d_name;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

bool list_exp_files(const std::string& dir, std::vector<std::string>& names) {
  const Directory directory(opendir(dir.c_str()));
  if (!directory) return false;
  names.clear();
  while (const dirent* entry = readdir(directory.get())) {
    if (!std::string_view(entry->d_name).ends_with(kSuffix)) continue;
    if (!isDirectory(dir, *entry)) names.emplace_back(entry->d_name);
  }
  return true;
}

std::string exp_file_path(const std::string& dir, const std::string& name) {
  return (dir + "/" + name).substr(0, kMaxPathSize - 1);
}

}  // namespace vek
