// Outputs that a Fluent Bit program serves; a fake one.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <thread>

#include "tests/raw_msgpack_api/fluent_bit_fixture.h"

namespace vek::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class ProgramPipelineTest : public FluentBitTest {};

TEST_F(ProgramPipelineTest, TakesEveryRecordInOrderAndLeavesNothingBehind) {
  const size_t before = descriptors();
  Engine engine("fake", program());
  ASSERT_TRUE(engine.context());
  ASSERT_EQ(folders().size(), 1u);
  struct stat status {};
  ASSERT_EQ(stat(folders()[0].c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700u);
  add_numbered(engine, 0, 1000);
  EXPECT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("delivered"), 1000u);
  expect_balance(engine);
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(numbers(), counted(1000));
  EXPECT_THAT(folders(), IsEmpty());
  EXPECT_EQ(descriptors(), before);
}

TEST_F(ProgramPipelineTest, PassesItsLogOn) {
  LogCapture log;
  Engine engine("fake", program({{"say", "[output:fake] oh"}, {"alias", "mine"}}));
  engine.finish();
  EXPECT_TRUE(log.has(3, "[raw msgpack API] [mine] fluent-bit: [output:fake] oh"));
  EXPECT_TRUE(log.has(6, "[raw msgpack API] [mine] fluent-bit: [fluent bit] version=9.9.9"));
  EXPECT_TRUE(log.has(
      6,
      "[raw msgpack API] [mine] Fluent Bit 9.9.9 runs as the program '" VEK_FAKE_FLUENT_BIT "'"));
  EXPECT_THAT(log.warnings(), IsEmpty());
}

TEST_F(ProgramPipelineTest, ShowsNoSecretInLogsNorToOtherUsers) {
  LogCapture log;
  const std::string pid_file = dir_.file("pid");
  Engine engine("fake", program({{"password", "hunter2-secret"}, {"pid_file", pid_file}}));
  ASSERT_TRUE(engine.context());
  const std::string process = "/proc/" + read_file(pid_file);
  EXPECT_THAT(read_file(process + "/cmdline"),
              AllOf(HasSubstr("fluent-bit.conf"), Not(HasSubstr("hunter2"))));
  EXPECT_THAT(read_file(process + "/environ"), Not(HasSubstr("hunter2")));
  EXPECT_TRUE(waits_for([&] {
    return log.has(4, "[raw msgpack API] [fake] fluent-bit: [output:fake] logging in with ***");
  }));
  engine.finish();
  for (const LogLine& line : log.lines()) EXPECT_THAT(line.text, Not(HasSubstr("hunter2")));
}

TEST_F(ProgramPipelineTest, NamesAParameterThatItsOutputDoesNotHave) {
  LogCapture log(4);
  EXPECT_EQ(Engine("fake", program({{"outt", "x"}})).context(), nullptr);
  EXPECT_THAT(log.errors(), ElementsAre("[raw msgpack API] [fake] the output 'fake' of Fluent Bit "
                                        "has no parameter 'outt'"));
  log.clear();
  EXPECT_EQ(Engine("fake", program({{"vek.deph", "1"}})).context(), nullptr);
  EXPECT_THAT(log.errors(), ElementsAre("[raw msgpack API] output 'fake' has no parameter "
                                        "'vek.deph'; did you mean 'vek.depth'?"));
  EXPECT_THAT(folders(), IsEmpty());
}

TEST_F(ProgramPipelineTest, SaysWhatTheProgramSaysOfItsConfiguration) {
  LogCapture log(4);
  EXPECT_EQ(Engine("kafkaa", program()).context(), nullptr);
  EXPECT_THAT(log.errors(),
              ElementsAre("[raw msgpack API] [kafkaa] it does not take its "
                          "configuration: [config] output plugin 'kafkaa' does not exist"));
}

TEST_F(ProgramPipelineTest, SaysWhyThereIsNoProgram) {
  const std::string old = dir_.write("old", "#!/bin/sh\necho 'Fluent Bit v2.0.14'\n");
  const std::string mute = dir_.write("mute", "#!/bin/sh\nexit 3\n");
  const std::string plain = dir_.write("plain", "#!/bin/sh\n");
  chmod(old.c_str(), 0700);
  chmod(mute.c_str(), 0700);
  const std::pair<std::string, std::string> cases[] = {
      {dir_.file("missing"),
       "there is no program fluent-bit on the path or in /opt/fluent-bit/bin"},
      {old, old + ": it is Fluent Bit 2.0.14, of which 2.1 is the first that works"},
      {mute, mute + ": it does not tell its version, it ended with status 3"},
      {"/x/libfluent-bit.so",
       "there is no program fluent-bit on the path or in /opt/fluent-bit/bin"},
  };
  for (const auto& [path, why] : cases) {
    LogCapture log(4);
    EXPECT_EQ(Engine("fake", with(path.c_str(), "process", {})).context(), nullptr);
    EXPECT_THAT(log.errors(),
                ElementsAre("[raw msgpack API] output 'fake' needs Fluent Bit 2.1 or later, which "
                            "cannot be had (process: " +
                            why +
                            "); install it, or say where it is "
                            "with vek.engine_path; these work without it: stdout_raw, stdout, "
                            "file, forward, null"));
  }
}

TEST_F(ProgramPipelineTest, IsNotStartedWhereItNeverAnswers) {
  LogCapture log(4);
  EXPECT_EQ(Engine("fake", program({{"deaf", "on"}, {"vek.start_timeout", "0.2"}})).context(),
            nullptr);
  EXPECT_THAT(log.errors(), Contains(HasSubstr("process: " VEK_FAKE_FLUENT_BIT ": No such file")));
  EXPECT_THAT(folders(), IsEmpty());
}

TEST_F(ProgramPipelineTest, IsStartedAgainWhenItDiesAndLosesNothing) {
  LogCapture log(4);
  constexpr uint64_t kRecords = 400;
  Engine engine(
      "fake",
      program({{"die_after", "3"}, {"die_mark", dir_.file("died")}, {"vek.frame_size", "1k"}}));
  ASSERT_TRUE(engine.context());
  add_numbered(engine, 0, kRecords);
  EXPECT_TRUE(engine.drained());
  EXPECT_EQ(engine.stat("delivered"), kRecords);
  EXPECT_GT(engine.stat("retried"), 0u);
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(numbers(), counted(kRecords));
  EXPECT_TRUE(log.has(4,
                      "[raw msgpack API] [fake] Fluent Bit died (it ended with status 3); it is "
                      "started again"));
}

TEST_F(ProgramPipelineTest, KeepsTheAccountWhileItDiesAgainAndAgain) {
  Engine engine("fake", program({{"die_after", "1"}, {"vek.grace", "0.2"}}));
  ASSERT_TRUE(engine.context());
  add_numbered(engine, 0, 10);
  usleep(200'000);
  expect_balance(engine);
  EXPECT_EQ(engine.stat("queued"), 10u);
  EXPECT_NE(engine.finish(), 0);
  EXPECT_THAT(numbers(), IsEmpty());
}

TEST_F(ProgramPipelineTest, IsStartedAgainAfterPausesThatGrow) {
  LogCapture log(4);
  Engine engine("fake",
                program({{"die_after", "1"}, {"vek.retry_cap", "0.5"}, {"vek.grace", "0"}}));
  add_numbered(engine, 0, 1);
  usleep(1'500'000);
  EXPECT_NE(engine.finish(), 0);
  const size_t deaths = log.count(4,
                                  "[raw msgpack API] [fake] Fluent Bit died (it ended with "
                                  "status 3); it is started again");
  EXPECT_GE(deaths, 2u);
  EXPECT_LE(deaths, 40u);
}

TEST_F(ProgramPipelineTest, IsKilledWhenItDoesNotEnd) {
  LogCapture log(4);
  const std::string pid_file = dir_.file("pid");
  Engine engine("fake",
                program({{"stubborn", "on"}, {"pid_file", pid_file}, {"vek.grace", "0.1"}}));
  const pid_t pid = std::stoi(read_file(pid_file));
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(kill(pid, 0), -1);
  EXPECT_THAT(log.warnings(), ElementsAre("[raw msgpack API] [fake] Fluent Bit did not end in time "
                                          "and was killed"));
}

TEST_F(ProgramPipelineTest, TellsOfRecordsThatItTookAndDidNotSend) {
  LogCapture log(4);
  {
    Engine engine("fake", program({{"vek.grace", "0.1"}}));
    const std::string folder = folders().at(0) + "/chunks/forward.0";
    std::filesystem::create_directories(folder);
    std::ofstream(folder + "/1.flb") << "records";
    EXPECT_NE(engine.finish(), 0);
  }
  Engine engine("fake", program({{"storage.path", dir_.file("spool")}, {"vek.grace", "0.1"}}));
  const std::string kept = dir_.file("spool/fake~fluent-bit");
  std::ofstream(kept + "/1.flb") << "records";
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_THAT(log.lines(),
              ElementsAre(LogLine{3,
                                  "[raw msgpack API] [fake] Fluent Bit could not send 1 chunks "
                                  "of records, which are lost; with storage.path they wait for "
                                  "the next start"},
                          LogLine{4, "[raw msgpack API] [fake] 1 chunks of records wait in '" +
                                         kept + "' for the next start"}));
}

TEST_F(ProgramPipelineTest, WaitsForWhatItStillSends) {
  Engine engine("fake", program());
  const std::string folder = folders().at(0) + "/chunks/forward.0";
  std::filesystem::create_directories(folder);
  std::ofstream(folder + "/1.flb") << "records";
  std::thread sender([&] {
    usleep(1'500'000);
    std::filesystem::remove(folder + "/1.flb");
  });
  EXPECT_EQ(engine.finish(), 0);
  sender.join();
}

TEST_F(ProgramPipelineTest, SpoolsWhatItCannotTake) {
  const ParameterPairs parameters = program({{"die_after", "1"},
                                             {"die_mark", dir_.file("mark")},
                                             {"storage.path", dir_.file("spool")},
                                             {"vek.grace", "0.2"},
                                             {"vek.retry_base", "60"},
                                             {"vek.retry_cap", "60"}});
  {
    Engine engine("fake", parameters);
    ASSERT_TRUE(engine.context());
    add_numbered(engine, 0, 10);
    usleep(100'000);
    EXPECT_EQ(engine.finish(), 0);
    EXPECT_THAT(numbers(), IsEmpty());
  }
  Engine engine("fake", parameters);
  ASSERT_TRUE(engine.context());
  EXPECT_TRUE(waits_for([&] { return engine.stat("delivered") == 10; })) << engine.stats();
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(numbers(), counted(10));
}

TEST_F(ProgramPipelineTest, EndsWithAHostThatIsKilledAndIsSweptUpBehind) {
  const std::string pid_file = dir_.file("pid");
  const pid_t host = fork();
  ASSERT_GE(host, 0);
  if (host == 0) {
    const Engine engine("fake", program({{"pid_file", pid_file}}));
    std::ofstream(dir_.file("ready")) << "yes";
    for (;;) pause();
  }
  ASSERT_TRUE(waits_for([&] { return access(dir_.file("ready").c_str(), F_OK) == 0; }));
  const std::string process = "/proc/" + read_file(pid_file);
  EXPECT_EQ(folders().size(), 1u);
  kill(host, SIGKILL);
  waitpid(host, nullptr, 0);
  // Its files are closed, and with them the lock of its folder, some time after it was killed.
  EXPECT_TRUE(waits_for([&] {
    const std::string state = read_file(process + "/stat");
    return state.empty() || state.find(") Z") != std::string::npos;
  }));
  EXPECT_EQ(folders().size(), 1u);
  Engine engine("fake", program());
  EXPECT_EQ(folders().size(), 1u) << "the folder of the dead one is gone";
}

TEST_F(ProgramPipelineTest, KeepsDescriptorsAndThreadsLevel) {
  const auto cycle = [&] {
    Engine engine("fake", program());
    add_numbered(engine, 0, 1);
    EXPECT_TRUE(engine.drained());
    EXPECT_EQ(engine.finish(), 0);
  };
  cycle();
  const size_t before = descriptors();
  for (int i = 0; i < 20; ++i) cycle();
  EXPECT_EQ(descriptors(), before);
  EXPECT_THAT(folders(), IsEmpty());
}

}  // namespace
}  // namespace vek::test
