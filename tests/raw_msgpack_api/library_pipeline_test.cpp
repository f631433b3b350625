// Outputs that a Fluent Bit library serves in this process; a fake one.
#include "raw_msgpack_api/library_pipeline.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>

#include "tests/raw_msgpack_api/fluent_bit_fixture.h"
#include "tests/support/child_process.h"

namespace vek::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class LibraryPipelineTest : public FluentBitTest {};

TEST_F(LibraryPipelineTest, TakesEveryRecordInOrderAndLeavesNothingBehind) {
  { Engine engine("fake", library()); }  // what is made once
  std::filesystem::remove(out_);
  const size_t before = descriptors();
  Engine engine("fake", library());
  ASSERT_TRUE(engine.context());
  add_numbered(engine, 0, 1000);
  EXPECT_TRUE(engine.drained());
  expect_balance(engine);
  EXPECT_EQ(engine.finish(), 0);
  EXPECT_EQ(numbers(), counted(1000));
  EXPECT_THAT(folders(), IsEmpty());
  EXPECT_EQ(descriptors(), before);
}

TEST_F(LibraryPipelineTest, RunsSeveralAtOnce) {
  Engine first("fake", library({{"Alias", "first"}}));
  Engine second("fake", library({{"Alias", "second"}, {"out", dir_.file("second")}}));
  add_numbered(first, 0, 10);
  add_numbered(second, 0, 20);
  EXPECT_TRUE(first.drained());
  EXPECT_TRUE(second.drained());
  EXPECT_EQ(first.finish(), 0);
  EXPECT_EQ(second.finish(), 0);
  EXPECT_EQ(numbers(), counted(10));
}

TEST_F(LibraryPipelineTest, PassesItsLogOn) {
  LogCapture log;
  Engine engine("fake", library({{"say", "[output:fake] oh"}}));
  engine.finish();
  EXPECT_TRUE(log.has(3, "[raw msgpack API] [fake] fluent-bit: [output:fake] oh"));
  EXPECT_TRUE(log.has(
      6,
      "[raw msgpack API] [fake] Fluent Bit runs as the library '" VEK_FAKE_FLUENT_BIT_LIBRARY "'"));
}

TEST_F(LibraryPipelineTest, NamesAParameterThatItsOutputDoesNotHave) {
  LogCapture log(4);
  EXPECT_EQ(Engine("fake", library({{"outt", "x"}})).context(), nullptr);
  EXPECT_THAT(log.errors(),
              ElementsAre("[raw msgpack API] [fake] " VEK_FAKE_FLUENT_BIT_LIBRARY
                          ": the output 'fake' of Fluent Bit has no parameter 'outt'"));
  log.clear();
  EXPECT_EQ(Engine("kafkaa", library()).context(), nullptr);
  EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("it has no output 'kafkaa'")));
  EXPECT_THAT(folders(), IsEmpty());
}

TEST_F(LibraryPipelineTest, SaysWhyThereIsNoLibrary) {
  const std::string text = dir_.write("text.so", "no library");
  const std::pair<std::string, std::string> cases[] = {
      {dir_.file("missing.so"), "there is no libfluent-bit.so in the usual folders"},
      {text, text + ": file too short"},
      {VEK_ENGINE_PATH, VEK_ENGINE_PATH ": it has no function 'flb_create'"},
      {VEK_FAKE_OLD_FLUENT_BIT_LIBRARY,
       VEK_FAKE_OLD_FLUENT_BIT_LIBRARY ": it is older than Fluent Bit 2.1"},
  };
  for (const auto& [path, why] : cases) {
    LogCapture log(4);
    EXPECT_EQ(Engine("fake", with(path.c_str(), "library", {})).context(), nullptr);
    EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("cannot be had (library: " + why + ")")));
  }
}

TEST_F(LibraryPipelineTest, IsTheFirstChoiceAndTheProgramTheSecond) {
  const auto chosen = [&](const std::string& path) {
    LogCapture log;
    Engine engine("fake", with(path.c_str(), "auto", {}));
    if (!engine.context()) return log.errors().back();
    EXPECT_EQ(engine.finish(), 0);
    for (const std::string& line : log.at(6)) {
      if (line.find(" runs as ") != std::string::npos) return line;
    }
    return std::string();
  };
  const TempDir both;
  std::filesystem::create_symlink(VEK_FAKE_FLUENT_BIT, both.file("fluent-bit"));
  std::filesystem::create_symlink(VEK_FAKE_FLUENT_BIT_LIBRARY, both.file("libfluent-bit.so"));
  EXPECT_THAT(chosen(both.path()), HasSubstr("as the library"));
  const TempDir program_and_wreck;
  std::filesystem::create_symlink(VEK_FAKE_FLUENT_BIT, program_and_wreck.file("fluent-bit"));
  program_and_wreck.write("libfluent-bit.so", "no library");
  EXPECT_THAT(chosen(program_and_wreck.path()), HasSubstr("as the program"));
  const TempDir program_and_greedy;
  std::filesystem::create_symlink(VEK_FAKE_FLUENT_BIT, program_and_greedy.file("fluent-bit"));
  std::filesystem::create_symlink(VEK_FAKE_GREEDY_FLUENT_BIT_LIBRARY,
                                  program_and_greedy.file("libfluent-bit.so"));
  EXPECT_THAT(chosen(program_and_greedy.path()), HasSubstr("as the program"));
  const TempDir neither;
  EXPECT_EQ(chosen(neither.path()),
            "[raw msgpack API] output 'fake' needs Fluent Bit 2.1 or later, which cannot be had "
            "(library: there is no libfluent-bit.so in the usual folders; process: there is no "
            "program fluent-bit on the path or in /opt/fluent-bit/bin); install it, or say where "
            "it is with vek.engine_path; these work without it: stdout_raw, stdout, file, forward, "
            "null");
}

TEST_F(LibraryPipelineTest, SaysWhatMendsALibraryWithTooMuchThreadLocalStorage) {
  LogCapture log(4);
  EXPECT_EQ(Engine("fake", with(VEK_FAKE_GREEDY_FLUENT_BIT_LIBRARY, "library", {})).context(),
            nullptr);
  EXPECT_THAT(
      log.errors(),
      ElementsAre(HasSubstr(
          "cannot allocate memory in static TLS block (its allocator wants to be there from "
          "the start: run the host with GLIBC_TUNABLES=glibc.rtld.optional_static_tls=4096, "
          "or use vek.engine = process)")));
}

TEST_F(LibraryPipelineTest, IsFoundByTheEnvironment) {
  const EnvGuard named("FLUENT_BIT_LIBRARY", VEK_FAKE_FLUENT_BIT_LIBRARY);
  Engine engine("fake", {{"vek.engine", "library"}});
  EXPECT_TRUE(engine.context());
}

TEST_F(LibraryPipelineTest, LeavesTheHostsSignalsAlone) {
  const auto handler = [](int) {};
  const auto previous = signal(SIGPIPE, handler);
  {
    Engine engine("fake", library());
    ASSERT_TRUE(engine.context());
  }
  EXPECT_EQ(signal(SIGPIPE, previous), static_cast<sighandler_t>(handler));
}

TEST_F(LibraryPipelineTest, NeedsFreeDescriptors) {
  const auto result = run_in_child([&] {
    struct rlimit limit {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = 100;
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_LT(engine::free_descriptors(), 100u);
    LogCapture log(4);
    EXPECT_EQ(Engine("fake", library()).context(), nullptr);
    EXPECT_THAT(log.errors(), Contains(HasSubstr("descriptors are free, of 128 that it needs")));
  });
  EXPECT_EQ(result.exit_code, 0) << result.standard_output;
}

TEST_F(LibraryPipelineTest, IsNotStartedWhereItNeverAnswers) {
  LogCapture log(4);
  EXPECT_EQ(
      Engine("fake", library({{"deaf", "on"}, {"say", "no room"}, {"vek.start_timeout", "0.2"}}))
          .context(),
      nullptr);
  EXPECT_THAT(log.errors(), Contains(HasSubstr("No such file or directory: no room")));
}

}  // namespace
}  // namespace vek::test
