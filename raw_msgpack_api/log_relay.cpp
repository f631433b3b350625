#include "raw_msgpack_api/log_relay.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <exception>
#include <utility>

#include "raw_msgpack_api/all_signals_blocked.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

constexpr size_t kLongestLine = 4096;
constexpr int kPauseMs = 100;

std::string_view trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

// Takes "[...]" from the front of `line`; empty when there is none.
std::string_view take_bracket(std::string_view& line) {
  if (line.empty() || line.front() != '[') return {};
  const size_t end = line.find(']');
  if (end == std::string_view::npos) return {};
  const std::string_view inside = trimmed(line.substr(1, end - 1));
  line = trimmed(line.substr(end + 1));
  return inside;
}

}  // namespace

ForeignLine read_foreign_line(std::string_view line) {
  line = trimmed(line);
  std::string_view rest = line;
  take_bracket(rest);
  const std::string_view level = take_bracket(rest);
  if (level == "error") return {VEK_LOG_ERROR, rest};
  if (level == "warn") return {VEK_LOG_WARNING, rest};
  if (level == "info") return {VEK_LOG_INFO, rest};
  if (level == "debug" || level == "trace") return {VEK_LOG_DEBUG, rest};
  return {VEK_LOG_DEBUG, line};
}

LogRelay::LogRelay(const std::string& name, Socket source, SecretFilter secrets)
    : name_(name), source_(std::move(source)), secrets_(std::move(secrets)) {
  const AllSignalsBlocked blocked;
  thread_ = std::thread([this] { run(); });
}

LogRelay::~LogRelay() {
  stop_.signal();
  thread_.join();
}

std::string LogRelay::last_errors() const {
  const std::lock_guard lock(mutex_);
  return errors_;
}

void LogRelay::run() {
  bool pauses = false;  // poll() does not wait for a source that is at its end or cannot be read
  for (;;) {
    std::array<pollfd, 2> requests = {{{stop_.fd(), POLLIN, 0}, {source_.fd(), POLLIN, 0}}};
    const int ready = poll(requests.data(), pauses ? 1 : 2, pauses ? kPauseMs : -1);
    if (ready < 0 && errno != EINTR) {
      std::this_thread::sleep_for(std::chrono::milliseconds(kPauseMs));
    }
    bool has_read = false;
    try {
      has_read = read_all();
    } catch (const std::exception&) {
      rest_.clear();  // there was no memory for it
    }
    if (requests[0].revents != 0) return;
    pauses = ready > 0 && !has_read;
  }
}

bool LogRelay::read_all() {
  bool has_read = false;
  std::array<char, 4096> buffer;
  for (;;) {
    const ssize_t count = read(source_.fd(), buffer.data(), buffer.size());
    if (count <= 0) return has_read;
    has_read = true;
    rest_.append(buffer.data(), static_cast<size_t>(count));
    size_t begin = 0;
    for (size_t end; (end = rest_.find('\n', begin)) != std::string::npos; begin = end + 1) {
      log_line(std::string_view(rest_).substr(begin, end - begin));
    }
    rest_.erase(0, begin);
    if (rest_.size() > kLongestLine) {
      log_line(rest_);
      rest_.clear();
    }
  }
}

void LogRelay::log_line(std::string_view line) {
  constexpr size_t kMostRemembered = 1000;
  const ForeignLine foreign = read_foreign_line(line.substr(0, kLongestLine));
  if (foreign.text.empty()) return;
  const std::string text = secrets_.clean(foreign.text);
  const bool is_expected = is_ending_ && foreign.priority == VEK_LOG_WARNING;
  VEK_LOG(is_expected ? VEK_LOG_INFO : foreign.priority, "[raw msgpack API] [%s] fluent-bit: %s",
          name_.c_str(), text.c_str());
  if (foreign.priority != VEK_LOG_ERROR) return;
  const std::lock_guard lock(mutex_);
  if (errors_.size() > kMostRemembered) return;
  if (!errors_.empty()) errors_ += "; ";
  errors_ += text;
}

}  // namespace vek::engine
