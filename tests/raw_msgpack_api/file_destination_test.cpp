#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(FileDestination, AppendsLinesOfJson) {
  const TempDir dir;
  for (uint64_t i = 1; i <= 2; ++i) {
    Engine engine("file", {{"Path", dir.path()}, {"FILE", "out.json"}});
    ASSERT_NE(engine.context(), nullptr);
    engine.add(numbered_record(i) + Pack().map(1).str("custom").u(i).bytes());
    engine.add(Pack().array(2).f64(2).array(1).map(1).str("d").u(i).bytes());
    EXPECT_EQ(engine.finish(), 0);
  }
  EXPECT_EQ(read_file(dir.file("out.json")),
            "[1.5,{\"n\":1}]\n{\"custom\":1}\n[2.0,[{\"d\":1}]]\n"
            "[1.5,{\"n\":2}]\n{\"custom\":2}\n[2.0,[{\"d\":2}]]\n");
}

TEST(FileDestination, AppendsTheRecordsThemselvesAndMendsThem) {
  const TempDir dir;
  Engine engine("file", {{"path", dir.path()}, {"file", "out"}, {"format", "MsgPack"}});
  engine.add(numbered_record(1));
  engine.add(Pack().array(2).f64(1.5).map(2).str("n").u(2).bytes());
  EXPECT_EQ(engine.finish(), 0);
  const auto expected = numbered_record(1) + numbered_record(2);
  EXPECT_EQ(read_file(dir.file("out")), std::string(expected.begin(), expected.end()));
}

TEST(FileDestination, NamesTheFileAfterTheTag) {
  const TempDir dir;
  EXPECT_NE(Engine("file", {{"path", dir.path() + "/"}, {"Tag", "mine"}}).context(), nullptr);
  EXPECT_EQ(read_file(dir.file("mine")), "");
  EXPECT_NE(Engine("file", {{"path", dir.path()}}).context(), nullptr);
  EXPECT_EQ(access(dir.file("evnt").c_str(), F_OK), 0);
}

TEST(FileDestination, TakesAFileWithItsFolders) {
  const TempDir dir;
  EXPECT_NE(Engine("file", {{"file", dir.file("whole")}}).context(), nullptr);
  EXPECT_EQ(access(dir.file("whole").c_str(), F_OK), 0);
}

TEST(FileDestination, MakesTheFileForItsOwnerAlone) {
  const TempDir dir;
  const mode_t old_mask = umask(0);
  EXPECT_NE(Engine("file", {{"file", dir.file("out")}}).context(), nullptr);
  umask(old_mask);
  struct stat status {};
  ASSERT_EQ(stat(dir.file("out").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST(FileDestination, SaysWhyItCannotOpen) {
  const TempDir dir;
  const std::string target = dir.write("target", "");
  ASSERT_EQ(symlink(target.c_str(), dir.file("link").c_str()), 0);
  ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0600), 0);
  const std::pair<std::string, std::string> cases[] = {
      {dir.file("absent/out"), "No such file or directory"},
      {dir.path(), "Is a directory"},
      {dir.file("link"), "it is a symbolic link"},
      {dir.file("fifo"), "it is not a regular file"},
      {"/dev/null", "it is not a regular file"},
  };
  for (const auto& [path, why] : cases) {
    LogCapture log;
    EXPECT_EQ(Engine("file", {{"file", path}}).context(), nullptr);
    EXPECT_THAT(log.errors(),
                ElementsAre("[raw msgpack API] output 'file' cannot open '" + path + "': " + why));
  }
}

TEST(FileDestination, NeedsANameAndAKnownFormat) {
  LogCapture log;
  EXPECT_EQ(Engine("file").context(), nullptr);
  EXPECT_EQ(Engine("file", {{"file", "/tmp/x"}, {"format", "csv"}}).context(), nullptr);
  EXPECT_EQ(Engine("file", {{"file", "/tmp/x"}, {"formats", "json"}}).context(), nullptr);
  EXPECT_THAT(
      log.errors(),
      ElementsAre("[raw msgpack API] output 'file' needs plugin_path or plugin_file",
                  "[raw msgpack API] output 'file' has no format 'csv'; use 'json' or 'msgpack'",
                  "[raw msgpack API] output 'file' has no parameter 'formats'; did you mean "
                  "'format'?"));
}

// A file size limit raises SIGXFSZ, whose default action ends the process.
TEST(FileDestination, OutlivesAFileSizeLimitAndLeavesNoHalfRecord) {
  const TempDir dir;
  const auto child = run_in_child([&] {
    const rlimit limit{40, 40};
    LogCapture log(4);
    Engine engine("file", {{"file", dir.file("out")}});
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    for (uint64_t i = 0; i < 10; ++i) engine.add(numbered_record(i));
    ASSERT_TRUE(engine.drained());
    EXPECT_EQ(engine.stat("delivered"), 2u);
    EXPECT_EQ(engine.stat("write_failed"), 8u);
    EXPECT_NE(engine.finish(), 0);
    ASSERT_EQ(log.errors().size(), 2u);
    EXPECT_EQ(log.errors()[0], "[raw msgpack API] [file] cannot write: File too large");
    EXPECT_THAT(log.errors()[1], HasSubstr("8 records did not arrive"));
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output << child.standard_error;
  EXPECT_EQ(read_file(dir.file("out")), "[1.5,{\"n\":0}]\n[1.5,{\"n\":1}]\n");
}

}  // namespace
}  // namespace vek::test
