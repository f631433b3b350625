// A fake of the Fluent Bit program: its command line, the configuration that it reads, its log.
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "tests/raw_msgpack_api/fake_fluent_bit/fake_receiver.h"

namespace {

struct Config {
  fake::Settings input;
  fake::Settings output;
};

void log_line(const char* level, const std::string& text) {
  std::fprintf(stderr, "[2026/01/02 03:04:05.678901234] [%5s] %s\n", level, text.c_str());
}

Config read_config(const char* path) {
  Config config;
  fake::Settings* section = nullptr;
  fake::Settings other;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    if (line == "[INPUT]") {
      section = &config.input;
    } else if (line == "[OUTPUT]") {
      section = &config.output;
    } else if (line.starts_with('[')) {
      section = &other;
    } else {
      std::istringstream words(line);
      std::string name;
      std::string value;
      words >> name >> std::ws;
      std::getline(words, value);
      if (section) (*section)[name] = value;
    }
  }
  return config;
}

bool is_of_every_output(const std::string& name) {
  for (const char* known :
       {"name", "match", "host", "port", "retry_limit", "alias", "storage.total_limit_size"}) {
    if (name == known) return true;
  }
  return name.starts_with("net.") || name.starts_with("tls");
}

int check(const Config& config) {
  if (config.output.at("name") != "fake") {
    log_line("error", "[config] output plugin '" + config.output.at("name") + "' does not exist");
    return 1;
  }
  for (const auto& [name, value] : config.output) {
    if (is_of_every_output(name) || fake::is_known_property(name)) continue;
    log_line("error", "[config] fake: unknown configuration property '" + name +
                          "'. The following properties are allowed: out, say");
    return 1;
  }
  return 0;
}

int run(const Config& config) {
  sigset_t end;
  sigemptyset(&end);
  sigaddset(&end, SIGTERM);
  sigprocmask(SIG_BLOCK, &end, nullptr);
  sigset_t none;
  sigemptyset(&none);
  const bool is_stubborn = config.output.count("stubborn") > 0;
  const int stop_fd = signalfd(-1, is_stubborn ? &none : &end, SFD_CLOEXEC);
  const auto of = [&](const char* name) {
    const auto found = config.output.find(name);
    return found == config.output.end() ? std::string() : found->second;
  };
  log_line("info", "[fluent bit] version=9.9.9");
  if (!of("say").empty()) log_line("error", of("say"));
  if (!of("password").empty()) log_line("warn", "[output:fake] logging in with " + of("password"));
  if (!of("pid_file").empty()) std::ofstream(of("pid_file")) << getpid();
  fake::serve(config.input.at("unix_path"), config.output, stop_fd, [] { std::_Exit(3); });
  log_line("warn", "[engine] service will shutdown in max 5 seconds");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string first = argc > 1 ? argv[1] : "";
  if (first == "--version") {
    std::puts("Fluent Bit v9.9.9\nGit commit: none");
    return 0;
  }
  if (first == "--dry-run" && argc == 4) return check(read_config(argv[3]));
  if (first == "-c" && argc == 3) return run(read_config(argv[2]));
  return 2;
}
