// The plug-in and its engine, as a collector meets them.
#include <dlfcn.h>
#include <limits.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "tools/base/text_file.h"
#include "tools/doctor/installation_checks.h"
#include "tools/plugin/plugin_library.h"
#include "tools/plugin/plugin_log.h"
#include "tools/plugin/plugin_session.h"
#include "utils/build_record.h"

namespace vek::tools {
namespace {

constexpr const char* kPlugin = "plug-in";
constexpr const char* kEngine = "engine";

// Functions of the plug-in that hosts call by name.
constexpr std::array<const char*, 8> kHostFunctions = {
    "vek_dict_create",
    "vek_dict_add",
    "vek_dict_delete",
    "vek_set_log_func",
    "vek_type_system_deserialize",
    "vek_schema_manager_create",
    "vek_exporter_schema_manager_from_type_system",
    "vek_exporter_schema_manager_from_manager"};

std::string path_of(const void* address) {
  Dl_info info{};
  if (!dladdr(address, &info) || !info.dli_fname) return "an unknown file";
  std::array<char, PATH_MAX> real{};
  return realpath(info.dli_fname, real.data()) ? real.data() : info.dli_fname;
}

// What a library's own file says of how it was built.
void examine_build(const char* part, const std::string& path, Diagnoses& out) {
  std::string bytes;
  std::string problem;
  if (!read_text_file(path, bytes, problem)) return;
  const size_t mark = bytes.find(VEK_BUILD_MARK);
  if (mark == std::string::npos) return;
  const char* options = bytes.c_str() + mark + std::strlen(VEK_BUILD_MARK);
  out.push_back({Health::kGood, part, "built with " + std::string(options), {}});
}

void examine_entry_points(const PluginLibrary& library, Diagnoses& out) {
  std::string missing;
  for (const char* name : kHostFunctions) {
    if (!library.find<void()>(name)) missing += (missing.empty() ? "" : ", ") + std::string(name);
  }
  const std::string count = std::to_string(kHostFunctions.size());
  if (missing.empty()) {
    out.push_back(
        {Health::kGood,
         kPlugin,
         "has the entry points of a collector and the " + count + " functions that hosts call",
         {}});
  } else {
    out.push_back({Health::kBad, kPlugin, "lacks functions that hosts call: " + missing,
                   "install a plug-in of this tool's version"});
  }
}

// A configuration with one destination that drops everything, gone at the end.
class NullConfiguration {
 public:
  NullConfiguration() {
    const char* tmp = std::getenv("TMPDIR");
    path_ = std::string(tmp && *tmp ? tmp : "/tmp") + "/vektool-doctor-XXXXXX";
    std::string problem;
    is_made_ = mkdtemp(path_.data()) != nullptr &&
               write_text_file(path_ + "/d.exp", "name = doctor\nplugin_name = null\n", problem);
  }
  ~NullConfiguration() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  NullConfiguration(const NullConfiguration&) = delete;
  NullConfiguration& operator=(const NullConfiguration&) = delete;
  bool is_made() const { return is_made_; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  bool is_made_ = false;
};

// The loaded library that has the engine's second entry point, which is nobody else's name.
void* find_engine() {
  void* found = nullptr;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* out) {
        if (!info->dlpi_name || !*info->dlpi_name) return 0;
        void* handle = dlopen(info->dlpi_name, RTLD_LAZY | RTLD_NOLOAD);
        if (handle && dlsym(handle, "add_data")) {
          *static_cast<void**>(out) = handle;
          return 1;
        }
        if (handle) dlclose(handle);
        return 0;
      },
      &found);
  return found;
}

void examine_engine_library(void* handle, Diagnoses& out) {
  const std::string path = path_of(dlsym(handle, "add_data"));
  out.push_back({Health::kGood, kEngine, "found at " + path, {}});
  examine_build(kEngine, path, out);
  std::string missing;
  for (const char* name : {"init", "add_data", "finalize"}) {
    if (!dlsym(handle, name)) missing += (missing.empty() ? "" : ", ") + std::string(name);
  }
  if (!missing.empty()) {
    out.push_back({Health::kBad, kEngine, "lacks entry points: " + missing,
                   "point FLUENT_BIT_EXPORT_API_SO at a libraw_msgpack_api.so"});
  }
  const bool keeps_ledger = dlsym(handle, "raw_msgpack_api_ledger") != nullptr;
  out.push_back({keeps_ledger ? Health::kGood : Health::kNote,
                 kEngine,
                 keeps_ledger ? "keeps a ledger, which 'replay' prints"
                              : "keeps no ledger, so 'replay' cannot say what arrived",
                 {}});
}

void examine_engine(const PluginLibrary& library, Diagnoses& out) {
  const NullConfiguration configuration;
  if (!configuration.is_made()) {
    out.push_back({Health::kBad, kEngine, "no folder for a configuration can be made in TMPDIR",
                   "set TMPDIR to a directory that can be written"});
    return;
  }
  const std::vector<std::string> lines = plugin_lines_of(library, [&] {
    PluginSession session(library);
    std::string problem;
    if (!session.init(configuration.path(), problem)) {
      out.push_back({Health::kBad, kEngine, "was not found, so the plug-in does not start",
                     "set FLUENT_BIT_EXPORT_API_SO to the path of libraw_msgpack_api.so"});
      return;
    }
    if (void* engine = find_engine()) examine_engine_library(engine, out);
    const bool connected = session.connect();
    out.push_back({connected ? Health::kGood : Health::kBad,
                   kEngine,
                   connected ? "starts a destination" : "does not start a destination",
                   {}});
  });
  for (const std::string& line : lines) {
    const std::string advice = advice_for_loader_error(line);
    out.push_back({Health::kNote, kEngine, "the plug-in says: " + line, advice});
  }
}

}  // namespace

void examine_plugin(const std::string& plugin, Diagnoses& out) {
  std::string problem;
  const std::unique_ptr<PluginLibrary> library = PluginLibrary::load(plugin, problem);
  if (!library) {
    out.push_back({Health::kBad, kPlugin, problem, {}});
    return;
  }
  const vek_exporter_api_t& api = library->api();
  const std::string path = path_of(reinterpret_cast<const void*>(api.init));
  out.push_back({Health::kGood, kPlugin, "loaded from " + path, {}});
  const auto version = library->find<const char*()>("vek_version_string");
  out.push_back({Health::kGood,
                 kPlugin,
                 std::string(api.name ? api.name : "(no name)") + ", version " +
                     (version ? version() : "unknown") + ", exporter interface " +
                     std::to_string(api.version),
                 {}});
  examine_build(kPlugin, path, out);
  examine_entry_points(*library, out);
  examine_engine(*library, out);
}

}  // namespace vek::tools
