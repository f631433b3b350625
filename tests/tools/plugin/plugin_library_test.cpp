#include "tools/plugin/plugin_library.h"

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace vek::tools {
namespace {

TEST(AdviceForLoaderError, KnowsTheUsualReasons) {
  EXPECT_EQ(advice_for_loader_error("x.so: wrong ELF class: ELFCLASS32"),
            "it was built for another processor architecture than this tool");
  EXPECT_EQ(advice_for_loader_error("x.so: invalid ELF header"), "it is no shared library");
  EXPECT_EQ(advice_for_loader_error("x.so: file too short"),
            "it is empty or cut short; build or install it again");
  EXPECT_EQ(advice_for_loader_error("x.so: undefined symbol: vek_dict_create"),
            "it does not fit the libraries beside it; install both of one version");
  EXPECT_EQ(advice_for_loader_error("x.so: cannot allocate memory in static TLS block"),
            "start the tool with the library that it names in LD_PRELOAD");
  EXPECT_EQ(advice_for_loader_error("libc.so.6: version `GLIBC_2.99' not found"),
            "it was built on a newer system than this one");
  EXPECT_EQ(advice_for_loader_error("something else"), "");
}

TEST(PluginLibrary, GivesTheLoadersTextAndAdvice) {
  const test::TempDir dir;
  std::string problem;
  EXPECT_EQ(PluginLibrary::load(dir.file("none.so"), problem), nullptr);
  EXPECT_EQ(problem, "cannot load the plug-in: " + dir.file("none.so") +
                         ": cannot open shared object file: No such file or directory (check the "
                         "path; a library that it needs is looked for in LD_LIBRARY_PATH)");
  const std::string text_file = dir.write("text.so", std::string(4096, 'x'));
  EXPECT_EQ(PluginLibrary::load(text_file, problem), nullptr);
  EXPECT_EQ(problem, "cannot load the plug-in: " + text_file +
                         ": invalid ELF header (it is no shared library)");
  const std::string empty = dir.write("empty.so", "");
  EXPECT_EQ(PluginLibrary::load(empty, problem), nullptr);
  EXPECT_NE(problem.find("(it is empty or cut short"), std::string::npos) << problem;
}

TEST(PluginLibrary, RefusesALibraryThatIsNoPlugin) {
  std::string problem;
  EXPECT_EQ(PluginLibrary::load(VEK_ENGINE_PATH, problem), nullptr);
  EXPECT_STREQ(problem.c_str(),
               VEK_ENGINE_PATH ": is no exporter plug-in: it has no function vek_exporter_get_api");
}

TEST(PluginLibrary, OpensTheBuiltPlugin) {
  std::string problem;
  const auto library = PluginLibrary::load(VEK_PLUGIN_PATH, problem);
  ASSERT_NE(library, nullptr) << problem;
  EXPECT_STREQ(library->api().name, "fluentbit_exporter");
  EXPECT_NE(library->find<void>("vek_dict_create"), nullptr);
  EXPECT_EQ(library->find<void>("no_such_function"), nullptr);
}

}  // namespace
}  // namespace vek::tools
