#include "raw_msgpack_api/spool_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::engine {
namespace {

using test::LogCapture;
using test::TempDir;
using testing::ElementsAre;

mode_t mode_of(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

TEST(SpoolFolder, MakesItsFolderAndThatOneAboveForTheOwnerAlone) {
  const TempDir dir;
  ASSERT_NE(SpoolFolder::open(dir.file("storage/mine"), "[t]"), nullptr);
  EXPECT_EQ(mode_of(dir.file("storage")), 0700u);
  EXPECT_EQ(mode_of(dir.file("storage/mine")), 0700u);
}

TEST(SpoolFolder, ClosesAnExistingFolderToOthers) {
  const TempDir dir;
  std::filesystem::create_directory(dir.file("mine"));
  ASSERT_EQ(chmod(dir.file("mine").c_str(), 0755), 0);
  ASSERT_NE(SpoolFolder::open(dir.file("mine"), "[t]"), nullptr);
  EXPECT_EQ(mode_of(dir.file("mine")), 0700u);
}

TEST(SpoolFolder, NamesTheFolderThatItCannotUse) {
  const TempDir dir;
  dir.write("file", "");
  ASSERT_EQ(symlink(dir.path().c_str(), dir.file("link").c_str()), 0);
  LogCapture log;
  EXPECT_EQ(SpoolFolder::open(dir.file("no/such/folder"), "[t]"), nullptr);
  EXPECT_EQ(SpoolFolder::open(dir.file("file"), "[t]"), nullptr);
  EXPECT_EQ(SpoolFolder::open(dir.file("link"), "[t]"), nullptr);
  EXPECT_THAT(
      log.errors(),
      ElementsAre("[t] cannot use the spool folder '" + dir.file("no/such/folder") +
                      "': No such file or directory",
                  "[t] cannot use the spool folder '" + dir.file("file") + "': Not a directory",
                  "[t] cannot use the spool folder '" + dir.file("link") + "': Not a directory"));
}

TEST(SpoolFolder, RefusesASecondUserInTheSameProcess) {
  const TempDir dir;
  LogCapture log;
  {
    const auto first = SpoolFolder::open(dir.path(), "[t]");
    EXPECT_EQ(SpoolFolder::open(dir.path(), "[u]"), nullptr);
    EXPECT_THAT(log.errors(),
                ElementsAre("[u] cannot use the spool folder '" + dir.path() +
                            "': another destination or process uses it; give each an Alias or "
                            "storage.path of its own"));
  }
  EXPECT_NE(SpoolFolder::open(dir.path(), "[u]"), nullptr);
}

TEST(SpoolFolder, RefusesASecondProcess) {
  const TempDir dir;
  int ready[2];
  int done[2];
  ASSERT_EQ(pipe(ready), 0);
  ASSERT_EQ(pipe(done), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(done[1]);
    const auto folder = SpoolFolder::open(dir.path(), "[child]");
    char byte = folder ? 'y' : 'n';
    if (write(ready[1], &byte, 1) == 1 && read(done[0], &byte, 1) == 0) _exit(0);
    _exit(1);
  }
  close(done[0]);
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_EQ(byte, 'y');
  {
    LogCapture log;
    EXPECT_EQ(SpoolFolder::open(dir.path(), "[t]"), nullptr);
  }
  close(done[1]);
  waitpid(child, nullptr, 0);
  close(ready[0]);
  close(ready[1]);
  EXPECT_NE(SpoolFolder::open(dir.path(), "[t]"), nullptr);  // the lock died with its process
}

TEST(SpoolFolder, GivesTheLockBackThoughAForkedChildLives) {
  const TempDir dir;
  auto folder = SpoolFolder::open(dir.path(), "[t]");
  int done[2];
  ASSERT_EQ(pipe(done), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(done[1]);
    char byte = 0;
    _exit(read(done[0], &byte, 1) == 0 ? 0 : 1);
  }
  folder.reset();
  EXPECT_NE(SpoolFolder::open(dir.path(), "[t]"), nullptr);
  close(done[1]);
  close(done[0]);
  waitpid(child, nullptr, 0);
}

TEST(SpoolFolder, ReplacesNothingWhenItSetsAFileAside) {
  const TempDir dir;
  const auto folder = SpoolFolder::open(dir.path(), "[t]");
  std::string name;
  for (const char* expected : {"a.damaged", "a.damaged.1", "a.damaged.2"}) {
    dir.write("a", expected);
    EXPECT_EQ(folder->set_aside("a", ".damaged", name), 0);
    EXPECT_EQ(name, expected);
  }
  for (const char* text : {"a.damaged", "a.damaged.1", "a.damaged.2"}) {
    EXPECT_EQ(test::read_file(dir.file(text)), text);
  }
  EXPECT_EQ(folder->set_aside("a", ".damaged", name), ENOENT);
}

TEST(SpoolFolder, OpensRegularFilesOnly) {
  const TempDir dir;
  const auto folder = SpoolFolder::open(dir.path(), "[t]");
  ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0600), 0);
  dir.write("target", "x");
  ASSERT_EQ(symlink("target", dir.file("link").c_str()), 0);
  SharedFile file;
  EXPECT_EQ(folder->open_file("fifo", file), EINVAL);
  EXPECT_EQ(folder->open_file("link", file), ELOOP);
  EXPECT_EQ(folder->open_file("none", file), ENOENT);
  EXPECT_EQ(folder->create("target", file), EEXIST);
  EXPECT_EQ(folder->open_file("target", file), 0);
}

TEST(SpoolFolder, ListsInOrderAndTellsFilesFromTheRest) {
  const TempDir dir;
  const auto folder = SpoolFolder::open(dir.path(), "[t]");
  dir.write("b", "12");
  dir.write("a/inside", "");
  ASSERT_EQ(symlink("b", dir.file("c").c_str()), 0);
  std::vector<SpoolFolder::Entry> entries;
  ASSERT_EQ(folder->list(entries), 0);
  std::string text;
  for (const auto& entry : entries) {
    text += entry.name + (entry.is_file ? ":" + std::to_string(entry.size) : "") + " ";
  }
  EXPECT_EQ(text, "a b:2 c lock:0 ");
}

TEST(SafeFolderName, KeepsWhatIsHarmlessAndTellsNamesApart) {
  EXPECT_EQ(safe_folder_name("site-collector_1.a"), "site-collector_1.a");
  for (const char* name : {"", ".", "..", "../x", "a/b", ".hidden", "a b", "\xc3\xa9"}) {
    const std::string safe = safe_folder_name(name);
    EXPECT_THAT(safe, testing::MatchesRegex("[A-Za-z0-9_-][A-Za-z0-9._-]*-[0-9a-f]+")) << name;
  }
  EXPECT_NE(safe_folder_name("a/b"), safe_folder_name("a_b"));
  EXPECT_NE(safe_folder_name("a/b"), safe_folder_name("a b"));
  const std::string longer(300, 'n');
  EXPECT_LT(safe_folder_name(longer).size(), 100u);
  EXPECT_NE(safe_folder_name(longer), safe_folder_name(longer + 'n'));
}

}  // namespace
}  // namespace vek::engine
