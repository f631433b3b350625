#include "raw_msgpack_api/child_program.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <thread>

#include "tests/support/temp_dir.h"

namespace vek::engine {
namespace {

using test::TempDir;

ProgramStart shell(const std::string& command) { return {"/bin/sh", {"-c", command}}; }

Clock::time_point soon() { return Clock::now() + std::chrono::seconds(10); }

std::string outcome_of(const ProgramStart& start) {
  auto child = ChildProgram::start(start);
  if (!child) return std::strerror(errno);
  return child->wait_until(soon()) ? child->how() : "it goes on";
}

// Runs a shell command with its output in a file.
std::string output_of(const std::string& command) {
  const TempDir dir;
  const std::string path = dir.file("out");
  EXPECT_EQ(outcome_of(shell("exec > " + path + "; " + command)), "it ended with status 0");
  return test::read_file(path);
}

TEST(ChildProgram, TellsHowItEnded) {
  EXPECT_EQ(outcome_of(shell("exit 0")), "it ended with status 0");
  EXPECT_EQ(outcome_of(shell("exit 7")), "it ended with status 7");
  EXPECT_EQ(outcome_of(shell("kill -9 $$")), "it was ended by signal 9");
}

TEST(ChildProgram, SaysWhyItCannotBeRun) {
  EXPECT_EQ(outcome_of({"/nowhere/program", {}}), "No such file or directory");
  EXPECT_EQ(outcome_of({"/etc/passwd", {}}), "Permission denied");
}

TEST(ChildProgram, IsWaitedForNoLongerThanSaid) {
  auto child = ChildProgram::start(shell("exec sleep 60"));
  ASSERT_TRUE(child);
  EXPECT_FALSE(child->wait_until(Clock::now() + std::chrono::milliseconds(20)));
  child->signal(SIGKILL);
  EXPECT_TRUE(child->wait_until(soon()));
  EXPECT_FALSE(child->ended_well());
}

TEST(ChildProgram, BeginsWithFreshSignals) {
  signal(SIGUSR1, SIG_IGN);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR2);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  const std::string text = output_of("grep -E 'Sig(Blk|Ign)' /proc/self/status");
  pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
  signal(SIGUSR1, SIG_DFL);
  EXPECT_EQ(text, "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

TEST(ChildProgram, GetsNoDescriptorsButItsOwn) {
  const Socket leaky(open("/dev/null", O_RDONLY));  // without close-on-exec
  ASSERT_GE(leaky.fd(), 3);
  EXPECT_EQ(
      output_of("exec 9</proc/self/fd; readlink /proc/self/fd/0; ls /proc/$$/fd | tr '\\n' ' '"),
      "/dev/null\n0 1 2 9 ");
}

TEST(ChildProgram, InheritsWhatItIsGiven) {
  const TempDir dir;
  const Socket kept(open(dir.write("kept", "of the host").c_str(), O_RDONLY | O_CLOEXEC));
  const Socket out(open(dir.file("out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  ProgramStart start = shell("cat <&3; echo error >&2");
  start.output = start.error = out.fd();
  start.kept = kept.fd();
  EXPECT_EQ(outcome_of(start), "it ended with status 0");
  EXPECT_EQ(test::read_file(dir.file("out")), "of the hosterror\n");
}

TEST(ChildProgram, IsThereForAHostThatReapsEveryChild) {
  auto child = ChildProgram::start(shell("exit 3"));
  ASSERT_TRUE(child);
  EXPECT_EQ(waitpid(child->pid(), nullptr, 0), child->pid());
  EXPECT_TRUE(child->wait_until(soon()));
  EXPECT_EQ(child->how(), "it ended");
}

bool is_gone(pid_t pid) {
  for (int i = 0; i < 1000; ++i) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    if (!std::getline(in, text) || text.find(") Z ") != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

TEST(ChildProgram, EndsWithAHostThatIsKilled) {
  const TempDir dir;
  const std::string path = dir.file("pid");
  const pid_t host = fork();
  ASSERT_GE(host, 0);
  if (host == 0) {
    const auto child = ChildProgram::start(
        shell("echo $$ > " + path + ".new; mv " + path + ".new " + path + "; exec sleep 60"));
    (void)child;
    for (;;) pause();
  }
  for (int i = 0; i < 1000 && access(path.c_str(), F_OK) != 0; ++i) usleep(10'000);
  const pid_t pid = std::stoi(test::read_file(path));
  EXPECT_EQ(kill(pid, 0), 0);
  kill(host, SIGKILL);
  waitpid(host, nullptr, 0);
  EXPECT_TRUE(is_gone(pid));
}

}  // namespace
}  // namespace vek::engine
