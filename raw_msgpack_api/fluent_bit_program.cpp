#include "raw_msgpack_api/fluent_bit_program.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>

#include "raw_msgpack_api/child_program.h"
#include "raw_msgpack_api/log_relay.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

struct RunResult {
  bool ended_well = false;
  std::string how;
  std::string text;  // its output and its errors
};

std::string read_available(int fd) {
  std::string text;
  std::array<char, 4096> buffer;
  while (true) {
    const ssize_t count = read(fd, buffer.data(), buffer.size());
    if (count <= 0) return text;
    text.append(buffer.data(), static_cast<size_t>(count));
  }
}

// For programs that say little and end soon. What they say waits in the pipe; one that says more
// than it holds is stopped like one that takes too long.
RunResult run_briefly(const std::string& path, std::vector<std::string> arguments) {
  constexpr std::chrono::seconds kPatience{10};
  RunResult result;
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
    result.how = std::strerror(errno);
    return result;
  }
  const Socket reader(ends[0]);
  const Socket writer(ends[1]);
  auto child = ChildProgram::start({path, std::move(arguments), writer.fd(), writer.fd()});
  if (!child) {
    result.how = std::strerror(errno);
    return result;
  }
  if (!child->wait_until(Clock::now() + kPatience)) {
    child->signal(SIGKILL);
    child->wait_until(Clock::time_point::max());
    result.how = "it did not end in time";
  } else {
    result.how = child->how();
    result.ended_well = child->ended_well();
  }
  result.text = read_available(reader.fd());
  return result;
}

// The error lines of a check, without their times.
std::string errors_in(const std::string& text) {
  std::string errors;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    const ForeignLine line = read_foreign_line(std::string_view(text).substr(begin, end - begin));
    if (line.priority == VEK_LOG_ERROR) {
      if (!errors.empty()) errors += "; ";
      errors += line.text;
    }
    begin = end + 1;
  }
  return errors;
}

// The key in "unknown configuration property 'urii'".
std::string unknown_key(const std::string& text) {
  constexpr std::string_view kBefore = "unknown configuration property '";
  const size_t begin = text.find(kBefore);
  if (begin == std::string::npos) return {};
  const size_t end = text.find('\'', begin + kBefore.size());
  if (end == std::string::npos) return {};
  return text.substr(begin + kBefore.size(), end - begin - kBefore.size());
}

}  // namespace

std::string version_in(const std::string& text) {
  constexpr std::string_view kBefore = "Fluent Bit v";
  const size_t begin = text.find(kBefore);
  if (begin == std::string::npos) return {};
  const size_t end = text.find_first_not_of("0123456789.", begin + kBefore.size());
  return text.substr(begin + kBefore.size(),
                     end == std::string::npos ? end : end - begin - kBefore.size());
}

bool is_served_version(const std::string& version) {
  unsigned major = 0;
  unsigned minor = 0;
  const char* end = version.data() + version.size();
  const auto first = std::from_chars(version.data(), end, major);
  if (first.ec != std::errc{} || first.ptr == end || *first.ptr != '.') return false;
  if (std::from_chars(first.ptr + 1, end, minor).ec != std::errc{}) return false;
  return major > 2 || (major == 2 && minor >= 1);
}

std::optional<FluentBitProgram> FluentBitProgram::find(const std::vector<std::string>& candidates,
                                                       std::string& why) {
  for (const std::string& path : candidates) {
    if (access(path.c_str(), X_OK) != 0) {
      if (errno != ENOENT && errno != ENOTDIR) {
        why += (why.empty() ? "" : "; ") + path + ": " + std::strerror(errno);
      }
      continue;
    }
    const RunResult result = run_briefly(path, {"--version"});
    const std::string version = version_in(result.text);
    if (is_served_version(version)) return FluentBitProgram{path, version};
    why += (why.empty() ? "" : "; ") + path + ": ";
    why += version.empty()
               ? "it does not tell its version, " + result.how
               : "it is Fluent Bit " + version + ", of which 2.1 is the first that works";
  }
  if (why.empty()) why = "there is no program fluent-bit on the path or in /opt/fluent-bit/bin";
  return std::nullopt;
}

std::string FluentBitProgram::check(const std::string& config_path,
                                    const FluentBitConfig& config) const {
  const RunResult result = run_briefly(path, {"--dry-run", "-c", config_path});
  if (result.ended_well) return {};
  const std::string key = unknown_key(result.text);
  if (!key.empty()) {
    return "the output '" + config.output + "' of Fluent Bit has no parameter '" + key + "'";
  }
  const std::string errors = errors_in(result.text);
  return "it does not take its configuration: " +
         config.secrets.clean(errors.empty() ? result.how : errors);
}

}  // namespace vek::engine
