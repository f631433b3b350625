// What a host keeps while the built libraries are loaded, run and unloaded in it: its signals,
// locale, umask, folder, environment, rounding mode, output, errno, descriptors and memory.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "data/page_writer.h"
#include "exporter/exporter_api.h"
#include "schema_manager/fillings.h"
#include "tests/support/child_process.h"
#include "tests/support/process_threads.h"
#include "tests/support/schema_documents.h"
#include "tests/support/temp_dir.h"
#include "utils/dictionary.h"

extern char** environ;

namespace vek::test {
namespace {

// A provider's page, made by this program's own copy of the framework.
struct Input {
  OwnedTypeSystem types = typeSystem({"rx", "tx"});
  std::vector<uint8_t> image;
  TempDir config;

  explicit Input(const std::string& destination) {
    PageWriter writer("host", "");
    writer.counters_block(1'500'000, values({7, 300}));
    image = writer.finish();
    config.write("a.exp", "name = a\n" + destination);
  }
};

const vek_exporter_api_t* api_of(void* library) {
  return reinterpret_cast<decltype(&vek_exporter_get_api)>(
      dlsym(library, "vek_exporter_get_api"))();
}

// Load, run, unload: as a collector does. False when something did not work.
bool live(const Input& input, int pages = 3) {
  void* library = dlopen(VEK_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  if (!library) return false;
  const vek_exporter_api_t* api = api_of(library);
  vek_dict_t* params = vek_dict_create();
  vek_dict_add(params, "fluentbit-config-dir", input.config.path().c_str());
  void* handle = api->init(params);
  vek_dict_delete(params);
  if (!handle || api->connect(handle) == 0) return false;
  vek_exporter_schema_manager_t schemas{};
  vek_exporter_schema_manager_from_type_system(input.types.get(), &schemas);
  for (int i = 0; i < pages; ++i) {
    errno = 4711;
    const auto* page = reinterpret_cast<const vek_data_page_t*>(input.image.data());
    if (api->export_data_page(handle, page, &schemas) == 0) return false;
    if (errno != 4711) return false;
  }
  api->disconnect(handle);
  api->destroy(handle);
  return dlclose(library) == 0;
}

// What can be seen of the process, as one text.
std::string process_state() {
  std::string text;
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) != 0) continue;
    text += std::to_string(reinterpret_cast<uintptr_t>(action.sa_handler)) + "/" +
            std::to_string(action.sa_flags) + " ";
  }
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  for (int number = 1; number < NSIG; ++number) {
    text += sigismember(&mask, number) == 1 ? '1' : '0';
  }
  const mode_t bits = umask(0);
  umask(bits);
  text += "\numask " + std::to_string(bits) + "\nlocale " + setlocale(LC_ALL, nullptr) +
          "\nfolder " + std::filesystem::current_path().string() + "\nrounding " +
          std::to_string(fegetround()) + "\noutput " + std::to_string(fcntl(1, F_GETFL)) + "\n";
  for (char** variable = environ; *variable; ++variable) text += *variable + std::string("\n");
  return text;
}

size_t entries_of(const char* folder) {
  size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}

long resident_kilobytes() {
  std::ifstream file("/proc/self/statm");
  long size = 0;
  long resident = 0;
  file >> size >> resident;
  return resident * 4;
}

class HostContract : public ::testing::Test {
 protected:
  static void find_engine() {
    setenv("FLUENT_BIT_EXPORT_API_SO", VEK_ENGINE_PATH, 1);
    unsetenv("VEK_API_LOG_LEVEL");
  }
};

TEST_F(HostContract, LeavesTheProcessAsItWas) {
  const Input input("plugin_name = null\n");
  const ChildResult child = run_in_child([&] {
    find_engine();
    std::fesetround(FE_UPWARD);
    umask(027);
    setlocale(LC_ALL, "C.UTF-8");
    std::signal(SIGPIPE, SIG_DFL);
    const std::string before = process_state();
    EXPECT_TRUE(live(input));
    EXPECT_EQ(process_state(), before);
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output << child.standard_error;
}

TEST_F(HostContract, SaysNothingOnStandardOutput) {
  const Input input("plugin_name = null\n");
  const ChildResult child = run_in_child([&] {
    find_engine();
    if (!live(input)) _exit(1);
    _exit(0);
  });
  EXPECT_EQ(child.exit_code, 0);
  EXPECT_EQ(child.standard_output, "");
}

// Log lines go to descriptor 2, whatever lies there: records must not.
TEST_F(HostContract, WorksWithoutStandardDescriptors) {
  const TempDir out;
  const Input input("plugin_name = file\nplugin_path = " + out.path() +
                    "\nplugin_file = records\nplugin_format = json\n");
  const ChildResult child = run_in_child([&] {
    find_engine();
    setenv("VEK_RAW_MSGPACK_LOG_LEVEL", "7", 1);
    for (int fd = 0; fd <= 2; ++fd) close(fd);
    _exit(live(input) ? 0 : 1);
  });
  EXPECT_EQ(child.exit_code, 0);
  const std::string record =
      "[1.5,{\"timestamp\":1500000,\"type\":\"counters\",\"source\":\"host\",\"rx\":7,\"tx\":300}]"
      "\n";
  EXPECT_EQ(read_file(out.file("records")), record + record + record);
}

// VEK_LOAD_CYCLES says how many; an ordinary run takes few.
TEST_F(HostContract, CyclesOfLoadRunAndUnloadStayLevel) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sanitizers keep what is unloaded";
#endif
  const Input input("plugin_name = null\n");
  const char* wanted = std::getenv("VEK_LOAD_CYCLES");
  const int cycles = wanted ? std::atoi(wanted) : 150;
  const ChildResult child = run_in_child([&] {
    find_engine();
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(live(input, 1));
    const size_t descriptors = entries_of("/proc/self/fd");
    const size_t threads = entries_of("/proc/self/task");
    const long before = resident_kilobytes();
    for (int i = 0; i < cycles; ++i) EXPECT_TRUE(live(input, 1));
    EXPECT_EQ(entries_of("/proc/self/fd"), descriptors);
    EXPECT_TRUE(threads_come_down_to(threads));
    EXPECT_LT(resident_kilobytes() - before, 1024 + cycles);  // the ledger remembers each context
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output << child.standard_error;
}

}  // namespace
}  // namespace vek::test
