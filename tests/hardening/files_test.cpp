// Files that are none: pipes, devices, folders, links and giants where configuration and schemas
// are expected. None is waited for; each is refused in the words for a file that cannot be opened.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "counters/counter_set.h"
#include "data/schema_owned.h"
#include "data/type_system.h"
#include "exporter/exporters_array.h"
#include "field_set/field_set.h"
#include "tests/hardening/record_sink.h"
#include "tests/hardening/secure_mode.h"
#include "tests/support/env_guard.h"
#include "tests/support/log_capture.h"
#include "tests/support/schema_documents.h"
#include "tests/support/temp_dir.h"
#include "utils/environment.h"
#include "utils/input_file.h"
#include "utils/limits.h"

namespace vek::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

struct OddFile {
  const char* name;
  bool (*make)(const std::string& path);
};

std::ostream& operator<<(std::ostream& out, const OddFile& file) { return out << file.name; }

bool make_pipe(const std::string& path) { return mkfifo(path.c_str(), 0600) == 0; }
bool make_folder(const std::string& path) { return mkdir(path.c_str(), 0700) == 0; }
bool make_socket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool bound = bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return bound;
}
bool make_device_link(const std::string& path) { return symlink("/dev/zero", path.c_str()) == 0; }
bool make_pipe_link(const std::string& path) {
  const std::string pipe = path + ".pipe";
  return make_pipe(pipe) && symlink(pipe.c_str(), path.c_str()) == 0;
}
bool make_loop(const std::string& path) { return symlink(path.c_str(), path.c_str()) == 0; }
bool make_dangling(const std::string& path) { return symlink("/nonexistent", path.c_str()) == 0; }
bool make_giant(const std::string& path) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const bool made = ftruncate(fd, 100 << 20) == 0;
  close(fd);
  return made;
}

class OddFiles : public ::testing::TestWithParam<OddFile> {
 protected:
  OddFiles() { EXPECT_TRUE(GetParam().make(path_)); }

  TempDir dir_;
  std::string path_ = dir_.file("odd.exp");
  LogCapture log_;
};

TEST_P(OddFiles, AreNoConfigurationAndDoNotBlockTheStart) {
  dir_.write("sound.exp", "name = sound\nplugin_name = null\n");
  const EnvGuard engine("FLUENT_BIT_EXPORT_API_SO", VEK_SCRIPTED_ENGINE_PATH);
  const FluentBitExportersArray array(dir_.path(), 0);
  EXPECT_FALSE(array.failedToInit());
  ASSERT_EQ(array.configs().size(), 1u);
  EXPECT_STREQ(array.configs()[0]->name, "sound");
  std::error_code ignored;
  if (!std::filesystem::is_directory(path_, ignored)) {
    EXPECT_THAT(log_.errors(), Contains(HasSubstr("Cannot open config file '" + path_ + "'")));
  }
}

TEST_P(OddFiles, AreNoCounterSets) {
  const auto schema = countersSchema({"rx", "tx"});
  const Owned<vek_counter_set_t, vek_free_counter_set> set(
      vek_schema_to_counter_set(schema.get(), path_.c_str()));
  EXPECT_EQ(set->num_exported, 2u);
  EXPECT_TRUE(log_.has(3, "Cannot open counterset file '" + path_ + "'"));
}

// An exporter without its field set refuses events: nothing leaves that was meant to be filtered.
TEST_P(OddFiles, AreNoFieldSets) {
  FieldSet set;
  EXPECT_FALSE(set.LoadFromFile(path_));
  EXPECT_TRUE(log_.has(4, "Cannot open field set file " + path_));
}

TEST_P(OddFiles, AreNoSchemas) {
  EXPECT_EQ(vek_counters_schema_load(path_.c_str()), nullptr);
  EXPECT_EQ(vek_schema_load_from_file(path_.c_str(), nullptr), nullptr);
  const OwnedTypeSystem types(vek_create_type_system());
  EXPECT_EQ(vek_type_system_load_schema(types.get(), path_.c_str()), nullptr);
  EXPECT_EQ(log_.errors().size(), 3u);
}

INSTANTIATE_TEST_SUITE_P(
    Of, OddFiles,
    ::testing::Values(OddFile{"pipe", make_pipe}, OddFile{"folder", make_folder},
                      OddFile{"socket", make_socket}, OddFile{"device_link", make_device_link},
                      OddFile{"pipe_link", make_pipe_link}, OddFile{"loop", make_loop},
                      OddFile{"dangling_link", make_dangling}, OddFile{"giant", make_giant}),
    [](const auto& file) { return std::string(file.param.name); });

TEST(InputFile, FollowsALinkToAFile) {
  const TempDir dir;
  const std::string target = dir.write("target", "text\n");
  const std::string link = dir.file("link");
  ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
  const File file = open_input_file(link.c_str());
  ASSERT_TRUE(file);
  InputLines lines(file.get());
  EXPECT_STREQ(lines.next(), "text\n");
  EXPECT_EQ(lines.next(), nullptr);
  EXPECT_TRUE(lines.at_end());
}

TEST(InputFile, TakesTheNullDeviceForAnEmptyFile) {
  const File file = open_input_file("/dev/null");
  ASSERT_TRUE(file);
  EXPECT_EQ(InputLines(file.get()).next(), nullptr);
}

TEST(InputFile, IsNotInheritedByPrograms) {
  const TempDir dir;
  const File file = open_input_file(dir.write("f", "x").c_str());
  EXPECT_EQ(fcntl(fileno(file.get()), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST(InputFile, MayBeAsLargeAsTheLimitAndNotLarger) {
  const TempDir dir;
  const std::string path = dir.write("f", "");
  ASSERT_EQ(truncate(path.c_str(), static_cast<off_t>(limits::kFileBytes)), 0);
  EXPECT_TRUE(open_input_file(path.c_str()));
  ASSERT_EQ(truncate(path.c_str(), static_cast<off_t>(limits::kFileBytes) + 1), 0);
  EXPECT_FALSE(open_input_file(path.c_str()));
  EXPECT_EQ(errno, EFBIG);
}

class DumpFile : public ::testing::Test {
 protected:
  void open_dump() {
    RecordSink sink;
    FluentBitExporter exporter(sink.api());
    exporter.OpenDumpFile();
  }
  TempDir dir_;
  std::string stem_ = dir_.file("d");
  std::string path_ = dir_.file("d_forward");
  EnvGuard dump_{"FLUENTBIT_EXPORT_DUMP_FILE", stem_.c_str()};
  LogCapture log_;
};

TEST_F(DumpFile, IsPrivate) {
  open_dump();
  struct stat status {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(DumpFile, IsNeverMadeThroughALink) {
  const std::string target = dir_.write("precious", "keep me");
  ASSERT_EQ(symlink(target.c_str(), path_.c_str()), 0);
  open_dump();
  EXPECT_EQ(read_file(target), "keep me");
  EXPECT_THAT(log_.errors(), Contains(HasSubstr("Cannot open dump file '" + path_ + "'")));
}

TEST_F(DumpFile, DoesNotWaitForAPipesReader) {
  ASSERT_TRUE(make_pipe(path_));
  open_dump();
  EXPECT_THAT(log_.errors(), Contains(HasSubstr("Cannot open dump file '" + path_ + "'")));
}

// With raised privileges whoever starts the host must not choose files and libraries for it.
TEST_F(DumpFile, IsNotMadeWithRaisedPrivileges) {
  const SecureMode raised;
  open_dump();
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST(PathFromEnvironment, IsIgnoredWithRaisedPrivileges) {
  const EnvGuard root("VEK_ROOT", "/somewhere");
  EXPECT_STREQ(path_from_environment("VEK_ROOT"), "/somewhere");
  const SecureMode raised;
  EXPECT_EQ(path_from_environment("VEK_ROOT"), nullptr);
}

TEST(EngineSearch, DoesNotLookWhereTheEnvironmentSaysWithRaisedPrivileges) {
  const EnvGuard engine("FLUENT_BIT_EXPORT_API_SO", VEK_SCRIPTED_ENGINE_PATH);
  const EnvGuard root("VEK_ROOT", "/nonexistent");
  const SecureMode raised;
  LogCapture log;
  const FluentBitExporter exporter;
  EXPECT_FALSE(exporter.SharedObjectAPILoaded());
  for (const LogLine& line : log.lines()) EXPECT_THAT(line.text, Not(HasSubstr("/nonexistent")));
}

}  // namespace
}  // namespace vek::test
