#include "tests/support/child_process.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "utils/owned.h"

namespace vek::test {
namespace {

std::string contents_of(std::FILE* file) {
  std::string text;
  std::rewind(file);
  char buffer[1 << 16];
  while (const size_t size = std::fread(buffer, 1, sizeof buffer, file)) text.append(buffer, size);
  return text;
}

}  // namespace

ChildResult run_in_child(const std::function<void()>& body) {
  const File out(std::tmpfile());
  const File err(std::tmpfile());
  if (!out || !err) return {};
  std::fflush(nullptr);  // what is buffered would be written by both processes
  const pid_t child = fork();
  if (child < 0) return {};
  if (child == 0) {
    alarm(60);
    dup2(fileno(out.get()), STDOUT_FILENO);
    dup2(fileno(err.get()), STDERR_FILENO);
    body();
    std::exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ChildResult result;
  result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  result.standard_output = contents_of(out.get());
  result.standard_error = contents_of(err.get());
  return result;
}

}  // namespace vek::test
