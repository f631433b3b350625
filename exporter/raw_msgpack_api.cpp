#include "exporter/raw_msgpack_api.h"

#include <dlfcn.h>

#include <string>

#include "utils/environment.h"
#include "utils/logger.h"

namespace vek {
namespace {

constexpr const char* kPrefix = "[Fluent Bit Exporter]";
constexpr const char* kLibrary = "libraw_msgpack_api.so";
constexpr const char* kPathVariable = "FLUENT_BIT_EXPORT_API_SO";
constexpr const char* kLoaderVariable = "LD_LIBRARY_PATH";
constexpr const char* kRootVariable = "VEK_ROOT";
constexpr const char* kDefaultRoot = "/opt/brisline/vekora";

const char* envOrEmpty(const char* name) {
  const char* value = path_from_environment(name);
  return value ? value : "";
}

// "<root>/lib/".
std::string deploymentLibDir() {
  const char* root = path_from_environment(kRootVariable);
  if (root) VEK_LOGI("deploy_path = %s (VEK_ROOT)", root);
  return std::string(root ? root : kDefaultRoot) + "/lib/";
}

void* tryOpen(const char* path) {
  void* const handle = dlopen(path, RTLD_LAZY | RTLD_LOCAL);
  if (handle) {
    VEK_LOGI("opened API lib: handle=%p from path=%s", handle, path);
  } else {
    const char* reason = dlerror();
    VEK_LOGW("failed to open library %s: %s", path, reason ? reason : "");
  }
  return handle;
}

// The handle, and in `place` where it was found.
void* search(const std::string& deployment_dir, std::string& place) {
  VEK_LOGI("%s Looking for %s in:", kPrefix, kLibrary);
  VEK_LOGI("%s \t\t\t\t '%s'", kPrefix, kPathVariable);
  place = envOrEmpty(kPathVariable);
  if (!place.empty()) {
    if (void* handle = tryOpen(place.c_str())) return handle;
  }
  VEK_LOGI("%s \t\t\t\t %s=%s", kPrefix, kLoaderVariable, envOrEmpty(kLoaderVariable));
  place = kLoaderVariable;
  if (void* handle = tryOpen(kLibrary)) return handle;
  VEK_LOGI("%s \t\t\t\t '%s'", kPrefix, deployment_dir.c_str());
  place = deployment_dir;
  return tryOpen((deployment_dir + kLibrary).c_str());
}

template <typename Function>
Function entryPoint(void* handle, const char* name) {
  return reinterpret_cast<Function>(dlsym(handle, name));
}

}  // namespace

RawMsgpackApi loadRawMsgpackApi() {
  RawMsgpackApi api;
  std::string place;
  api.handle = search(deploymentLibDir(), place);
  if (!api.handle) {
    VEK_LOGI("%s Cannot find '%s'. Dumping env variables.", kPrefix, kLibrary);
    VEK_LOGI("\t%s=%s", kPathVariable, envOrEmpty(kPathVariable));
    VEK_LOGI("\t%s=%s", kLoaderVariable, envOrEmpty(kLoaderVariable));
    VEK_LOGE("[Fluent Bit Exporter] cannot find 'libraw_msgpack_api.so'");
    return api;
  }
  VEK_LOGI("%s Loaded '%s' from %s", kPrefix, kLibrary, place.c_str());
  api.init = entryPoint<RawMsgpackInit>(api.handle, "init");
  api.add_data = entryPoint<RawMsgpackAddData>(api.handle, "add_data");
  api.finalize = entryPoint<RawMsgpackFinalize>(api.handle, "finalize");
  return api;
}

}  // namespace vek
