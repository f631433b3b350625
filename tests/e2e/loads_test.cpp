#include <dlfcn.h>
#include <gtest/gtest.h>

TEST(PluginLibrary, LoadsWithEverySymbolBoundAtOnce) {
  void* library = dlopen(VEK_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  dlclose(library);
}
