#include "raw_msgpack_api/engine_choice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/support/log_capture.h"

namespace vek::engine {
namespace {

using test::LogCapture;
using Engines = std::vector<Engine>;

std::optional<Engines> choose(const char* wanted, bool is_built_in) {
  const test::ParameterList list(wanted ? test::ParameterPairs{{"vek.engine", wanted}}
                                        : test::ParameterPairs{});
  return engines_to_try(Parameters(list.get()), is_built_in);
}

TEST(EnginesToTry, AreWhatIsBuiltInThenTheLibraryThenTheProgram) {
  const Engines builtin = {Engine::kBuiltin};
  const Engines library = {Engine::kLibrary};
  const Engines process = {Engine::kProcess};
  const Engines either = {Engine::kLibrary, Engine::kProcess};
  const struct {
    const char* wanted;
    Engines where_built_in;
    Engines elsewhere;
  } cases[] = {{nullptr, builtin, either},    {"auto", builtin, either},
               {"AUTO", builtin, either},     {"", builtin, either},
               {"builtin", builtin, builtin}, {"Library", library, library},
               {"process", process, process}};
  for (const auto& c : cases) {
    EXPECT_EQ(choose(c.wanted, true), c.where_built_in) << (c.wanted ? c.wanted : "none");
    EXPECT_EQ(choose(c.wanted, false), c.elsewhere) << (c.wanted ? c.wanted : "none");
  }
}

TEST(EnginesToTry, AreNoneForAnUnknownName) {
  LogCapture log;
  EXPECT_EQ(choose("daemon", true), std::nullopt);
  EXPECT_THAT(log.errors(),
              testing::ElementsAre("[raw msgpack API] vek.engine = 'daemon' cannot be used; it "
                                   "takes auto, builtin, library or process"));
}

}  // namespace
}  // namespace vek::engine
