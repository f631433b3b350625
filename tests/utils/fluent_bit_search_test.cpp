#include "utils/fluent_bit_search.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/env_guard.h"
#include "tests/support/temp_dir.h"

namespace vek {
namespace {

using test::EnvGuard;
using test::TempDir;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

TEST(SearchEnvironment, IsNotHeardWithRaisedPrivileges) {
  const EnvGuard library("FLUENT_BIT_LIBRARY", "/evil.so");
  const EnvGuard path("PATH", "/evil");
  EXPECT_EQ(SearchEnvironment::read(false).library, "/evil.so");
  EXPECT_EQ(SearchEnvironment::read(false).path, "/evil");
  const SearchEnvironment raised = SearchEnvironment::read(true);
  EXPECT_THAT(library_candidates("", raised), Not(Contains("/evil.so")));
  EXPECT_THAT(program_candidates("", raised), Not(Contains("/evil/fluent-bit")));
}

TEST(LibraryCandidates, AreTheNamedOneThenTheLoadersThenTheUsualFolders) {
  const auto all = library_candidates("", {"/named.so", ""});
  ASSERT_GT(all.size(), 3u);
  EXPECT_EQ(all[0], "/named.so");
  EXPECT_EQ(all[1], "libfluent-bit.so");
  EXPECT_EQ(all[2], "/opt/fluent-bit/lib/fluent-bit/libfluent-bit.so");
  EXPECT_THAT(all, Contains("/usr/lib/fluent-bit/libfluent-bit.so"));
  EXPECT_THAT(all, Contains("/lib/fluent-bit/libfluent-bit.so"));
  EXPECT_EQ(library_candidates("", {"", ""})[0], "libfluent-bit.so");
}

TEST(ProgramCandidates, AreOnThePathThenInTheUsualFolders) {
  EXPECT_THAT(program_candidates("", {"", "/a:relative::/b"}),
              ElementsAre("/a/fluent-bit", "/b/fluent-bit", "/opt/fluent-bit/bin/fluent-bit",
                          "/usr/local/bin/fluent-bit", "/usr/bin/fluent-bit"));
}

TEST(Candidates, AreOnlyThoseOfAGivenPath) {
  const TempDir dir;
  const SearchEnvironment environment = {"/named.so", "/bin"};
  EXPECT_THAT(
      library_candidates(dir.path(), environment),
      ElementsAre(dir.file("libfluent-bit.so"), dir.file("lib/fluent-bit/libfluent-bit.so"),
                  dir.file("lib64/fluent-bit/libfluent-bit.so"), dir.file("lib/libfluent-bit.so")));
  EXPECT_THAT(program_candidates(dir.path(), environment),
              ElementsAre(dir.file("fluent-bit"), dir.file("bin/fluent-bit")));
  EXPECT_THAT(library_candidates("/x/libfluent-bit.so.5", environment),
              ElementsAre("/x/libfluent-bit.so.5"));
  EXPECT_THAT(program_candidates("/x/libfluent-bit.so.5", environment), IsEmpty());
  EXPECT_THAT(library_candidates("/x/fluent-bit", environment), IsEmpty());
  EXPECT_THAT(program_candidates("/x/fluent-bit", environment), ElementsAre("/x/fluent-bit"));
}

}  // namespace
}  // namespace vek
