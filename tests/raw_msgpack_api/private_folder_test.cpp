#include "raw_msgpack_api/private_folder.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/env_guard.h"
#include "tests/support/temp_dir.h"

namespace vek::engine {
namespace {

using test::EnvGuard;
using test::TempDir;

mode_t mode_of(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

std::unique_ptr<PrivateFolder> make_in(const std::string& parent) {
  const EnvGuard guard("TMPDIR", parent.c_str());
  std::string why;
  auto folder = PrivateFolder::make(why);
  EXPECT_TRUE(folder) << why;
  return folder;
}

TEST(PrivateFolder, IsForItsOwnerAloneAndGoesWithAllThatIsInIt) {
  const TempDir dir;
  auto folder = make_in(dir.path());
  const std::string path = folder->path();
  EXPECT_TRUE(path.starts_with(dir.path() + "/vek-fluent-bit-")) << path;
  EXPECT_EQ(mode_of(path), 0700u);
  ASSERT_TRUE(folder->write("config", "secret"));
  EXPECT_EQ(mode_of(folder->file("config")), 0600u);
  EXPECT_EQ(test::read_file(folder->file("config")), "secret");
  EXPECT_FALSE(folder->write("config", "again"));
  std::filesystem::create_directories(folder->file("chunks/deep"));
  folder.reset();
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(PrivateFolder, IsInTmpWhereTheOtherNameIsTooLongOrMissing) {
  const TempDir dir;
  const std::string longer = dir.file(std::string(100, 'x'));
  std::filesystem::create_directory(longer);
  for (const std::string& parent : {longer, dir.file("missing"), std::string("relative")}) {
    const auto folder = make_in(parent);
    EXPECT_TRUE(folder->path().starts_with("/tmp/vek-fluent-bit-")) << folder->path();
    EXPECT_LE(folder->file("in").size(), PrivateFolder::kLongestPath);
  }
}

TEST(PrivateFolder, SweepsUpWhatDeadHostsLeft) {
  const TempDir dir;
  const std::string left = dir.file("vek-fluent-bit-dead00");
  std::filesystem::create_directory(left);
  chmod(left.c_str(), 0700);
  dir.write("vek-fluent-bit-dead00/lock", "");
  dir.write("vek-fluent-bit-dead00/fluent-bit.conf", "secret");
  const auto used = make_in(dir.path());
  EXPECT_FALSE(std::filesystem::exists(left));
  const auto another = make_in(dir.path());
  EXPECT_TRUE(std::filesystem::exists(used->path())) << "it is in use";
}

TEST(PrivateFolder, SweepsUpNothingElse) {
  const TempDir dir;
  const std::string open = dir.file("vek-fluent-bit-open00");  // others may enter it: not ours
  std::filesystem::create_directory(open);
  chmod(open.c_str(), 0755);
  dir.write("vek-fluent-bit-open00/lock", "");
  const std::string unlocked = dir.file("vek-fluent-bit-none00");
  std::filesystem::create_directory(unlocked);
  chmod(unlocked.c_str(), 0700);
  dir.write("other/lock", "");
  make_in(dir.path());
  EXPECT_TRUE(std::filesystem::exists(open));
  EXPECT_TRUE(std::filesystem::exists(unlocked));
  EXPECT_TRUE(std::filesystem::exists(dir.file("other/lock")));
}

}  // namespace
}  // namespace vek::engine
