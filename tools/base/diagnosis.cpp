#include "tools/base/diagnosis.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>

namespace vek::tools {
namespace {

constexpr unsigned kSeconds = 30;
constexpr char kFieldEnd = '\x1f';
constexpr char kRecordEnd = '\x1e';

std::string packed(const Diagnosis& diagnosis) {
  return std::to_string(static_cast<int>(diagnosis.health)) + kFieldEnd + diagnosis.part +
         kFieldEnd + diagnosis.what + kFieldEnd + diagnosis.mend + kRecordEnd;
}

Diagnosis unpacked(const std::string& text) {
  std::array<std::string, 4> fields;
  size_t field = 0;
  for (const char c : text) {
    if (c == kFieldEnd && field + 1 < fields.size()) {
      ++field;
    } else {
      fields[field] += c;
    }
  }
  Diagnosis diagnosis{Health::kBad, fields[1], fields[2], fields[3]};
  if (fields[0] == "0") diagnosis.health = Health::kGood;
  if (fields[0] == "1") diagnosis.health = Health::kNote;
  return diagnosis;
}

void write_all(int fd, const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    const ssize_t written = write(fd, text.data() + done, text.size() - done);
    if (written <= 0 && errno != EINTR) return;
    if (written > 0) done += static_cast<size_t>(written);
  }
}

[[noreturn]] void run_child(int fd, const std::string& part,
                            const std::function<void(Diagnoses&)>& examine) {
  alarm(kSeconds);
  const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nothing >= 0) dup2(nothing, STDOUT_FILENO);
  Diagnoses found;
  try {
    examine(found);
  } catch (const std::exception& error) {
    found.push_back({Health::kBad, part, error.what(), {}});
  }
  for (const Diagnosis& diagnosis : found) write_all(fd, packed(diagnosis));
  _exit(0);  // what the libraries registered for the end is not asked for
}

std::string end_of(int status) {
  if (!WIFSIGNALED(status))
    return "ends the process with status " + std::to_string(WEXITSTATUS(status));
  if (WTERMSIG(status) == SIGALRM)
    return "does not return within " + std::to_string(kSeconds) + " seconds";
  return std::string("crashes: ") + strsignal(WTERMSIG(status));
}

}  // namespace

Diagnoses diagnose_in_child(const std::string& part,
                            const std::function<void(Diagnoses&)>& examine) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    return {{Health::kBad, part, std::string("no pipe: ") + std::strerror(errno), {}}};
  }
  const pid_t child = fork();
  if (child == 0) run_child(ends[1], part, examine);
  close(ends[1]);
  std::string text;
  std::array<char, 4096> piece{};
  for (ssize_t got = 0; child > 0;) {
    got = read(ends[0], piece.data(), piece.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    text.append(piece.data(), static_cast<size_t>(got));
  }
  close(ends[0]);
  if (child < 0)
    return {{Health::kBad, part, std::string("no process: ") + std::strerror(errno), {}}};
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  Diagnoses found;
  for (size_t begin = 0, end = 0; (end = text.find(kRecordEnd, begin)) != std::string::npos;
       begin = end + 1) {
    found.push_back(unpacked(text.substr(begin, end - begin)));
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    found.push_back({Health::kBad, part, end_of(status), {}});
  }
  return found;
}

}  // namespace vek::tools
