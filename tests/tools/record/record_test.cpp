#include "tools/record/record.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "data/page_writer.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"

namespace vek::tools {
namespace {

namespace fs = std::filesystem;
using test::ChildResult;
using test::read_file;
using test::run_shell;
using test::run_tool;
using test::TempDir;

constexpr uint64_t kNow = 1'767'225'600'000'000;  // 2026-01-01T00:00:00Z
constexpr uint64_t kSecond = 1'000'000;

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::string image(size_t values = 100) {
  PageWriter page("leaf01", "hall_a");
  page.counters_block(1, std::vector<uint8_t>(values, 7));
  const auto bytes = page.finish();
  return {bytes.begin(), bytes.end()};
}

Bytes as_bytes(const std::string& text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

std::vector<std::string> names_in(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

// ---- files

class PageRecorderTest : public testing::Test {
 protected:
  std::unique_ptr<PageRecorder> make(const RecordingLimits& limits = {}) {
    files_.clear();
    return std::make_unique<PageRecorder>(
        out_, "site", limits, [this](const RecordedFile& file) { files_.push_back(file); });
  }
  static bool add(PageRecorder& recorder, uint64_t now_us = kNow) {
    static const std::string page = image();
    return recorder.add(as_bytes(page), now_us);
  }

  TempDir dir_;
  const std::string out_ = dir_.file("out");
  const std::string page_ = image();
  std::vector<RecordedFile> files_;
};

TEST_F(PageRecorderTest, AFileGetsItsNameWhenItIsWholeAndIsItsOwnersAlone) {
  const auto recorder = make();
  ASSERT_TRUE(recorder->open()) << recorder->problem();
  ASSERT_TRUE(add(*recorder) && add(*recorder));
  EXPECT_EQ(names_in(out_),
            (std::vector<std::string>{".site-000001-20260101T000000Z.bin", ".site.lock"}));
  recorder->finish();
  const std::string path = out_ + "/site-000001-20260101T000000Z.bin";
  ASSERT_EQ(files_.size(), 1u);
  EXPECT_EQ(files_[0].path, path);
  EXPECT_EQ(files_[0].pages, 2u);
  EXPECT_STREQ(files_[0].reason, "end");
  EXPECT_EQ(read_file(path), page_ + page_);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  ASSERT_EQ(stat(out_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST_F(PageRecorderTest, ANewFileBeginsWhereTheLastWouldGetTooLarge) {
  const auto recorder = make({.file_bytes = 2 * page_.size() + 1});
  ASSERT_TRUE(recorder->open());
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(add(*recorder));
  recorder->finish();
  ASSERT_EQ(files_.size(), 3u);
  EXPECT_EQ(files_[0].pages, 2u);
  EXPECT_STREQ(files_[0].reason, "size");
  EXPECT_EQ(files_[2].pages, 1u);
}

TEST_F(PageRecorderTest, APageLargerThanAFileMayBeGetsAFileOfItsOwn) {
  const auto recorder = make({.file_bytes = 10});
  ASSERT_TRUE(recorder->open());
  ASSERT_TRUE(add(*recorder) && add(*recorder));
  EXPECT_EQ(files_.size(), 2u);
}

TEST_F(PageRecorderTest, AnOldFileEndsThoughNothingArrives) {
  const auto recorder = make({.file_age_us = 60 * kSecond});
  ASSERT_TRUE(recorder->open());
  ASSERT_TRUE(add(*recorder));
  recorder->tick(kNow + 59 * kSecond);
  recorder->tick(kNow - 3600 * kSecond);  // a clock that was set back
  EXPECT_EQ(files_.size(), 0u);
  recorder->tick(kNow + 60 * kSecond);
  ASSERT_EQ(files_.size(), 1u);
  EXPECT_STREQ(files_[0].reason, "time");
}

TEST_F(PageRecorderTest, WithoutPagesThereAreNoFiles) {
  const auto recorder = make();
  ASSERT_TRUE(recorder->open());
  recorder->tick(kNow + (uint64_t{1} << 50));
  recorder->finish();
  EXPECT_EQ(names_in(out_), std::vector<std::string>{".site.lock"});
}

TEST_F(PageRecorderTest, OnlyTheNewestAreKeptAndOnlyItsOwnAreRemoved) {
  dir_.write("out/site-notes.bin", "");
  dir_.write("out/other-000001-20260101T000000Z.bin", "");
  const auto recorder = make({.file_bytes = 1, .keep = 2});
  ASSERT_TRUE(recorder->open());
  // The clock goes back; the order of recording counts.
  for (int i = 0; i < 5; ++i)
    ASSERT_TRUE(add(*recorder, kNow - static_cast<uint64_t>(i) * kSecond));
  EXPECT_EQ(names_in(out_),
            (std::vector<std::string>{".site.lock", "other-000001-20260101T000000Z.bin",
                                      "site-000004-20251231T235957Z.bin",
                                      "site-000005-20251231T235956Z.bin", "site-notes.bin"}));
  EXPECT_EQ(recorder->removed_files(), 3u);
}

TEST_F(PageRecorderTest, AKilledRecordersFileIsTakenUpWithItsWholePages) {
  dir_.write("out/.site-000007-20260101T000000Z.bin", page_ + page_ + page_.substr(0, 300));
  dir_.write("out/.site-000008-20260101T000000Z.bin", page_.substr(0, 300));
  const auto recorder = make();
  ASSERT_TRUE(recorder->open());
  ASSERT_EQ(files_.size(), 1u);
  EXPECT_STREQ(files_[0].reason, "left behind");
  EXPECT_EQ(read_file(out_ + "/site-000007-20260101T000000Z.bin"), page_ + page_);
  ASSERT_TRUE(add(*recorder));
  recorder->finish();
  EXPECT_TRUE(fs::exists(out_ + "/site-000009-20260101T000000Z.bin"));
  EXPECT_FALSE(fs::exists(out_ + "/.site-000008-20260101T000000Z.bin"));
}

TEST_F(PageRecorderTest, TwoOfOneNameDoNotMeet) {
  const auto first = make();
  ASSERT_TRUE(first->open());
  const auto second = make();
  EXPECT_FALSE(second->open());
  EXPECT_EQ(second->problem(), out_ + ": another recorder writes files named 'site' there");
}

TEST_F(PageRecorderTest, ASymbolicLinkIsNotFollowed) {
  const std::string victim = dir_.write("victim", "mine");
  fs::create_directory(out_);
  fs::create_symlink(victim, out_ + "/.site-000001-20260101T000000Z.bin");
  fs::create_symlink(victim, out_ + "/.site.lock");
  EXPECT_FALSE(make()->open());
  fs::remove(out_ + "/.site.lock");
  const auto recorder = make();
  ASSERT_TRUE(recorder->open());
  ASSERT_TRUE(add(*recorder));
  recorder->finish();
  EXPECT_EQ(read_file(victim), "mine");
}

TEST_F(PageRecorderTest, AFullDiskCutsNoPage) {
  const ChildResult result = test::run_in_child([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{page_.size() + 10, page_.size() + 10};
    setrlimit(RLIMIT_FSIZE, &limit);
    const auto recorder = make();
    ASSERT_TRUE(recorder->open());
    EXPECT_TRUE(add(*recorder));
    EXPECT_FALSE(add(*recorder));
    EXPECT_TRUE(has(recorder->problem(), "cannot be written: File too large"));
    recorder->finish();
    EXPECT_EQ(recorder->lost_pages(), 1u);
    EXPECT_EQ(read_file(files_.at(0).path), page_);
  });
  EXPECT_EQ(result.exit_code, 0) << result.standard_output;
}

// ---- the verb

class RecordTest : public testing::Test {
 protected:
  TempDir dir_;
  const std::string out_ = dir_.file("out");
  const std::string page_ = image();
};

TEST_F(RecordTest, StandardInputBecomesFilesWhosePathsAreTold) {
  test::ToolSetting setting;
  setting.stdin_path = dir_.write("in.bin", page_ + page_ + page_);
  const ChildResult result =
      run_tool({"record", "--output", out_, "--rotate-size", "2k", "-"}, setting);
  EXPECT_EQ(result.exit_code, 0) << result.standard_error;
  const auto names = names_in(out_);
  ASSERT_EQ(names.size(), 3u);
  EXPECT_EQ(result.standard_output, out_ + "/" + names[1] + "\n" + out_ + "/" + names[2] + "\n");
  EXPECT_EQ(read_file(out_ + "/" + names[1]) + read_file(out_ + "/" + names[2]),
            page_ + page_ + page_);
  EXPECT_EQ(result.standard_error,
            "pages         3\nbytes         2508 (2.4 KiB)\nfiles         2, 0 old ones removed\n"
            "inputs        1, 0 of them with 0 bytes that are no page\n");
}

TEST_F(RecordTest, WhatIsNoPageIsCountedAndMakesItBad) {
  test::ToolSetting setting;
  setting.stdin_path = dir_.write("in.bin", page_ + page_.substr(0, 50));
  const ChildResult result = run_tool({"record", "--json", "--output", out_, "-"}, setting);
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_output,
                  "\"pages\":1,\"bytes\":836,\"reason\":\"end\"}\n{\"schema_version\":1,\"kind\":"
                  "\"summary\",\"pages\":1,\"bytes\":836,\"files\":1,\"removed_files\":0,"
                  "\"lost_pages\":0,\"inputs\":1,\"bad_inputs\":1,\"bad_bytes\":50}\n"))
      << result.standard_output;
  EXPECT_TRUE(
      has(result.standard_error,
          "vektool: error: standard input ends inside a page: its last 50 bytes are lost\n"))
      << result.standard_error;
  setting.stdin_path = dir_.write("in.bin", std::string(2000, 'x'));
  EXPECT_TRUE(has(run_tool({"record", "--output", out_, "-"}, setting).standard_error,
                  "vektool: error: standard input sends no pages: the header says"));
}

int connect_to(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::copy(path.begin(), path.end(), address.sun_path);
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  for (int i = 0; i < 200; ++i) {
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) return fd;
    usleep(20'000);
  }
  ADD_FAILURE() << path << " cannot be connected to";
  return fd;
}

void send_all(int fd, const std::string& bytes) {
  EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

// A host's program that connects, and a second one that sends something else.
TEST_F(RecordTest, WhoeverConnectsToItsSocketIsRecordedUntilItIsToldToStop) {
  const std::string socket_path = dir_.file("s");
  ChildResult result;
  std::thread tool([&] {
    result = run_shell("cd " + dir_.path() +
                       "; echo $$ > pid; exec \"$TOOL\" record --listen s --output out");
  });
  const int host = connect_to(socket_path);
  const int stranger = connect_to(socket_path);
  struct stat status {};
  EXPECT_EQ(stat(socket_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  send_all(host, page_ + page_.substr(0, 100));
  send_all(stranger, std::string(800, '\0'));
  char byte = 0;
  EXPECT_LE(read(stranger, &byte, 1), 0);  // it was hung up on
  send_all(host, page_.substr(100));
  close(host);
  close(stranger);
  kill(static_cast<pid_t>(std::stol(read_file(dir_.file("pid")))), SIGTERM);
  tool.join();
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_error, "a connection sends no pages and is closed"))
      << result.standard_error;
  EXPECT_FALSE(fs::exists(socket_path));
  const auto names = names_in(out_);
  ASSERT_EQ(names.size(), 2u);
  EXPECT_TRUE(read_file(out_ + "/" + names[1]) == page_ + page_);
}

TEST_F(RecordTest, FilesOfADirectoryAreTakenAndRemovedOnceTheyAreKept) {
  dir_.write("in/a.bin", page_);
  dir_.write("in/.hidden", page_);
  dir_.write("in/half.part", page_);
  dir_.write("in/torn.bin", page_ + page_.substr(0, 20));
  fs::create_symlink(dir_.write("secret", page_), dir_.file("in/link.bin"));
  const std::string script =
      "cd " + dir_.path() +
      " && \"$TOOL\" record --watch in --remove --output out --for 2s & pid=$!\n"
      "cd " +
      dir_.path() + "; sleep 0.7; cp secret in/.b; mv in/.b in/b.bin; wait $pid; echo status $?";
  const ChildResult result = run_shell(script);
  EXPECT_TRUE(has(result.standard_output, "status 1\n")) << result.standard_output;
  EXPECT_EQ(names_in(dir_.file("in")),
            (std::vector<std::string>{".hidden", "half.part", "link.bin", "torn.bin"}));
  EXPECT_TRUE(has(result.standard_error, "pages         3\n")) << result.standard_error;
  EXPECT_TRUE(has(result.standard_error, "torn.bin: behind byte 836 there is no whole page"));
}

TEST_F(RecordTest, WhatIsThereStaysWithoutRemove) {
  dir_.write("in/a.bin", page_);
  const ChildResult result =
      run_tool({"record", "--watch", dir_.file("in"), "--output", out_, "--for", "100ms"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_TRUE(has(result.standard_error, "pages         0\n"));
  EXPECT_TRUE(fs::exists(dir_.file("in/a.bin")));
}

TEST_F(RecordTest, PlacesThatCannotBeUsedAreNamed) {
  const std::string file = dir_.write("file", "x");
  ChildResult result = run_tool({"record", "--listen", file, "--output", out_});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_EQ(result.standard_error,
            "vektool: error: " + file + ": is there already, and no socket\n");
  EXPECT_EQ(read_file(file), "x");
  result = run_tool({"record", "--watch", dir_.file("none"), "--output", out_});
  EXPECT_EQ(result.exit_code, 4);
  result = run_tool({"record", "--output", file, "-"});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_EQ(result.standard_error,
            "vektool: error: " + file + ": cannot be opened: Not a directory\n");
}

TEST_F(RecordTest, WrongWordsAreUsageErrors) {
  const std::vector<std::vector<std::string>> kWrong{
      {"--output", "o"},
      {"--output", "o", "--listen", "s", "-"},
      {"--output", "o", "pages.bin"},
      {"--output", "o", "--remove", "-"},
      {"--output", "o", "--name", "../x", "-"},
      {"--output", "o", "--rotate-size", "5 apples", "-"},
      {"--output", "o", "--rotate-time", "5", "-"},
      {"--output", "o", "--keep", "-1", "-"}};
  for (std::vector<std::string> words : kWrong) {
    words.insert(words.begin(), "record");
    EXPECT_EQ(run_tool(words).exit_code, 2) << words.back();
  }
  EXPECT_TRUE(has(run_tool({"record", "--output", "o", "--lisen", "s"}).standard_error,
                  "did you mean '--listen'?"));
}

}  // namespace
}  // namespace vek::tools
