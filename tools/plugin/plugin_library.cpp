#include "tools/plugin/plugin_library.h"

#include <dlfcn.h>
#include <unistd.h>

namespace vek::tools {

std::string advice_for_loader_error(const std::string& text) {
  struct Advice {
    const char* part;
    const char* advice;
  };
  static constexpr Advice kAdvice[] = {
      {"wrong ELF class", "it was built for another processor architecture than this tool"},
      {"invalid ELF header", "it is no shared library"},
      {"file too short", "it is empty or cut short; build or install it again"},
      {"undefined symbol", "it does not fit the libraries beside it; install both of one version"},
      {"static TLS", "start the tool with the library that it names in LD_PRELOAD"},
      {"version `", "it was built on a newer system than this one"},
      {"Permission denied", "make it readable for this user"},
      {"No such file", "check the path; a library that it needs is looked for in LD_LIBRARY_PATH"},
  };
  for (const Advice& row : kAdvice) {
    if (text.find(row.part) != std::string::npos) return row.advice;
  }
  return {};
}

std::unique_ptr<PluginLibrary> PluginLibrary::load(const std::string& path, std::string& problem) {
  // The loader searches its own directories for a bare name; people mean the file before them.
  const bool bare = path.find('/') == std::string::npos;
  const std::string file = bare && access(path.c_str(), F_OK) == 0 ? "./" + path : path;
  void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* loader_text = dlerror();
    const std::string text = loader_text ? loader_text : "unknown error";
    const std::string advice = advice_for_loader_error(text);
    problem = "cannot load the plug-in: " + text + (advice.empty() ? "" : " (" + advice + ")");
    return nullptr;
  }
  std::unique_ptr<PluginLibrary> library(new PluginLibrary(handle));
  if (!library->read_api(problem)) {
    problem = path + ": " + problem;
    return nullptr;
  }
  return library;
}

PluginLibrary::~PluginLibrary() { dlclose(handle_); }

void* PluginLibrary::find_symbol(const char* name) const { return dlsym(handle_, name); }

bool PluginLibrary::read_api(std::string& problem) {
  const auto get_api = find<decltype(vek_exporter_get_api)>("vek_exporter_get_api");
  if (!get_api) {
    problem = "is no exporter plug-in: it has no function vek_exporter_get_api";
    return false;
  }
  api_ = get_api();
  if (!api_) {
    problem = "vek_exporter_get_api returned no record";
    return false;
  }
  if (api_->version != VEK_EXPORTER_API_VERSION) {
    problem = "speaks version " + std::to_string(api_->version) +
              " of the exporter interface; this tool speaks version " +
              std::to_string(VEK_EXPORTER_API_VERSION);
    return false;
  }
  if (!api_->init || !api_->connect || !api_->export_data_page || !api_->disconnect ||
      !api_->destroy) {
    problem = "its API record lacks entry points";
    return false;
  }
  return true;
}

}  // namespace vek::tools
