#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

// Replaces descriptor 1 of a child process; returns the descriptor that was given.
void become_stdout(int fd) {
  ASSERT_EQ(dup2(fd, STDOUT_FILENO), STDOUT_FILENO);
  close(fd);
}

std::string stdout_of(const char* plugin, const std::vector<std::vector<uint8_t>>& buffers,
                      ParameterPairs pairs = {}) {
  const auto child = run_in_child([&] {
    Engine engine(plugin, pairs);
    for (const auto& buffer : buffers) engine.add(buffer);
    EXPECT_EQ(engine.finish(), 0);
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_error;
  return child.standard_output;
}

TEST(StdoutRaw, WritesEachRecordAsItStands) {
  EXPECT_EQ(stdout_of("stdout_raw", {numbered_record(1) + Pack().map(1).str("a\n").nil().bytes(),
                                     Pack().array(2).u(5).array(2).map(0).u(1).bytes()}),
            "[1.5,{\"n\":1}]\n{\"a\\n\":null}\n[5,[{},1]]\n");
}

TEST(Stdout, WritesEventsAsALogProcessorDoes) {
  EXPECT_EQ(stdout_of("stdout", {numbered_record(1), numbered_record(2)}),
            "[0] evnt: [[1.500000000, {}], {\"n\"=>1}]\n"
            "[1] evnt: [[1.500000000, {}], {\"n\"=>2}]\n");
}

TEST(Stdout, WritesTheTagAndTheTimestampOfABareMap) {
  EXPECT_EQ(stdout_of("stdout", {Pack().map(1).str("timestamp").u(1700000000000001).bytes()},
                      {{"Tag", "host.cpu"}}),
            "[0] host.cpu: [[1700000000.000001000, {}], {\"timestamp\"=>1700000000000001}]\n");
  EXPECT_THAT(stdout_of("stdout", {Pack().map(0).bytes()}),
              MatchesRegex("\\[0\\] evnt: \\[\\[[0-9]+\\.[0-9]+, \\{\\}\\], \\{\\}\\]\n"));
}

TEST(Stdout, MakesOneEventOfEachMapInAList) {
  EXPECT_EQ(
      stdout_of("stdout", {Pack().array(2).f64(2).array(2).map(1).str("a").u(1).map(0).bytes(),
                           Pack().array(2).f64(3).array(2).map(0).u(1).bytes()}),
      "[0] evnt: [[2.000000000, {}], {\"a\"=>1}]\n"
      "[1] evnt: [[2.000000000, {}], {}]\n"
      "[2] evnt: [[3.000000000, {}], [{},1]]\n");
}

// The lines `{"t":context,"xxx...":number}` of three contexts: whole, each context's in order.
void expect_whole_lines_in_order(const std::string& text) {
  std::vector<uint64_t> next(3, 0);
  size_t at = 0;
  while (at < text.size()) {
    const size_t end = text.find('\n', at);
    ASSERT_NE(end, std::string::npos);
    const std::string line = text.substr(at, end - at);
    const auto context = static_cast<size_t>(line.at(5) - '0');
    ASSERT_LT(context, 3u);
    ASSERT_EQ(line, "{\"t\":" + std::to_string(context) + ",\"" + std::string(3000, 'x') +
                        "\":" + std::to_string(next[context]++) + "}");
    at = end + 1;
  }
  EXPECT_THAT(next, ElementsAre(200, 200, 200));
}

void write_numbered_lines(uint64_t context) {
  Engine engine("stdout_raw");
  for (uint64_t i = 0; i < 200; ++i) {
    engine.add(Pack().map(2).str("t").u(context).str(std::string(3000, 'x')).u(i).bytes());
  }
  EXPECT_EQ(engine.finish(), 0);
}

TEST(Stdout, KeepsOrderAndWholeLinesOfManyContextsOnAPipe) {
  const auto child = run_in_child([] {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int kept = dup(STDOUT_FILENO);
    become_stdout(ends[1]);
    std::string text;
    std::thread reader([&] {
      char buffer[5000];
      for (ssize_t size; (size = read(ends[0], buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<size_t>(size));
      }
    });
    std::vector<std::thread> writers;
    for (uint64_t t = 0; t < 3; ++t) writers.emplace_back(write_numbered_lines, t);
    for (auto& writer : writers) writer.join();
    dup2(kept, STDOUT_FILENO);  // the last writing end
    reader.join();
    expect_whole_lines_in_order(text);
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

TEST(Stdout, KeepsItsOwnDescriptor) {
  const auto child = run_in_child([] {
    Engine engine("stdout_raw");
    const int kept = dup(STDOUT_FILENO);
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    become_stdout(pipe_ends[1]);  // a host that reuses descriptor 1
    engine.add(numbered_record(1));
    EXPECT_EQ(engine.finish(), 0);
    dup2(kept, STDOUT_FILENO);
    ASSERT_EQ(fcntl(pipe_ends[0], F_SETFL, O_NONBLOCK), 0);
    char byte = 0;
    EXPECT_LE(read(pipe_ends[0], &byte, 1), 0);
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_error;
  EXPECT_EQ(child.standard_output, "[1.5,{\"n\":1}]\n");
}

TEST(Stdout, FailsInitWithoutAStandardOutput) {
  const auto child = run_in_child([] {
    LogCapture log;
    const int kept = dup(STDOUT_FILENO);
    close(STDOUT_FILENO);
    EXPECT_EQ(Engine("stdout").context(), nullptr);
    dup2(kept, STDOUT_FILENO);
    EXPECT_THAT(log.errors(), ElementsAre("[raw msgpack API] output 'stdout' cannot use standard "
                                          "output: Bad file descriptor"));
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

// A reader that went away: SIGPIPE's default action would end the host.
void outlives_a_closed_reader(int read_end, int write_end) {
  signal(SIGPIPE, SIG_DFL);
  const int kept = dup(STDOUT_FILENO);
  become_stdout(write_end);
  close(read_end);
  LogCapture log(4);
  Engine engine("stdout_raw", {{"vek.grace", "1"}});
  for (int round = 0; round < 3; ++round) {
    engine.add(numbered_record(1) + numbered_record(2));
    EXPECT_TRUE(engine.drained());
  }
  EXPECT_EQ(engine.stat("accepted"), 6u);
  EXPECT_EQ(engine.stat("write_failed"), 6u);
  EXPECT_NE(engine.finish(), 0);
  dup2(kept, STDOUT_FILENO);
  ASSERT_EQ(log.errors().size(), 2u);
  EXPECT_EQ(log.errors()[0], "[raw msgpack API] [stdout_raw] cannot write: Broken pipe");
  EXPECT_THAT(log.errors()[1], HasSubstr("6 records did not arrive"));
}

TEST(Stdout, OutlivesAClosedPipe) {
  const auto child = run_in_child([] {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    outlives_a_closed_reader(ends[0], ends[1]);
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

TEST(Stdout, OutlivesAClosedSocket) {
  const auto child = run_in_child([] {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    outlives_a_closed_reader(ends[0], ends[1]);
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

// A reader that never reads: the queue bounds memory, and finalize keeps to its grace.
void gives_up_within_its_grace(int write_end) {
  const int kept = dup(STDOUT_FILENO);
  become_stdout(write_end);
  LogCapture log(4);
  Engine engine("stdout_raw", {{"vek.grace", "0.2"}, {"Mem_Buf_Limit", "100k"}});
  const auto record = Pack().map(1).str("x").str(std::string(1000, 'x')).bytes();
  for (int i = 0; i < 3000; ++i) engine.add(record);
  EXPECT_GT(engine.stat("queue_full"), 0u);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_NE(engine.finish(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  dup2(kept, STDOUT_FILENO);
  EXPECT_THAT(log.warnings(),
              testing::Contains(HasSubstr("(queue_full): the destination is slower")));
  EXPECT_THAT(log.errors().back(), HasSubstr("\"queued\":0"));
  EXPECT_THAT(log.errors().back(), HasSubstr("\"grace_over\":"));
}

TEST(Stdout, GivesUpOnAPipeThatNobodyReads) {
  const auto child = run_in_child([] {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    gives_up_within_its_grace(ends[1]);
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

TEST(Stdout, GivesUpOnASocketThatNobodyReads) {
  const auto child = run_in_child([] {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    gives_up_within_its_grace(ends[1]);
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

// Somebody may make room on a full disk; until then records wait.
TEST(Stdout, WaitsForAFullDiskUntilTheGraceIsOver) {
  const auto child = run_in_child([] {
    const int kept = dup(STDOUT_FILENO);
    become_stdout(open("/dev/full", O_WRONLY));
    LogCapture log(4);
    Engine engine("stdout_raw", {{"vek.grace", "0.2"}});
    engine.add(numbered_record(1));
    EXPECT_NE(engine.finish(), 0);
    dup2(kept, STDOUT_FILENO);
    EXPECT_EQ(log.errors().at(0),
              "[raw msgpack API] [stdout_raw] cannot write: No space left on device");
    EXPECT_THAT(log.errors().at(1), HasSubstr("\"dropped\":{\"grace_over\":1}"));
    EXPECT_THAT(log.errors().at(1), testing::Not(HasSubstr("\"retried\":0")));
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

TEST(EngineThread, RunsNoSignalHandlerOfTheHost) {
  const auto child = run_in_child([] {
    // The signal stays pending for the process when this thread blocks it too: nobody else takes
    // it.
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR1);
    Engine engine("null");
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    kill(getpid(), SIGUSR1);  // default action: the end
    engine.add(numbered_record(1));
    EXPECT_TRUE(engine.drained());
    EXPECT_EQ(engine.finish(), 0);
    int taken = 0;
    EXPECT_EQ(sigwait(&set, &taken), 0);
    EXPECT_EQ(taken, SIGUSR1);
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output << child.standard_error;
}

}  // namespace
}  // namespace vek::test
