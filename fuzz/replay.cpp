// Runs a fuzz target over files and folders of inputs, for builds without a fuzz engine.
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::string g_name;  // of the input at work

// Says which input it was; the target has said what does not hold.
void on_abort(int) {
  (void)!write(STDERR_FILENO, g_name.data(), g_name.size());
  (void)!write(STDERR_FILENO, "\n", 1);
}

size_t run_file(const std::filesystem::path& path) {
  g_name = path.string();
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>()};
  const std::vector<uint8_t> input(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(input.data(), input.size());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGABRT, on_abort);
  size_t replayed = 0;
  for (int i = 1; i < argc; ++i) {
    if (std::filesystem::is_directory(argv[i])) {
      for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
        if (entry.is_regular_file()) replayed += run_file(entry.path());
      }
    } else {
      replayed += run_file(argv[i]);
    }
  }
  std::printf("%zu inputs replayed\n", replayed);
  return replayed > 0 ? 0 : 1;
}
