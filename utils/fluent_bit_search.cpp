#include "utils/fluent_bit_search.h"

#include <sys/auxv.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string_view>

namespace vek {
namespace {

constexpr const char* kLibrary = "libfluent-bit.so";
constexpr const char* kProgram = "fluent-bit";

bool is_folder(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool names_library(const std::string& path) {
  return path.ends_with(".so") || path.find(".so.") != std::string::npos;
}

std::string environment_text(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

SearchEnvironment SearchEnvironment::read(bool has_raised_privileges) {
  if (has_raised_privileges) return {};
  return {environment_text("FLUENT_BIT_LIBRARY"), environment_text("PATH")};
}

SearchEnvironment SearchEnvironment::of_process() { return read(getauxval(AT_SECURE) != 0); }

std::vector<std::string> library_candidates(const std::string& engine_path,
                                            const SearchEnvironment& environment) {
  std::vector<std::string> all;
  if (!engine_path.empty()) {
    if (is_folder(engine_path)) {
      for (const char* folder : {"/", "/lib/fluent-bit/", "/lib64/fluent-bit/", "/lib/"}) {
        all.push_back(engine_path + folder + kLibrary);
      }
    } else if (names_library(engine_path)) {
      all.push_back(engine_path);
    }
    return all;
  }
  if (!environment.library.empty()) all.push_back(environment.library);
  all.emplace_back(kLibrary);  // the loader's own search
  for (const char* root : {"/opt/fluent-bit", "/usr/local", "/usr", ""}) {
    for (const char* folder : {"/lib/fluent-bit/", "/lib64/fluent-bit/"}) {
      all.push_back(std::string(root) + folder + kLibrary);
    }
  }
  return all;
}

std::vector<std::string> program_candidates(const std::string& engine_path,
                                            const SearchEnvironment& environment) {
  std::vector<std::string> all;
  if (!engine_path.empty()) {
    if (is_folder(engine_path)) {
      for (const char* folder : {"/", "/bin/"}) all.push_back(engine_path + folder + kProgram);
    } else if (!names_library(engine_path)) {
      all.push_back(engine_path);
    }
    return all;
  }
  std::string_view path = environment.path;
  while (!path.empty()) {
    const size_t end = path.find(':');
    const std::string_view folder = path.substr(0, end);
    // A relative one means something else wherever the host happens to be.
    if (folder.starts_with('/')) all.push_back(std::string(folder) + '/' + kProgram);
    path = end == std::string_view::npos ? std::string_view() : path.substr(end + 1);
  }
  for (const char* folder : {"/opt/fluent-bit/bin/", "/usr/local/bin/", "/usr/bin/"}) {
    all.push_back(std::string(folder) + kProgram);
  }
  return all;
}

}  // namespace vek
