#include "raw_msgpack_api/dead_letter.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tests/raw_msgpack_api/pack.h"
#include "tests/support/child_process.h"
#include "tests/support/msgpack_json.h"
#include "tests/support/temp_dir.h"

namespace vek::engine {
namespace {

using test::Pack;

std::string contents(const DeadLetter& letters) {
  const std::string bytes = test::read_file(letters.path());
  return test::msgpack_to_text(bytes.data(), bytes.size());
}

TEST(DeadLetter, KeepsRecordsBackToBackForItsOwnerAlone) {
  const test::TempDir dir;
  const DeadLetter letters(dir.path());
  EXPECT_EQ(letters.append(Pack().map(1).str("a").u(1).bytes()), 0);
  EXPECT_EQ(letters.append(Pack().map(0).bytes()), 0);
  EXPECT_EQ(letters.path(), dir.file("dead-letter.msgpack"));
  EXPECT_EQ(contents(letters), R"({"a":1} {})");
  struct stat status {};
  ASSERT_EQ(stat(letters.path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST(DeadLetter, TakesNoMoreThanItsLimit) {
  const test::TempDir dir;
  const DeadLetter letters(dir.path(), 9);
  const auto record = Pack().map(1).str("a").u(1).bytes();  // 4 bytes
  EXPECT_EQ(letters.append(record), 0);
  EXPECT_EQ(letters.append(record), 0);
  EXPECT_EQ(letters.append(record), EFBIG);
  EXPECT_EQ(letters.append(Pack().map(0).bytes()), 0);  // a smaller one still fits
  EXPECT_EQ(contents(letters), R"({"a":1} {"a":1} {})");
}

TEST(DeadLetter, SaysWhyItCannotWrite) {
  const test::TempDir dir;
  EXPECT_EQ(DeadLetter(dir.file("missing")).append(Pack().nil().bytes()), ENOENT);
  dir.write("victim", "precious");
  ASSERT_EQ(symlink("victim", dir.file("dead-letter.msgpack").c_str()), 0);
  EXPECT_EQ(DeadLetter(dir.path()).append(Pack().nil().bytes()), ELOOP);
  EXPECT_EQ(test::read_file(dir.file("victim")), "precious");
}

TEST(DeadLetter, LeavesNoPartOfARecordAndRaisesNoSignal) {
  const test::TempDir dir;
  const DeadLetter letters(dir.path());
  const auto child = test::run_in_child([&] {
    const rlimit limit{10, 10};
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(letters.append(Pack().str("seven..").bytes()), 0);
    EXPECT_EQ(letters.append(Pack().str("seven..").bytes()), EFBIG);
  });
  EXPECT_EQ(child.exit_code, 0);
  EXPECT_EQ(contents(letters), R"("seven..")");
}

}  // namespace
}  // namespace vek::engine
